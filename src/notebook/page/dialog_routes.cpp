// The properties dialog of a table's formula listener, event by event.
#include <algorithm>
#include <array>

#include "notebook/commands/formula_edits.h"
#include "notebook/files/utf.h"
#include "notebook/page/api_routes.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::DialogEvents;
using ktformula::FormulaText;

constexpr std::string_view kTitle = "Formula Listener Properties";

// Of users whose letters want fonts of their own; 1033 for all others.
std::int32_t LocaleIdentifierOf(std::u16string_view locale) {
  struct Row {
    std::u16string_view language;
    std::int32_t identifier;
  };
  constexpr Row kRows[] = {
      {u"zh_TW", 1028}, {u"zh_HK", 1028}, {u"zh", 2052}, {u"ja", 1041}, {u"ko", 1042}};
  for (const Row& row : kRows) {
    if (locale.starts_with(row.language)) return row.identifier;
  }
  return 1033;
}

Json BoxJson(const PageDialogForm::TextBox& box) {
  return {{"text", ToUtf8(box.Text())}, {"font", ToUtf8(box.font)}};
}

Json ControlsJson(PageDialogForm& form) {
  const PageDialogForm::ComboBox& list = form.mSourcePropertyComboBox();
  Json items = Json::array();
  for (const auto& [text, data] : list.items)
    items.push_back(ToUtf8(text));
  return {{"mSourcePropertyLabel", {{"caption", ToUtf8(form.mSourcePropertyLabel().caption)}}},
          {"mSourcePropertyComboBox",
           {{"items", items}, {"index", list.index}, {"font", ToUtf8(list.font)}}},
          {"mFormulaTextBox", BoxJson(form.mFormulaTextBox())},
          {"mFormatTextBox", BoxJson(form.mFormatTextBox())},
          {"mOKButton", {{"default", form.mOKButton().is_default}}}};
}

using Fields = std::vector<std::pair<std::string, Json>>;

Fields StateOf(const std::string& id, PageDialog& dialog, bool is_closed) {
  return {{"dialog", id},
          {"title", kTitle},
          {"closed", is_closed},
          {"controls", ControlsJson(dialog.Form())}};
}

Json ObjectOf(const Fields& fields) {
  Json json = Json::object();
  for (const auto& [name, value] : fields)
    json[name] = value;
  return json;
}

ApiAnswer Open(const ApiCall& call) {
  const auto lock = call.Dialogs().Lock();
  const Reading reading(call.Notebook(), call.Address());
  NotebookTable& table = TableAt(reading.Forms(), call);
  const ServedForm& served = reading.Of(table.Parent());
  auto dialog = std::make_unique<PageDialog>(DialogSubject{served.stored.key, table.FileKey()},
                                             table, FindListener(table, u""),
                                             LocaleIdentifierOf(call.Query("locale")));
  PageDialog& opened = *dialog;
  const std::string id = call.Dialogs().Add(std::move(dialog));
  if (id.empty()) throw ApiRefusal(429, "too many properties dialogs are open");
  return FormAnswer(JsonAnswer(ObjectOf(StateOf(id, opened, false))).body, served);
}

// Puts into the controls what the user has typed and selected.
void TakeControls(const ApiCall& call, PageDialogForm& form) {
  const Json controls = call.Body().value("controls", Json::object());
  if (!controls.is_object()) throw ApiRefusal(400, "\"controls\" is no object");
  for (const auto& [name, control] : controls.items()) {
    if (!control.is_object()) throw ApiRefusal(400, "\"" + name + "\" is no object");
    const bool is_formula = name == "mFormulaTextBox";
    if ((is_formula || name == "mFormatTextBox") && control.contains("text")) {
      (is_formula ? form.mFormulaTextBox() : form.mFormatTextBox())
          .SetText(TextOf(control["text"], "text"));
    }
    if (name != "mSourcePropertyComboBox" || !control.contains("index")) continue;
    PageDialogForm::ComboBox& list = form.mSourcePropertyComboBox();
    const Json& index = control["index"];
    const bool is_known =
        index.is_number_unsigned() && index.get<std::uint64_t>() < list.items.size();
    if (!is_known && index != Json(-1)) throw ApiRefusal(400, "the list has no such \"index\"");
    list.SetListIndex(index.get<int>());
  }
}

