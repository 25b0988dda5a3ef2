// Forms and their parts: making, renaming, moving and removing them.
#include <array>
#include <set>

#include "notebook/commands/address.h"
#include "notebook/commands/structure_edits.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/page/api_routes.h"
#include "notebook/tables/shown_text.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kMostRemovedRows = 1'000;

PartPlace PlaceOf(const ApiCall& call) {
  return {call.OptionalText("before"), call.OptionalText("after"), call.OptionalNumber("at")};
}

bool HasPlace(const PartPlace& place) {
  return place.before || place.after || place.at;
}

NewPart NewPartOf(const ApiCall& call) {
  NewPart part{PlaceOf(call), call.OptionalText("type"), call.OptionalText("unit"),
               call.Flag("numberFormatting")};
  const Json tags = call.Body().value("tags", Json::object());
  if (!tags.is_object()) throw ApiRefusal(400, "\"tags\" is no object");
  for (const auto& [name, value] : tags.items())
    part.tags.emplace_back(TextOf(Json(name), "tags"), TextOf(value, "tags"));
  return part;
}

std::u16string NameOf(const PartAddress& part) {
  if (part.row) return part.field->Name() + u"::" + part.row->ID();
  if (part.column != nullptr) return part.field->Name() + u":" + part.column->Definition().name;
  return part.field != nullptr ? part.field->Name() : part.form->Name();
}

// With the formulas in which rows that are named by their numbers are others now.
ApiAnswer StructureAnswer(const ApiCall& call, const Change::Result& result,
                          const FormulaList& redirected) {
  if (redirected.empty()) return ChangeAnswer(call, result);
  const std::string note =
      "rows that formulas name by their number are others now: " + FormulaListText(redirected);
  return ChangeAnswer(call, result, {{"notes", Json::array({note})}});
}

ApiAnswer AddForm(const ApiCall& call) {
  const std::u16string name = call.Text("name");
  const bool is_empty = call.Flag("empty");
  Change change(call.Notebook(), call.Client());
  RequireFreeFormName(change.Names(), name);
  Notebook notebook;
  notebook.locale = change.LocaleOfNew();
  NotebookForm& form = notebook.AddForm(name);
  if (!is_empty) form.AddTable(u"Table", FindFreeKeys({}, change.Store().LargestKeys()).table);
  change.AddForms(notebook);
  return JsonAnswer({{"form", ToUtf8(name)}}, 201);
}

ApiAnswer AddPart(const ApiCall& call) {
  const NewPart part = NewPartOf(call);
  Change change(call.Notebook(), call.Address(), call.Client());
  const NewPartAddress address = Found([&] { return FindNewPart(change.Forms(), call.Address()); });
  const auto keys = [&] { return FindFreeKeys(change.Forms(), change.Store().LargestKeys()); };
  FormulaList redirected;
  change.Do(
      *address.form, ChangeKind::kStructure,
      (address.table != nullptr ? address.table->Name() + u":" : u"") + address.name + u" added",
      [&](FormEdits& edits) { redirected = AddPartTo(edits, address, part, keys); });
  return StructureAnswer(call, change.Commit(), redirected);
}

ApiAnswer ChangePart(const ApiCall& call) {
  const auto name = call.OptionalText("name");
  const PartPlace place = PlaceOf(call);
  if (name.has_value() == HasPlace(place)) {
    throw ApiRefusal(400, "the request has either a \"name\" or a place");
  }
  Change change(call.Notebook(), call.Address(), call.Client());
  const PartAddress part = Found([&] { return FindPart(change.Forms(), call.Address()); });
  const std::u16string old_name = NameOf(part);
  if (part.field == nullptr && !name) {
    throw ApiRefusal(422, "forms in a database stand in the order in which they came");
  }
  if (part.field == nullptr && *name != old_name) RequireFreeFormName(change.Names(), *name);
  FormulaList redirected;
  change.Do(*part.form, ChangeKind::kStructure,
            old_name + (name ? u" renamed to " + *name : u" moved"), [&](FormEdits& edits) {
              if (name) {
                RenamePartOf(edits, part, *name);
              } else {
                redirected = MovePartOf(edits, part, place);
              }
            });
  return StructureAnswer(call, change.Commit(), redirected);
}

