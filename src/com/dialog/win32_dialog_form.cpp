#include "com/dialog/win32_dialog_form.h"

#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <utility>

#include "com/base/module.h"
#include "com/base/windows_headers.h"
#include "com/dialog/controls.h"
#include "com/dialog/window_class.h"
#include "com/dialog/window_metrics.h"
#include "values/raised_error.h"

namespace ktcom {

namespace {

using ktformula::DialogEvents;
using ktformula::Ref;

constexpr const wchar_t* kTitle = L"Formula Listener Properties";
constexpr DWORD kStyle = WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_THICKFRAME | WS_CLIPCHILDREN;
constexpr DWORD kExtendedStyle = WS_EX_DLGMODALFRAME;

// What tells 1 from l and 0 from O, and lines up brackets.
constexpr FontFace kFormulaFace{u"Consolas", true};

constexpr ControlDesign kListLabelDesign{kSourcePropertyLabel, L"STATIC", L"", SS_LEFT, 0, {}};
constexpr ControlDesign kListDesign{
    kSourcePropertyComboBox, L"COMBOBOX", L"", WS_TABSTOP | WS_VSCROLL | CBS_DROPDOWNLIST, 0, {}};
constexpr ControlDesign kFormulaLabelDesign{kFormulaLabel, L"STATIC", L"&Formula:", SS_LEFT, 0, {}};
// Long lines are wrapped, so that no part of a formula is out of sight to the right.
constexpr ControlDesign kFormulaDesign{
    kFormulaTextBox,
    L"EDIT",
    L"",
    WS_TABSTOP | WS_VSCROLL | ES_MULTILINE | ES_AUTOVSCROLL | ES_WANTRETURN,
    WS_EX_CLIENTEDGE,
    kFormulaFace};
constexpr ControlDesign kFormatLabelDesign{kFormatLabel, L"STATIC", L"For&mat:", SS_LEFT, 0, {}};
constexpr ControlDesign kFormatDesign{
    kFormatTextBox, L"EDIT", L"", WS_TABSTOP | ES_AUTOHSCROLL, WS_EX_CLIENTEDGE, kFormulaFace};
constexpr ControlDesign kOKDesign{kOKButton, L"BUTTON", L"OK", WS_TABSTOP | BS_DEFPUSHBUTTON,
                                  0,         {}};

// Distances in dialog units.
constexpr int kMargin = 7;
constexpr int kGap = 5;
constexpr int kBoxWidth = 250;
constexpr int kMinBoxWidth = 120;
constexpr int kFormulaLines = 12;
constexpr int kMinFormulaLines = 3;
constexpr int kButtonWidth = 50;
constexpr int kButtonHeight = 14;
// What a text box has below its last line beyond what it has above the first.
constexpr int kBoxPadding = 1;
constexpr int kDroppedHeight = 120;

struct Notification {
  WORD identifier;
  WORD code;
  void (DialogEvents::*event)();
};

constexpr std::array<Notification, 6> kNotifications{{
    {kSourcePropertyComboBox, CBN_SELCHANGE, &DialogEvents::mSourcePropertyComboBox_Click},
    {kFormulaTextBox, EN_SETFOCUS, &DialogEvents::mFormulaTextBox_GotFocus},
    {kFormulaTextBox, EN_KILLFOCUS, &DialogEvents::mFormulaTextBox_LostFocus},
    {kFormatTextBox, EN_SETFOCUS, &DialogEvents::mFormatTextBox_GotFocus},
    {kFormatTextBox, EN_KILLFOCUS, &DialogEvents::mFormatTextBox_LostFocus},
    {kOKButton, BN_CLICKED, &DialogEvents::mOKButton_Click},
}};

bool IsOfThisProgram(HWND window) noexcept {
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  return process == GetCurrentProcessId();
}

RECT WorkAreaAround(HWND window) noexcept {
  MONITORINFO monitor{};
  monitor.cbSize = sizeof(monitor);
  GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTOPRIMARY), &monitor);
  return monitor.rcWork;
}

