// What somebody needs who writes a formula: what it would come to, and the names in reach.
#include <array>

#include "notebook/commands/address.h"
#include "notebook/commands/formula_edits.h"
#include "notebook/commands/function_pages.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/page/api_routes.h"
#include "notebook/page/formula_preview.h"

namespace ktnotebook {

namespace {

using ktformula::FormulaEntry;

std::string ListJson(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items)
    text += (text.empty() ? "" : ",") + item;
  return "[" + text + "]";
}

std::string TokensJson(const std::vector<PreviewToken>& tokens) {
  std::vector<std::string> items;
  for (const PreviewToken& token : tokens) {
    JsonObject json;
    json.AddNumber("start", token.place.start);
    json.AddNumber("length", token.place.length);
    json.Add("kind", "\"" + std::string(TokenKindText(token.kind)) + "\"");
    items.push_back(json.Text());
  }
  return ListJson(items);
}

ApiAnswer PreviewAnswer(const ApiCall& call, NotebookForm& form, const ServedForm& served,
                        FormulaPreview preview) {
  JsonReader reader = call.Reader();
  reader.wants_mends = true;
  JsonObject json;
  json.Add("tokens", TokensJson(preview.tokens));
  json.Add("problems", ProblemListJson({{&form, std::move(preview.problems)}}, reader));
  if (preview.raised) json.Add("value", RaisedJson(*preview.raised));
  if (preview.value) json.Add("value", ValueJson(*preview.value));
  if (preview.text) json.AddText("text", *preview.text);
  return FormAnswer(json.Text() + "\n", served);
}

// A column, and one of its rows if the address names one.
struct FormulaAddress {
  NotebookColumn* column = nullptr;
  std::optional<std::size_t> row = std::nullopt;
};
FormulaAddress FindFormula(const std::vector<Ref<NotebookForm>>& forms, const ApiCall& call) {
  try {
    return {&FindColumn(forms, call.Address())};
  } catch (const NotebookError&) {
    const NotebookCell cell = Found([&] { return FindCell(forms, call.Address()); });
    return {&cell.OwningColumn(), cell.RowIndex()};
  }
}

ApiAnswer PreviewDefinition(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  const auto [table, name] = Found([&] { return FindDefinition(reading.Forms(), call.Address()); });
  const ServedForm& served = reading.Of(table->Parent());
  return PreviewAnswer(call, table->Parent(), served,
                       PreviewOfDefinition(*table, name, call.Text("formula"),
                                           FindListener(*table, name), *served.notebook.framework));
}

ApiAnswer Preview(const ApiCall& call) {
  const std::u16string formula = call.Text("formula");
  if (call.Flag("definition")) return PreviewDefinition(call);
  const Reading reading(call.Notebook(), call.Address());
  const auto [column, row] = FindFormula(reading.Forms(), call);
  NotebookForm& form = column->Parent().Parent();
  const ServedForm& served = reading.Of(form);
  const FormulaEntry known = FormulaOf(*column).value_or(FormulaEntry());
  FormulaPreview preview = PreviewOfFormula(
      *column, row, formula, call.OptionalText("format").value_or(known.string_format),
      FindListener(*column), *served.notebook.framework);
  if (preview.text) {
    std::u16string buffer;
    preview.text =
        column->Localized(call.LocaleFor(form), *row, std::u16string(*preview.text), buffer);
  }
  return PreviewAnswer(call, form, served, std::move(preview));
}

// Whether a reference can say the name; definitions are asked for by all that it says.
bool CanBeSaid(std::u16string_view name, std::u16string_view parting) {
  return !name.empty() && name.find_first_of(parting) == name.npos && name.front() != u' ' &&
         name.back() != u' ';
}

// The names that a completion offers, as a list in JSON.
class NameList {
 public:
  // `reference` is what to write between brackets; `more` gets to add fields.
  template <typename More>
  void Add(std::u16string_view name, std::u16string_view reference, More more) {
    JsonObject json;
    json.AddText("name", name);
    json.AddText("insert", u"[" + std::u16string(reference) + u"]");
    more(json);
    items_.push_back(json.Text());
  }
  std::string Json() const { return ListJson(items_); }

 private:
  std::vector<std::string> items_;
};

constexpr std::u16string_view kPartsEnd = u":]";

std::string ColumnsJson(const NotebookTable& table, std::u16string_view in_table) {
  NameList list;
  for (const Ref<NotebookColumn>& column : table.Columns()) {
    const PropertyDefinition& definition = column->Definition();
    if (!CanBeSaid(definition.name, kPartsEnd)) continue;
    list.Add(definition.name, std::u16string(in_table) + definition.name, [&](JsonObject& json) {
      json.AddText("type", DataTypeText(definition.type));
      json.AddOptionalText("unit", definition.unit != nullptr
                                       ? std::optional(definition.unit->UnitText())
                                       : std::nullopt);
    });
  }
  return list.Json();
}

std::string DefinitionsJson(const NotebookTable& table) {
  NameList list;
  const auto* const listener = FindListener(table, u"");
  if (listener == nullptr) return list.Json();
  for (const ktformula::FormulaText& text : listener->Definitions()) {
    if (!CanBeSaid(text.key, u"]")) continue;
    list.Add(text.key, text.key, [&](JsonObject& json) { json.AddText("formula", text.formula); });
  }
  return list.Json();
}

ApiAnswer ShowNames(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  const NotebookTable& table = TableAt(reading.Forms(), call);
  NameList tables;
  NameList fields;
  for (const Ref<NotebookField>& field : table.Parent().Fields()) {
    const std::u16string& name = field->Name();
    if (!CanBeSaid(name, kPartsEnd)) continue;
    if (field->OwnTable()) {
      tables.Add(name, name, [&](JsonObject& json) {
        json.Add("columns", ColumnsJson(*field->OwnTable(), name + u":"));
      });
    } else {
      fields.Add(name, name, [](JsonObject&) {});
    }
  }
  JsonObject json;
  json.Add("columns", ColumnsJson(table, u""));
  json.Add("definitions", DefinitionsJson(table));
  json.Add("tables", tables.Json());
  json.Add("fields", fields.Json());
  json.Add("functions", FunctionsJson(FindFunctions("")));
  return FormAnswer(json.Text() + "\n", reading.Of(table.Parent()));
}

constexpr std::array kRoutes{
    ApiRoute{"POST", "preview/", &Preview},
    ApiRoute{"GET", "names/", &ShowNames},
};

}  // namespace

std::span<const ApiRoute> PreviewRoutes() {
  return kRoutes;
}

}  // namespace ktnotebook