// Does and answers what gives the formulas that have lost something.
ApiAnswer Remove(const ApiCall& call, Change& change, NotebookForm& form,
                 const std::u16string& what, const std::function<FormulaList(FormEdits&)>& remove) {
  FormulaList lost;
  try {
    change.Do(form, ChangeKind::kStructure, what + u" removed",
              [&](FormEdits& edits) { lost = remove(edits); });
  } catch (const LostByFormulas& refusal) {
    throw ApiRefusal(409, refusal.what(), {{"formulas", refusal.Formulas()}});
  }
  const Change::Result result = change.Commit();
  if (lost.empty()) return ChangeAnswer(call, result);
  const std::string note = "these formulas have lost it: " + FormulaListText(lost);
  return ChangeAnswer(call, result, {{"notes", Json::array({note})}});
}

ApiAnswer RemovePart(const ApiCall& call) {
  const bool is_forced = call.Query("force") == u"1";
  Change change(call.Notebook(), call.Address(), call.Client());
  const PartAddress part = Found([&] { return FindPart(change.Forms(), call.Address()); });
  if (part.field == nullptr) {
    const Json removed{{"removed", ToUtf8(part.form->Name())}};
    change.RemoveForm(*part.form);
    return JsonAnswer(removed);
  }
  return Remove(call, change, *part.form, NameOf(part),
                [&](FormEdits& edits) { return RemovePartOf(edits, part, is_forced); });
}

// The indexes of the rows that the request names.
std::vector<std::size_t> RowsOf(const ApiCall& call, const NotebookTable& table) {
  const Json& body = call.Body();
  const auto ids = body.find("ids");
  if (ids == body.end() || !ids->is_array() || ids->empty() || ids->size() > kMostRemovedRows) {
    throw ApiRefusal(400, "\"ids\" is not a list of 1 to 1,000 ids of rows");
  }
  std::set<std::size_t> rows;
  for (const Json& id : *ids) {
    const std::u16string name = TextOf(id, "an id");
    const std::optional<NotebookRow> row = table.HasRow(name) ? table.FindRow(name) : std::nullopt;
    if (!row) throw ApiRefusal(404, "there is no row \"" + ToUtf8(name) + "\"");
    rows.insert(row->Index());
  }
  return {rows.begin(), rows.end()};
}

std::u16string RowsText(std::size_t count, const NotebookTable& table) {
  return ktformula::ToDecimalText(static_cast<std::int64_t>(count)) + u" rows of " + table.Name();
}

ApiAnswer RemoveRows(const ApiCall& call) {
  const bool is_forced = call.Query("force") == u"1";
  Change change(call.Notebook(), call.Address(), call.Client());
  NotebookTable& table =
      Found([&]() -> NotebookTable& { return FindTable(change.Forms(), call.Address()); });
  const std::vector<std::size_t> rows = RowsOf(call, table);
  const std::u16string what =
      rows.size() == 1 ? u"row " + table.IdOf(rows.front()) : RowsText(rows.size(), table);
  return Remove(call, change, table.Parent(), what,
                [&](FormEdits& edits) { return RemoveRowsOf(edits, table, rows, is_forced); });
}

constexpr std::array kRoutes{
    ApiRoute{"POST", "forms", &AddForm},      ApiRoute{"POST", "parts/", &AddPart},
    ApiRoute{"PATCH", "parts/", &ChangePart}, ApiRoute{"DELETE", "parts/", &RemovePart},
    ApiRoute{"DELETE", "rows/", &RemoveRows},
};

}  // namespace

std::span<const ApiRoute> StructureRoutes() {
  return kRoutes;
}

}  // namespace ktnotebook
