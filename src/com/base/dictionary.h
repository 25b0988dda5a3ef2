// Scripting.Dictionary: name-keyed tables where they cross the boundary.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "com/base/variant.h"

// The typed interface of the system's own dictionary, as far as it is called.
MIDL_INTERFACE("42C642C1-97E1-11CF-978F-00A02463E06F")
ISystemDictionary : public IDispatch {
  virtual HRESULT STDMETHODCALLTYPE putref_Item(VARIANT * key, VARIANT * item) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Item(VARIANT * key, VARIANT * item) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Item(VARIANT * key, VARIANT * item) = 0;
  virtual HRESULT STDMETHODCALLTYPE Add(VARIANT * key, VARIANT * item) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG * count) = 0;
  virtual HRESULT STDMETHODCALLTYPE Exists(VARIANT * key, VARIANT_BOOL * exists) = 0;
};
__CRT_UUID_DECL(ISystemDictionary, 0x42C642C1, 0x97E1, 0x11CF, 0x97, 0x8F, 0x00, 0xA0, 0x24, 0x63,
                0xE0, 0x6F)

namespace ktcom {

class ScriptingDictionary {
 public:
  // A new, empty dictionary whose keys compare exactly.
  ScriptingDictionary();
  // A dictionary that someone else has made.
  explicit ScriptingDictionary(ComPtr<IDispatch> dictionary);

  const ComPtr<IDispatch>& Dispatch() const noexcept { return dictionary_; }

  // Raises the dictionary's own error when the key is taken.
  void Add(std::u16string_view key, Variant item);
  bool Exists(std::u16string_view key) const;
  // For a key that exists.
  Variant Item(std::u16string_view key) const;
  // In the order of their being added. A host may use any value for a key.
  std::vector<std::pair<Variant, Variant>> Entries() const;
  std::vector<Variant> Items() const;
  // For a key that exists.
  void Remove(std::u16string_view key);
  void RemoveAll();

 private:
  // What a member answers in an array.
  std::vector<Variant> ListOf(std::u16string_view member) const;

  ComPtr<IDispatch> dictionary_;
  // The same when it is the system's: it is asked for each reference of a formula.
  ComPtr<ISystemDictionary> system_dictionary_;
};

}  // namespace ktcom
