// Window classes of this module.
#pragma once

#include "com/base/windows_headers.h"

namespace ktcom {

// Registers a window class of this module and takes it away again, so that a DLL can be unloaded.
// Several of one name may live at a time, in any threads: the first one registers the class, the
// last one takes it away.
class WindowClass {
 public:
  // The name is a literal. Raises an error when Windows refuses.
  WindowClass(const wchar_t* name, WNDPROC procedure);
  WindowClass(const WindowClass&) = delete;
  WindowClass& operator=(const WindowClass&) = delete;
  ~WindowClass();

 private:
  const wchar_t* name_;
};

// Raises the error that Windows told last.
[[noreturn]] void RaiseLastError(const char16_t* source);

}  // namespace ktcom
