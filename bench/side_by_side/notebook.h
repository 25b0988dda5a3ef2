// The formulas' side: a form made for a workload.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "data.h"
#include "measure.h"

#include "notebook/files/framework.h"
#include "notebook/tables/model.h"

namespace side_by_side {

// A column of a table in a notebook, as a program sees it that embeds the engine: by the face that
// has the column's cells as a whole, or else cell by cell.
class Column {
 public:
  // Columns count from 0.
  Column(ktnotebook::NotebookTable& table, std::size_t index);

  // As a user types it.
  void Enter(std::size_t row, std::u16string_view text);
  void EnterAll(const Numbers& numbers);

  double Number(std::size_t row) const;
  std::string Text(std::size_t row) const;
  // Each looks at every cell and makes of them one number, so that none can be left out.
  double ReadNumbers() const;
  std::size_t ReadTexts() const;
  // The number of characters in the cell.
  std::size_t ReadText(std::size_t row) const;

 private:
  // Good until the next text is read.
  std::u16string_view TextAt(std::size_t row) const;
  ktformula::Ref<ktformula::TableCell> CellAt(std::size_t row) const;

  ktnotebook::NotebookTable* table_;
  std::size_t index_;
  ktformula::Ref<ktformula::TableProperty> column_;
  mutable std::u16string buffer_;
};

class Notebook {
 public:
  ktnotebook::NotebookTable& AddTable(std::u16string_view name, std::size_t rows);
  Column AddInput(ktnotebook::NotebookTable& table, std::u16string_view name,
                  ktnotebook::DataType type = ktnotebook::DataType::kNumber);
  // A table's first formula is added after all its inputs.
  Column AddFormula(ktnotebook::NotebookTable& table, std::u16string_view name,
                    std::u16string_view formula,
                    ktnotebook::DataType type = ktnotebook::DataType::kNumber);

  // What happens after a cell was typed: rounds of notifications until one changes nothing.
  void Recalculate(const ktnotebook::NotebookTable* first = nullptr);

 private:
  ktformula::Ref<ktnotebook::NotebookFramework> framework_ =
      ktformula::MakeRef<ktnotebook::NotebookFramework>();
  ktformula::Ref<ktnotebook::NotebookForm> form_ =
      ktformula::MakeRef<ktnotebook::NotebookForm>(u"Form", framework_->OwnUnits());
  std::int32_t keys_ = 0;
};

// What of its results a peer reads.
enum class Reading { kNumbers, kTexts, kBoth };

// Recalculates a form and reads its results; what is typed into it, others say.
class NotebookPeer : public Peer {
 public:
  std::string_view Name() const final { return "ktformula"; }
  void Work() override;
  std::string Result(std::size_t column, std::size_t row) const final;

 protected:
  explicit NotebookPeer(Reading reading) : reading_(reading) {}

  // In the order of the results.
  void AddResult(Column column) { results_.push_back(std::move(column)); }
  const std::vector<Column>& Results() const { return results_; }

  Notebook notebook_;

 private:
  Reading reading_;
  std::vector<Column> results_;
  double seen_ = 0;
};

std::u16string Wide(std::string_view ascii);

}  // namespace side_by_side
