// The properties dialog and the box that tells of its errors, driven by a scripted user.
#include "listener/frm_formula_listener.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "formats/fake_framework.h"
#include "listener/error_message_box.h"
#include "listener/formula_listener.h"
#include "listener/scripted_form.h"
#include "notebook/notebook_file.h"
#include "notebook/notebook_store.h"
#include "notebook/recalculation.h"
#include "notebook/utf.h"

namespace ktformula {
namespace {

class DialogHost : public FakeFramework {
 public:
  std::function<void()> on_save = [] {};
  void RequestSave(IKtObject& object, std::u16string_view text) override {
    FakeFramework::RequestSave(object, text);
    on_save();
  }
};

constexpr std::string_view kNotebook =
    "<notebook><form name='F'><table name='T' key='1'>"
    "<property key='11' name='Mass' type='number'/><property key='12' name='Double' type='number'/>"
    "<row id='1'><cell property='Mass' state='entered'>4</cell></row>"
    "<fieldListener progID='KtFormula9.FormulaListener' name='Sums' position='1'>"
    "<propertyFormula format='0' key='12'>[Mass]\n+[a]</propertyFormula>"
    "<definition name='a'>1</definition><definition name='b'>[a]\n+1</definition>"
    "</fieldListener></table></form></notebook>";

class DialogTest : public ::testing::Test {
 protected:
  DialogTest() { Load(); }
  ~DialogTest() override { listener->Terminate(); }

  // A listener with parsed formulas, and a form for one dialog.
  void Load() {
    if (listener) listener->Terminate();
    framework->calls.clear();
    listener = MakeRef<FormulaListener>(std::span<const FunctionClass>());
    listener->Initialize(framework, form().OwnerOf(table().OwnField()), nullptr);
    listener->SetName(u"Sums");
    listener->SetPropertyFormula(12, u"[Mass]\n+[a]", u"0");
    listener->SetDefinition(u"a", u"1");
    listener->SetDefinition(u"b", u"[a]\n+1");
    ForEach([&](std::u16string_view, PropertyFormula& formula) {
      formula.TokenTree = listener->MakeTokenTree(formula.Formula);
    });
    framework->dialog_form = dialog = MakeRef<ScriptedForm>();
  }
  ktnotebook::NotebookForm& form() { return *notebook.forms.front(); }
  ktnotebook::NotebookTable& table() { return *form().FindTable(u"T"); }

  // "saved: " when a save was asked for; then each entry, those that kept their trees with "*".
  std::string Edit(const std::vector<std::string>& actions) {
    dialog->actions = actions;
    listener->EditProperties();
    std::string result = framework->calls.empty() ? "" : "saved: ";
    ForEach([&](std::u16string_view key, const PropertyFormula& formula) {
      result += Narrow(key) + ":" + Shown(formula.Formula) +
                (formula.StringFormat.empty() ? "" : "|" + Narrow(formula.StringFormat)) +
                (formula.TokenTree ? "* " : " ");
    });
    return result;
  }

  ktnotebook::Notebook notebook = ktnotebook::ReadNotebook(kNotebook, "test");
  Ref<DialogHost> framework = MakeRef<DialogHost>();
  Ref<FormulaListener> listener;
  Ref<ScriptedForm> dialog;

