#include "com/dialog/controls.h"

#include <utility>

#include "com/base/module.h"
#include "com/base/text.h"
#include "com/dialog/window_class.h"

namespace ktcom {

namespace {

// What Ctrl+A types.
constexpr WPARAM kSelectAll = 1;

// Puts the procedure in front of the window's own and returns that one. SetWindowLongPtrA is
// SetWindowLongA where pointers have 32 bits.
//
// SetWindowLongA declares the window one for ANSI text, and Windows would translate everything that
// is typed into it to the user's code page and back: other characters become "?". It does not if
// the new procedure is given not by its address but by a handle that tells that the procedure takes
// Unicode. GetClassInfoExA answers such a handle for a class of Unicode windows.
LONG_PTR Subclass(HWND window, WNDPROC procedure) {
  const WindowClass carrier(L"frmFormulaListener.Hook", procedure);
  WNDCLASSEXA description{};
  description.cbSize = sizeof(description);
  if (!GetClassInfoExA(OwnModule(), "frmFormulaListener.Hook", &description)) {
    RaiseLastError(u"DialogTextBox.HookWindow");
  }
  return SetWindowLongPtrA(window, GWLP_WNDPROC,
                           reinterpret_cast<LONG_PTR>(description.lpfnWndProc));
}

}  // namespace

void Control::Create(HWND form, const ControlDesign& design) {
  window_ = CreateWindowExW(design.extended_style, design.window_class, design.text,
                            WS_CHILD | WS_VISIBLE | design.style, 0, 0, 0, 0, form,
                            reinterpret_cast<HMENU>(static_cast<INT_PTR>(design.identifier)),
                            OwnModule(), nullptr);
  if (window_ == nullptr) RaiseLastError(u"DialogForm.Load");
  face_ = design.face.name;
  monospaced_ = design.face.monospaced;
  OnCreated();
}

void Control::ScaleFont(int dpi) {
  FontHandle font = MakeFont({face_, monospaced_}, dpi);
  Send(WM_SETFONT, reinterpret_cast<WPARAM>(font.get()), TRUE);
  font_ = std::move(font);
}

void Control::ChangeFace(std::u16string_view name) {
  face_ = name;
  monospaced_ = false;
  ScaleFont(WindowDpi(window_));
  SendMessageW(GetParent(window_), kArrangeControls, 0, 0);
}

void Label::SetCaption(std::u16string_view caption) {
  SetWindowTextW(Window(), ToWide(caption).c_str());
  SendMessageW(GetParent(Window()), kArrangeControls, 0, 0);
}

void TextBox::OnCreated() {
  SetWindowLongPtrW(Window(), GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  // As long as memory allows.
  Send(EM_SETLIMITTEXT, 0);
  KeepSelection();
}

std::u16string TextBox::Text() const {
  if (Window() == nullptr) return last_text_;
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(Window())) + 1, L'\0');
  text.resize(static_cast<std::size_t>(
      GetWindowTextW(Window(), text.data(), static_cast<int>(text.size()))));
  return std::u16string(text.begin(), text.end());
}

void TextBox::SetText(std::u16string_view text) {
  SetWindowTextW(Window(), ToWide(text).c_str());
  KeepSelection();
}

int TextBox::TextOffset() const noexcept {
  RECT text{};
  Send(EM_GETRECT, 0, reinterpret_cast<LPARAM>(&text));
  MapWindowPoints(Window(), nullptr, reinterpret_cast<POINT*>(&text), 2);
  RECT window{};
  GetWindowRect(Window(), &window);
  return static_cast<int>(text.top - window.top);
}

void TextBox::KeepSelection() noexcept {
  Send(EM_GETSEL, reinterpret_cast<WPARAM>(&selection_begin_),
       reinterpret_cast<LPARAM>(&selection_end_));
}

void TextBox::RestoreSelection() noexcept {
  Send(EM_SETSEL, selection_begin_, static_cast<LPARAM>(selection_end_));
}

void TextBox::HookWindow() {
  if (hooked_ || Window() == nullptr) return;
  hooked_procedure_ = Subclass(Window(), HookProcedure);
  hooked_ = true;
}

void TextBox::UnhookWindow() noexcept {
  // The box's own procedure takes Unicode, which not every system would tell from the handle.
  if (std::exchange(hooked_, false)) SetWindowLongPtrW(Window(), GWLP_WNDPROC, hooked_procedure_);
}

void TextBox::Detach() noexcept {
  UnhookWindow();
  last_text_ = Text();
  Control::Detach();
}

LRESULT TextBox::HookProcedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_CHAR && first == kSelectAll) {
    SendMessageW(window, EM_SETSEL, 0, -1);
    return 0;
  }
  const auto* box = reinterpret_cast<const TextBox*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  const auto call = IsWindowUnicode(window) ? CallWindowProcW : CallWindowProcA;
  return call(reinterpret_cast<WNDPROC>(box->hooked_procedure_), window, message, first, second);
}

void ComboBox::Clear() {
  Send(CB_RESETCONTENT);
  known_index_ = CB_ERR;
}

void ComboBox::AddItem(std::u16string_view text, std::int32_t item_data) {
  const LRESULT index = Send(CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(ToWide(text).c_str()));
  Send(CB_SETITEMDATA, static_cast<WPARAM>(index), item_data);
}

std::int32_t ComboBox::ItemData(int index) const {
  return static_cast<std::int32_t>(Send(CB_GETITEMDATA, static_cast<WPARAM>(index)));
}

void ComboBox::SetListIndex(int index) {
  Send(CB_SETCURSEL, static_cast<WPARAM>(index));
  known_index_ = ListIndex();
}

bool ComboBox::TakeNewSelection() noexcept {
  const int index = ListIndex();
  return std::exchange(known_index_, index) != index;
}

void Button::SetDefault(bool is_default) {
  is_default_ = is_default;
  ShowState();
}

void Button::ShowState() noexcept {
  // Enter presses the button that has the focus anyway.
  const WPARAM type = is_default_ || GetFocus() == Window() ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON;
  const LONG_PTR shown = GetWindowLongPtrW(Window(), GWL_STYLE) & BS_TYPEMASK;
  if (static_cast<WPARAM>(shown) != type) Send(BM_SETSTYLE, type, TRUE);
}

}  // namespace ktcom
