#include "com/dialog/window_class.h"

#include "values/raised_error.h"
#include "values/text.h"

namespace ktcom {

WindowClass::WindowClass(const wchar_t* name, WNDPROC procedure) : name_(name) {
  WNDCLASSEXW description{};
  description.cbSize = sizeof(description);
  description.lpfnWndProc = procedure;
  description.hInstance = OwnModule();
  description.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  description.hbrBackground = GetSysColorBrush(COLOR_3DFACE);
  description.lpszClassName = name;
  if (RegisterClassExW(&description) == 0 && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
    RaiseLastError(u"WindowClass");
  }
}

void RaiseLastError(const char16_t* source) {
  ktformula::Raise(source, u"Windows error " + ktformula::ToDecimalText(GetLastError()));
}

}  // namespace ktcom
