// Forwards to what stands behind the handles, in the words and units of the interface.
#include "notebook/tables/ktformula9.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "functions/function_table.h"
#include "notebook/tables/embedded_notebook.h"
#include "notebook/tables/embedded_values.h"
#include "notebook/tables/shown_text.h"
#include "notebook/tables/utf8.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula9 {

using ktnotebook::EmbeddedNotebook;
using ktnotebook::NotebookCell;
using ktnotebook::NotebookColumn;
using ktnotebook::NotebookTable;
using ktnotebook::Refuse;
using ktnotebook::TextOfArgument;
using ktnotebook::ToUtf8;

namespace {

std::u16string Quoted(std::u16string_view text) {
  return u"\"" + std::u16string(text) + u"\"";
}

// Runs an edit; why it is refused is told.
template <typename Body>
auto Editing(std::string_view argument, Body&& body) {
  try {
    return body();
  } catch (const ktnotebook::EditRefusal& refusal) {
    Refuse(Error::Kind::kRefused, argument, refusal.Reason());
  }
}

constexpr std::array<std::pair<Type, ktnotebook::DataType>, 5> kTypes{{
    {Type::kNumber, ktnotebook::DataType::kNumber},
    {Type::kString, ktnotebook::DataType::kString},
    {Type::kDate, ktnotebook::DataType::kDate},
    {Type::kBoolean, ktnotebook::DataType::kBoolean},
    {Type::kStructure, ktnotebook::DataType::kStructure},
}};

ktnotebook::DataType ToDataType(Type type) {
  for (const auto& [own, other] : kTypes) {
    if (own == type) return other;
  }
  Refuse(Error::Kind::kArgument, "type", u"there is no such type");
}

Type ToType(ktnotebook::DataType type) {
  for (const auto& [own, other] : kTypes) {
    if (other == type) return own;
  }
  return Type::kString;
}

// The shortest text that reads as the number in the locale.
class NumberTyper {
 public:
  explicit NumberTyper(const ktformula::Locale& locale) : point_(locale.decimal_separator) {}

  // Good until the next one.
  std::u16string_view operator()(double number) {
    std::array<char, 32> digits{};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text_.assign(static_cast<const char*>(digits.data()), end);
    std::replace(text_.begin(), text_.end(), u'.', point_);
    return text_;
  }

 private:
  char16_t point_;
  std::u16string text_;
};

// More are a mistake, such as a negative number.
constexpr std::size_t kMostRows = 1'000'000'000;

void RequireRow(const NotebookTable& table, std::size_t row) {
  const std::size_t rows = table.Rows().size();
  if (row >= rows) {
    const auto text = [](std::size_t number) {
      return ktformula::ToDecimalText(static_cast<std::int64_t>(number));
    };
    Refuse(Error::Kind::kNotFound, "row",
           u"the table " + Quoted(table.Name()) + u" has no row " +
               (row <= kMostRows ? text(row) : u"of this number") + u": it has " + text(rows));
  }
}

void RequireAccepted(const NotebookCell& cell, std::u16string_view typed,
                     std::string_view argument) {
  if (cell.Accepts(typed)) return;
  Refuse(Error::Kind::kArgument, argument,
         Quoted(typed) + u" is no value for the column " + Quoted(cell.Definition().name));
}

void Enter(EmbeddedNotebook& notebook, const NotebookCell& cell, std::string_view text,
           std::string_view argument) {
  const std::u16string typed = TextOfArgument(text, argument);
  RequireAccepted(cell, typed, argument);
  notebook.Edits().SetCell(cell, typed);
}

// Cells of a column that takes new ones from a row on.
class NewCells {
 public:
  NewCells(NotebookColumn& column, std::size_t first, std::size_t count)
      : column_(column),
        first_(first),
        typed_(column.TextsTypedIn(column.KeptIn())),
        mark_(column.TypedState()),
        is_of_bare_numbers_(column.Definition().type == ktnotebook::DataType::kNumber &&
                            column.Definition().unit == nullptr) {
    const std::size_t rows = column.Data().Count();
    if (first > rows || count > rows - first) {
      Refuse(Error::Kind::kNotFound, "first",
             u"the table " + Quoted(column.Parent().Name()) + u" has not so many rows");
    }
    data_.Append(count);
  }

