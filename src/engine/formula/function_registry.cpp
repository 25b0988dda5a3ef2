#include "formula/function_registry.h"

#include <algorithm>
#include <utility>

#include "values/dictionary.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

class OwnFunctionDictionary final : public FunctionDictionary {
 public:
  void Add(std::u16string_view key, std::shared_ptr<IKtFormulaFunction> function) override {
    if (!functions_.Add(key, std::move(function))) Raise(RuntimeError::kKeyInUse);
  }
  void Remove(std::u16string_view key) override { functions_.Remove(key); }
  std::shared_ptr<IKtFormulaFunction> Find(std::u16string_view key) const override {
    const auto* function = functions_.Find(key);
    return function != nullptr ? *function : nullptr;
  }
  std::vector<std::shared_ptr<IKtFormulaFunction>> Items() const override {
    std::vector<std::shared_ptr<IKtFormulaFunction>> items;
    for (const auto& [key, function] : functions_)
      items.push_back(function);
    return items;
  }
  void Clear() override { functions_.Clear(); }

 private:
  Dictionary<std::shared_ptr<IKtFormulaFunction>> functions_;
};

}  // namespace

FunctionRegistry::FunctionRegistry() : functions_(std::make_unique<OwnFunctionDictionary>()) {}

void FunctionRegistry::Register(std::u16string_view key,
                                std::shared_ptr<IKtFormulaFunction> function) {
  ++stamp_;
  functions_->Add(key, function);
  registered_.push_back(std::move(function));
}

void FunctionRegistry::RegisterAll(std::span<const FunctionClass> classes, NamedValues& listener) {
  std::size_t done = 0;
  try {
    for (; done < classes.size(); ++done) {
      std::shared_ptr<IKtFormulaFunction> function = classes[done].create();
      function->Initialize(listener);
      Register(classes[done].key, std::move(function));
    }
  } catch (const RaisedError&) {
    Unregister(classes.first(done));
    throw;
  }
}

// Takes back the functions that were registered last, one for each of the classes.
void FunctionRegistry::Unregister(std::span<const FunctionClass> classes) {
  ++stamp_;
  for (const FunctionClass& function_class : classes)
    functions_->Remove(function_class.key);
  const auto kept = registered_.end() - static_cast<std::ptrdiff_t>(classes.size());
  std::for_each(kept, registered_.end(), [](const auto& function) { function->Terminate(); });
  registered_.erase(kept, registered_.end());
}

std::shared_ptr<IKtFormulaFunction> FunctionRegistry::Find(std::u16string_view name) const {
  return functions_->Find(UpperCase(name));
}

std::shared_ptr<IKtFormulaFunction> FunctionRegistry::FormulaFunction(
    std::u16string_view Name) const {
  std::shared_ptr<IKtFormulaFunction> function = Find(Name);
  if (function == nullptr) {
    Raise(u"FormulaListener.FormulaFunction",
          u"the function \"" + std::u16string(Name) + u"\" is not recognized");
  }
  return function;
}

void FunctionRegistry::Terminate() {
  ++stamp_;
  // The others have to be told too, and the shut-down can not be stopped.
  const auto regardless = [](auto&& step) {
    try {
      step();
    } catch (const RaisedError&) {  // NOLINT(bugprone-empty-catch)
    }
  };
  std::vector<std::shared_ptr<IKtFormulaFunction>> functions;
  regardless([&] { functions = functions_->Items(); });
  const auto is_listed = [&](const auto& registered) {
    return std::any_of(functions.begin(), functions.end(),
                       [&](const auto& listed) { return listed.get() == registered.get(); });
  };
  for (auto& registered : std::exchange(registered_, {})) {
    if (!is_listed(registered)) functions.push_back(std::move(registered));
  }
  for (const auto& function : functions)
    regardless([&] { function->Terminate(); });
  regardless([&] { functions_->Clear(); });
}

}  // namespace ktformula
