// Formula functions as COM objects: the component's own going out, a host's own coming in.
#pragma once

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "KtFormula9.h"

#include "com/base/dictionary.h"
#include "com/base/object.h"
#include "formula/function_registry.h"

namespace ktcom {

// A function of the component for a host.
ComPtr<IKtFormulaFunction> MakeFunctionObject(
    std::shared_ptr<ktformula::IKtFormulaFunction> function);

// The one COM object that stands for the function; empty for nullptr.
ComPtr<IDispatch> ToFunctionObject(const std::shared_ptr<ktformula::IKtFormulaFunction>& function);

// The functions of a listener in the Scripting.Dictionary that its host may change.
class ScriptedFunctions final : public ktformula::FunctionDictionary {
 public:
  explicit ScriptedFunctions(ScriptingDictionary functions) : functions_(std::move(functions)) {}

  void Add(std::u16string_view key,
           std::shared_ptr<ktformula::IKtFormulaFunction> function) override;
  std::shared_ptr<ktformula::IKtFormulaFunction> Find(std::u16string_view key) const override;
  std::vector<std::shared_ptr<ktformula::IKtFormulaFunction>> Items() const override;
  void Remove(std::u16string_view key) override { functions_.Remove(key); }
  void Clear() override { functions_.RemoveAll(); }

 private:
  ScriptingDictionary functions_;
};

}  // namespace ktcom
