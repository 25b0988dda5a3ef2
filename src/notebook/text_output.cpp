#include "notebook/text_output.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <tuple>

#include "notebook/text_table.h"
#include "notebook/utf.h"
#include "values/platform.h"
#include "values/raised_error.h"

namespace ktnotebook {

namespace {

constexpr std::u16string_view kErrorPrefix = u"#Error: ";

constexpr std::array<std::string_view, 10> kTokenKinds{
    "whitespace", "name",       "string",      "reference", "number",
    "symbol",     "left paren", "right paren", "comma",     "function"};

std::u16string NumberText(double value) {
  if (std::isfinite(value)) return ktformula::NumberToText(value);
  return std::u16string(kErrorPrefix) +
         std::u16string(ktformula::DescriptionOf(ktformula::RuntimeError::kOverflow));
}

std::u16string TokenText(const ktformula::FormulaToken& token) {
  switch (token.TokenType) {
    case ktformula::kFormulaTokenTypeString: return u"\"" + token.TokenText + u"\"";
    case ktformula::kFormulaTokenTypeReference: return u"<" + token.TokenText + u">";
    default: return token.TokenText;
  }
}

void AppendLayer(std::u16string& text, const ktformula::TokenLayer& layer) {
  text += u"[";
  bool is_first = true;
  for (std::size_t i = 0; i < layer.Count(); ++i) {
    if (!is_first) text += u", ";
    is_first = false;
    const ktformula::LayerItem item = layer.Item(i);
    if (item.IsLayer()) {
      AppendLayer(text, item.Layer());
    } else {
      text += TokenText(item.Token());
    }
  }
  text += u"]";
}

std::string TableLayout(const NotebookTable& table, bool coloured) {
  std::vector<TableColumn> columns{{u"ID", Alignment::kLeft}};
  for (const Ref<NotebookColumn>& column : table.Columns()) {
    const bool is_number = column->Definition().type == DataType::kNumber;
    columns.push_back(
        {column->Definition().name, is_number ? Alignment::kRight : Alignment::kLeft});
  }
  TextTable layout(columns);
  std::vector<TableText> texts;
  for (const Ref<NotebookRow>& row : table.Rows()) {
    texts.assign(1, {row->ID(), false});
    for (const Ref<NotebookColumn>& column : table.Columns()) {
      const NotebookCell& cell = row->CellAt(column->Index());
      texts.push_back({cell.Content().text, ShowsError(cell)});
    }
    layout.AddRow(texts);
  }
  return layout.Render(coloured);
}

std::string Heading(std::u16string_view text, char rule) {
  const std::u16string printable = Printable(text);
  return ToUtf8(printable) + "\n" +
         std::string(static_cast<std::size_t>(std::max(DisplayWidth(printable), 1)), rule) + "\n";
}

// The place of a cell among the form's fields, rows and columns.
using CellPlace = std::tuple<int, int, std::size_t>;

CellPlace PlaceOf(const NotebookCell& cell) {
  const NotebookRow& row = cell.OwningRow();
  return {row.Parent().OwnField().Position(), row.Position(), cell.OwningColumn().Index()};
}

}  // namespace

std::u16string ValueText(const ktformula::CellValue& value) {
  switch (value.CellValueType()) {
    case ktformula::kCellValueTypeError:
      return std::u16string(kErrorPrefix) + value.ErrorDescription();
    case ktformula::kCellValueTypeNumber:
      if (value.MinNumber() == value.MaxNumber() || !std::isfinite(value.MinNumber())) {
        return NumberText(value.MinNumber());
      }
      if (!std::isfinite(value.MaxNumber())) return NumberText(value.MaxNumber());
      return NumberText(value.MinNumber()) + u" .. " + NumberText(value.MaxNumber());
    case ktformula::kCellValueTypeStructure: return value.MvrStructure();
    default: return value.Text();
  }
}

std::string TokensText(const std::vector<ktformula::FormulaToken>& tokens) {
  TextTable layout({{u"type", Alignment::kRight}, {u"kind"}, {u"text"}});
  for (const ktformula::FormulaToken& token : tokens) {
    const auto type = static_cast<std::size_t>(token.TokenType);
    const std::string_view kind = kTokenKinds[type];
    // Quotes, so that blanks can be seen.
    layout.AddRow({{ktformula::NumberToText(static_cast<double>(type)), false},
                   {std::u16string(kind.begin(), kind.end()), false},
                   {u"'" + token.TokenText + u"'", false}});
  }
  return layout.Render(false);
}

std::string TreeText(const ktformula::TokenLayer& layer) {
  std::u16string text;
  AppendLayer(text, layer);
  return ToUtf8(Printable(text)) + "\n";
}

bool ShowsError(const NotebookCell& cell) {
  return cell.Content().text.starts_with(kErrorPrefix);
}

std::string FormText(const NotebookForm& form, bool coloured) {
  std::string text = Heading(form.Name(), '=');
  for (const Ref<NotebookField>& field : form.Fields()) {
    text += "\n";
    if (field->OwnTable()) {
      text += ToUtf8(Printable(field->Name())) + "\n" + TableLayout(*field->OwnTable(), coloured);
    } else {
      const std::u16string content =
          field->Structure() ? field->Structure()->Data() : field->TextField()->Text();
      text += ToUtf8(Printable(field->Name() + u": " + content)) + "\n";
    }
  }
  return text;
}

std::u16string AddressOf(const NotebookCell& cell) {
  const NotebookTable& table = cell.OwningRow().Parent();
  return table.Parent().Name() + u"/" + table.Name() + u":" + cell.Definition().name + u":" +
         cell.OwningRow().ID();
}

std::string CellsText(const std::vector<NotebookCell*>& cells, bool coloured) {
  std::map<CellPlace, const NotebookCell*> ordered;
  for (const NotebookCell* cell : cells)
    ordered.emplace(PlaceOf(*cell), cell);
  TextTable layout({{u"cell"}, {u"shows"}});
  for (const auto& [place, cell] : ordered) {
    layout.AddRow({{AddressOf(*cell), false}, {cell->Content().text, ShowsError(*cell)}});
  }
  return layout.Render(coloured);
}

}  // namespace ktnotebook
