#include "com/base/module.h"

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "com/base/errors.h"
#include "com/base/text.h"

namespace ktcom {

namespace {

// Objects of different threads' apartments count together.
std::atomic<long> locks = 0;

struct LessGuid {
  bool operator()(const GUID& left, const GUID& right) const noexcept {
    return std::memcmp(&left, &right, sizeof(GUID)) < 0;
  }
};

// Objects of different threads' apartments share it.
struct KnownTypes {
  std::mutex mutex;
  std::map<GUID, ComPtr<ITypeInfo>, LessGuid> types;
};

KnownTypes& Known() {
  // Never destroyed: that would call the system while it takes this module away.
  static KnownTypes& known = *new KnownTypes;
  return known;
}

bool HasTypeLibrary(int number) noexcept {
  return FindResourceW(OwnModule(), MAKEINTRESOURCEW(number), L"TYPELIB") != nullptr;
}

ComPtr<ITypeInfo> LoadTypeInfo(REFGUID identifier) {
  for (int number = 1; HasTypeLibrary(number); ++number) {
    ComPtr<ITypeLib> library;
    Check(
        LoadTypeLibEx(Wide(TypeLibraryPath(number).c_str()), REGKIND_NONE, library.GetAddressOf()));
    ComPtr<ITypeInfo> information;
    if (SUCCEEDED(library->GetTypeInfoOfGuid(identifier, information.GetAddressOf()))) {
      return information;
    }
  }
  Check(TYPE_E_ELEMENTNOTFOUND);
  return nullptr;
}

}  // namespace

HMODULE OwnModule() noexcept {
  static const HMODULE own = [] {
    HMODULE module = nullptr;
    GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCWSTR>(&locks), &module);
    return module;
  }();
  return own;
}

void LockModule() noexcept {
  ++locks;
}

void UnlockModule() noexcept {
  --locks;
}

bool IsModuleInUse() noexcept {
  return locks != 0;
}

std::u16string TypeLibraryPath(int number) {
  // The longest path that Windows has is too long for the stack under a deep formula.
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(OwnModule(), path.data(), static_cast<DWORD>(path.size())));
  std::u16string text(path.begin(), path.end());
  text += u'\\';
  text += static_cast<char16_t>(u'0' + number);
  return text;
}

ComPtr<ITypeInfo> TypeInfoOf(REFGUID identifier) {
  KnownTypes& known = Known();
  const std::lock_guard lock(known.mutex);
  ComPtr<ITypeInfo>& information = known.types[identifier];
  if (information == nullptr) information = LoadTypeInfo(identifier);
  return information;
}

void ForgetTypeInfo() noexcept {
  KnownTypes& known = Known();
  const std::lock_guard lock(known.mutex);
  known.types.clear();
}

}  // namespace ktcom
