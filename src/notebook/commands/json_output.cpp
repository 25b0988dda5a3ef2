#include "notebook/commands/json_output.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>

#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

using Json = nlohmann::ordered_json;

// JSON may stand in a terminal: active characters, which occur in its strings alone, are escaped.
std::string Dump(const Json& json) {
  std::string text = json.dump();
  // Among the printable characters of ASCII there is nothing active.
  const bool is_plain =
      std::all_of(text.begin(), text.end(), [](char byte) { return byte >= ' ' && byte < '\x7F'; });
  if (is_plain) return text;
  std::u16string escaped;
  for (const char16_t unit : FromStoredUtf8(text)) {
    if (IsActive(unit)) {
      escaped += Escape(unit);
    } else {
      escaped.push_back(unit);
    }
  }
  return ToUtf8(escaped);
}

Json ErrorJson(std::int32_t number, std::u16string_view source, std::u16string_view description) {
  return {{"number", number}, {"source", ToUtf8(source)}, {"description", ToUtf8(description)}};
}

Json TokenJson(const ktformula::FormulaToken& token) {
  return {{"type", static_cast<int>(token.TokenType)}, {"text", ToUtf8(token.TokenText)}};
}

Json LayerJson(const ktformula::TokenLayer& layer) {
  Json items = Json::array();
  for (std::size_t i = 0; i < layer.Count(); ++i) {
    const ktformula::LayerItem item = layer.Item(i);
    items.push_back(item.IsLayer() ? LayerJson(item.Layer()) : TokenJson(item.Token()));
  }
  return items;
}

std::string Quoted(std::u16string_view text) {
  return Dump(Json(ToUtf8(text)));
}

// The shortest decimals that read back to the number; the library's own are not always.
std::string NumberJson(double number) {
  if (!std::isfinite(number)) return "null";
  const double size = std::abs(number);
  const bool is_plain = size == 0 || (size >= 1e-4 && size < 1e15);
  std::array<char, 32> buffer{};
  const auto written =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), number,
                    is_plain ? std::chars_format::fixed : std::chars_format::scientific);
  std::string text(buffer.data(), written.ptr);
  if (is_plain && text.find('.') == std::string::npos) text += ".0";
  return text;
}

std::string RangeJson(std::string_view kind, double min, double max) {
  return "{\"kind\":\"" + std::string(kind) + "\",\"min\":" + NumberJson(min) +
         ",\"max\":" + NumberJson(max) + "}";
}

std::string CellJson(const NotebookCell& cell) {
  const CellContent content = cell.Content();
  return "{\"text\":" + Quoted(content.text) + ",\"state\":" + Quoted(cell.State()) +
         ",\"min\":" + NumberJson(content.min) + ",\"max\":" + NumberJson(content.max) +
         ",\"unit\":" + Quoted(content.unit) + "}";
}

void WriteRow(const NotebookRow& row, std::ostream& out) {
  out << "{\"id\":" << Quoted(row.ID()) << ",\"cells\":{";
  const char* separator = "";
  for (const Ref<NotebookColumn>& column : row.Parent().Columns()) {
    out << separator << Quoted(column->Definition().name) << ':'
        << CellJson(row.CellAt(column->Index()));
    separator = ",";
  }
  out << "}}";
}

void WriteTable(const NotebookTable& table, std::ostream& out) {
  Json columns = Json::array();
  for (const Ref<NotebookColumn>& column : table.Columns()) {
    columns.push_back(ToUtf8(column->Definition().name));
  }
  out << "{\"name\":" << Quoted(table.Name()) << ",\"columns\":" << Dump(columns) << ",\"rows\":[";
  const char* separator = "";
  for (const NotebookRow row : table.Rows()) {
    out << separator;
    WriteRow(row, out);
    separator = ",";
  }
  out << "]}";
}

void WriteForm(const RecalculatedForm& recalculated, std::ostream& out) {
  out << "{\"name\":" << Quoted(recalculated.form->Name())
      << ",\"settled\":" << (recalculated.result.settled ? "true" : "false")
      << ",\"rounds\":" << recalculated.result.rounds << ",\"tables\":[";
  const char* separator = "";
  for (const NotebookTable* table : recalculated.form->Tables()) {
    out << separator;
    WriteTable(*table, out);
    separator = ",";
  }
  out << "]}";
}

}  // namespace

std::string TextJson(std::u16string_view text) {
  return Quoted(text);
}

std::string ValueJson(const ktformula::CellValue& value) {
  Json json;
  switch (value.CellValueType()) {
    case ktformula::kCellValueTypeNumber:
      return RangeJson("number", value.MinNumber(), value.MaxNumber());
    case ktformula::kCellValueTypeDate: return RangeJson("date", value.MinDate(), value.MaxDate());
    case ktformula::kCellValueTypeString:
      json = {{"kind", "string"}, {"text", ToUtf8(value.Text())}};
      break;
    case ktformula::kCellValueTypeBoolean:
      json = {{"kind", "boolean"}, {"value", value.BooleanValue()}};
      break;
    case ktformula::kCellValueTypeStructure:
      json = {{"kind", "structure"}, {"mvr", ToUtf8(value.MvrStructure())}};
      break;
    case ktformula::kCellValueTypeError:
      json = {{"kind", "error"}};
      json.update(ErrorJson(value.ErrorNumber(), value.ErrorSource(), value.ErrorDescription()));
      break;
    default: json = {{"kind", "unknown"}};
  }
  return Dump(json);
}

std::string RaisedJson(const ktformula::RaisedError& error) {
  return Dump({{"raised", ErrorJson(error.Number(), error.Source(), error.Description())}});
}

std::string TokensJson(const std::vector<ktformula::FormulaToken>& tokens) {
  Json json = Json::array();
  for (const ktformula::FormulaToken& token : tokens)
    json.push_back(TokenJson(token));
  return Dump(json);
}

std::string TreeJson(const ktformula::TokenLayer& layer) {
  return Dump(LayerJson(layer));
}

void WriteRecalculationJson(const std::vector<RecalculatedForm>& forms, std::ostream& out) {
  out << "{\"forms\":[";
  const char* separator = "";
  for (const RecalculatedForm& form : forms) {
    out << separator;
    WriteForm(form, out);
    separator = ",";
  }
  out << "]}\n";
}

}  // namespace ktnotebook
