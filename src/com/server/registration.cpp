#include "com/server/registration.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "com/base/errors.h"
#include "com/base/module.h"
#include "com/base/text.h"
#include "com/base/variant.h"
#include "com/base/windows_headers.h"
#include "com/component/classes.h"

namespace ktcom {

namespace {

constexpr std::u16string_view kComponent = u"KtFormula9";
constexpr std::u16string_view kClassesRoot = u"Software\\Classes\\";
constexpr std::u16string_view kLibraryVersion = u"9.0";
// The system's marshaller by type library.
constexpr std::u16string_view kAutomationMarshaller = u"{00020424-0000-0000-C000-000000000046}";

// The word size of this module, and where registrations of the other one are.
#ifdef _WIN64
constexpr std::u16string_view kOwnPlatform = u"win64";
constexpr std::u16string_view kOtherPlatform = u"win32";
constexpr REGSAM kOtherView = KEY_WOW64_32KEY;
#else
constexpr std::u16string_view kOwnPlatform = u"win32";
constexpr std::u16string_view kOtherPlatform = u"win64";
constexpr REGSAM kOtherView = KEY_WOW64_64KEY;
#endif

using Text = std::u16string;

template <typename... Parts>
Text Join(const Parts&... parts) {
  Text joined;
  (joined.append(parts), ...);
  return joined;
}

Text ToText(REFGUID identifier) {
  std::array<wchar_t, 39> buffer{};
  StringFromGUID2(identifier, buffer.data(), static_cast<int>(buffer.size()));
  return Narrow(buffer.data());
}

void CheckSystem(LSTATUS status) {
  if (status != ERROR_SUCCESS) Check(HRESULT_FROM_WIN32(static_cast<DWORD>(status)));
}

// The classes' part of the registry, for one scope.
class ClassesKey {
 public:
  explicit ClassesKey(RegistrationScope scope)
      : root_(scope == RegistrationScope::kMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER) {}

  // Sets a value of a key below; an empty name means the key's own value.
  void Set(const Text& key, const Text& name, const Text& value) const {
    CheckSystem(RegSetKeyValueW(root_, Path(key).c_str(),
                                name.empty() ? nullptr : Wide(name.c_str()), REG_SZ, value.c_str(),
                                static_cast<DWORD>((value.size() + 1) * sizeof(char16_t))));
  }
  bool Exists(const Text& key, REGSAM view = 0) const {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root_, Path(key).c_str(), 0, KEY_READ | view, &opened) != ERROR_SUCCESS) {
      return false;
    }
    RegCloseKey(opened);
    return true;
  }
  // Removes the key with everything below; a key that is not there is fine.
  void Remove(const Text& key) const {
    const LSTATUS status = RegDeleteTreeW(root_, Path(key).c_str());
    if (status != ERROR_FILE_NOT_FOUND) CheckSystem(status);
  }
  // Removes the key if there is nothing in it.
  void RemoveIfEmpty(const Text& key) const {
    HKEY opened = nullptr;
    DWORD subkeys = 1;
    DWORD values = 1;
    if (RegOpenKeyExW(root_, Path(key).c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) return;
    RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values,
                     nullptr, nullptr, nullptr, nullptr);
    RegCloseKey(opened);
    if (subkeys == 0 && values == 0) RegDeleteKeyW(root_, Path(key).c_str());
  }

 private:
  static std::wstring Path(const Text& key) { return ToWide(Join(kClassesRoot, key)); }

  HKEY root_;
};

Text ClassKey(const ComponentClass& one) {
  return Join(u"CLSID\\", ToText(one.identifier));
}
Text ProgramIdentifier(const ComponentClass& one) {
  return Join(kComponent, u".", one.name);
}

struct Library {
  GUID identifier;
  Text path;
  Text description;
};
struct Interface {
  GUID identifier;
  GUID library;
  Text name;
};
struct LibraryContents {
  std::vector<Library> libraries;
  std::vector<Interface> interfaces;
};

GUID LibraryIdentifier(ITypeLib& library) {
  TLIBATTR* attributes = nullptr;
  Check(library.GetLibAttr(&attributes));
  const GUID identifier = attributes->guid;
  library.ReleaseTLibAttr(attributes);
  return identifier;
}

Text DocumentedName(ITypeLib& library, INT index, bool description) {
  Bstr name;
  Bstr text;
  Check(library.GetDocumentation(index, name.Receive(), text.Receive(), nullptr, nullptr));
  return description ? text.Text() : name.Text();
}

// The interfaces that others may call through the automation marshaller.
void AddInterfaces(ITypeLib& library, const GUID& library_identifier,
                   std::vector<Interface>& interfaces) {
  for (UINT i = 0; i < library.GetTypeInfoCount(); ++i) {
    ComPtr<ITypeInfo> information;
    TYPEATTR* attributes = nullptr;
    Check(library.GetTypeInfo(i, information.GetAddressOf()));
    Check(information->GetTypeAttr(&attributes));
    const bool is_interface = attributes->typekind == TKIND_DISPATCH;
    const GUID identifier = attributes->guid;
    information->ReleaseTypeAttr(attributes);
    if (!is_interface) continue;
    interfaces.push_back(
        {identifier, library_identifier, DocumentedName(library, static_cast<INT>(i), false)});
  }
}