  // Into the cell that stands `index` rows behind the first.
  void Type(std::size_t index, std::u16string_view text, std::string_view argument) {
    RequireAccepted(NotebookCell(column_, first_ + index), text, argument);
    typed_.Enter(text, mark_, data_, index);
  }

  // What stands for a number that is missing: a remark, and no quantity of so many digits.
  void TypeMissing(std::size_t index, std::u16string_view text, std::string_view argument) {
    RequireAccepted(NotebookCell(column_, first_ + index), text, argument);
    const bool has_formula = column_.Parent().HasFormula(column_);
    typed_.Enter(text, has_formula ? mark_ : ktnotebook::kNotedMark, data_, index);
  }

  // The text is the numbers' own.
  void Type(std::size_t index, std::u16string_view text, double min, double max,
            std::string_view argument) {
    if (!is_of_bare_numbers_ || !IsUsual(min) || !IsUsual(max) || min > max)
      return Type(index, text, argument);
    data_.SetContent(index, {text, min + 0.0, max + 0.0, {}});
    data_.SetState(index, mark_.state, mark_.tag);
  }

  void PutInto(EmbeddedNotebook& notebook) {
    notebook.Edits().ReplaceCells(column_, std::move(data_), first_);
  }

 private:
  // What its shortest text is surely read as.
  static bool IsUsual(double number) { return std::isnormal(number) || number == 0; }

  NotebookColumn& column_;
  std::size_t first_;
  ktnotebook::TypedTexts typed_;
  ktnotebook::TypedMark mark_;
  // So that texts of numbers need not be read.
  bool is_of_bare_numbers_;
  ktnotebook::ColumnData data_;
};

// The number of a row that comes, or the next one that no row has for its id.
std::u16string FreeNumber(const NotebookTable& table, std::size_t row) {
  for (auto number = static_cast<std::int64_t>(row) + 1;; ++number) {
    std::u16string id = ktformula::ToDecimalText(number);
    if (!table.HasRow(id)) return id;
  }
}

Origin OriginOf(const NotebookColumn& column, std::size_t row, bool has_formula) {
  const std::u16string& state = column.Data().State(row);
  if (state == ktformula::kEnteredState) return Origin::kTyped;
  if (!state.empty()) return Origin::kNoted;
  std::u16string buffer;
  if (column.Data().Text(row, buffer).empty()) return Origin::kEmpty;
  return has_formula ? Origin::kComputed : Origin::kNoted;
}

bool IsError(Origin origin, std::u16string_view text) {
  return origin == Origin::kComputed && ktnotebook::ShowsError(text);
}

// Numbers of a column in its unit.
class InColumnUnit {
 public:
  explicit InColumnUnit(const NotebookColumn& column) : unit_(column.Definition().unit) {}
  double operator()(double number) const {
    return unit_ != nullptr ? unit_->FromBase(number) : number;
  }
  // Whether an empty cell's 0 is another number in the unit: of °C it is -273.15.
  bool MovesZero() const { return (*this)(0) != 0; }

