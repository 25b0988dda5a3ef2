#include "analysis/observed_form.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "analysis/formula_parts.h"

#include "listener/entered_values.h"
#include "values/cell_value.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

// The tree with which cells were computed, or else the one that the formula has now.
std::shared_ptr<const TokenTree> TreeOf(const FormulaListener& listener, std::int32_t key,
                                        std::u16string_view formula) {
  const auto known = listener.Configuration().property_formulas.Find(ToDecimalText(key));
  if (known != nullptr && known->TokenTree != nullptr) return known->TokenTree;
  try {
    return listener.MakeTokenTree(formula);
  } catch (const RaisedError&) {
    return nullptr;
  }
}

}  // namespace

std::shared_ptr<const TokenTree> DefinitionTree(const FormulaListener& listener,
                                                const PropertyFormula& definition) {
  if (definition.TokenTree != nullptr) return definition.TokenTree;
  try {
    return listener.MakeTokenTree(definition.Formula);
  } catch (const RaisedError&) {
    return nullptr;
  }
}

bool AreDefinitionsPure(const FormulaListener& listener) {
  const auto entries = listener.Configuration().definitions.Entries();
  return std::all_of(entries.begin(), entries.end(), [&listener](const auto& entry) {
    const auto tree = DefinitionTree(listener, *entry.formula);
    return tree == nullptr || IsPure(*tree);
  });
}

std::u16string MissingDescription(std::u16string_view text) {
  CellValue value;
  value.SetMissingNumber(text);
  return value.MissingNumberDescription();
}

ColumnReader::ColumnReader(Ref<TableProperty> column)
    : column_(std::move(column)),
      cells_(column_->Cells()),
      is_numeric_(column_->Property()->IsNumeric()),
      count_(static_cast<std::size_t>(column_->CellCount())) {}

bool ColumnReader::IsEntered(std::size_t row) const {
  return cells_ != nullptr ? cells_->IsEntered(row) : Cell(row)->StateText() == kEnteredState;
}

std::u16string_view ColumnReader::Text(std::size_t row) const {
  if (cells_ != nullptr) return cells_->Text(row, buffer_);
  buffer_ = Cell(row)->Text();
  return buffer_;
}

double ColumnReader::Min(std::size_t row) const {
  return cells_ != nullptr ? cells_->MinNumbers()[row] : Cell(row)->MinNumber();
}

double ColumnReader::Max(std::size_t row) const {
  return cells_ != nullptr ? cells_->MaxNumbers()[row] : Cell(row)->MaxNumber();
}

bool ColumnReader::MayHaveRanges() const {
  return is_numeric_ &&
         (cells_ == nullptr || cells_->MinNumbers().data() != cells_->MaxNumbers().data());
}

ObservedColumn::ObservedColumn(const WatchedTable& watched, Ref<TableProperty> table_column)
    : table(&watched),
      column(std::move(table_column)),
      property(column->Property()),
      cells(column) {}

ObservedForm::ObservedForm(const WatchedForm& form) : form_(form) {
  for (const WatchedTable& table : form.tables) {
    const int columns = table.table->ColumnCount();
    for (int c = 1; c <= columns; ++c)
      AddColumn(table, table.table->Column(c));
  }
  for (ObservedColumn& column : columns_) {
    if (!column.IsComputed()) continue;
    AddReads(column);
    NoteWatchable(column);
  }
  shown_.resize(columns_.size());
}

void ObservedForm::AddColumn(const WatchedTable& table, Ref<TableProperty> table_column) {
  numbers_.emplace(table_column->Identity(), columns_.size());
  ObservedColumn& column = columns_.emplace_back(table, std::move(table_column));
  column.listener = table.ListenerComputing(*column.property);
  if (column.listener == nullptr) return;
  const auto entry = column.listener->FormulaOf(column.property->Key());
  column.formula = entry->formula;
  column.format = entry->string_format;
  column.tree = TreeOf(*column.listener, column.property->Key(), column.formula);
}

