// Formulas of columns and definitions.
#include <array>

#include "notebook/commands/address.h"
#include "notebook/commands/formula_edits.h"
#include "notebook/files/utf.h"
#include "notebook/page/api_routes.h"

namespace ktnotebook {

namespace {

using ktformula::FormulaEntry;

constexpr const char* kConflict = "somebody else has changed this formula";

std::u16string NameInForm(const NotebookTable& table, std::u16string_view name) {
  return table.Name() + u":" + std::u16string(name);
}

std::u16string WhatIsDone(std::u16string_view where, std::u16string_view formula) {
  return std::u16string(formula.empty() ? u"formula of " : u"new formula of ") +
         std::u16string(where) + (formula.empty() ? u" removed" : u"");
}

std::string FormulaJson(const NotebookTable& table, std::string_view kind, std::u16string_view name,
                        const std::optional<FormulaEntry>& known) {
  JsonObject json;
  json.AddText("form", table.Parent().Name());
  json.AddText("table", table.Name());
  json.AddText(kind, name);
  json.AddOptionalText("formula", known ? std::optional(known->formula) : std::nullopt);
  if (kind == "column")
    json.AddOptionalText("format", known ? std::optional(known->string_format) : std::nullopt);
  return json.Text() + "\n";
}

NotebookColumn& ColumnAt(const std::vector<Ref<NotebookForm>>& forms, const ApiCall& call) {
  return *Found([&] { return &FindColumn(forms, call.Address()); });
}
DefinitionAddress DefinitionAt(const std::vector<Ref<NotebookForm>>& forms, const ApiCall& call) {
  return Found([&] { return FindDefinition(forms, call.Address()); });
}

ApiAnswer ShowFormula(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  const NotebookColumn& column = ColumnAt(reading.Forms(), call);
  const NotebookTable& table = column.Parent();
  return FormAnswer(FormulaJson(table, "column", column.Definition().name, FormulaOf(column)),
                    reading.Of(table.Parent()));
}

// A table that gets its listener has another structure then.
ChangeKind KindOfEditing(const ktformula::IKtFormulaListener* listener) {
  return listener != nullptr ? ChangeKind::kFormulas : ChangeKind::kStructure;
}

ApiAnswer PutFormula(const ApiCall& call) {
  const auto formula = call.OptionalText("formula");
  const auto format = call.OptionalText("format");
  if (!formula && !format) throw ApiRefusal(400, "the request has no \"formula\"");
  Change change(call.Notebook(), call.Address(), call.Client());
  NotebookColumn& column = ColumnAt(change.Forms(), call);
  NotebookForm& form = column.Parent().Parent();
  const FormulaEntry known = FormulaOf(column).value_or(FormulaEntry());
  RequirePresent(call, known.formula, kConflict);
  std::vector<NotebookCell> emptied;
  const std::u16string where = NameInForm(column.Parent(), column.Definition().name);
  change.Do(form, KindOfEditing(FindListener(column)), WhatIsDone(where, formula.value_or(u"=")),
            [&](FormEdits& edits) {
              NotebookFramework& framework = *change.Of(form).notebook.framework;
              emptied = EditFormulaOf(edits, framework, column, formula, format).emptied;
            });
  return ChangeAnswer(call, change.Commit(emptied));
}

ApiAnswer ShowDefinition(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  const auto [table, name] = DefinitionAt(reading.Forms(), call);
  const auto known = DefinitionOf(*table, name);
  if (!known) throw ApiRefusal(404, "there is no definition \"" + ToUtf8(name) + "\"");
  return FormAnswer(FormulaJson(*table, "definition", name, known), reading.Of(table->Parent()));
}

ApiAnswer PutDefinition(const ApiCall& call) {
  const std::u16string formula = call.Text("formula");
  Change change(call.Notebook(), call.Address(), call.Client());
  const auto [table, name] = DefinitionAt(change.Forms(), call);
  NotebookForm& form = table->Parent();
  RequirePresent(call, DefinitionOf(*table, name).value_or(FormulaEntry()).formula, kConflict);
  change.Do(form, KindOfEditing(FindListener(*table, name)),
            WhatIsDone(NameInForm(*table, name), formula),
            [&, &owner = *table, &defined = name](FormEdits& edits) {
              NotebookFramework& framework = *change.Of(form).notebook.framework;
              EditDefinitionOf(edits, framework, owner, defined, formula);
            });
  return ChangeAnswer(call, change.Commit());
}

constexpr std::array kRoutes{
    ApiRoute{"GET", "formulas/", &ShowFormula},
    ApiRoute{"PUT", "formulas/", &PutFormula},
    ApiRoute{"GET", "definitions/", &ShowDefinition},
    ApiRoute{"PUT", "definitions/", &PutDefinition},
};

}  // namespace

std::span<const ApiRoute> FormulaRoutes() {
  return kRoutes;
}

}  // namespace ktnotebook
