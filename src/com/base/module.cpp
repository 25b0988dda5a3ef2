#include "com/base/module.h"

#include <array>
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
  std::array<wchar_t, 32768> path{};
  const DWORD length =
      GetModuleFileNameW(OwnModule(), path.data(), static_cast<DWORD>(path.size()));
  std::u16string text(Narrow(path.data()), length);
  text += u'\\';
  text += static_cast<char16_t>(u'0' + number);
  return text;
}

ITypeInfo* TypeInfoOf(REFGUID identifier) {
  static std::mutex mutex;
  static std::map<GUID, ComPtr<ITypeInfo>, LessGuid> known;
  const std::lock_guard lock(mutex);
  ComPtr<ITypeInfo>& information = known[identifier];
  if (information == nullptr) information = LoadTypeInfo(identifier);
  return information.Get();
}

}  // namespace ktcom