RECT WindowRect(HWND window) noexcept {
  RECT rect{};
  GetWindowRect(window, &rect);
  return rect;
}

SIZE SizeOf(const RECT& rect) noexcept {
  return {rect.right - rect.left, rect.bottom - rect.top};
}

SIZE ClientSize(HWND window) noexcept {
  RECT rect{};
  GetClientRect(window, &rect);
  return SizeOf(rect);
}

// The begin of `length` centred between the two, but within the limits if they leave the room.
LONG Centred(LONG begin, LONG end, LONG length, LONG low, LONG high) noexcept {
  return std::max(low, std::min(begin + (end - begin - length) / 2, high - length));
}

class Win32DialogForm final : public ktformula::DialogForm {
 public:
  ~Win32DialogForm() override { Unload(); }

  std::u16string TypeName() const override { return u"DialogForm"; }
  ktformula::DialogLabel& mSourcePropertyLabel() override { return list_label_; }
  ktformula::DialogComboBox& mSourcePropertyComboBox() override { return list_; }
  ktformula::DialogTextBox& mFormulaTextBox() override { return formula_; }
  ktformula::DialogTextBox& mFormatTextBox() override { return format_; }
  ktformula::DialogButton& mOKButton() override { return ok_; }
  std::int32_t UserLocaleIdentifier() const override {
    return static_cast<std::int32_t>(GetUserDefaultLCID());
  }

  void Load(DialogEvents& events) override;
  void ShowModal() override;
  void Hide() override;
  void Unload() noexcept override;

 private:
  // Sizes in pixels that the layout follows from.
  struct Measures {
    DialogUnits units;
    // The widest of the labels, and a line of each.
    TextMeasures label;
    TextMeasures formula;
    int list_height;
    // What a text box has above and below its lines.
    int text_offset;
    int box_frame;
  };

  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM first, LPARAM second);
  LRESULT Handle(UINT message, WPARAM first, LPARAM second);

  void RunMessages();
  void Notify(void (DialogEvents::*event)()) noexcept;
  void OnCommand(WORD identifier, WORD code);
  void OnDeactivate(HWND activated);
  void OnDestroy() noexcept;
  void MoveFocus(WPARAM target, bool target_is_window);
  void EndModal() noexcept;
  void EnableOwner() noexcept;

  void ScaleFonts(int dpi);
  Measures Measure() const;
  SIZE FrameSize(int box_width, int formula_lines) const;
  void Place();
  void Arrange();

  std::array<Control*, 7> Controls() {
    return {&list_label_, &list_, &formula_label_, &formula_, &format_label_, &format_, &ok_};
  }

  DialogEvents* events_ = nullptr;
  std::optional<WindowClass> window_class_;
  // Empty unless the form is loaded, and when the owner's end was that of the window.
  HWND window_ = nullptr;
  HWND owner_ = nullptr;
  bool owner_is_disabled_ = false;
  bool is_placed_ = false;
  bool is_shown_ = false;
  // The control that has the focus when the form becomes active again.
  HWND focus_ = nullptr;
  std::exception_ptr failure_;

  Label list_label_;
  ComboBox list_;
  Label formula_label_;
  TextBox formula_;
  Label format_label_;
  TextBox format_;
  Button ok_;
};

