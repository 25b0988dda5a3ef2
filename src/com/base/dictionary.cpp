#include "com/base/dictionary.h"

#include <utility>

#include "com/base/errors.h"
#include "com/base/host_pointer.h"
#include "com/base/system_object.h"

namespace ktcom {

namespace {

template <typename... Arguments>
std::vector<Variant> List(Arguments&&... arguments) {
  std::vector<Variant> list;
  (list.push_back(Variant(std::forward<Arguments>(arguments))), ...);
  return list;
}

}  // namespace

ScriptingDictionary::ScriptingDictionary()
    : dictionary_(CreateSystemObject<IDispatch>(u"Scripting.Dictionary")) {}

void ScriptingDictionary::Add(std::u16string_view key, Variant item) {
  InvokeByName(*dictionary_.Get(), u"Add", List(key, std::move(item)));
}

bool ScriptingDictionary::Exists(std::u16string_view key) const {
  return InvokeByName(*dictionary_.Get(), u"Exists", List(key)).Boolean();
}

Variant ScriptingDictionary::Item(std::u16string_view key) const {
  return InvokeByName(*dictionary_.Get(), u"Item", List(key));
}

std::vector<std::u16string> ScriptingDictionary::Keys() const {
  const Variant keys = InvokeByName(*dictionary_.Get(), u"Keys", {});
  std::vector<std::u16string> texts;
  if (keys.Get().vt != (VT_ARRAY | VT_VARIANT)) return texts;
  SAFEARRAY* array = keys.Get().parray;
  LONG last = -1;
  Check(SafeArrayGetUBound(array, 1, &last));
  for (LONG i = 0; i <= last; ++i) {
    Variant key;
    Check(SafeArrayGetElement(array, &i, key.Receive()));
    texts.push_back(key.Text());
  }
  return texts;
}

void ScriptingDictionary::RemoveAll() {
  InvokeByName(*dictionary_.Get(), u"RemoveAll", {});
}

}  // namespace ktcom
