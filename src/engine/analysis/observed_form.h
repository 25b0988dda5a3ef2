// A form whose cells were computed, as the search for problems goes through it: its columns by
// numbers, what their formulas read, and what their cells show.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "analysis/problem.h"
#include "analysis/watched_form.h"

#include "formula/token_tree.h"
#include "host/notebook_objects.h"

namespace ktformula {

// A cell by the number of its column among all of the form, and its row, both from 0.
struct CellPlace {
  std::size_t column = 0;
  std::size_t row = 0;

  auto operator<=>(const CellPlace&) const = default;
};

// The cells of a column, without an object for each where the host promises that. Rows count from
// 0. Nothing may be written meanwhile.
class ColumnReader {
 public:
  explicit ColumnReader(Ref<TableProperty> column);

  std::size_t Count() const noexcept { return count_; }
  Ref<TableCell> Cell(std::size_t row) const { return column_->Cell(static_cast<int>(row) + 1); }
  bool IsEntered(std::size_t row) const;
  // Good until the next text is asked for.
  std::u16string_view Text(std::size_t row) const;
  double Min(std::size_t row) const;
  double Max(std::size_t row) const;
  // False when no cell has two different numbers.
  bool MayHaveRanges() const;
  // Whether the numbers of a cell tell, at no cost, that its text is a number.
  bool HasNumbers() const noexcept { return cells_ != nullptr && is_numeric_; }

 private:
  Ref<TableProperty> column_;
  const ColumnCells* cells_;
  bool is_numeric_;
  std::size_t count_;
  mutable std::u16string buffer_;
};

// A column that a formula reads.
struct ColumnUse {
  std::size_t column = 0;
  // The row that is read; empty for any.
  std::optional<std::size_t> row;
};

// What cells of a column say, and in which row it is said first.
using FirstRows = std::map<std::u16string, std::size_t, std::less<>>;

struct ObservedColumn {
  ObservedColumn(const WatchedTable& watched, Ref<TableProperty> table_column);

  bool IsComputed() const noexcept { return listener != nullptr; }
  // Whether the formula computes the cell.
  bool Computes(std::size_t row) const { return IsComputed() && !cells.IsEntered(row); }

  const WatchedTable* table;
  Ref<TableProperty> column;
  Ref<ELNProperty> property;
  ColumnReader cells;

  // Of columns with a formula; nullptr, and the rest empty, for others.
  FormulaListener* listener = nullptr;
  std::u16string formula;
  std::u16string format;
  // nullptr when the formula can not be parsed.
  std::shared_ptr<const TokenTree> tree;
  // The columns that it reads in its own row, and elsewhere. Where that is not known, all of the
  // form elsewhere.
  std::vector<std::size_t> own;
  std::vector<ColumnUse> others;
  bool reads_are_known = false;
  bool has_definitions = false;
  // Whether the formula can be evaluated once more: it has a tree, and nothing in it, or in
  // definitions, calls a function of the host.
  bool can_be_watched = false;
};

class ObservedForm {
 public:
  explicit ObservedForm(const WatchedForm& form);

  const WatchedForm& Form() const noexcept { return form_; }
  const std::vector<ObservedColumn>& Columns() const noexcept { return columns_; }
  const ObservedColumn& At(std::size_t column) const { return columns_[column]; }

  // Empty for what is not of the form.
  std::optional<std::size_t> NumberOf(const TableProperty& column) const;
  std::optional<CellPlace> PlaceOf(const TableCell& cell) const;
  std::u16string NameOf(const CellPlace& place) const {
    return form_.name_of_cell(*At(place.column).cells.Cell(place.row));
  }

  // The rows whose computed cells show an error.
  const std::vector<std::size_t>& ErrorRows(std::size_t column) const;
  // The descriptions that these show.
  const FirstRows& ShownErrors(std::size_t column) const;
  // For a number column: the descriptions of the errors that cells lead to which were not computed
  // and hold a text instead of a number.
  const FirstRows& MissingNumbers(std::size_t column) const;

  // A problem of the column's formula.
  Problem ProblemOf(ProblemCode code, std::size_t column) const;

 private:
  void AddColumn(const WatchedTable& table, Ref<TableProperty> column);
  void AddReads(ObservedColumn& column) const;
  void NoteWatchable(ObservedColumn& column) const;
  std::optional<std::size_t> RowOf(const TableCell& cell) const;

  struct Shown {
    std::vector<std::size_t> error_rows;
    FirstRows errors;
    FirstRows missing;
  };
  const Shown& ShownIn(std::size_t column) const;

  const WatchedForm& form_;
  std::vector<ObservedColumn> columns_;
  // By identity.
  std::unordered_map<const void*, std::size_t> numbers_;
  // Found when they are first asked for.
  mutable std::vector<std::optional<Shown>> shown_;
  // Rows by identity, for hosts that do not tell where they are; tables that were looked through.
  mutable std::unordered_map<const void*, std::size_t> rows_;
  mutable std::unordered_map<const void*, bool> known_tables_;
};

// The tree with which a definition is evaluated; nullptr when its formula can not be parsed.
std::shared_ptr<const TokenTree> DefinitionTree(const FormulaListener& listener,
                                                const PropertyFormula& definition);

// Whether no definition of the listener calls a function of the host.
bool AreDefinitionsPure(const FormulaListener& listener);

// The description that a missing number with this text leads to.
std::u16string MissingDescription(std::u16string_view text);

}  // namespace ktformula