 private:
  const ktnotebook::NotebookUnit* unit_;
};

std::vector<double> NumbersIn(const NotebookColumn& column, std::span<const double> numbers) {
  const InColumnUnit in_unit(column);
  std::vector<double> converted(numbers.size());
  std::transform(numbers.begin(), numbers.end(), converted.begin(), in_unit);
  if (!in_unit.MovesZero()) return converted;
  std::u16string buffer;
  for (std::size_t row = 0; row < converted.size(); ++row) {
    if (column.Data().Text(row, buffer).empty()) converted[row] = 0;
  }
  return converted;
}

ktnotebook::PropertyDefinition ToDefinition(std::u16string name, const ColumnOptions& options,
                                            const EmbeddedNotebook& notebook) {
  ktnotebook::PropertyDefinition definition;
  definition.name = std::move(name);
  definition.type = ToDataType(options.type);
  const bool is_number = options.type == Type::kNumber;
  definition.number_formatting = is_number && options.is_formatted;
  if (options.unit.empty()) return definition;
  const std::u16string unit = TextOfArgument(options.unit, "unit");
  if (!is_number) {
    Refuse(Error::Kind::kArgument, "unit", u"only a column of numbers has a unit");
  }
  definition.unit = notebook.Form().Units().FindUnit(ktnotebook::NormalizeUnitName(unit));
  if (definition.unit == nullptr) {
    Refuse(Error::Kind::kArgument, "unit", u"the unit " + Quoted(unit) + u" is not known");
  }
  return definition;
}

// The name of something in a table, or the table's own, which has to be there.
template <typename Found>
Found& Need(Found* found, std::string_view what, const std::u16string& name) {
  if (found == nullptr) {
    Refuse(Error::Kind::kNotFound, what,
           u"there is no " + std::u16string(what.begin(), what.end()) + u" " + Quoted(name));
  }
  return *found;
}

// "TABLE:COLUMN:ROW"; names may have ":" in them.
NotebookCell FindCell(const ktnotebook::NotebookForm& form, const std::u16string& address) {
  for (const NotebookTable* table : form.Tables()) {
    const std::u16string begin = table->Name() + u":";
    if (!address.starts_with(begin)) continue;
    for (const auto& column : table->Columns()) {
      const std::u16string front = begin + column->Definition().name + u":";
      if (!address.starts_with(front)) continue;
      if (const auto row = table->FindRow(std::u16string_view(address).substr(front.size())))
        return row->CellAt(column->Index());
    }
  }
  Refuse(Error::Kind::kNotFound, "cell", u"there is no cell " + Quoted(address));
}

}  // namespace

Error::Error(Kind kind, std::string argument, const std::string& message,
             std::optional<Place> place)
    : std::runtime_error(message), kind_(kind), argument_(std::move(argument)), place_(place) {}
Error::~Error() = default;

Value Value::OfRange(double min, double max, std::string shown) {
  Value value;
  value.kind_ = Kind::kNumber;
  value.min_ = min;
  value.max_ = max;
  value.text_ = std::move(shown);
  return value;
}

Value Value::OfMissingNumber(std::string why) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  return OfRange(kNone, kNone, std::move(why));
}

Value Value::OfText(std::string text) {
  Value value;
  value.kind_ = Kind::kText;
  value.text_ = std::move(text);
  return value;
}

Value Value::OfBoolean(bool boolean, std::string shown) {
  Value value = OfText(std::move(shown));
  value.kind_ = Kind::kBoolean;
  value.boolean_ = boolean;
  return value;
}

Value Value::OfDate(double days, std::string shown) {
  Value value = OfRange(days, days, std::move(shown));
  value.kind_ = Kind::kDate;
  return value;
}

Value Value::OfStructure(std::string mvr) {
  Value value = OfText(std::move(mvr));
  value.kind_ = Kind::kStructure;
  return value;
}

Value Value::OfError(std::string description) {
  Value value = OfText(std::move(description));
  value.kind_ = Kind::kError;
  return value;
}

Column::Column(std::shared_ptr<EmbeddedNotebook> notebook, NotebookColumn& column)
    : notebook_(std::move(notebook)), column_(&column) {}

