#include "notebook.h"

#include <utility>

#include "notebook/files/utf.h"
#include "notebook/tables/recalculation.h"

namespace side_by_side {

namespace {

ktformula::Ref<ktformula::TableProperty> ColumnAt(const ktnotebook::NotebookTable& table,
                                                  std::size_t index) {
  return table.Column(static_cast<int>(index) + 1);
}

}  // namespace

Column::Column(ktnotebook::NotebookTable& table, std::size_t index)
    : table_(&table), index_(index), column_(ColumnAt(table, index)) {}

ktformula::Ref<ktformula::TableCell> Column::CellAt(std::size_t row) const {
  return column_->Cell(static_cast<int>(row) + 1);
}

void Column::Enter(std::size_t row, std::u16string_view text) {
  table_->Rows()[row].CellAt(index_).Enter(text);
}

void Column::EnterAll(const Numbers& numbers) {
  for (std::size_t row = 0; row < numbers.size(); ++row)
    Enter(row, Wide(TextOf(numbers[row])));
}

double Column::Number(std::size_t row) const {
  const ktformula::ColumnCells* cells = column_->Cells();
  return cells != nullptr ? cells->MinNumbers()[row] : CellAt(row)->MinNumber();
}

std::string Column::Text(std::size_t row) const {
  return ktnotebook::ToUtf8(TextAt(row));
}

std::u16string_view Column::TextAt(std::size_t row) const {
  if (const ktformula::ColumnCells* cells = column_->Cells()) return cells->Text(row, buffer_);
  buffer_ = CellAt(row)->Text();
  return buffer_;
}

double Column::ReadNumbers() const {
  double sum = 0;
  if (const ktformula::ColumnCells* cells = column_->Cells()) {
    for (const double number : cells->MinNumbers())
      sum += number;
    return sum;
  }
  const auto rows = static_cast<std::size_t>(column_->CellCount());
  for (std::size_t row = 0; row < rows; ++row)
    sum += CellAt(row)->MinNumber();
  return sum;
}

std::size_t Column::ReadTexts() const {
  const auto rows = static_cast<std::size_t>(column_->CellCount());
  std::size_t characters = 0;
  if (const ktformula::ColumnCells* cells = column_->Cells()) {
    for (std::size_t row = 0; row < rows; ++row)
      characters += cells->Text(row, buffer_).size();
    return characters;
  }
  for (std::size_t row = 0; row < rows; ++row)
    characters += ReadText(row);
  return characters;
}

std::size_t Column::ReadText(std::size_t row) const {
  return TextAt(row).size();
}

ktnotebook::NotebookTable& Notebook::AddTable(std::u16string_view name, std::size_t rows) {
  ktnotebook::NotebookTable& table = *form_->AddTable(name, ++keys_);
  for (std::size_t row = 1; row <= rows; ++row)
    table.AddRow(Wide(std::to_string(row)));
  return table;
}

Column Notebook::AddInput(ktnotebook::NotebookTable& table, std::u16string_view name,
                          ktnotebook::DataType type) {
  ktnotebook::PropertyDefinition definition;
  definition.key = ++keys_;
  definition.name = name;
  definition.type = type;
  return {table, table.AddColumn(std::move(definition))->Index()};
}

Column Notebook::AddFormula(ktnotebook::NotebookTable& table, std::u16string_view name,
                            std::u16string_view formula, ktnotebook::DataType type) {
  Column column = AddInput(table, name, type);
  const auto any = [](const ktformula::IKtFormulaListener&) { return true; };
  framework_->FormulaListenerOf(table, any).SetPropertyFormula(keys_, formula, u"");
  return column;
}

void Notebook::Recalculate(const ktnotebook::NotebookTable* first) {
  ktnotebook::RecalculateForm(*form_, ktnotebook::RoundLimit(*form_), first);
}

void NotebookPeer::Work() {
  notebook_.Recalculate();
  for (const Column& column : results_) {
    if (reading_ != Reading::kTexts) seen_ += column.ReadNumbers();
    if (reading_ != Reading::kNumbers) seen_ += static_cast<double>(column.ReadTexts());
  }
}

std::string NotebookPeer::Result(std::size_t column, std::size_t row) const {
  const Column& cells = results_[column];
  std::string number = TextOf(cells.Number(row));
  if (reading_ == Reading::kNumbers) return number;
  std::string text = cells.Text(row);
  // Who reads both wants them to say the same.
  if (reading_ == Reading::kBoth && text != number) text += " for " + number;
  return text;
}

std::u16string Wide(std::string_view ascii) {
  return {ascii.begin(), ascii.end()};
}

}  // namespace side_by_side