struct EventRow {
  std::u16string_view event;
  std::u16string_view control;
  void (DialogEvents::*tell)();
};
constexpr std::array kEvents{
    EventRow{u"Click", u"mSourcePropertyComboBox", &DialogEvents::mSourcePropertyComboBox_Click},
    EventRow{u"Click", u"mOKButton", &DialogEvents::mOKButton_Click},
    EventRow{u"GotFocus", u"mFormulaTextBox", &DialogEvents::mFormulaTextBox_GotFocus},
    EventRow{u"LostFocus", u"mFormulaTextBox", &DialogEvents::mFormulaTextBox_LostFocus},
    EventRow{u"GotFocus", u"mFormatTextBox", &DialogEvents::mFormatTextBox_GotFocus},
    EventRow{u"LostFocus", u"mFormatTextBox", &DialogEvents::mFormatTextBox_LostFocus},
    EventRow{u"Deactivate", u"", &DialogEvents::Form_Deactivate},
};

// Tells the dialog of the event. Other controls have no part in it.
void Tell(PageDialogForm& form, std::u16string_view event, std::u16string_view control) {
  // The user's own means of closing it.
  if (event == u"Close") return form.Hide();
  const bool is_known = std::any_of(kEvents.begin(), kEvents.end(),
                                    [event](const EventRow& row) { return row.event == event; });
  if (!is_known) throw ApiRefusal(400, "there is no event \"" + ToUtf8(event) + "\"");
  const auto row = std::find_if(kEvents.begin(), kEvents.end(), [&](const EventRow& each) {
    return each.event == event && each.control == control;
  });
  if (row != kEvents.end()) (form.Events()->*row->tell)();
}

// Takes out the formulas of columns that the table does not have; gives their keys.
std::vector<std::u16string> DropMissing(std::vector<FormulaText>& formulas,
                                        const NotebookTable& table) {
  std::vector<std::u16string> missing;
  std::erase_if(formulas, [&](const FormulaText& text) {
    const auto& columns = table.Columns();
    const bool is_there = std::any_of(columns.begin(), columns.end(), [&](const auto& column) {
      return ktformula::ToDecimalText(column->Definition().key) == text.key;
    });
    if (!is_there) missing.push_back(text.key);
    return !is_there;
  });
  return missing;
}

NotebookColumn& ColumnOf(const NotebookTable& table, std::u16string_view key) {
  const auto& columns = table.Columns();
  return **std::find_if(columns.begin(), columns.end(), [key](const auto& column) {
    return ktformula::ToDecimalText(column->Definition().key) == key;
  });
}

// Those of the first list that the second has not.
std::vector<FormulaText> Without(const std::vector<FormulaText>& texts,
                                 const std::vector<FormulaText>& others) {
  std::vector<FormulaText> left;
  std::copy_if(texts.begin(), texts.end(), std::back_inserter(left), [&](const FormulaText& text) {
    return std::find(others.begin(), others.end(), text) == others.end();
  });
  return left;
}

bool HasKey(const std::vector<FormulaText>& texts, std::u16string_view key) {
  return std::any_of(texts.begin(), texts.end(),
                     [key](const FormulaText& text) { return text.key == key; });
}

// Gives the table's listener the formulas that the dialog has made; the cells that are emptied.
std::vector<NotebookCell> Apply(FormEdits& edits, ktformula::IKtFormulaListener& listener,
                                NotebookTable& table, const ListenerTexts& present,
                                const ListenerTexts& wanted) {
  std::vector<NotebookCell> emptied;
  const auto set_formula = [&](const FormulaText& text, std::u16string_view formula) {
    const std::vector<NotebookCell> cells =
        edits.SetFormula(listener, ColumnOf(table, text.key), formula, text.string_format);
    emptied.insert(emptied.end(), cells.begin(), cells.end());
  };
  for (const FormulaText& text : present.formulas) {
    if (!HasKey(wanted.formulas, text.key)) set_formula(text, u"");
  }
  for (const FormulaText& text : Without(wanted.formulas, present.formulas))
    set_formula(text, text.formula);
  for (const FormulaText& text : present.definitions) {
    if (!HasKey(wanted.definitions, text.key)) edits.SetDefinition(listener, text.key, u"");
  }
  for (const FormulaText& text : Without(wanted.definitions, present.definitions))
    edits.SetDefinition(listener, text.key, text.formula);
  return emptied;
}

NotebookTable* FindTableOf(const DialogSubject& subject, const Change& change) {
  for (const Ref<NotebookForm>& form : change.Forms()) {
    if (change.Of(*form).stored.key != subject.form_key) continue;
    for (NotebookTable* table : form->Tables()) {
      if (table->FileKey() == subject.table_key) return table;
    }
  }
  return nullptr;
}

std::u16string FormNameOf(const ApiCall& call, const DialogSubject& subject) {
  const auto name = Reading(call.Notebook()).NameOf(subject.form_key);
  if (!name) throw ApiRefusal(409, "somebody else has removed the form");
  return *name;
}

