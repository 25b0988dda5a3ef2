// What a host may promise about its tables, so that formulas over many rows cost less.
//
// Three faces of a table and its columns, each optional. Where one is not given, the engine asks
// object by object, cell by cell and pass by pass, with the same results: a promise that is kept
// changes the time that things take, and nothing else. A face that is given once is given always,
// and tables and columns are held, until Terminate, by listeners whose formulas read them. Rows
// count from 0 here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/ref.h"

namespace ktformula {

class NotebookObject;

// Where a reference starts.
enum class ReferenceStart { kCell, kRow, kTable };

// What the parts of a reference denote from any cell, or any row, of a table.
struct Denotation {
  enum class Kind {
    // Not the same for all of them; each has to be asked.
    kVaries,
    // What ResolveRelative does not answer.
    kNothing,
    // The same object for all of them.
    kObject,
    // The cell of the column `object` in the row of the start.
    kOwnCell,
    // The row of the start.
    kOwnRow,
  };

  Kind kind = Kind::kVaries;
  Ref<NotebookObject> object;
};

// Binding: a table that gives this promises that all its cells, whatever their column, answer
// ResolveRelative alike, and so do all its rows; and that table, cells and rows have one scope,
// which answers the same as long as the stamp is the same. Borrowed from the table.
class ReferenceBinding {
 public:
  // The answer of ResolveRelative to these parts from any start of this sort. Asks nothing and
  // changes nothing.
  virtual Denotation Denote(ReferenceStart start, std::span<const std::u16string> parts) = 0;

  // Never again the same number once any reference of the form may denote something else, for
  // which it takes a table, a column, a row or a field that comes, goes or gets another name; nor
  // once a column has another type or unit, or a structure other data.
  virtual std::uint64_t Stamp() const = 0;

 protected:
  ~ReferenceBinding() = default;
};

// Columns: the cells of a column at once, with the answers that the cells themselves would give.
// Borrowed from the column. What a read returns is good until something is written into the table.
class ColumnCells {
 public:
  // As many as the table has rows.
  virtual std::size_t Count() const = 0;

  // MinNumber and MaxNumber of each cell; one and the same array when no cell has two numbers.
  virtual std::span<const double> MinNumbers() const = 0;
  virtual std::span<const double> MaxNumbers() const = 0;

  // The text of the row's cell, which may stand in `buffer` and is good until that is used again.
  virtual std::u16string_view Text(std::size_t row, std::u16string& buffer) const = 0;

  // Whether the state of the row's cell is "entered", and how many such cells there are.
  virtual bool IsEntered(std::size_t row) const = 0;
  virtual std::size_t EnteredCount() const = 0;

  // What GridControl does for each row from `first` on, in this order: WriteText with the general
  // form of the number and the flag true, then FinishCell. The numbers are finite.
  virtual void WriteNumbers(std::size_t first, std::span<const double> numbers) = 0;

  // The same with the text texts[which[i]], and `is_value` for the flag; without it, ClearNumber
  // before all in cells with a number.
  virtual void WriteTexts(std::size_t first, std::span<const std::uint32_t> which,
                          std::span<const std::u16string_view> texts, bool is_value) = 0;

 protected:
  ~ColumnCells() = default;
};

// Changes: what happened to the cells of a column. Borrowed from the column.
class ColumnChanges {
 public:
  // Grows with every change of a cell's text, numbers, unit, state or tag, and with every row that
  // comes or goes; a write that leaves all of these as they were is no change.
  virtual std::uint64_t Stamp() const = 0;

  // Appends the rows whose cells changed since the column had this stamp, in any order, some
  // perhaps more than once. False, and nothing appended, when that is not known: any may have.
  virtual bool RowsChangedSince(std::uint64_t stamp, std::vector<std::size_t>& rows) const = 0;

 protected:
  ~ColumnChanges() = default;
};

}  // namespace ktformula
