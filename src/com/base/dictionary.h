// Scripting.Dictionary: name-keyed tables where they cross the boundary.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "com/base/variant.h"

namespace ktcom {

class ScriptingDictionary {
 public:
  // A new, empty dictionary whose keys compare exactly.
  ScriptingDictionary();
  // A dictionary that someone else has made.
  explicit ScriptingDictionary(ComPtr<IDispatch> dictionary) : dictionary_(std::move(dictionary)) {}

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
  // Asked for each reference of a formula.
  mutable DISPID exists_ = DISPID_UNKNOWN;
};

}  // namespace ktcom
