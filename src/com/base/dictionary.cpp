#include "com/base/dictionary.h"

#include "com/base/errors.h"
#include "com/base/host_pointer.h"
#include "com/base/system_object.h"

namespace ktcom {

ScriptingDictionary::ScriptingDictionary()
    : ScriptingDictionary(CreateSystemObject<IDispatch>(u"Scripting.Dictionary")) {}

ScriptingDictionary::ScriptingDictionary(ComPtr<IDispatch> dictionary)
    : dictionary_(std::move(dictionary)) {
  if (dictionary_ != nullptr) dictionary_.As(&system_dictionary_);
}

void ScriptingDictionary::Add(std::u16string_view key, Variant item) {
  InvokeByName(*dictionary_.Get(), u"Add", Variants(key, std::move(item)));
}

bool ScriptingDictionary::Exists(std::u16string_view key) const {
  if (system_dictionary_ == nullptr) {
    return InvokeByName(*dictionary_.Get(), u"Exists", Variants(key)).Boolean();
  }
  const auto check = [this](HRESULT code) {
    Check(code, dictionary_.Get(), __uuidof(ISystemDictionary));
  };
  ForgetErrorObject();
  LONG count = 0;
  check(system_dictionary_->get_Count(&count));
  if (count == 0) return false;
  const Variant asked(key);
  VARIANT_BOOL exists = VARIANT_FALSE;
  check(system_dictionary_->Exists(const_cast<VARIANT*>(&asked.Get()), &exists));
  return exists != VARIANT_FALSE;
}

Variant ScriptingDictionary::Item(std::u16string_view key) const {
  return InvokeByName(*dictionary_.Get(), u"Item", Variants(key));
}

std::vector<std::pair<Variant, Variant>> ScriptingDictionary::Entries() const {
  std::vector<Variant> keys = ListOf(u"Keys");
  std::vector<Variant> items = ListOf(u"Items");
  std::vector<std::pair<Variant, Variant>> entries;
  for (std::size_t i = 0; i < keys.size() && i < items.size(); ++i)
    entries.emplace_back(std::move(keys[i]), std::move(items[i]));
  return entries;
}

std::vector<Variant> ScriptingDictionary::Items() const {
  return ListOf(u"Items");
}

void ScriptingDictionary::Remove(std::u16string_view key) {
  InvokeByName(*dictionary_.Get(), u"Remove", Variants(key));
}

void ScriptingDictionary::RemoveAll() {
  InvokeByName(*dictionary_.Get(), u"RemoveAll", {});
}

std::vector<Variant> ScriptingDictionary::ListOf(std::u16string_view member) const {
  const Variant answer = InvokeByName(*dictionary_.Get(), member, {});
  std::vector<Variant> list;
  if (answer.Get().vt != (VT_ARRAY | VT_VARIANT)) return list;
  SAFEARRAY* array = answer.Get().parray;
  LONG last = -1;
  Check(SafeArrayGetUBound(array, 1, &last));
  for (LONG i = 0; i <= last; ++i)
    Check(SafeArrayGetElement(array, &i, list.emplace_back().Receive()));
  return list;
}

}  // namespace ktcom