NotebookColumn& Column::Own() const {
  const NotebookTable& table = column_->Parent();
  const std::size_t index = column_->Index();
  const bool is_there = notebook_->Holds(table) && index < table.Columns().size() &&
                        table.Columns()[index].get() == column_;
  if (!is_there) {
    Refuse(Error::Kind::kGone, "column",
           u"the column " + Quoted(column_->Definition().name) + u" was removed");
  }
  return *column_;
}

std::string Column::Name() const {
  return ToUtf8(Own().Definition().name);
}

Type Column::HoldsType() const {
  return ToType(Own().Definition().type);
}

std::string Column::Unit() const {
  const ktnotebook::NotebookUnit* const unit = Own().Definition().unit;
  return unit != nullptr ? ToUtf8(unit->Name()) : std::string();
}

std::string Column::Formula() const {
  return ToUtf8(ktnotebook::FormulaOf(Own()).formula);
}

std::string Column::Format() const {
  return ToUtf8(ktnotebook::FormulaOf(Own()).string_format);
}

void Column::SetFormula(std::string_view formula, std::string_view format) {
  const std::u16string text = TextOfArgument(formula, "formula");
  const std::u16string pattern = TextOfArgument(format, "format");
  NotebookColumn& column = Own();
  ktnotebook::FormEdits& edits = notebook_->Edits();
  edits.Together(
      [&] { edits.SetFormula(notebook_->ListenerFor(column.Parent()), column, text, pattern); });
}

void Column::Rename(std::string_view name) {
  const std::u16string text = TextOfArgument(name, "name");
  Editing("name", [&] { notebook_->Edits().RenameColumn(Own(), text); });
}

void Column::Move(std::size_t place) {
  notebook_->Edits().MoveColumn(Own(), place);
}

void Column::Remove() {
  notebook_->Edits().RemoveColumn(Own());
}

Cell Column::At(std::size_t row) const {
  const NotebookColumn& column = Own();
  RequireRow(column.Parent(), row);
  std::u16string buffer;
  const ktnotebook::ContentView content = column.Data().Content(row, buffer);
  const InColumnUnit in_unit(column);
  Cell cell;
  cell.text = ToUtf8(content.text);
  if (!content.text.empty()) {
    cell.min = in_unit(content.min);
    cell.max = in_unit(content.max);
  }
  cell.unit = ToUtf8(content.unit);
  cell.origin = OriginOf(column, row, column.Parent().HasFormula(column));
  if (IsError(cell.origin, content.text))
    cell.error = ToUtf8(content.text.substr(ktformula::kErrorPrefix.size()));
  return cell;
}

void Column::Set(std::size_t row, std::string_view text) {
  NotebookColumn& column = Own();
  RequireRow(column.Parent(), row);
  Enter(*notebook_, NotebookCell(column, row), text, "text");
}

void Column::Set(std::size_t row, double number) {
  NotebookColumn& column = Own();
  RequireRow(column.Parent(), row);
  const NotebookCell cell(column, row);
  NumberTyper typer(column.KeptIn());
  const std::u16string_view typed = typer(number);
  RequireAccepted(cell, typed, "number");
  notebook_->Edits().SetCell(cell, typed);
}

void Column::SetTexts(std::span<const std::string_view> texts, std::size_t first) {
  NewCells cells(Own(), first, texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i)
    cells.Type(i, TextOfArgument(texts[i], "texts"), "texts");
  cells.PutInto(*notebook_);
}

void Column::SetNumbers(std::span<const double> numbers, std::size_t first,
                        std::string_view missing) {
  SetBounds(numbers, numbers, first, missing, "numbers");
}

void Column::SetRanges(std::span<const double> min, std::span<const double> max, std::size_t first,
                       std::string_view missing) {
  if (min.size() != max.size())
    Refuse(Error::Kind::kArgument, "max", u"there are not as many upper bounds as lower ones");
  SetBounds(min, max, first, missing, "min");
}

