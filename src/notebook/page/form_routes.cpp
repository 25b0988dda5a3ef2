// What there is: forms, their structure, rows and places, and what can be undone.
#include <algorithm>
#include <array>
#include <sstream>

#include "listener/ikt_formula_listener.h"
#include "notebook/commands/address.h"
#include "notebook/commands/json_output.h"
#include "notebook/commands/problems_output.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/page/api_routes.h"

namespace ktnotebook {

namespace {

using ktformula::IKtFormulaListener;

constexpr std::size_t kMostRows = 1'000;

ApiAnswer ListForms(const ApiCall& call) {
  const Reading reading(call.Notebook());
  return {200, NameListJson(reading.Names()) + "\n"};
}

ApiAnswer ShowForm(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  NotebookForm& form = FormAt(reading.Forms(), call);
  ServedForm& served = reading.Of(form);
  std::ostringstream out;
  WriteFormsJson({{&form, served.result}}, out, {served.Problems()}, call.Reader());
  return FormAnswer(std::move(out).str(), served);
}

std::vector<IKtFormulaListener*> FormulaListeners(const NotebookTable& table) {
  std::vector<IKtFormulaListener*> listeners;
  for (const auto& listener : table.Listeners()) {
    if (auto* formulas = dynamic_cast<IKtFormulaListener*>(listener.get()))
      listeners.push_back(formulas);
  }
  return listeners;
}

Json TextOrNull(const std::u16string& text) {
  return text.empty() ? Json() : Json(ToUtf8(text));
}

Json ColumnJson(const NotebookColumn& column) {
  const PropertyDefinition& definition = column.Definition();
  Json json{{"name", ToUtf8(definition.name)},
            {"type", ToUtf8(DataTypeText(definition.type))},
            {"unit", definition.unit != nullptr ? TextOrNull(definition.unit->UnitText()) : Json()},
            {"numberFormatting", definition.number_formatting},
            {"formula", nullptr},
            {"format", nullptr}};
  for (const IKtFormulaListener* listener : FormulaListeners(column.Parent())) {
    const auto known = listener->FormulaOf(definition.key);
    if (!known) continue;
    json["formula"] = ToUtf8(known->formula);
    json["format"] = TextOrNull(known->string_format);
  }
  return json;
}

Json TableJson(const NotebookTable& table) {
  Json columns = Json::array();
  for (const Ref<NotebookColumn>& column : table.Columns())
    columns.push_back(ColumnJson(*column));
  Json definitions = Json::array();
  Json result_format;
  for (const IKtFormulaListener* listener : FormulaListeners(table)) {
    for (const ktformula::FormulaText& text : listener->Definitions())
      definitions.push_back({{"name", ToUtf8(text.key)}, {"formula", ToUtf8(text.formula)}});
    if (result_format.is_null()) result_format = TextOrNull(listener->ResultFormat());
  }
  return {{"kind", "table"},          {"name", ToUtf8(table.Name())},
          {"rows", table.RowCount()}, {"resultFormat", result_format},
          {"columns", columns},       {"definitions", definitions}};
}

Json FieldJson(const NotebookField& field) {
  if (field.OwnTable()) return TableJson(*field.OwnTable());
  const auto* const structure = field.Structure().get();
  return {{"kind", structure != nullptr ? "structure" : "text"},
          {"name", ToUtf8(field.Name())},
          {"text", ToUtf8(structure != nullptr ? structure->Data() : field.TextField()->Text())}};
}

Json StepJson(const std::vector<HistoryStep>& steps) {
  if (steps.empty()) return nullptr;
  const HistoryStep& step = steps.back();
  return {{"step", step.number}, {"text", ToUtf8(step.what)}, {"by", step.client}};
}

ApiAnswer ShowStructure(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  const NotebookForm& form = FormAt(reading.Forms(), call);
  const ServedForm& served = reading.Of(form);
  Json fields = Json::array();
  for (const Ref<NotebookField>& field : form.Fields())
    fields.push_back(FieldJson(*field));
  const Json json{{"form", ToUtf8(form.Name())},
                  {"version", served.stored.version},
                  {"locale", ToUtf8(form.OwnLocale().name)},
                  {"settled", served.result.settled},
                  {"rounds", served.result.rounds},
                  {"undo", StepJson(served.done)},
                  {"redo", StepJson(served.undone)},
                  {"fields", fields}};
  return FormAnswer(JsonAnswer(json).body, served);
}

ApiAnswer ShowRows(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  const NotebookTable& table =
      Found([&]() -> NotebookTable& { return FindTable(reading.Forms(), call.Address()); });
  const std::size_t rows = table.Rows().size();
  const std::size_t from = std::min(call.QueryNumber("from", 0, SIZE_MAX), rows);
  const std::size_t count = std::min(call.QueryNumber("count", 100, kMostRows), rows - from);
  const ServedForm& served = reading.Of(table.Parent());
  std::ostringstream out;
  out << "{\"form\":" << TextJson(table.Parent().Name()) << ",\"table\":" << TextJson(table.Name())
      << ",\"version\":" << served.stored.version << ",\"count\":" << rows << ",\"from\":" << from
      << ",\"rows\":";
  WriteRowsJson(table, from, count, out, call.Reader());
  out << "}\n";
  return FormAnswer(std::move(out).str(), served);
}

Json PlaceJson(const NotebookForm& form, const NotebookField* field, const NotebookColumn* column,
               const std::optional<NotebookRow>& row) {
  return {{"form", ToUtf8(form.Name())},
          {"table", field != nullptr ? Json(ToUtf8(field->Name())) : Json()},
          {"column", column != nullptr ? Json(ToUtf8(column->Definition().name)) : Json()},
          {"row", row ? Json(ToUtf8(row->ID())) : Json()},
          {"index", row ? Json(row->Index()) : Json()}};
}

ApiAnswer ShowPlace(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  try {
    const NotebookCell cell = FindCell(reading.Forms(), call.Address());
    const NotebookTable& table = cell.OwningRow().Parent();
    return JsonAnswer(
        PlaceJson(table.Parent(), &table.OwnField(), &cell.OwningColumn(), cell.OwningRow()));
  } catch (const NotebookError&) {
    const PartAddress part = Found([&] { return FindPart(reading.Forms(), call.Address()); });
    return JsonAnswer(PlaceJson(*part.form, part.field, part.column, part.row));
  }
}

ApiAnswer Repeat(const ApiCall& call, bool (Change::*repeat)(NotebookForm&, std::int64_t)) {
  const auto step = call.OptionalNumber("step");
  if (!step) throw ApiRefusal(400, "the request has no \"step\"");
  Change change(call.Notebook(), call.Address(), call.Client());
  if (!(change.*repeat)(FormAt(change.Forms(), call), static_cast<std::int64_t>(*step))) {
    throw ApiRefusal(409, "this is not the last change any more");
  }
  return ChangeAnswer(call, change.Commit());
}

ApiAnswer Undo(const ApiCall& call) {
  return Repeat(call, &Change::Undo);
}
ApiAnswer Redo(const ApiCall& call) {
  return Repeat(call, &Change::Redo);
}

constexpr std::array kRoutes{
    ApiRoute{"GET", "forms", &ListForms},
    ApiRoute{"GET", "forms/", &ShowForm},
    ApiRoute{"GET", "structure/", &ShowStructure},
    ApiRoute{"GET", "rows/", &ShowRows},
    ApiRoute{"GET", "place/", &ShowPlace},
    ApiRoute{"POST", "undo/", &Undo},
    ApiRoute{"POST", "redo/", &Redo},
};

}  // namespace

std::span<const ApiRoute> FormRoutes() {
  return kRoutes;
}

}  // namespace ktnotebook