void ObservedForm::AddReads(ObservedColumn& column) const {
  const Reads reads = column.listener->ReadsOf(*column.column);
  column.reads_are_known = !reads.is_unknown;
  column.has_definitions = reads.has_definitions || reads.is_unknown;
  if (reads.is_unknown) {
    for (std::size_t number = 0; number < columns_.size(); ++number)
      column.others.push_back({number, std::nullopt});
    return;
  }
  for (const Ref<TableProperty>& read : reads.own) {
    if (const auto number = NumberOf(*read)) column.own.push_back(*number);
  }
  for (const ColumnRead& read : reads.others) {
    if (const auto number = NumberOf(*read.column)) column.others.push_back({*number, read.row});
  }
}

void ObservedForm::NoteWatchable(ObservedColumn& column) const {
  column.can_be_watched = column.tree != nullptr && IsPure(*column.tree) &&
                          (!column.has_definitions || AreDefinitionsPure(*column.listener));
}

std::optional<std::size_t> ObservedForm::NumberOf(const TableProperty& column) const {
  const auto found = numbers_.find(column.Identity());
  return found != numbers_.end() ? std::optional(found->second) : std::nullopt;
}

std::optional<CellPlace> ObservedForm::PlaceOf(const TableCell& cell) const {
  Ref<TableProperty> column = cell.Column();
  if (!column) {
    const Ref<Table> table = cell.Row()->OwningTable();
    const Ref<ELNProperty> property = cell.Property();
    const int columns = table && property ? table->ColumnCount() : 0;
    for (int c = 1; c <= columns && !column; ++c) {
      if (table->Column(c)->Property()->Key() == property->Key()) column = table->Column(c);
    }
    if (!column) return std::nullopt;
  }
  const auto number = NumberOf(*column);
  const auto row = number ? RowOf(cell) : std::nullopt;
  return row ? std::optional(CellPlace{*number, *row}) : std::nullopt;
}

std::optional<std::size_t> ObservedForm::RowOf(const TableCell& cell) const {
  const Ref<TableRow> row = cell.Row();
  if (const auto place = row->Place()) return place;
  const Ref<Table> table = row->OwningTable();
  if (known_tables_.emplace(table->Identity(), true).second) {
    const int rows = table->RowCount();
    for (int r = 1; r <= rows; ++r)
      rows_.emplace(table->Row(r)->Identity(), static_cast<std::size_t>(r) - 1);
  }
  const auto found = rows_.find(row->Identity());
  return found != rows_.end() ? std::optional(found->second) : std::nullopt;
}

const std::vector<std::size_t>& ObservedForm::ErrorRows(std::size_t column) const {
  return ShownIn(column).error_rows;
}

const FirstRows& ObservedForm::ShownErrors(std::size_t column) const {
  return ShownIn(column).errors;
}

const FirstRows& ObservedForm::MissingNumbers(std::size_t column) const {
  return ShownIn(column).missing;
}

const ObservedForm::Shown& ObservedForm::ShownIn(std::size_t number) const {
  std::optional<Shown>& shown = shown_[number];
  if (shown) return *shown;
  shown.emplace();
  const ObservedColumn& column = At(number);
  const bool is_numeric = column.property->IsNumeric();
  if (!is_numeric && !column.IsComputed()) return *shown;
  for (std::size_t row = 0; row < column.cells.Count(); ++row) {
    if (column.cells.HasNumbers() && !std::isnan(column.cells.Min(row))) continue;
    const bool is_computed = column.Computes(row);
    if (!is_computed && !(is_numeric && std::isnan(column.cells.Min(row)))) continue;
    const std::u16string_view text = column.cells.Text(row);
    if (!is_computed) {
      shown->missing.try_emplace(MissingDescription(text), row);
    } else if (text.starts_with(kErrorPrefix)) {
      shown->error_rows.push_back(row);
      shown->errors.try_emplace(std::u16string(text.substr(kErrorPrefix.size())), row);
    }
  }
  return *shown;
}

Problem ObservedForm::ProblemOf(ProblemCode code, std::size_t number) const {
  const ObservedColumn& column = At(number);
  Problem problem(code);
  problem.table = column.table->table;
  problem.column = column.column;
  problem.formula = column.formula;
  return problem;
}

}  // namespace ktformula