void Column::SetBounds(std::span<const double> min, std::span<const double> max, std::size_t first,
                       std::string_view missing, std::string_view argument) {
  const std::u16string no_number = TextOfArgument(missing, "missing");
  NotebookColumn& column = Own();
  NewCells cells(column, first, min.size());
  NumberTyper lower(column.KeptIn());
  NumberTyper upper(column.KeptIn());
  for (std::size_t i = 0; i < min.size(); ++i) {
    if (std::isnan(min[i]) || std::isnan(max[i])) {
      cells.TypeMissing(i, no_number, argument);
    } else if (min[i] == max[i]) {
      cells.Type(i, lower(min[i]), min[i], max[i], argument);
    } else {
      const std::u16string range =
          std::u16string(lower(min[i])).append(u" .. ").append(upper(max[i]));
      cells.Type(i, range, min[i], max[i], argument);
    }
  }
  cells.PutInto(*notebook_);
}

std::vector<std::string> Column::Texts() const {
  const ktnotebook::ColumnData& data = Own().Data();
  std::vector<std::string> texts;
  texts.reserve(data.Count());
  std::u16string buffer;
  for (std::size_t row = 0; row < data.Count(); ++row)
    texts.push_back(ToUtf8(data.Text(row, buffer)));
  return texts;
}

std::vector<double> Column::MinNumbers() const {
  return NumbersIn(Own(), Own().Data().MinNumbers());
}

std::vector<double> Column::MaxNumbers() const {
  return NumbersIn(Own(), Own().Data().MaxNumbers());
}

std::vector<Origin> Column::Origins() const {
  const NotebookColumn& column = Own();
  const bool has_formula = column.Parent().HasFormula(column);
  std::vector<Origin> origins(column.Data().Count());
  for (std::size_t row = 0; row < origins.size(); ++row)
    origins[row] = OriginOf(column, row, has_formula);
  return origins;
}

std::vector<bool> Column::Errors() const {
  const NotebookColumn& column = Own();
  const bool has_formula = column.Parent().HasFormula(column);
  std::vector<bool> errors(column.Data().Count());
  std::u16string buffer;
  for (std::size_t row = 0; row < errors.size(); ++row) {
    errors[row] = IsError(OriginOf(column, row, has_formula), column.Data().Text(row, buffer));
  }
  return errors;
}

Value Column::Evaluate(std::size_t row, std::string_view formula) const {
  const std::u16string text = TextOfArgument(formula, "formula");
  NotebookColumn& column = Own();
  RequireRow(column.Parent(), row);
  return notebook_->Evaluate(NotebookCell(column, row), text);
}

Explanation Column::Explain(std::size_t row, int depth) const {
  NotebookColumn& column = Own();
  RequireRow(column.Parent(), row);
  return notebook_->Explain(NotebookCell(column, row), depth);
}

Table::Table(std::shared_ptr<EmbeddedNotebook> notebook, NotebookTable& table)
    : notebook_(std::move(notebook)), table_(&table) {}

NotebookTable& Table::Own() const {
  if (!notebook_->Holds(*table_)) {
    Refuse(Error::Kind::kGone, "table", u"the table " + Quoted(table_->Name()) + u" was removed");
  }
  return *table_;
}

std::string Table::Name() const {
  return ToUtf8(Own().Name());
}

std::size_t Table::RowCount() const {
  return Own().Rows().size();
}

std::vector<Column> Table::Columns() const {
  std::vector<Column> columns;
  for (const auto& column : Own().Columns())
    columns.push_back(Column(notebook_, *column));
  return columns;
}

Column Table::At(std::string_view column) const {
  const std::u16string name = TextOfArgument(column, "column");
  return {notebook_, Need(Own().FindColumn(name), "column", name)};
}

Column Table::AddColumn(std::string_view name, const ColumnOptions& options) {
  ktnotebook::PropertyDefinition definition =
      ToDefinition(TextOfArgument(name, "name"), options, *notebook_);
  const std::u16string formula = TextOfArgument(options.formula, "formula");
  const std::u16string format = TextOfArgument(options.format, "format");
  return Editing("name", [&] {
    return Column(notebook_, notebook_->AddColumn(Own(), std::move(definition), formula, format));
  });
}

