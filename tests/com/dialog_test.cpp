// The properties dialog as a window, driven by the messages that a user's input makes. Runs on
// Windows; run-dialog-test runs it elsewhere.
//
//   dialog_test DLL
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>
#include <windows.h>

#include "KtFormula9.h"
#include "KtFramework9.h"
#include "host_fakes.h"
#include "script_object.h"

#include "com/base/errors.h"
#include "com/base/module.h"
#include "com/dialog/message_box.h"
#include "com/dialog/win32_dialog_form.h"
#include "com/dialog/window_class.h"
#include "listener/frm_formula_listener.h"

namespace ktcom {
namespace {

using ktformula::DialogForm;
using ktformula::PropertyFormulas;
using ktformula::Ref;
using Step = std::function<void()>;
using Steps = std::vector<Step>;

HMODULE component = nullptr;

HWND Dialog() {
  return FindWindowW(kDialogWindowClass, nullptr);
}
HWND ControlOf(int identifier) {
  return GetDlgItem(Dialog(), identifier);
}
std::u16string TextOf(int identifier) {
  std::array<wchar_t, 500> text{};
  GetWindowTextW(ControlOf(identifier), text.data(), static_cast<int>(text.size()));
  return std::u16string(text.data(), text.data() + wcslen(text.data()));
}

// The timer's messages come when all others are done, so that each step sees the results of the
// one before it. A dialog that is still there after the last step is closed.
class User {
 public:
  explicit User(Steps steps) : timer_(SetTimer(nullptr, 0, 5, OnTimer)) {
    steps_ = std::move(steps);
    next_ = 0;
  }
  ~User() {
    KillTimer(nullptr, timer_);
    EXPECT_GE(next_, steps_.size()) << "the dialog ended early";
  }

 private:
  static void CALLBACK OnTimer(HWND, UINT, UINT_PTR, DWORD) {
    if (next_ < steps_.size()) return steps_[next_++]();
    PostMessageW(Dialog(), WM_CLOSE, 0, 0);
  }

  inline static Steps steps_;
  inline static std::size_t next_ = 0;
  UINT_PTR timer_;
};

Step Key(WPARAM key) {
  return [key] {
    PostMessageW(GetFocus(), WM_KEYDOWN, key, 1);
    PostMessageW(GetFocus(), WM_KEYUP, key, static_cast<LPARAM>(0xC0000001));
  };
}
Step Shifted(WPARAM key) {
  return [key] {
    std::array<BYTE, 256> keys{};
    keys[VK_SHIFT] = 0x80;
    SetKeyboardState(keys.data());
    MSG message{GetFocus(), WM_KEYDOWN, key, 1, 0, {}};
    IsDialogMessageW(Dialog(), &message);
    keys[VK_SHIFT] = 0;
    SetKeyboardState(keys.data());
  };
}
Step Type(std::u16string text) {
  return [text = std::move(text)] {
    for (const char16_t unit : text)
      PostMessageW(GetFocus(), WM_CHAR, unit, 1);
  };
}
Step Pick(int entry) {
  return [entry] {
    SendMessageW(ControlOf(kSourcePropertyComboBox), CB_SETCURSEL, static_cast<WPARAM>(entry), 0);
    SendMessageW(Dialog(), WM_COMMAND, MAKEWPARAM(kSourcePropertyComboBox, CBN_SELCHANGE), 0);
  };
}
Step See(std::u16string formula, std::u16string format) {
  return [formula = std::move(formula), format = std::move(format)] {
    EXPECT_EQ(TextOf(kFormulaTextBox), formula);
    EXPECT_EQ(TextOf(kFormatTextBox), format);
  };
}
// The control with the focus, and whether Enter presses OK anywhere.
Step At(int identifier, bool is_ok_default = true) {
  return [identifier, is_ok_default] {
    EXPECT_EQ(GetDlgCtrlID(GetFocus()), identifier);
    EXPECT_EQ(HIWORD(SendMessageW(Dialog(), DM_GETDEFID, 0, 0)) == DC_HASDEFID, is_ok_default);
    const LONG_PTR style = GetWindowLongPtrW(ControlOf(kOKButton), GWL_STYLE);
    EXPECT_EQ((style & BS_TYPEMASK) == BS_DEFPUSHBUTTON, is_ok_default);
  };
}
const Step kTab = Key(VK_TAB);
const Step kEnter = Key(VK_RETURN);
const Step kEscape = Key(VK_ESCAPE);

struct Column final : ktformula::FakeProperty {
  Column(std::int32_t column_key, std::u16string column_name)
      : FakeProperty(u"number"), key(column_key), name(std::move(column_name)) {}
  std::int32_t Key() const override { return key; }
  std::u16string Name() const override { return name; }
  std::int32_t key;
  std::u16string name;
};

struct Columns final : ktformula::ELNProperties {
  std::u16string TypeName() const override { return u"ELNProperties"; }
  int Count() const override { return static_cast<int>(columns.size()); }
  Ref<ktformula::ELNProperty> Item(int index) const override {
    return columns.at(static_cast<std::size_t>(index) - 1);
  }
  Ref<ktformula::ELNProperty> Find(std::u16string_view) const override { return nullptr; }
  std::vector<Ref<Column>> columns{ktformula::MakeRef<Column>(11, u"Equivalents"),
                                   ktformula::MakeRef<Column>(12, u"Amount (µmol)")};
};

class DialogTest : public ::testing::Test {
 protected:
  DialogTest() {
    owner = CreateWindowExW(0, L"STATIC", L"Notebook", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 40, 40,
                            700, 500, nullptr, nullptr, nullptr, nullptr);
    SetForegroundWindow(owner);
    Reset();
  }
  ~DialogTest() override {
    EXPECT_EQ(Dialog(), nullptr);
    DestroyWindow(owner);
  }

