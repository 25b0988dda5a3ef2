// The properties dialog and the box that tells of its errors, driven by a scripted user.
#include "listener/frm_formula_listener.h"

#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "listener/error_message_box.h"
#include "listener/formula_listener.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "test_host/scripted_form.h"
#include "values/describe.h"

namespace ktformula {
namespace {

class DialogHost : public TestFramework {
 public:
  std::function<void()> on_save = [] {};
  void RequestSave(IKtObject& object, std::u16string_view text) override {
    TestFramework::RequestSave(object, text);
    on_save();
  }
};

class DialogTest : public ::testing::Test {
 protected:
  DialogTest() { Load(); }
  ~DialogTest() override { listener->Terminate(); }

  // A listener with parsed formulas, and a form for one dialog.
  void Load() {
    if (listener) listener->Terminate();
    framework->calls.clear();
    listener = MakeRef<FormulaListener>(std::span<const FunctionClass>());
    listener->Initialize(framework, form->OwnerOf(u"T"), nullptr);
    listener->SetName(u"Sums");
    listener->SetPropertyFormula(12, u"[Mass]\n+[a]", u"0");
    listener->SetDefinition(u"a", u"1");
    listener->SetDefinition(u"b", u"[a]\n+1");
    ForEach([&](std::u16string_view, PropertyFormula& formula) {
      formula.TokenTree = listener->MakeTokenTree(formula.Formula);
    });
    framework->dialog_form = dialog = MakeRef<ScriptedForm>();
  }

  // "saved: " when a save was asked for; then each entry, those that kept their trees with "*".
  std::string Edit(const std::vector<std::string>& actions) {
    dialog->actions = actions;
    listener->EditProperties();
    std::string result = framework->calls.empty() ? "" : "saved: ";
    ForEach([&](std::u16string_view key, const PropertyFormula& formula) {
      result += Narrow(key) + ":" + ToUtf8(formula.Formula) +
                (formula.StringFormat.empty() ? "" : "|" + Narrow(formula.StringFormat)) +
                (formula.TokenTree ? "* " : " ");
    });
    return result;
  }

  Ref<TestForm> form = MakeRef<TestForm>("table T\n 11 Mass number | 12 Double number\n 4 |");
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
  const std::string same = "12:[Mass]\n+[a]|0* a:1* b:[a]\n+1* ";
  const std::string definitions = "a:1* b:[a]\n+1* ";
  const std::string doubled = "12:[Mass]\n+[a]|0* ";
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{}, same},
      {{"see a = 1;\r\nb = [a]\r\n+1;|", "pick Double", "see [Mass]\r\n+[a]|0", "pick Mass",
        "see |", "pick Definitions", "see a = 1;\r\nb = [a]\r\n+1;|", "leave"},
       same},
      // Edits are kept on the way to another entry, on deactivation and by the close box.
      {{"pick Double", "formula 2\r\n*3", "format 0.0", "pick Mass", "see |", "pick Double",
        "see 2\r\n*3|0.0"},
       "saved: 12:2\n*3|0.0 " + definitions},
      {{"pick Mass", "formula 7", "leave", "pick Double", "formula [Mass]\r\r\n+[a]"},
       "saved: " + doubled + "11:7 " + definitions},
      {{"pick Double", "formula 5", "pick"}, "saved: 12:5|0 " + definitions},
      {{"pick Double", "format %"}, "saved: 12:[Mass]\n+[a]|% " + definitions},
      {{"pick Double", "formula [Mass]\r\r\n+[a]", "format \r0"}, same},
      // There and back again is a change, too.
      {{"pick Mass", "formula 7", "leave", "formula "}, "saved: " + same},
      {{"pick Double", "formula ", "enter"}, "saved: " + definitions},
      {{"pick Mass", "format 0.0"}, same},
      // Definitions: by name, with any white space around.
      {{"format 0.0"}, same},
      {{"formula  b=[a]\r\n+1 ;\r\n\r\n a =1"}, same},
      {{"formula a = 1; b = a + 1;"}, "saved: " + doubled + "a:1* b:a + 1 "},
      {{"formula x; a = 1;; = ;b = [a]\r\n+1; y"}, "saved: " + same + ": "},
      {{"formula c = 2 = 3; a = 1", "pick Double", "pick Definitions", "see a = 1;\r\nc = 2 = 3;|"},
       "saved: " + doubled + "a:1* c:2 = 3 "},
      {{"formula a = 1; a = 2; b = [a]\r\n+1"}, "saved: " + doubled + "b:[a]\n+1* a:2 "},
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
            "12:[Mass]\n+[a]|0* 11:1\r+1 a:1* b:'x;y' ");
}

// Enter presses OK except in the formula box, and no box stays hooked.
TEST_F(DialogTest, FollowsFocus) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{"enter"}, "hide; unload; "},
      {{"pick Mass", "focus formula", "enter", "see \r\n|", "focus format", "enter"},
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
    const auto framework = MakeRef<TestFramework>();
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
  ::testing::internal::CaptureStderr();
  ShowErrorMessageBox(nullptr, u"", {1, u"A", u"5 \u00b5l"});
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Error in : Sorry, 5 ?l.\n");
  static std::string shown;
  shown.clear();
  UseWarningBox([](std::u16string_view title, std::u16string_view text) {
    shown += Narrow(title) + ": " + Narrow(text);
  });
  MakeRef<FormulaListener>(std::span<const FunctionClass>())->EditProperties();
  EXPECT_EQ(shown, "Error Setting Field Listener Properties: Sorry, Object variable not set.");
}

}  // namespace
}  // namespace ktformula
