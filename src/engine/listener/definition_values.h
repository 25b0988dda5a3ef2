// The values of a listener's named definitions during one pass.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "listener/configuration.h"
#include "values/cell_value.h"
#include "values/dictionary.h"
#include "values/raised_error.h"

namespace ktformula {

// Definitions that use one another are evaluated within one another as long as no more than this
// many are begun and the stack has room. Beyond that the ones begun are given up, the missing one
// is evaluated first, and then they are begun again: a chain of definitions may be of any length.
inline constexpr std::size_t kMaximumNestedDefinitions = 100;

// Evaluates each definition when its value is first asked for, and keeps the value. What a
// definition raises, or its referring to itself, makes its value an error value.
//
// Where the evaluation of a definition met the limit of the evaluator's depth, this belongs to the
// evaluation under way and says nothing about the definition: what it raised is raised to whoever
// asked, and nothing that came of it is kept when that evaluation is over.
class DefinitionValues {
 public:
  // Evaluates one definition's formula into the value; may raise, and asks Get for the definitions
  // that it uses.
  using Evaluate = std::function<void(PropertyFormula&, CellValue&)>;

  explicit DefinitionValues(Evaluate evaluate) : evaluate_(std::move(evaluate)) {}
  DefinitionValues(const DefinitionValues&) = delete;
  DefinitionValues& operator=(const DefinitionValues&) = delete;

  // The value of the definition of this name among `definitions`; empty when there is none.
  std::shared_ptr<CellValue> Get(const PropertyFormulas& definitions, std::u16string_view name);

  // Whether the definition has been asked for and would give the same value again.
  bool IsSettled(std::u16string_view name) const {
    return begun_.empty() && entries_.contains(name);
  }

 private:
  struct Entry {
    std::shared_ptr<CellValue> value = std::make_shared<CellValue>();
    // What is raised instead of giving a value.
    std::optional<RaisedError> refusal;
    // Came of a limit that the evaluation met.
    bool is_temporary = false;
  };
  // A definition whose evaluation has begun.
  struct Begun {
    std::u16string name;
    std::shared_ptr<PropertyFormula> formula;
  };
  class Run;

  static std::shared_ptr<CellValue> ValueOf(const Entry& entry);
  void Begin(std::u16string_view name, std::shared_ptr<PropertyFormula> formula);
  bool MayNest() const;
  void FinishLast();
  void ForgetTemporaryEntries();

  Evaluate evaluate_;
  // Until a definition is finished its value is what a reference to itself deserves.
  std::unordered_map<std::u16string, Entry, TextHash, std::equal_to<>> entries_;
  std::vector<Begun> begun_;
  // The run under way; an outer one can not be reached through foreign calls in between.
  Run* run_ = nullptr;
  // Whether there are temporary entries, which there are only while definitions are begun.
  bool has_temporary_entries_ = false;
};

}  // namespace ktformula
