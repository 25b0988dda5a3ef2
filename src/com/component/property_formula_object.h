// PropertyFormula as a COM class, and the dictionaries in which a listener and its host share them.
#pragma once

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "KtFormula9.h"

#include "com/base/dictionary.h"
#include "com/base/object.h"
#include "listener/configuration.h"

namespace ktcom {

class PropertyFormulaObject final
    : public Object<PropertyFormulaObject, IKtPropertyFormula2, IKtPropertyFormula> {
 public:
  static constexpr const GUID& kClassIdentifier = CLSID_PropertyFormula;
  using Formula = ktformula::FormulaDictionary::Formula;

  PropertyFormulaObject() : PropertyFormulaObject(std::make_shared<ktformula::PropertyFormula>()) {}
  explicit PropertyFormulaObject(Formula formula) : formula_(std::move(formula)) {}

  void* STDMETHODCALLTYPE Native(const std::type_info& type) noexcept override {
    return type == typeid(Formula) ? &formula_ : nullptr;
  }

  HRESULT STDMETHODCALLTYPE get_Formula(BSTR* value) noexcept override;
  HRESULT STDMETHODCALLTYPE put_Formula(BSTR value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_StringFormat(BSTR* value) noexcept override;
  HRESULT STDMETHODCALLTYPE put_StringFormat(BSTR value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_TokenTree(IKtTokenLayer** value) noexcept override;
  HRESULT STDMETHODCALLTYPE put_TokenTree(VARIANT value) noexcept override;
  HRESULT STDMETHODCALLTYPE putref_TokenTree(IDispatch* value) noexcept override;

 private:
  Formula formula_;
};

// A listener's formulas in a Scripting.Dictionary that its host may change.
class ScriptedFormulas final : public ktformula::FormulaDictionary {
 public:
  explicit ScriptedFormulas(ScriptingDictionary formulas) : formulas_(std::move(formulas)) {}

  Formula Find(std::u16string_view key) const override;
  std::vector<Entry> Entries() const override;
  void Put(std::u16string_view key, Formula formula) override;
  void Remove(std::u16string_view key) override;
  void Clear() override { formulas_.RemoveAll(); }

 private:
  ScriptingDictionary formulas_;
};

}  // namespace ktcom
