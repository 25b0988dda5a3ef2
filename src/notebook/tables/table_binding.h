// What relative references denote in a table: seen from its cells, its rows and the table itself.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/notebook_objects.h"
#include "host/promises.h"

namespace ktnotebook {

// The rules, over what a table knows of its names. From a cell P is a column, "parent" the row,
// parent:P the row's cell and parent:parent... the same from the row; from the row P is a column,
// "parent" the table and parent:... the same from the table; from the table P is a column, P:R a
// cell and "parent" the form.
class TableBinding : public ktformula::ReferenceBinding {
 public:
  ktformula::Denotation Denote(ktformula::ReferenceStart start,
                               std::span<const std::u16string> parts) final;

  // The answer of ResolveRelative to a cell or the row of this index, which counts from 0, or of
  // the table itself.
  ktformula::Ref<ktformula::NotebookObject> Resolve(ktformula::ReferenceStart start,
                                                    std::span<const std::u16string> parts,
                                                    std::size_t row);

 protected:
  ~TableBinding() = default;

 private:
  virtual ktformula::NotebookObject& BoundTable() = 0;
  virtual ktformula::NotebookObject& BoundForm() = 0;
  // nullptr, or nothing, when there is none of this name. Columns are the table's own.
  virtual ktformula::NotebookObject* ColumnNamed(std::u16string_view name) = 0;
  virtual std::optional<std::size_t> RowNamed(std::u16string_view id_or_number) = 0;
  virtual ktformula::Ref<ktformula::NotebookObject> RowAt(std::size_t row) = 0;
  virtual ktformula::Ref<ktformula::NotebookObject> CellAt(ktformula::NotebookObject& column,
                                                           std::size_t row) = 0;

  ktformula::Denotation DenoteFromCell(std::span<const std::u16string> parts);
  ktformula::Denotation DenoteFromRow(std::span<const std::u16string> parts);
  ktformula::Denotation DenoteFromTable(std::span<const std::u16string> parts);
};

// The row, counted from 0, of this number among so many; nothing for what is no such number.
std::optional<std::size_t> RowOfNumber(std::u16string_view number, std::size_t rows);

// The number of a row, which counts from 0, as a text.
std::u16string NumberOfRow(std::size_t row);

}  // namespace ktnotebook