 private:
  template <typename Visit>
  void ForEach(Visit visit) {
    const FormulaConfiguration& configuration = listener->Configuration();
    for (const auto& [key, formula] : configuration.property_formulas.Entries())
      visit(key, *formula);
    for (const auto& [name, formula] : configuration.definitions.Entries())
      visit(name, *formula);
  }
};

TEST_F(DialogTest, StoresWhatWasEdited) {
  const std::string same = "12:[Mass]~+[a]|0* a:1* b:[a]~+1* ";
  const std::string definitions = "a:1* b:[a]~+1* ";
  const std::string doubled = "12:[Mass]~+[a]|0* ";
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{}, same},
      {{"see a = 1;^~b = [a]^~+1;|", "pick Double", "see [Mass]^~+[a]|0", "pick Mass", "see |",
        "pick Definitions", "see a = 1;^~b = [a]^~+1;|", "leave"},
       same},
      // Edits are kept on the way to another entry, on deactivation and by the close box.
      {{"pick Double", "formula 2^~*3", "format 0.0", "pick Mass", "see |", "pick Double",
        "see 2^~*3|0.0"},
       "saved: 12:2~*3|0.0 " + definitions},
      {{"pick Mass", "formula 7", "leave", "pick Double", "formula [Mass]^^~+[a]"},
       "saved: " + doubled + "11:7 " + definitions},
      {{"pick Double", "format %"}, "saved: 12:[Mass]~+[a]|% " + definitions},
      {{"pick Double", "formula [Mass]^^~+[a]", "format ^0"}, same},
      // There and back again is a change, too.
      {{"pick Mass", "formula 7", "leave", "formula "}, "saved: " + same},
      {{"pick Double", "formula ", "enter"}, "saved: " + definitions},
      {{"pick Mass", "format 0.0"}, same},
      // Definitions: by name, with any white space around.
      {{"format 0.0"}, same},
      {{"formula  b=[a]^~+1 ;^~^~ a =1"}, same},
      {{"formula a = 1; b = a + 1;"}, "saved: " + doubled + "a:1* b:a + 1 "},
      {{"formula x; a = 1;; = ;b = [a]^~+1; y"}, "saved: " + same + ": "},
      {{"formula c = 2 = 3; a = 1", "pick Double", "pick Definitions", "see a = 1;^~c = 2 = 3;|"},
       "saved: " + doubled + "a:1* c:2 = 3 "},
      {{"formula a = 1; a = 2; b = [a]^~+1"}, "saved: " + doubled + "b:[a]~+1* a:2 "},
      {{"formula "}, "saved: " + doubled},
      {{"formula no definition"}, "saved: " + doubled},
  };
  for (const auto& [actions, result] : rows) {
    Load();
    EXPECT_EQ(Edit(actions), result) << ::testing::PrintToString(actions);
    EXPECT_EQ(dialog->label.caption, u"Formula of:");
  }
}

// Neither text would come back from its boxes as it is.
TEST_F(DialogTest, LeavesUntouchedTextsAlone) {
  listener->SetDefinition(u"b", u"'x;y'");
  listener->SetPropertyFormula(11, u"1\r+1", u"");
  EXPECT_EQ(Edit({"pick Mass", "pick Definitions", "format 0", "leave"}),
            "12:[Mass]~+[a]|0* 11:1^+1 a:1* b:'x;y' ");
}

// Enter presses OK except in the formula box, and no box stays hooked.
TEST_F(DialogTest, FollowsFocus) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{"enter"}, "hide; unload; "},
      {{"pick Mass", "focus formula", "enter", "see ^~|", "focus format", "enter"},
       "hook formula; unhook formula; hook format; hide; unhook format; unload; "},
      {{"focus format", "focus list", "focus formula", "focus list", "enter"},
       "hook format; unhook format; hook formula; unhook formula; hide; unload; "},
      {{"focus formula", "jump format", "focus list"},
       "hook formula; unhook formula; hook format; unhook format; unload; "},
      {{"focus formula"}, "hook formula; unhook formula; unload; "},
  };
  for (const auto& [actions, log] : rows) {
    Load();
    Edit(actions);
    EXPECT_EQ(dialog->log, log) << ::testing::PrintToString(actions);
  }
}

TEST_F(DialogTest, ChoosesFontByLocale) {
  std::set<std::u16string> faces;
  for (const std::int32_t locale : {1042, 1028, 1041, 2052, 1033, 1031}) {
    Load();
    dialog->locale = locale;
    Edit({});
    const std::u16string face = dialog->formula.font;
    EXPECT_EQ(dialog->format.font, face) << locale;
    EXPECT_EQ(dialog->list.font, face) << locale;
    EXPECT_EQ(face.empty(), locale == 1033 || locale == 1031) << locale;
    faces.insert(face);
  }
  EXPECT_EQ(faces.size(), 5U);
}

// Whatever fails is told once, the form goes, and what was stored before stays.
TEST_F(DialogTest, TellsErrors) {
  const auto fail = [](std::int32_t number) {
    return [number] { throw RaisedError(number, u"Host", u"disk full"); };
  };
  const std::string save =
      "save: Saving changes to Field Listener \"Sums\" of table \"T\" of form \"F\"";
  const std::string warn = "warn: Error Setting Field Listener Properties: Sorry, ";
  using Calls = std::vector<std::string>;
  const std::vector<std::pair<std::function<void()>, Calls>> rows = {
      {[] {}, {save}},
      {[&] { framework->on_save = fail(70); }, {save, warn + "disk full."}},
      {[&] { dialog->on_show = fail(70); }, {warn + "disk full."}},
      {[&] { dialog->on_show = fail(32755); }, {}},
      // Nothing is left to be saved.
      {[&] { dialog->on_show = [&] { listener->Terminate(); }; },
       {warn + "Object variable not set."}},
  };
  for (const auto& [arrange, calls] : rows) {
    Load();
    framework->on_save = [] {};
    arrange();
    const std::string result = Edit({"pick Mass", "formula 5", "leave"});
    EXPECT_EQ(framework->calls, calls);
    EXPECT_EQ(dialog->log, "unload; ");
    EXPECT_EQ(result.find("11:5") != std::string::npos, calls != rows.back().second) << result;
  }
  Load();
  dialog->on_load = fail(70);
  listener->EditProperties();
  EXPECT_EQ(framework->calls, Calls{warn + "disk full."});
  EXPECT_EQ(dialog->log, "unload; ");

  framework->calls.clear();
  framework->dialog_form = nullptr;
  listener->EditProperties();
  EXPECT_EQ(framework->calls, Calls{"show: Field Listener \"Sums\" cannot be edited: this notebook "
                                    "has no windows for it"});
}

