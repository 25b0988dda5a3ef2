#include "com/dialog/window_class.h"

#include <string>

#include "values/raised_error.h"
#include "values/text.h"

namespace ktcom {

HINSTANCE ThisModule() noexcept {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&ThisModule), &module);
  return module;
}

WindowClass::WindowClass(const wchar_t* name, WNDPROC procedure) : name_(name) {
  WNDCLASSEXW description{};
  description.cbSize = sizeof(description);
  description.lpfnWndProc = procedure;
  description.hInstance = ThisModule();
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
