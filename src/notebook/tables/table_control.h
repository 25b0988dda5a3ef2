// The control through which listeners write into a table's cells.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/notebook_objects.h"
#include "notebook/tables/model.h"

namespace ktnotebook {

// Writes at once, and on FinishCell tells the form's log, and the column, whether the cell has
// changed since the first write. A cell that is written to is a computed one: it loses its state
// and tag.
class TableControl final : public ktformula::GridControl {
 public:
  explicit TableControl(NotebookForm& form) : form_(form) {}

  std::u16string TypeName() const override { return u"TableControl"; }
  void WriteText(ktformula::TableCell& cell, std::u16string_view text, bool flag) override;
  void ClearNumber(ktformula::TableCell& cell) override;
  void SetValue(ktformula::TableCell& cell, double value, std::u16string_view pattern,
                std::u16string_view unit_name) override;
  void FinishCell(ktformula::TableCell& cell) override;

  // What ktformula::ColumnCells promises of its writes.
  void WriteNumbers(NotebookColumn& column, std::size_t first, std::span<const double> numbers);
  void WriteTexts(NotebookColumn& column, std::size_t first, std::span<const std::uint32_t> which,
                  std::span<const std::u16string_view> texts, bool is_value);

  // Notes now what changed in the cell being written; otherwise that is done at its end.
  void NoteUnfinished();
  // Ends the writing of the current cell without a word to the log.
  void EndWrite();

 private:
  // What a cell holds, for comparison.
  struct Snapshot {
    CellContent content;
    std::u16string state;
    std::u16string tag;
  };
  static Snapshot SnapshotOf(const NotebookCell& cell);

  NotebookCell BeginWrite(ktformula::TableCell& cell);
  // About the current cell.
  bool Holds(const CellContent& content) const;
  // Whether it holds anything else than when it was noted last.
  bool IsToBeNoted() const;
  // Calls `write` for each of the rows, which sets the content of the row's cell and tells whether
  // it was another one, and does the rest of what begins and finishes a cell.
  template <typename Write>
  void WriteRows(NotebookColumn& column, std::size_t first, std::size_t count, Write write);

  NotebookForm& form_;
  // The cell being written and what it held before; empty between cells.
  std::optional<NotebookCell> current_;
  Snapshot before_;
  // What it held when a change was noted before it was finished.
  std::unique_ptr<Snapshot> noted_;
};

}  // namespace ktnotebook
