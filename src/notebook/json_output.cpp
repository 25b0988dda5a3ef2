#include "notebook/json_output.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "notebook/utf.h"

namespace ktnotebook {

namespace {

using Json = nlohmann::ordered_json;

Json ErrorJson(std::int32_t number, std::u16string_view source, std::u16string_view description) {
  return {{"number", number}, {"source", ToUtf8(source)}, {"description", ToUtf8(description)}};
}

Json TokenJson(const ktformula::FormulaToken& token) {
  return {{"type", static_cast<int>(token.TokenType)}, {"text", ToUtf8(token.TokenText)}};
}

Json LayerJson(const ktformula::TokenLayer& layer) {
  Json items = Json::array();
  for (const ktformula::LayerItem& item : layer.items) {
    items.push_back(item.token != nullptr ? TokenJson(*item.token) : LayerJson(*item.layer));
  }
  return items;
}

Json RangeJson(const char* kind, double min, double max) {
  return {{"kind", kind}, {"min", min}, {"max", max}};
}

Json RowJson(const NotebookRow& row) {
  Json cells = Json::object();
  for (const Ref<NotebookColumn>& column : row.Parent().Columns()) {
    const NotebookCell& cell = row.CellAt(column->Index());
    const CellContent& content = cell.Content();
    cells[ToUtf8(column->Definition().name)] = {{"text", ToUtf8(content.text)},
                                                {"state", ToUtf8(cell.State())},
                                                {"min", content.min},
                                                {"max", content.max},
                                                {"unit", ToUtf8(content.unit)}};
  }
  return {{"id", ToUtf8(row.ID())}, {"cells", std::move(cells)}};
}

void WriteTable(const NotebookTable& table, std::ostream& out) {
  Json columns = Json::array();
  for (const Ref<NotebookColumn>& column : table.Columns()) {
    columns.push_back(ToUtf8(column->Definition().name));
  }
  out << "{\"name\":" << Json(ToUtf8(table.Name())).dump() << ",\"columns\":" << columns.dump()
      << ",\"rows\":[";
  const char* separator = "";
  for (const Ref<NotebookRow>& row : table.Rows()) {
    out << separator << RowJson(*row).dump();
    separator = ",";
  }
  out << "]}";
}

void WriteForm(const RecalculatedForm& recalculated, std::ostream& out) {
  out << "{\"name\":" << Json(ToUtf8(recalculated.form->Name())).dump()
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

std::string ValueJson(const ktformula::CellValue& value) {
  Json json;
  switch (value.CellValueType()) {
    case ktformula::kCellValueTypeNumber:
      json = RangeJson("number", value.MinNumber(), value.MaxNumber());
      break;
    case ktformula::kCellValueTypeDate:
      json = RangeJson("date", value.MinDate(), value.MaxDate());
      break;
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
  return json.dump();
}

std::string RaisedJson(const ktformula::RaisedError& error) {
  return Json{{"raised", ErrorJson(error.Number(), error.Source(), error.Description())}}.dump();
}

std::string TokensJson(const std::vector<ktformula::FormulaToken>& tokens) {
  Json json = Json::array();
  for (const ktformula::FormulaToken& token : tokens)
    json.push_back(TokenJson(token));
  return json.dump();
}

std::string TreeJson(const ktformula::TokenLayer& layer) {
  return LayerJson(layer).dump();
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