LibraryContents ReadLibraries() {
  LibraryContents contents;
  for (int number = 1; number <= kTypeLibraryCount; ++number) {
    const Text path = TypeLibraryPath(number);
    ComPtr<ITypeLib> library;
    Check(LoadTypeLibEx(Wide(path.c_str()), REGKIND_NONE, library.GetAddressOf()));
    const GUID identifier = LibraryIdentifier(*library.Get());
    contents.libraries.push_back({identifier, path, DocumentedName(*library.Get(), -1, true)});
    AddInterfaces(*library.Get(), identifier, contents.interfaces);
  }
  return contents;
}

Text LibraryKey(const Library& library) {
  return Join(u"TypeLib\\", ToText(library.identifier));
}
Text InterfaceKey(const Interface& one) {
  return Join(u"Interface\\", ToText(one.identifier));
}

Text OwnPath() {
  const Text with_number = TypeLibraryPath(1);
  return with_number.substr(0, with_number.rfind(u'\\'));
}

void RegisterClass(const ClassesKey& classes, const ComponentClass& one, const Text& path,
                   const Text& library) {
  const Text key = ClassKey(one);
  const Text identifier = ProgramIdentifier(one);
  classes.Set(key, u"", identifier);
  classes.Set(Join(key, u"\\InprocServer32"), u"", path);
  classes.Set(Join(key, u"\\InprocServer32"), u"ThreadingModel", u"Apartment");
  classes.Set(Join(key, u"\\ProgID"), u"", identifier);
  classes.Set(Join(key, u"\\TypeLib"), u"", library);
  classes.Set(Join(key, u"\\Version"), u"", Text(kLibraryVersion));
  classes.Set(identifier, u"", identifier);
  classes.Set(Join(identifier, u"\\CLSID"), u"", ToText(one.identifier));
}

void RegisterLibrary(const ClassesKey& classes, const Library& library) {
  const Text key = Join(LibraryKey(library), u"\\", kLibraryVersion);
  const Text path = OwnPath();
  classes.Set(key, u"", library.description);
  classes.Set(Join(key, u"\\0\\", kOwnPlatform), u"", library.path);
  classes.Set(Join(key, u"\\FLAGS"), u"", u"0");
  classes.Set(Join(key, u"\\HELPDIR"), u"", path.substr(0, path.rfind(u'\\')));
}

void RegisterInterface(const ClassesKey& classes, const Interface& one) {
  const Text key = InterfaceKey(one);
  classes.Set(key, u"", one.name);
  classes.Set(Join(key, u"\\ProxyStubClsid32"), u"", Text(kAutomationMarshaller));
  classes.Set(Join(key, u"\\TypeLib"), u"", ToText(one.library));
  classes.Set(Join(key, u"\\TypeLib"), u"Version", Text(kLibraryVersion));
}

// A program identifier leads to the classes of both word sizes.
void UnregisterClass(const ClassesKey& classes, const ComponentClass& one) {
  const Text key = ClassKey(one);
  classes.Remove(key);
  if (!classes.Exists(key, kOtherView)) classes.Remove(ProgramIdentifier(one));
}

// So does a type library's key.
void UnregisterLibrary(const ClassesKey& classes, const Library& library) {
  const Text key = LibraryKey(library);
  const Text platforms = Join(key, u"\\", kLibraryVersion, u"\\0\\");
  classes.Remove(Join(platforms, kOwnPlatform));
  if (!classes.Exists(Join(platforms, kOtherPlatform))) classes.Remove(key);
}

void UnregisterFrom(const ClassesKey& classes) {
  const LibraryContents contents = ReadLibraries();
  for (const ComponentClass& one : ComponentClasses())
    UnregisterClass(classes, one);
  for (const Library& library : contents.libraries)
    UnregisterLibrary(classes, library);
  for (const Interface& one : contents.interfaces)
    classes.Remove(InterfaceKey(one));
  // A user who had registered nothing else has these from Register.
  for (const char16_t* shared : {u"CLSID", u"Interface", u"TypeLib"})
    classes.RemoveIfEmpty(shared);
}

void RegisterAt(const ClassesKey& classes) {
  const LibraryContents contents = ReadLibraries();
  const Text path = OwnPath();
  const Text own_library = ToText(contents.libraries.front().identifier);
  for (const Library& library : contents.libraries)
    RegisterLibrary(classes, library);
  for (const Interface& one : contents.interfaces)
    RegisterInterface(classes, one);
  for (const ComponentClass& one : ComponentClasses())
    RegisterClass(classes, one, path, own_library);
}

}  // namespace

RegistrationScope UsualScope() noexcept {
  HANDLE token = nullptr;
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
    GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &size);
    CloseHandle(token);
  }
  return elevation.TokenIsElevated != 0 ? RegistrationScope::kMachine : RegistrationScope::kUser;
}

void Register(RegistrationScope scope) {
  const ClassesKey classes(scope);
  try {
    RegisterAt(classes);
  } catch (...) {
    UnregisterFrom(classes);
    throw;
  }
}

void Unregister(RegistrationScope scope) {
  UnregisterFrom(ClassesKey(RegistrationScope::kUser));
  if (scope == RegistrationScope::kMachine) UnregisterFrom(ClassesKey(scope));
}

}  // namespace ktcom
