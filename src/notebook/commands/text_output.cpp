#include "notebook/commands/text_output.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>
#include <utility>

#include "notebook/files/utf.h"
#include "values/platform.h"
#include "values/raised_error.h"

namespace ktnotebook {

namespace {

using ktformula::kErrorPrefix;

constexpr std::array<std::string_view, 10> kTokenKinds{
    "whitespace", "name",       "string",      "reference", "number",
    "symbol",     "left paren", "right paren", "comma",     "function"};

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

TableText CellText(const NotebookCell& cell, bool is_formula_column, const TableStyle& style) {
  TableText shown{ShownText(cell, style.locale)};
  const bool is_computed = is_formula_column && cell.State().empty() && !shown.text.empty();
  if (ShowsError(cell.Text())) {
    shown.kind = TextKind::kError;
  } else if (is_computed) {
    shown.kind = TextKind::kComputed;
  }
  if (style.marks && is_computed) shown.text.insert(0, u"= ");
  return shown;
}

std::string TableLayout(const NotebookTable& table, const TableStyle& style) {
  std::vector<TableColumn> columns{{u"ID", Alignment::kLeft}};
  std::vector<bool> has_formula;
  for (const Ref<NotebookColumn>& column : table.Columns()) {
    const bool is_number = column->Definition().type == DataType::kNumber;
    columns.push_back(
        {column->Definition().name, is_number ? Alignment::kRight : Alignment::kLeft});
    has_formula.push_back(table.HasFormula(*column));
  }
  TextTable layout(columns, style);
  layout.AddRows(table.Rows().size(), [&](std::size_t i) {
    const NotebookRow row = table.Rows()[i];
    std::vector<TableText> texts{{row.ID()}};
    for (std::size_t column = 0; column < has_formula.size(); ++column)
      texts.push_back(CellText(row.CellAt(column), has_formula[column], style));
    return texts;
  });
  return layout.Render();
}

// A line of a heading, as long as a cell of a table at most.
std::u16string HeadingText(std::u16string_view text, const TableStyle& style) {
  return CutToWidth(Printable(text), style.width > 0 ? style.width : kWidestText);
}

std::string Heading(std::u16string_view text, char rule, const TableStyle& style) {
  const std::u16string shown = HeadingText(text, style);
  return ToUtf8(shown) + "\n" +
         std::string(static_cast<std::size_t>(std::max(DisplayWidth(shown), 1)), rule) + "\n";
}

// The place of a cell among the form's fields, rows and columns.
using CellPlace = std::tuple<int, int, std::size_t>;

CellPlace PlaceOf(const NotebookCell& cell) {
  const NotebookRow row = cell.OwningRow();
  return {row.Parent().OwnField().Position(), row.Position(), cell.OwningColumn().Index()};
}

}  // namespace

std::string TokensText(const std::vector<ktformula::FormulaToken>& tokens,
                       const TableStyle& style) {
  TextTable layout({{u"type", Alignment::kRight}, {u"kind"}, {u"text"}}, style);
  layout.AddRows(tokens.size(), [&tokens](std::size_t i) -> std::vector<TableText> {
    const ktformula::FormulaToken& token = tokens[i];
    const auto type = static_cast<std::size_t>(token.TokenType);
    const std::string_view kind = kTokenKinds[type];
    // Quotes, so that blanks can be seen.
    return {{ktformula::NumberToText(static_cast<double>(type))},
            {std::u16string(kind.begin(), kind.end())},
            {u"'" + token.TokenText + u"'"}};
  });
  return layout.Render();
}

std::string TreeText(const ktformula::TokenLayer& layer) {
  std::u16string text;
  AppendLayer(text, layer);
  return ToUtf8(Printable(text)) + "\n";
}

std::string FormText(const NotebookForm& form, const TableStyle& style) {
  std::string text = Heading(form.Name(), '=', style);
  for (const Ref<NotebookField>& field : form.Fields()) {
    text += "\n";
    if (field->OwnTable()) {
      text +=
          ToUtf8(HeadingText(field->Name(), style)) + "\n" + TableLayout(*field->OwnTable(), style);
    } else {
      const std::u16string content =
          field->Structure() ? field->Structure()->Data() : field->TextField()->Text();
      text += ToUtf8(Printable(field->Name() + u": " + content)) + "\n";
    }
  }
  return text;
}

std::vector<NotebookCell> InFormOrder(const std::vector<NotebookCell>& cells) {
  std::vector<std::pair<CellPlace, NotebookCell>> placed;
  placed.reserve(cells.size());
  for (const NotebookCell& cell : cells)
    placed.emplace_back(PlaceOf(cell), cell);
  std::sort(placed.begin(), placed.end());
  placed.erase(std::unique(placed.begin(), placed.end()), placed.end());
  std::vector<NotebookCell> ordered;
  ordered.reserve(placed.size());
  for (const auto& [place, cell] : placed)
    ordered.push_back(cell);
  return ordered;
}

std::string CellsText(const std::vector<NotebookCell>& cells, const TableStyle& style) {
  TextTable layout({{u"cell"}, {u"shows"}}, style);
  layout.AddRows(cells.size(), [&](std::size_t i) -> std::vector<TableText> {
    const TextKind kind = ShowsError(cells[i].Text()) ? TextKind::kError : TextKind::kPlain;
    return {{AddressOf(cells[i])}, {ShownText(cells[i], style.locale), kind}};
  });
  return layout.Render();
}

}  // namespace ktnotebook
