// The functions that formulas can call, by name.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "formula/formula_function.h"
#include "values/dictionary.h"

namespace ktformula {

// A function class as data: the name under which formulas call it, and how to create it.
struct FunctionClass {
  std::u16string_view key;
  std::function<std::unique_ptr<IKtFormulaFunction>()> create;
};

class FunctionRegistry {
 public:
  // Keys are upper case. Raises error 5 when the key is taken.
  void Register(std::u16string_view key, std::shared_ptr<IKtFormulaFunction> function);

  // Creates a function of each class for the listener and registers it.
  void RegisterAll(std::span<const FunctionClass> classes, NamedValues& listener);

  // The function of this name in any letter case, empty when there is none.
  std::shared_ptr<IKtFormulaFunction> Find(std::u16string_view name) const;

  // The same, but raises kComponentError for an unknown name.
  std::shared_ptr<IKtFormulaFunction> FormulaFunction(std::u16string_view Name) const;

  // Calls Terminate on every function, in the order of registration, and forgets them all. What
  // one of them raises is dropped.
  void Terminate();

  const Dictionary<std::shared_ptr<IKtFormulaFunction>>& Functions() const noexcept {
    return functions_;
  }

 private:
  Dictionary<std::shared_ptr<IKtFormulaFunction>> functions_;
};

}  // namespace ktformula