void Win32DialogForm::Load(DialogEvents& events) {
  Unload();
  events_ = &events;
  owner_ = GetActiveWindow();
  window_class_.emplace(kDialogWindowClass, Procedure);
  // Where the owner is, because another screen may have another resolution.
  const RECT around = owner_ == nullptr ? WorkAreaAround(nullptr) : WindowRect(owner_);
  window_ = CreateWindowExW(kExtendedStyle, kDialogWindowClass, kTitle, kStyle, around.left,
                            around.top, 0, 0, owner_, nullptr, OwnModule(), this);
  if (window_ == nullptr) RaiseLastError(u"DialogForm.Load");
  // In the order of the Tab key, each label in front of its box.
  list_label_.Create(window_, kListLabelDesign);
  list_.Create(window_, kListDesign);
  formula_label_.Create(window_, kFormulaLabelDesign);
  formula_.Create(window_, kFormulaDesign);
  format_label_.Create(window_, kFormatLabelDesign);
  format_.Create(window_, kFormatDesign);
  ok_.Create(window_, kOKDesign);
  ok_.SetDefault(true);
  focus_ = list_.Window();
  ScaleFonts(WindowDpi(window_));
  // Mnemonics are underlined as the user has set it up.
  SendMessageW(window_, WM_CHANGEUISTATE, MAKEWPARAM(UIS_INITIALIZE, 0), 0);
  events_->Form_Load();
}

void Win32DialogForm::ShowModal() {
  if (window_ == nullptr || is_shown_) {
    ktformula::Raise(ktformula::RuntimeError::kInvalidProcedureCall);
  }
  // An event may let go of the form.
  const Ref<Win32DialogForm> self(this);
  failure_ = nullptr;
  is_shown_ = true;
  if (owner_ != nullptr) owner_is_disabled_ = !EnableWindow(owner_, FALSE);
  if (!std::exchange(is_placed_, true)) Place();
  ShowWindow(window_, SW_SHOW);
  RunMessages();
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void Win32DialogForm::RunMessages() {
  while (is_shown_) {
    MSG message{};
    if (GetMessageW(&message, nullptr, 0, 0) <= 0) {
      // The program ends: this is for the loop around this one, too.
      Hide();
      PostQuitMessage(static_cast<int>(message.wParam));
      return;
    }
    if (!IsDialogMessageW(window_, &message)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    // Keys that move the focus leave the frame to other rules of their own.
    if (window_ != nullptr) ok_.ShowState();
  }
}

void Win32DialogForm::Hide() {
  if (!is_shown_) return;
  // Only an enabled owner becomes active when its form goes.
  EnableOwner();
  ShowWindow(window_, SW_HIDE);
  EndModal();
}

void Win32DialogForm::Unload() noexcept {
  if (window_ != nullptr) {
    SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
    EnableOwner();
    OnDestroy();
    DestroyWindow(std::exchange(window_, nullptr));
  }
  for (Control* control : Controls())
    control->DropFont();
  window_class_.reset();
  events_ = nullptr;
  is_placed_ = false;
}

void Win32DialogForm::EndModal() noexcept {
  is_shown_ = false;
  // Wakes a loop that waits while another thread or another loop ended the display.
  PostThreadMessageW(GetCurrentThreadId(), WM_NULL, 0, 0);
}

void Win32DialogForm::EnableOwner() noexcept {
  if (std::exchange(owner_is_disabled_, false)) EnableWindow(owner_, TRUE);
}

LRESULT Win32DialogForm::Procedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_NCCREATE) {
    auto* form = static_cast<Win32DialogForm*>(
        reinterpret_cast<const CREATESTRUCTW*>(second)->lpCreateParams);
    form->window_ = window;
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(form));
  }
  // An event may let go of the form.
  const Ref<Win32DialogForm> form(
      reinterpret_cast<Win32DialogForm*>(GetWindowLongPtrW(window, GWLP_USERDATA)));
  return form ? form->Handle(message, first, second)
              : DefWindowProcW(window, message, first, second);
}