TEST(ErrorMessageBox, ShowsAndLogs) {
  struct Log final : LogWriter {
    void WriteLine(std::u16string_view line) override { text += Narrow(line) + "/"; }
    std::string text;
  };
  struct Row {
    std::u16string title;
    RaisedError error;
    std::string title_shown;
    std::string message;
  };
  const std::vector<Row> rows = {
      {u"Title", {13, u"A.B", u"bad value"}, "Title", "Sorry, bad value."},
      {u"Title", {kComponentError, u"", u"Stop."}, "Title", "Sorry, Stop."},
      {u"", {1, u"A", u"no. 5"}, "Error in /bin/host", "Sorry, no. 5."},
      {u"Title", {0, u"A", u"bad value"}, "", ""},
      {u"", {32755, u"A", u"Cancel was selected."}, "", ""},
  };
  for (const auto& [title, error, title_shown, message] : rows) {
    const auto framework = MakeRef<FakeFramework>();
    Log log;
    ShowErrorMessageBox(framework.get(), title, error, &log);
    ShowErrorMessageBox(framework.get(), title, error);
    const bool shows = !message.empty();
    EXPECT_EQ(framework->calls,
              std::vector<std::string>(shows ? 2 : 0, "warn: " + title_shown + ": " + message));
    EXPECT_EQ(log.text, !shows ? ""
                               : "/The Following Error Message Appeared:/Title: " + title_shown +
                                     "/Message: " + message + "/Source: " + Narrow(error.Source()) +
                                     "/Number: " + std::to_string(error.Number()) + "/");
  }
}

// Before there is a host, the process has a place for what went wrong.
TEST(ErrorMessageBox, IsShownWithoutHost) {
  static std::string shown;
  shown.clear();
  UseWarningBox([](std::u16string_view title, std::u16string_view text) {
    shown += Narrow(title) + ": " + Narrow(text);
  });
  MakeRef<FormulaListener>(std::span<const FunctionClass>())->EditProperties();
  EXPECT_EQ(shown, "Error Setting Field Listener Properties: Sorry, Object variable not set.");
}

// From a notebook in a database through the dialog and back into the database.
TEST(DialogOverNotebook, SavesAndRecalculates) {
  ktnotebook::NotebookStore store(ktnotebook::OpenDatabase(":memory:", true), true);
  ktnotebook::Notebook imported = ktnotebook::ReadNotebook(kNotebook, "test");
  store.Add(imported, *imported.forms.front());
  const auto doubled = [](const ktnotebook::Notebook& notebook) {
    ktnotebook::RecalculateForm(*notebook.forms.front(), 8);
    return ktnotebook::ToUtf8(
        notebook.forms.front()->FindTable(u"T")->Rows().front()->CellAt(1).Text());
  };

  const ktnotebook::Notebook opened = store.Load(u"F");
  EXPECT_EQ(doubled(opened), "5");
  const auto dialog = MakeRef<ScriptedForm>();
  opened.framework->UseDialogs([&] { return dialog; });
  dialog->actions = {
      "formula a = 3",      "pick Double",   "formula [Mass]*^~[a]", "pick Mass",    "pick Double",
      "see [Mass]*^~[a]|0", "focus formula", "formula [Mass]*[a]",   "focus format", "enter"};
  opened.forms.front()->FindTable(u"T")->Listeners().front()->EditProperties();
  EXPECT_EQ(doubled(opened), "12");
  EXPECT_EQ(doubled(store.Load(u"F")), "12");
  EXPECT_TRUE(std::filesystem::exists(opened.framework->ApplicationPath()));
}

}  // namespace
}  // namespace ktformula