Fields ClosedState(const std::string& id, PageDialog& dialog, bool is_changed) {
  Fields fields = StateOf(id, dialog, true);
  fields.emplace_back("changed", is_changed);
  return fields;
}

Json NotesOn(const std::vector<std::u16string>& gone, PageDialog& dialog) {
  Json notes = Json::array();
  for (const std::u16string& key : gone) {
    notes.push_back("the column \"" + ToUtf8(dialog.ColumnName(key)) +
                    "\" is gone: its formula is not stored");
  }
  return notes;
}

// Makes what the dialog has changed one step of the table's form.
ApiAnswer Store(const ApiCall& call, const std::string& id, PageDialog& dialog,
                ListenerTexts wanted) {
  Change change(call.Notebook(), FormNameOf(call, dialog.Subject()), call.Client());
  NotebookTable* const table = FindTableOf(dialog.Subject(), change);
  if (table == nullptr) throw ApiRefusal(409, "somebody else has removed the table");
  NotebookForm& form = table->Parent();
  ktformula::IKtFormulaListener* const listener = FindListener(*table, u"");
  const ListenerTexts present = TextsOf(listener);
  ListenerTexts before = dialog.Before();
  DropMissing(before.formulas, *table);
  if (before != present) {
    throw ApiRefusal(409, "somebody else has changed formulas of this table meanwhile");
  }
  const std::vector<std::u16string> gone = DropMissing(wanted.formulas, *table);
  const bool is_changed = wanted != present;
  Fields fields = ClosedState(id, dialog, is_changed);
  if (!gone.empty()) fields.emplace_back("notes", NotesOn(gone, dialog));
  if (!is_changed) return JsonAnswer(ObjectOf(fields));
  std::vector<NotebookCell> emptied;
  change.Do(form, listener != nullptr ? ChangeKind::kFormulas : ChangeKind::kStructure,
            u"properties of " + table->Name(), [&](FormEdits& edits) {
              NotebookFramework& framework = *change.Of(form).notebook.framework;
              emptied = Apply(edits, ListenerOrNew(listener, edits, framework, *table), *table,
                              present, wanted);
            });
  return ChangeAnswer(call, change.Commit(emptied), fields);
}

Json TextsJson(const std::vector<FormulaText>& texts, PageDialog* columns_of) {
  Json json = Json::array();
  for (const FormulaText& text : texts) {
    json.push_back(
        {{"name", ToUtf8(columns_of != nullptr ? columns_of->ColumnName(text.key) : text.key)},
         {"formula", ToUtf8(text.formula)},
         {"format", ToUtf8(text.string_format)}});
  }
  return json;
}

// The dialog is closed: what it has changed is stored, or given back to its user.
ApiAnswer Close(const ApiCall& call, const std::string& id, PageDialog& dialog) {
  const auto wanted = dialog.Changes();
  if (!wanted) return JsonAnswer(ObjectOf(ClosedState(id, dialog, false)));
  try {
    return Store(call, id, dialog, *wanted);
  } catch (const ApiRefusal& refusal) {
    Json details = ObjectOf(StateOf(id, dialog, true));
    details["formulas"] = TextsJson(Without(wanted->formulas, dialog.Before().formulas), &dialog);
    details["definitions"] =
        TextsJson(Without(wanted->definitions, dialog.Before().definitions), nullptr);
    throw ApiRefusal(refusal.Status(), refusal.what(), details);
  }
}

ApiAnswer TellEvent(const ApiCall& call) {
  const std::u16string event = call.Text("event");
  const std::u16string control = call.OptionalText("control").value_or(u"");
  const std::string id = ToUtf8(call.Address());
  const auto lock = call.Dialogs().Lock();
  PageDialog* const dialog = call.Dialogs().Find(id);
  if (dialog == nullptr) throw ApiRefusal(404, "this dialog is not open any more");
  TakeControls(call, dialog->Form());
  Tell(dialog->Form(), event, control);
  if (!dialog->Form().IsHidden()) return JsonAnswer(ObjectOf(StateOf(id, *dialog, false)));
  try {
    ApiAnswer answer = Close(call, id, *dialog);
    call.Dialogs().End(id);
    return answer;
  } catch (const ApiRefusal&) {
    call.Dialogs().End(id);
    throw;
  }
}

// An address has a table; a dialog's name has not.
ApiAnswer UseProperties(const ApiCall& call) {
  return call.Address().find(u'/') != std::u16string::npos ? Open(call) : TellEvent(call);
}

constexpr std::array kRoutes{
    ApiRoute{"POST", "properties/", &UseProperties},
};

}  // namespace

std::span<const ApiRoute> DialogRoutes() {
  return kRoutes;
}

}  // namespace ktnotebook