LRESULT Win32DialogForm::Handle(UINT message, WPARAM first, LPARAM second) {
  const HWND window = window_;
  switch (message) {
    case WM_SIZE:
    case kArrangeControls: Arrange(); return 0;
    case WM_GETMINMAXINFO: {
      if (ok_.Window() == nullptr) break;
      const SIZE least = FrameSize(kMinBoxWidth, kMinFormulaLines);
      reinterpret_cast<MINMAXINFO*>(second)->ptMinTrackSize = {least.cx, least.cy};
      return 0;
    }
    case WM_DPICHANGED: {
      ScaleFonts(HIWORD(first));
      const RECT& place = *reinterpret_cast<const RECT*>(second);
      SetWindowPos(window, nullptr, place.left, place.top, SizeOf(place).cx, SizeOf(place).cy,
                   SWP_NOZORDER | SWP_NOACTIVATE);
      Arrange();
      return 0;
    }
    case WM_ACTIVATE:
      if (LOWORD(first) == WA_INACTIVE) OnDeactivate(reinterpret_cast<HWND>(second));
      break;
    case WM_SETFOCUS: SetFocus(focus_); return 0;
    case WM_NEXTDLGCTL: MoveFocus(first, LOWORD(second) != 0); return 0;
    case DM_GETDEFID: return ok_.IsDefault() ? MAKELRESULT(kOKButton, DC_HASDEFID) : 0;
    case WM_COMMAND: OnCommand(LOWORD(first), HIWORD(first)); return 0;
    case WM_CLOSE: Hide(); return 0;
    case WM_DESTROY:
      EnableOwner();
      OnDestroy();
      return 0;
    case WM_NCDESTROY:
      SetWindowLongPtrW(window, GWLP_USERDATA, 0);
      window_ = nullptr;
      break;
    default: break;
  }
  return DefWindowProcW(window, message, first, second);
}

// What the event raises ends the modal display, because it can not pass through Windows.
void Win32DialogForm::Notify(void (DialogEvents::*event)()) noexcept {
  if (!is_shown_ || failure_) return;
  try {
    (events_->*event)();
    return;
  } catch (...) {
    failure_ = std::current_exception();
  }
  Hide();
}

void Win32DialogForm::OnCommand(WORD identifier, WORD code) {
  // What the Escape key sends.
  if (identifier == IDCANCEL) return Hide();
  if (identifier == kFormulaTextBox && code == EN_SETFOCUS) formula_.RestoreSelection();
  if (identifier == kFormulaTextBox && code == EN_KILLFOCUS) formula_.KeepSelection();
  if (identifier == kSourcePropertyComboBox) {
    // Who walks through the open list and leaves it with Escape gets the old entry back.
    const bool is_new = (code == CBN_SELCHANGE || code == CBN_CLOSEUP) && list_.TakeNewSelection();
    if (is_new && code == CBN_CLOSEUP) code = CBN_SELCHANGE;
  }
  for (const Notification& row : kNotifications) {
    if (row.identifier == identifier && row.code == code) return Notify(row.event);
  }
}

void Win32DialogForm::OnDeactivate(HWND activated) {
  if (IsChild(window_, GetFocus())) focus_ = GetFocus();
  // Windows tells which window it is only if it is one of this thread.
  const HWND other = activated == nullptr ? GetForegroundWindow() : activated;
  if (IsOfThisProgram(other)) Notify(&DialogEvents::Form_Deactivate);
}

void Win32DialogForm::OnDestroy() noexcept {
  for (Control* control : Controls())
    control->Detach();
  if (is_shown_) EndModal();
}

void Win32DialogForm::MoveFocus(WPARAM target, bool target_is_window) {
  SetFocus(target_is_window ? reinterpret_cast<HWND>(target)
                            : GetNextDlgTabItem(window_, GetFocus(), target != 0));
}

void Win32DialogForm::ScaleFonts(int dpi) {
  for (Control* control : Controls())
    control->ScaleFont(dpi);
}

Win32DialogForm::Measures Win32DialogForm::Measure() const {
  const DialogUnits units(window_, ok_.Font());
  TextMeasures label{};
  for (const Label* each : {&list_label_, &formula_label_, &format_label_}) {
    const int width = label.width;
    label = MeasureText(each->Window());
    label.width = std::max(label.width, width);
  }
  const int text_offset = format_.TextOffset();
  return {.units = units,
          .label = label,
          .formula = MeasureText(formula_.Window()),
          .list_height = static_cast<int>(SizeOf(WindowRect(list_.Window())).cy),
          .text_offset = text_offset,
          .box_frame = 2 * text_offset + units.Y(kBoxPadding)};
}

