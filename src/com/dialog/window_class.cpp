#include "com/dialog/window_class.h"

#include <map>
#include <mutex>
#include <string_view>

#include "com/base/module.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktcom {

namespace {

struct UsedClasses {
  std::mutex mutex;
  // How many of each name live.
  std::map<std::wstring_view, int> counts;
};

UsedClasses& Used() {
  static UsedClasses used;
  return used;
}

}  // namespace

WindowClass::WindowClass(const wchar_t* name, WNDPROC procedure) : name_(name) {
  UsedClasses& used = Used();
  const std::lock_guard lock(used.mutex);
  int& count = used.counts[name];
  WNDCLASSEXW description{};
  description.cbSize = sizeof(description);
  description.lpfnWndProc = procedure;
  description.hInstance = OwnModule();
  description.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  description.hbrBackground = GetSysColorBrush(COLOR_3DFACE);
  description.lpszClassName = name;
  // Windows keeps a class that still had a window when it was to go.
  if (count == 0 && RegisterClassExW(&description) == 0 &&
      GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
    RaiseLastError(u"WindowClass");
  }
  ++count;
}

WindowClass::~WindowClass() {
  UsedClasses& used = Used();
  const std::lock_guard lock(used.mutex);
  if (--used.counts[name_] == 0) UnregisterClassW(name_, OwnModule());
}

void RaiseLastError(const char16_t* source) {
  ktformula::Raise(source, u"Windows error " + ktformula::ToDecimalText(GetLastError()));
}

}  // namespace ktcom
