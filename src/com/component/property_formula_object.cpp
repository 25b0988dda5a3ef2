#include "com/component/property_formula_object.h"

#include <string>

#include "com/component/token_objects.h"
#include "values/raised_error.h"

namespace ktcom {

namespace {

using Formula = ktformula::FormulaDictionary::Formula;

// The formula that a dictionary's item is; empty for anything else.
Formula FormulaOf(const Variant& item) noexcept {
  const VARTYPE type = item.Get().vt;
  if (type != VT_DISPATCH && type != VT_UNKNOWN) return nullptr;
  const auto* own = NativeOf<Formula>(item.Get().punkVal);
  return own != nullptr ? *own : nullptr;
}

}  // namespace

HRESULT PropertyFormulaObject::get_Formula(BSTR* value) noexcept {
  return Give(value, [&] { return formula_->Formula; });
}
HRESULT PropertyFormulaObject::put_Formula(BSTR value) noexcept {
  return Answer([&] { formula_->Formula = View(value); });
}
HRESULT PropertyFormulaObject::get_StringFormat(BSTR* value) noexcept {
  return Give(value, [&] { return formula_->StringFormat; });
}
HRESULT PropertyFormulaObject::put_StringFormat(BSTR value) noexcept {
  return Answer([&] { formula_->StringFormat = View(value); });
}

HRESULT PropertyFormulaObject::get_TokenTree(IKtTokenLayer** value) noexcept {
  return Give(value, [&] { return ToTreeObject(formula_->TokenTree); });
}
HRESULT PropertyFormulaObject::put_TokenTree(VARIANT value) noexcept {
  return Answer([&] {
    const Variant tree(value);
    if (tree.IsNull()) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
    formula_->TokenTree = TreeArgument(tree.Object().Get());
  });
}
HRESULT PropertyFormulaObject::putref_TokenTree(IDispatch* value) noexcept {
  return Answer([&] { formula_->TokenTree = TreeArgument(value); });
}

Formula ScriptedFormulas::Find(std::u16string_view key) const {
  // Asking for an item that is not there would add it.
  return formulas_.Exists(key) ? FormulaOf(formulas_.Item(key)) : nullptr;
}

std::vector<ScriptedFormulas::Entry> ScriptedFormulas::Entries() const {
  std::vector<Entry> entries;
  for (const auto& [key, item] : formulas_.Entries()) {
    if (key.Get().vt != VT_BSTR) continue;
    if (Formula formula = FormulaOf(item)) entries.push_back({key.Text(), std::move(formula)});
  }
  return entries;
}

void ScriptedFormulas::Put(std::u16string_view key, Formula formula) {
  const auto object = MakeObject<PropertyFormulaObject>(std::move(formula));
  Remove(key);
  formulas_.Add(key,
                Variant(static_cast<IDispatch*>(static_cast<IKtPropertyFormula2*>(object.Get()))));
}

void ScriptedFormulas::Remove(std::u16string_view key) {
  if (formulas_.Exists(key)) formulas_.Remove(key);
}

}  // namespace ktcom
