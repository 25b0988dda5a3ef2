#include "com/base/system_object.h"

#include "com/base/errors.h"
#include "com/base/text.h"
#include "values/raised_error.h"

namespace ktcom {

ComPtr<IUnknown> TryCreateObject(std::u16string_view program_identifier, REFIID interface_id) {
  const std::u16string terminated(program_identifier);
  CLSID class_id{};
  if (FAILED(CLSIDFromProgID(Wide(terminated.c_str()), &class_id))) return nullptr;
  ComPtr<IUnknown> object;
  const HRESULT code = CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, interface_id,
                                        reinterpret_cast<void**>(object.GetAddressOf()));
  if (code == REGDB_E_CLASSNOTREG) return nullptr;
  Check(code);
  return object;
}

ComPtr<IUnknown> CreateObject(std::u16string_view program_identifier, REFIID interface_id) {
  ComPtr<IUnknown> object = TryCreateObject(program_identifier, interface_id);
  if (object == nullptr) {
    throw ktformula::RaisedError(
        REGDB_E_CLASSNOTREG, u"KtFormula9",
        u"the class \"" + std::u16string(program_identifier) + u"\" is not registered");
  }
  return object;
}

}  // namespace ktcom