  void Reset() {
    formulas.PutAll({{u"12", u"[Mass] /\n[Molar mass]", u"0.00"}});
    definitions.PutAll({{u"limit", u"MIN([Amount])", u""}});
  }

  // The entries after a dialog in which the user did this.
  std::u16string Edit(Steps steps) {
    const ktformula::Ref<Columns> columns = ktformula::MakeRef<Columns>();
    ktformula::frmFormulaListener dialog(form);
    dialog.Load(formulas, definitions, *columns);
    {
      const User user(std::move(steps));
      dialog.ShowModal();
    }
    EXPECT_FALSE(IsWindowVisible(Dialog()));
    std::u16string result = dialog.Changed() ? u"changed" : u"same";
    for (const PropertyFormulas* entries : {&formulas, &definitions}) {
      for (const auto& [key, entry] : entries->Entries())
        result += u" " + key + u":" + entry->Formula + u"|" + entry->StringFormat;
    }
    return result;
  }

  HWND owner;
  Ref<DialogForm> form = MakeWin32DialogForm();
  PropertyFormulas formulas;
  PropertyFormulas definitions;
};

const std::u16string kAmount = u" 12:[Mass] /\n[Molar mass]|0.00";
const std::u16string kLimit = u" limit:MIN([Amount])|";

TEST_F(DialogTest, KeepsWhatTheUserDid) {
  const Step see_amount = See(u"[Mass] /\r\n[Molar mass]", u"0.00");
  const std::vector<std::pair<Steps, std::u16string>> rows = {
      {{See(u"limit = MIN([Amount]);", u""), Pick(2), see_amount, Pick(1), See(u"", u""), Pick(0)},
       u"same" + kAmount + kLimit},
      {{Pick(1), kTab, Type(u"1+1"), Pick(2), see_amount, Pick(1), See(u"1+1", u"")},
       u"changed" + kAmount + u" 11:1+1|" + kLimit},
      // Enter breaks a line of the formula and presses OK elsewhere. The Tab key goes round.
      {{Pick(1), At(kSourcePropertyComboBox), kTab, At(kFormulaTextBox, false), Type(u"1+"), kEnter,
        Type(u"2"), kTab, At(kFormatTextBox), Type(u"0.0"), kTab, At(kOKButton), kTab,
        At(kSourcePropertyComboBox), Shifted(VK_TAB), At(kOKButton), Shifted(VK_TAB),
        At(kFormatTextBox), kEnter},
       u"changed" + kAmount + u" 11:1+\n2|0.0" + kLimit},
      {{kEnter}, u"same" + kAmount + kLimit},
      {{Pick(1), kTab, Type(u"7"), kEscape}, u"changed" + kAmount + u" 11:7|" + kLimit},
      {{Pick(1), kTab, Type(u"8"), kTab, kEscape}, u"changed" + kAmount + u" 11:8|" + kLimit},
      // Ctrl+A selects all; the Tab key alone does not.
      {{Pick(2), kTab, Type(u"\1"), Type(u"3"), kTab, kEnter}, u"changed 12:3|0.00" + kLimit},
      {{Pick(2), kTab, Type(u"-"), kTab, kEnter},
       u"changed 12:-[Mass] /\n[Molar mass]|0.00" + kLimit},
      {{Pick(2), kTab, Type(u"\1"), Key(VK_DELETE), kTab, kEnter}, u"changed" + kLimit},
      // What the user's code page lacks.
      {{Pick(1), kTab, Type(u"[µ]+[日本]\u2211"), See(u"[µ]+[日本]\u2211", u""), kTab,
        Type(u"0 \u03A9\u20AC"), kEnter},
       u"changed" + kAmount + u" 11:[µ]+[日本]\u2211|0 \u03A9\u20AC" + kLimit},
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(Edit(rows[i].first), rows[i].second);
    Reset();
  }
}

TEST_F(DialogTest, HooksTheBoxWithTheFocusOnly) {
  const auto procedure = [](int box) { return GetWindowLongPtrW(ControlOf(box), GWLP_WNDPROC); };
  LONG_PTR plain = 0;
  const auto expect = [&](bool formula, bool format) {
    return [&, formula, format] {
      EXPECT_EQ(procedure(kFormulaTextBox) != plain, formula);
      EXPECT_EQ(procedure(kFormatTextBox) != plain, format);
      EXPECT_TRUE(IsWindowUnicode(ControlOf(kFormulaTextBox)));
      EXPECT_TRUE(IsWindowUnicode(ControlOf(kFormatTextBox)));
    };
  };
  Edit({[&] { plain = procedure(kFormulaTextBox); }, expect(false, false), kTab,
        expect(true, false), kTab, expect(false, true), kTab, expect(false, false),
        [] { SetFocus(ControlOf(kFormulaTextBox)); }, expect(true, false), [&] { form->Hide(); }});
}

TEST_F(DialogTest, HoldsTheOwnerWhileShown) {
  Edit({[&] {
    EXPECT_FALSE(IsWindowEnabled(owner));
    EXPECT_EQ(GetWindow(Dialog(), GW_OWNER), owner);
    RECT mine{}, its{};
    GetWindowRect(Dialog(), &mine);
    GetWindowRect(owner, &its);
    EXPECT_NEAR(mine.left + mine.right, its.left + its.right, 2);
    EXPECT_NEAR(mine.top + mine.bottom, its.top + its.bottom, 2);
  }});
  EXPECT_TRUE(IsWindowEnabled(owner));
  EXPECT_EQ(GetActiveWindow(), owner);
}

// Edits are kept, and the program goes on or ends as it was to.
TEST_F(DialogTest, EndsWhenItsSurroundingsDo) {
  const auto window = [] {
    return CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 90, 90,
                           nullptr, nullptr, nullptr, nullptr);
  };
  HWND other = nullptr;
  EXPECT_EQ(Edit({Pick(1), kTab, Type(u"1"), [&] { SetActiveWindow(other = window()); },
                  [&] { EXPECT_NE(formulas.Find(u"11"), nullptr) << "stored on deactivation"; }}),
            u"changed" + kAmount + u" 11:1|" + kLimit);
  DestroyWindow(other);
  EXPECT_EQ(Edit({Pick(1), kTab, Type(u"2"), [] { PostQuitMessage(9); }}),
            u"changed" + kAmount + u" 11:21|" + kLimit);
  MSG message{};
  while (GetMessageW(&message, nullptr, 0, 0) > 0)
    EXPECT_EQ(message.message, WM_NULL);
  EXPECT_EQ(message.wParam, 9U);
  EXPECT_EQ(Edit({Pick(1), kTab, Type(u"3"), [&] { DestroyWindow(owner); }}),
            u"changed" + kAmount + u" 11:321|" + kLimit);
}

// Raises an error in the event of this number.
struct FailingEvents final : ktformula::DialogEvents {
  void Form_Load() override {}
  void Form_Deactivate() override { Raise(0); }
  void mSourcePropertyComboBox_Click() override { Raise(1); }
  void mFormulaTextBox_GotFocus() override { Raise(2); }
  void mFormulaTextBox_LostFocus() override { Raise(3); }
  void mFormatTextBox_GotFocus() override { Raise(4); }
  void mFormatTextBox_LostFocus() override { Raise(5); }
  void mOKButton_Click() override { Raise(6); }
  void Raise(int number) {
    if (number == failing) throw std::runtime_error(std::to_string(++raised));
  }
  int failing = 0;
  int raised = 0;
};

TEST_F(DialogTest, PassesOnWhatAnEventRaises) {
  const Step formula = [] { SetFocus(ControlOf(kFormulaTextBox)); };
  const Step format = [] { SetFocus(ControlOf(kFormatTextBox)); };
  const std::vector<Steps> rows = {
      {[&] { SetActiveWindow(owner); }},
      {Pick(0)},
      {formula},
      {formula, format},
      {format},
      {format, formula},
      {kEnter},
  };
  FailingEvents events;
  for (events.failing = 0; events.failing < 7; ++events.failing) {
    SCOPED_TRACE(events.failing);
    form->Load(events);
    form->mSourcePropertyComboBox().AddItem(u"x", 1);
    events.raised = 0;
    const User user(rows[static_cast<std::size_t>(events.failing)]);
    EXPECT_THROW(form->ShowModal(), std::runtime_error);
    EXPECT_EQ(events.raised, 1);
    EXPECT_FALSE(IsWindowVisible(Dialog()));
    EXPECT_TRUE(IsWindowEnabled(owner));
    form->Unload();
  }
}

TEST_F(DialogTest, AnEventMayTakeTheFormAway) {
  struct Leaving final : ktformula::DialogEvents {
    void Form_Load() override {}
    void Form_Deactivate() override {}
    void mSourcePropertyComboBox_Click() override { *form = nullptr; }
    void mFormulaTextBox_GotFocus() override {}
    void mFormulaTextBox_LostFocus() override {}
    void mFormatTextBox_GotFocus() override {}
    void mFormatTextBox_LostFocus() override {}
    void mOKButton_Click() override { (*form)->Unload(); }
    Ref<DialogForm>* form = nullptr;
  } events;
  events.form = &form;
  for (const Step& end : {kEnter, Pick(0)}) {
    form->Load(events);
    form->mSourcePropertyComboBox().AddItem(u"x", 1);
    const User user({end, [] { PostQuitMessage(0); }});
    form->ShowModal();
    EXPECT_TRUE(IsWindowEnabled(owner));
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
      DispatchMessageW(&message);
  }
}

// Each control within the window, none over another.
void ExpectTidy() {
  RECT inside{};
  GetClientRect(Dialog(), &inside);
  MapWindowPoints(Dialog(), nullptr, reinterpret_cast<POINT*>(&inside), 2);
  std::vector<RECT> rects;
  for (int control = kSourcePropertyLabel; control <= kOKButton; ++control) {
    RECT rect{}, both{};
    GetWindowRect(ControlOf(control), &rect);
    EXPECT_TRUE(IntersectRect(&both, &rect, &inside) && EqualRect(&both, &rect)) << control;
    for (const RECT& other : rects)
      EXPECT_FALSE(IntersectRect(&both, &rect, &other)) << control;
    rects.push_back(rect);
  }
}

TEST_F(DialogTest, ArrangesItsControls) {
  const auto size = [](int width, int height) {
    return [=] {
      SetWindowPos(Dialog(), nullptr, 0, 0, width, height, SWP_NOZORDER);
      ExpectTidy();
    };
  };
  const auto formula_height = [] {
    RECT rect{};
    GetClientRect(ControlOf(kFormulaTextBox), &rect);
    return rect.bottom;
  };
  const auto font_height = [] {
    LOGFONTW font{};
    GetObjectW(reinterpret_cast<HFONT>(SendMessageW(ControlOf(kFormulaTextBox), WM_GETFONT, 0, 0)),
               sizeof(font), &font);
    return font.lfHeight;
  };
  const auto move_to_screen = [](WORD dpi) {
    const RECT place{10, 10, 10 + 5 * dpi, 10 + 4 * dpi};
    SendMessageW(Dialog(), WM_DPICHANGED, MAKEWPARAM(dpi, dpi), reinterpret_cast<LPARAM>(&place));
    ExpectTidy();
  };
  LONG height = 0;
  LONG font = 0;
  Edit({ExpectTidy, size(500, 400), [&] { height = formula_height(); }, size(500, 470),
        [&] { EXPECT_EQ(formula_height(), height + 70); }, size(900, 300), size(10, 10),
        [&] { form->mFormulaTextBox().SetFont(u"Tahoma"); },
        [&] { form->mSourcePropertyLabel().SetCaption(u"A caption much longer than usual:"); },
        ExpectTidy, [&] { move_to_screen(96); }, [&] { font = font_height(); },
        [&] { move_to_screen(192); }, [&] { EXPECT_NEAR(font_height(), 2 * font, 1); }});
}

BOOL CALLBACK CountWindow(HWND, LPARAM count) {
  ++*reinterpret_cast<int*>(count);
  return TRUE;
}

// With next to no room for more objects of GDI.
TEST_F(DialogTest, LeavesNothingBehind) {
  const auto count_windows = [] {
    int windows = 0;
    EnumThreadWindows(GetCurrentThreadId(), CountWindow, reinterpret_cast<LPARAM>(&windows));
    return windows;
  };
  Edit({kTab});
  const int windows = count_windows();
  std::vector<HBRUSH> brushes;
  while (const HBRUSH brush = CreateSolidBrush(static_cast<COLORREF>(brushes.size())))
    brushes.push_back(brush);
  for (const std::size_t rest = brushes.size() - 100; brushes.size() > rest; brushes.pop_back())
    DeleteObject(brushes.back());
  FailingEvents events;
  for (int round = 0; round < 200; ++round) {
    form->Load(events);
    ASSERT_NE(SendMessageW(ControlOf(kOKButton), WM_GETFONT, 0, 0), 0) << round;
    form->Unload();
  }
  for (const HBRUSH brush : brushes)
    DeleteObject(brush);
  EXPECT_EQ(count_windows(), windows);
  WNDCLASSEXW description{};
  description.cbSize = sizeof(description);
  EXPECT_FALSE(GetClassInfoExW(GetModuleHandleW(nullptr), kDialogWindowClass, &description));
}

// Two threads that come and go at different times: each has the class as long as it needs it.
TEST(WindowClasses, AreSharedByThreads) {
  constexpr const wchar_t* kName = L"KtFormula9.Test";
  std::atomic<int> failures = 0;
  const auto show_windows = [&] {
    for (int round = 0; round < 300; ++round) {
      const WindowClass own(kName, DefWindowProcW);
      Sleep(0);
      const HWND window = CreateWindowExW(0, kName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                          OwnModule(), nullptr);
      if (window == nullptr) ++failures;
      DestroyWindow(window);
    }
  };
  std::thread other(show_windows);
  show_windows();
  other.join();
  EXPECT_EQ(failures, 0);
}

// Notes a message box's title and text, and closes it.
Step NoteBox(std::vector<std::wstring>& seen) {
  return [&seen] {
    std::array<wchar_t, 100> title{};
    std::array<wchar_t, 200> text{};
    GetWindowTextW(GetActiveWindow(), title.data(), static_cast<int>(title.size()));
    GetDlgItemTextW(GetActiveWindow(), 0xFFFF, text.data(), static_cast<int>(text.size()));
    seen.push_back(std::wstring(title.data()) + L": " + text.data());
    PostMessageW(GetActiveWindow(), WM_COMMAND, IDOK, 0);
  };
}

ComPtr<::IKtFieldListener> CreateListener() {
  using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  const auto get = reinterpret_cast<GetClassObject>(
      reinterpret_cast<void*>(GetProcAddress(component, "DllGetClassObject")));
  ComPtr<IClassFactory> factory;
  ComPtr<::IKtFieldListener> listener;
  Check(get(CLSID_FormulaListener, IID_PPV_ARGS(factory.GetAddressOf())));
  Check(factory->CreateInstance(nullptr, IID_IKtFieldListener,
                                reinterpret_cast<void**>(listener.GetAddressOf())));
  return listener;
}

TEST(MessageBoxes, ShowWhyPropertiesCanNotBeEdited) {
  std::vector<std::wstring> seen;
  const User user({NoteBox(seen), NoteBox(seen)});
  const ComPtr<::IKtFieldListener> listener = CreateListener();
  EXPECT_EQ(listener->EditProperties(), S_OK);
  const ComPtr<IDispatch> host = ScriptObject::Make({});
  EXPECT_EQ(listener->Initialize(host.Get(), host.Get(), nullptr), S_OK);
  EXPECT_EQ(listener->EditProperties(), S_OK);
  const std::wstring title = L"Error Setting Field Listener Properties: Sorry, ";
  EXPECT_EQ(seen, (std::vector<std::wstring>{
                      title + L"Object variable not set.",
                      title + L"the host's object of type \"Object\" has no member "
                              L"\"WatchedProperties\"."}));
}

TEST(MessageBoxes, ShowTextAndTitle) {
  std::vector<std::wstring> seen;
  const User user({NoteBox(seen), NoteBox(seen)});
  ShowMessage(u"Über µ");
  ShowWarning(u"Error", u"Sorry, 物.");
  EXPECT_EQ(seen, (std::vector<std::wstring>{L"KtFormula9: Über µ", L"Error: Sorry, 物."}));
}

// For pictures: shows the dialog for KT_SHOW_SECONDS.
TEST_F(DialogTest, Picture) {
  const char* seconds = std::getenv("KT_SHOW_SECONDS");
  if (seconds == nullptr) GTEST_SKIP();
  definitions.Put(u"excess", u"1.2", u"");
  formulas.Put(u"12",
               u"IF([Role] = 'product',\n   [limit] * [Equivalents] * [Yield],\n"
               u"   [Mass] / [Molar mass])",
               u"0.000");
  Steps steps{Pick(2)};
  if (std::getenv("KT_SHOW_FORMULA") != nullptr) steps.push_back(kTab);
  steps.insert(steps.end(), std::size_t{20} * std::strtoul(seconds, nullptr, 10),
               [] { Sleep(50); });
  Edit(std::move(steps));
}

}  // namespace
}  // namespace ktcom

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (argc == 2) ktcom::component = LoadLibraryA(argv[1]);
  CoInitialize(nullptr);
  const int result = RUN_ALL_TESTS();
  CoUninitialize();
  return result;
}