std::size_t Table::AddRow(std::initializer_list<std::string_view> texts, std::string_view id) {
  return AddRow(std::span(texts.begin(), texts.size()), id);
}

std::size_t Table::AddRow(std::span<const std::string_view> texts, std::string_view id) {
  NotebookTable& table = Own();
  const std::size_t row = table.Rows().size();
  std::u16string own_id = TextOfArgument(id, "id");
  if (own_id.empty()) own_id = FreeNumber(table, row);
  if (texts.size() > table.Columns().size()) {
    Refuse(Error::Kind::kArgument, "texts",
           u"the table " + Quoted(table.Name()) + u" has not so many columns");
  }
  ktnotebook::FormEdits& edits = notebook_->Edits();
  Editing("id", [&] {
    edits.Together([&] {
      edits.AddRow(table, own_id, {}, row);
      for (std::size_t i = 0; i < texts.size(); ++i) {
        const NotebookCell cell(*table.Columns()[i], row);
        if (!texts[i].empty()) Enter(*notebook_, cell, texts[i], "texts");
      }
    });
  });
  return row;
}

void Table::AddRows(std::size_t count) {
  if (count > kMostRows - std::min(kMostRows, Own().Rows().size()))
    Refuse(Error::Kind::kArgument, "count", u"a table can not have so many rows");
  NotebookTable& table = Own();
  ktnotebook::FormEdits& edits = notebook_->Edits();
  if (edits.CanAppendRows(table, count)) return edits.AppendRows(table, count);
  edits.Together([&] {
    for (std::size_t row = table.Rows().size(); count > 0; --count, ++row)
      edits.AddRow(table, FreeNumber(table, row), {}, row);
  });
}

void Table::AddRows(std::span<const std::string_view> ids) {
  std::vector<std::u16string> texts;
  texts.reserve(ids.size());
  for (const std::string_view id : ids)
    texts.push_back(TextOfArgument(id, "ids"));
  Editing("ids", [&] { notebook_->Edits().AppendRows(Own(), std::move(texts)); });
}

void Table::RemoveRow(std::size_t row) {
  RequireRow(Own(), row);
  notebook_->Edits().RemoveRow(Own(), row);
}

void Table::MoveRow(std::size_t row, std::size_t place) {
  RequireRow(Own(), row);
  notebook_->Edits().MoveRow(Own(), row, place);
}

std::string Table::RowId(std::size_t row) const {
  RequireRow(Own(), row);
  return ToUtf8(Own().IdOf(row));
}

void Table::RenameRow(std::size_t row, std::string_view id) {
  const std::u16string text = TextOfArgument(id, "id");
  RequireRow(Own(), row);
  Editing("id", [&] { notebook_->Edits().RenameRow(Own(), row, text); });
}

std::optional<std::size_t> Table::FindRow(std::string_view id) const {
  const std::u16string text = TextOfArgument(id, "id");
  if (!Own().HasRow(text)) return std::nullopt;
  return Own().FindRow(text)->Index();
}

void Table::SetDefinition(std::string_view name, std::string_view formula) {
  const std::u16string own_name = TextOfArgument(name, "name");
  const std::u16string text = TextOfArgument(formula, "formula");
  if (own_name.empty()) Refuse(Error::Kind::kArgument, "name", u"a name must not be empty");
  NotebookTable& table = Own();
  ktnotebook::FormEdits& edits = notebook_->Edits();
  edits.Together([&] { edits.SetDefinition(notebook_->ListenerFor(table), own_name, text); });
}

std::string Table::Definition(std::string_view name) const {
  const std::u16string own_name = TextOfArgument(name, "name");
  const auto* const listener = ktnotebook::FindListener(Own());
  const auto entry = listener != nullptr ? listener->DefinitionOf(own_name) : std::nullopt;
  return entry ? ToUtf8(entry->formula) : std::string();
}

