// The functions that formulas can call, by name.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "formula/formula_function.h"

namespace ktformula {

// A function class as data: the name under which formulas call it, and how to create it.
struct FunctionClass {
  std::u16string_view key;
  std::function<std::unique_ptr<IKtFormulaFunction>()> create;
};

// The table behind a registry: upper-case names to functions, in the order of their being added. A
// host may keep it, and put functions of its own into it.
class FunctionDictionary {
 public:
  FunctionDictionary() = default;
  FunctionDictionary(const FunctionDictionary&) = delete;
  FunctionDictionary& operator=(const FunctionDictionary&) = delete;
  virtual ~FunctionDictionary() = default;

  // Keys compare exactly. Raises error 457 when the key is taken.
  virtual void Add(std::u16string_view key, std::shared_ptr<IKtFormulaFunction> function) = 0;
  virtual void Remove(std::u16string_view key) = 0;
  // Empty when there is none.
  virtual std::shared_ptr<IKtFormulaFunction> Find(std::u16string_view key) const = 0;
  virtual std::vector<std::shared_ptr<IKtFormulaFunction>> Items() const = 0;
  virtual void Clear() = 0;
};

class FunctionRegistry {
 public:
  // With a table of its own.
  FunctionRegistry();
  // With one that the host may change at any time.
  explicit FunctionRegistry(std::unique_ptr<FunctionDictionary> functions)
      : functions_(std::move(functions)), is_own_(false) {}

  // Keys are upper case. Raises error 457 when the key is taken.
  void Register(std::u16string_view key, std::shared_ptr<IKtFormulaFunction> function);

  // Creates a function of each class for the listener and registers it. When a key is taken, this
  // raises what Register raises and registers none.
  void RegisterAll(std::span<const FunctionClass> classes, NamedValues& listener);

  // The function of this name in any letter case, empty when there is none.
  std::shared_ptr<IKtFormulaFunction> Find(std::u16string_view name) const;

  // The same, but raises kComponentError for an unknown name.
  std::shared_ptr<IKtFormulaFunction> FormulaFunction(std::u16string_view Name) const;

  // Never again the same once a function has come or gone; empty when the table is the host's.
  std::optional<std::uint64_t> Stamp() const {
    return is_own_ ? std::optional(stamp_) : std::nullopt;
  }

  // Calls Terminate on every function in the table, in its order, then on those that were
  // registered and stand there no more; and forgets them all. What one of them, or the table,
  // raises is dropped.
  void Terminate();

 private:
  void Unregister(std::span<const FunctionClass> classes);

  std::unique_ptr<FunctionDictionary> functions_;
  bool is_own_ = true;
  std::uint64_t stamp_ = 0;
  std::vector<std::shared_ptr<IKtFormulaFunction>> registered_;
};

}  // namespace ktformula
