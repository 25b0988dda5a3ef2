// The module that this code is part of: how much of it is in use, and its type libraries.
#pragma once

#include "com/base/variant.h"
#include "com/base/windows_headers.h"

namespace ktcom {

// The DLL or program that holds this code.
HMODULE OwnModule() noexcept;

// While a lock or an object lives, the module must stay loaded.
void LockModule() noexcept;
void UnlockModule() noexcept;
bool IsModuleInUse() noexcept;

// Ties an object to its module.
class ModuleLock {
 public:
  ModuleLock() noexcept { LockModule(); }
  ModuleLock(const ModuleLock&) = delete;
  ModuleLock& operator=(const ModuleLock&) = delete;
  ~ModuleLock() { UnlockModule(); }
};

// The type libraries among the module's resources, as a path that LoadTypeLib takes; numbers count
// from 1 without a gap.
std::u16string TypeLibraryPath(int number);
// How many the component has; a program may have fewer.
inline constexpr int kTypeLibraryCount = 3;

// What the module's type libraries say of an interface or class. Read once and kept; raises an
// error for what they do not know.
ComPtr<ITypeInfo> TypeInfoOf(REFGUID identifier);
// Lets go of what is kept. A DLL calls it when it may be unloaded: while it is, it can not call the
// system any more.
void ForgetTypeInfo() noexcept;

}  // namespace ktcom