// The size with its frame of a form whose boxes have this width, in dialog units.
SIZE Win32DialogForm::FrameSize(int box_width, int formula_lines) const {
  const Measures of = Measure();
  const SIZE frame = SizeOf(WindowRect(window_));
  const SIZE inside = ClientSize(window_);
  const int width =
      2 * of.units.X(kMargin) + of.label.width + of.units.X(kGap) + of.units.X(box_width);
  const int height = 3 * of.units.Y(kMargin) + of.list_height + 2 * of.units.Y(kGap) +
                     2 * of.box_frame + (formula_lines + 1) * of.formula.height +
                     of.units.Y(kButtonHeight);
  return {frame.cx - inside.cx + width, frame.cy - inside.cy + height};
}

// In the middle of the owner, or of the screen.
void Win32DialogForm::Place() {
  const RECT area = WorkAreaAround(owner_);
  const bool has_place = owner_ != nullptr && IsWindowVisible(owner_) && !IsIconic(owner_);
  const RECT middle = has_place ? WindowRect(owner_) : area;
  const SIZE size = FrameSize(kBoxWidth, kFormulaLines);
  SetWindowPos(window_, nullptr,
               static_cast<int>(Centred(middle.left, middle.right, size.cx, area.left, area.right)),
               static_cast<int>(Centred(middle.top, middle.bottom, size.cy, area.top, area.bottom)),
               static_cast<int>(size.cx), static_cast<int>(size.cy), SWP_NOZORDER | SWP_NOACTIVATE);
}

// Three rows of a label and a box, the middle one as high as there is room, and the button.
void Win32DialogForm::Arrange() {
  if (ok_.Window() == nullptr) return;
  const Measures of = Measure();
  const SIZE inside = ClientSize(window_);
  const int left = of.units.X(kMargin);
  const int right = static_cast<int>(inside.cx) - left;
  const int box_left = left + of.label.width + of.units.X(kGap);
  const int button_top =
      static_cast<int>(inside.cy) - of.units.Y(kMargin) - of.units.Y(kButtonHeight);
  const int format_height = of.box_frame + of.formula.height;
  const int format_top = button_top - of.units.Y(kMargin) - format_height;
  const int list_top = of.units.Y(kMargin);
  const int formula_top = list_top + of.list_height + of.units.Y(kGap);

  const auto move = [](const Control& control, int x, int y, int width, int height) {
    SetWindowPos(control.Window(), nullptr, x, y, std::max(width, 0), std::max(height, 0),
                 SWP_NOZORDER | SWP_NOACTIVATE);
  };
  const auto move_row = [&](const Label& label, int label_offset, const Control& box, int top,
                            int height) {
    move(label, left, top + label_offset, of.label.width, of.label.height);
    move(box, box_left, top, right - box_left, height);
  };
  // A list's height counts the part that drops down.
  move_row(list_label_, (of.list_height - of.label.height) / 2, list_, list_top,
           of.units.Y(kDroppedHeight));
  // The label stands on the base line of the box's first line.
  const int label_offset = of.text_offset + of.formula.ascent - of.label.ascent;
  move_row(formula_label_, label_offset, formula_, formula_top,
           format_top - of.units.Y(kGap) - formula_top);
  move_row(format_label_, label_offset, format_, format_top, format_height);
  move(ok_, right - of.units.X(kButtonWidth), button_top, of.units.X(kButtonWidth),
       of.units.Y(kButtonHeight));
}

}  // namespace

ktformula::Ref<ktformula::DialogForm> MakeWin32DialogForm() {
  return ktformula::MakeRef<Win32DialogForm>();
}

}  // namespace ktcom