std::vector<std::string> Table::Definitions() const {
  std::vector<std::string> names;
  const auto* const listener = ktnotebook::FindListener(Own());
  if (listener == nullptr) return names;
  for (const ktformula::FormulaText& definition : listener->Definitions())
    names.push_back(ToUtf8(definition.key));
  return names;
}

void Table::SetResultFormat(std::string_view identifier) {
  const std::u16string text = TextOfArgument(identifier, "identifier");
  if (!text.empty() && !ktnotebook::IsResultFormat(text)) {
    Refuse(Error::Kind::kNotFound, "identifier", u"there is no result format " + Quoted(text));
  }
  NotebookTable& table = Own();
  ktnotebook::FormEdits& edits = notebook_->Edits();
  edits.Together([&] { edits.SetResultFormat(notebook_->ListenerFor(table), text); });
}

void Table::Rename(std::string_view name) {
  const std::u16string text = TextOfArgument(name, "name");
  Editing("name", [&] { notebook_->Edits().RenameField(Own().OwnField(), text); });
}

void Table::Move(std::size_t place) {
  notebook_->Edits().MoveField(Own().OwnField(), place);
}

void Table::Remove() {
  notebook_->Edits().RemoveField(Own().OwnField());
}

Notebook::Notebook(std::string_view name, std::string_view locale) {
  const std::u16string locale_name = TextOfArgument(locale, "locale");
  std::optional<ktnotebook::NamedLocale> known = ktnotebook::FindNamedLocale(locale_name);
  if (!known)
    Refuse(Error::Kind::kArgument, "locale",
           u"the locale " + Quoted(locale_name) + u" is not known");
  notebook_ = std::make_shared<EmbeddedNotebook>(TextOfArgument(name, "name"), std::move(*known));
}

std::string Notebook::Name() const {
  return ToUtf8(notebook_->Form().Name());
}

std::vector<Table> Notebook::Tables() const {
  std::vector<Table> tables;
  for (NotebookTable* const table : notebook_->Form().Tables())
    tables.push_back(Table(notebook_, *table));
  return tables;
}

Table Notebook::At(std::string_view table) const {
  const std::u16string name = TextOfArgument(table, "table");
  return {notebook_, Need(notebook_->Form().FindTable(name), "table", name)};
}

Table Notebook::AddTable(std::string_view name) {
  const std::u16string text = TextOfArgument(name, "name");
  return Editing("name", [&] { return Table(notebook_, notebook_->AddTable(text)); });
}

void Notebook::AddFunction(Function function) {
  notebook_->AddFunction(std::move(function));
}

std::vector<FunctionHelp> Notebook::Functions() const {
  std::vector<FunctionHelp> functions;
  for (const ktformula::FunctionRow& row : ktformula::NamedFunctions()) {
    functions.push_back(
        {ToUtf8(row.name), row.arguments.least, row.arguments.most, std::string(row.help.summary)});
  }
  for (const auto& function : notebook_->Functions())
    functions.push_back({function->name, function->least, function->most, function->help});
  return functions;
}

Recalculation Notebook::Recalculate(int rounds) {
  return notebook_->Recalculate(rounds);
}

std::vector<Problem> Notebook::Check() {
  return notebook_->Check();
}

Explanation Notebook::Explain(std::string_view cell, int depth) const {
  return notebook_->Explain(FindCell(notebook_->Form(), TextOfArgument(cell, "cell")), depth);
}

bool Notebook::Undo() {
  return notebook_->Edits().Undo();
}

bool Notebook::Redo() {
  return notebook_->Edits().Redo();
}

void Notebook::ForgetHistory() {
  notebook_->Edits().Forget();
}

std::string_view Version() noexcept {
  return KT_VERSION;
}

}  // namespace ktformula9
