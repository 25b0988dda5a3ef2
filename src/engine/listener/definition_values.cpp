#include "listener/definition_values.h"

#include <cstdint>
#include <utility>

#include "formula/evaluator.h"

namespace ktformula {

namespace {

// Leads from where a definition is missing to the run, which evaluates it. Not an error: nothing
// that drops errors may drop it.
struct EvaluateMissingFirst {};

}  // namespace

// Finishes the definitions from `first` on, the last one first, each with as much of the stack as
// its caller has. What is not finished at its end was never begun.
class DefinitionValues::Run {
 public:
  Run(DefinitionValues& values, std::size_t first)
      : values_(values), first_(first), outer_(std::exchange(values.run_, this)) {}
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() {
    while (values_.begun_.size() > first_) {
      values_.entries_.erase(values_.begun_.back().name);
      values_.begun_.pop_back();
    }
    values_.run_ = outer_;
    if (values_.begun_.empty()) values_.ForgetTemporaryEntries();
  }

  void Finish() {
    while (values_.begun_.size() > first_) {
      base_ = values_.begun_.size();
      try {
        values_.FinishLast();
      } catch (const EvaluateMissingFirst&) {
        continue;
      }
    }
  }

  // Whether an exception reaches this run from here.
  bool IsInReach() const noexcept { return foreign_calls_ == ForeignCallsUnderWay(); }
  std::size_t Nested() const noexcept { return values_.begun_.size() - base_; }

 private:
  DefinitionValues& values_;
  std::size_t first_;
  // How many definitions were begun when the present one was taken up.
  std::size_t base_ = 0;
  int foreign_calls_ = ForeignCallsUnderWay();
  Run* outer_;
};

std::shared_ptr<CellValue> DefinitionValues::Get(const PropertyFormulas& definitions,
                                                 std::u16string_view name) {
  if (const auto found = entries_.find(name); found != entries_.end()) {
    return ValueOf(found->second);
  }
  const std::shared_ptr<PropertyFormula> formula = definitions.Find(name);
  if (formula == nullptr) return nullptr;
  const bool is_nested = run_ != nullptr && run_->IsInReach();
  if (is_nested && !MayNest()) {
    Begin(name, formula);
    throw EvaluateMissingFirst();
  }
  std::optional<Run> run;
  if (!is_nested) run.emplace(*this, begun_.size());
  const std::u16string own_name(name);
  Begin(own_name, formula);
  if (run) {
    run->Finish();
  } else {
    FinishLast();
  }
  return ValueOf(entries_.at(own_name));
}

std::shared_ptr<CellValue> DefinitionValues::ValueOf(const Entry& entry) {
  if (entry.is_temporary) CountEvaluationRefusal();
  if (entry.refusal) throw RaisedError(*entry.refusal);
  return entry.value;
}

void DefinitionValues::Begin(std::u16string_view name, std::shared_ptr<PropertyFormula> formula) {
  Entry entry;
  entry.value->SetError(kComponentError, u"FormulaListener.DefinedValue",
                        u"the definition \"" + std::u16string(name) + u"\" refers to itself");
  begun_.push_back({std::u16string(name), std::move(formula)});
  entries_.insert_or_assign(std::u16string(name), std::move(entry));
}

bool DefinitionValues::MayNest() const {
  return run_->Nested() < kMaximumNestedDefinitions && EvaluationHasRoom();
}

// Evaluates the definition that was begun last.
void DefinitionValues::FinishLast() {
  // Others may be begun meanwhile, and the host may change the configuration.
  const Begun definition = begun_.back();
  const std::uint64_t refusals = EvaluationRefusals();
  Entry entry;
  try {
    evaluate_(*definition.formula, *entry.value);
  } catch (const RaisedError& error) {
    if (EvaluationRefusals() != refusals) {
      entry.refusal = error;
    } else {
      entry.value->SetError(error.Number(), error.Source(), error.Description());
    }
  }
  entry.is_temporary = EvaluationRefusals() != refusals;
  has_temporary_entries_ |= entry.is_temporary;
  entries_.insert_or_assign(definition.name, std::move(entry));
  begun_.pop_back();
}

void DefinitionValues::ForgetTemporaryEntries() {
  if (!std::exchange(has_temporary_entries_, false)) return;
  std::erase_if(entries_, [](const auto& entry) { return entry.second.is_temporary; });
}

}  // namespace ktformula
