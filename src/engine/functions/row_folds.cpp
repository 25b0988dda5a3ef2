#include "functions/row_folds.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>

#include "formula/binding.h"
#include "formula/evaluator.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

// What a fold came to.
class Outcome {
 public:
  Outcome(const HostObject& folded, const CellValue& target, std::optional<RaisedError> raised)
      : folded_(folded.Identity()), value_(target), raised_(std::move(raised)) {}

  bool IsOf(const HostObject& folded) const { return folded.Identity() == folded_; }

  // A call at the same place of a formula finds its target as the first one did.
  void Repeat(CellValue& target) const {
    target = value_;
    if (raised_) throw RaisedError(*raised_);
  }

 private:
  const void* folded_;
  CellValue value_;
  std::optional<RaisedError> raised_;
};

struct HashOfLayer {
  std::size_t operator()(const TokenLayer& layer) const noexcept { return layer.Hash(); }
};

// What the folds within the outermost one came to. A foreign call has a memory of its own: of what
// is evaluated within it nothing is known before, nor afterwards.
class Memory {
 public:
  Memory() : outer_(std::exchange(current, this)) {}
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;
  ~Memory() { current = outer_; }

  // nullptr unless a fold is under way on this thread, on this side of all foreign calls.
  static Memory* Current() noexcept {
    return current != nullptr && current->foreign_calls_ == ForeignCallsUnderWay() ? current
                                                                                   : nullptr;
  }

  const Outcome* Find(const TokenLayer& args, const HostObject& folded) {
    ForgetWhatMayHaveChanged();
    const auto known = outcomes_.find(args);
    return known != outcomes_.end() && known->second.IsOf(folded) ? &known->second : nullptr;
  }
  void Keep(const TokenLayer& args, Outcome outcome) {
    outcomes_.insert_or_assign(args, std::move(outcome));
  }

 private:
  void ForgetWhatMayHaveChanged() {
    const std::uint64_t boundaries = ForeignCallBoundaries();
    if (std::exchange(boundaries_, boundaries) != boundaries) outcomes_.clear();
  }

  static thread_local Memory* current;

  int foreign_calls_ = ForeignCallsUnderWay();
  // How many there were when the outcomes were found.
  std::uint64_t boundaries_ = ForeignCallBoundaries();
  std::unordered_map<TokenLayer, Outcome, HashOfLayer> outcomes_;
  Memory* outer_;
};
thread_local Memory* Memory::current = nullptr;

// Whether the item speaks of the object that the fold is computed for. Arguments of functions do
// not: to them "this" is the row of the fold.
bool SpeaksOfThis(const LayerItem& item) {
  if (!item.IsLayer()) {
    return item.TokenType() == kFormulaTokenTypeReference && item.Reference().starts_with_this;
  }
  const TokenLayer layer = item.Layer();
  bool is_behind_function = false;
  for (std::size_t i = 0; i < layer.Count(); ++i) {
    const LayerItem part = layer.Item(i);
    const bool is_argument = is_behind_function && part.IsLayer();
    if (!is_argument && SpeaksOfThis(part)) return true;
    is_behind_function = !part.IsLayer() && part.TokenType() == kFormulaTokenTypeFunction;
  }
  return false;
}

bool AnySpeaksOfThis(const TokenLayer& args) {
  for (std::size_t i = 0; i < args.Count(); ++i) {
    if (SpeaksOfThis(args.Item(i))) return true;
  }
  return false;
}

// What has to be the same behind a fold as in front of it for it to come to the same again.
struct Circumstances {
  std::uint64_t refusals = EvaluationRefusals();
  std::uint64_t boundaries = ForeignCallBoundaries();

  bool operator==(const Circumstances&) const = default;
};

// Runs the fold and gives `remember` what was raised, if it would come to the same again.
void RunAndTell(const std::function<void()>& fold,
                const std::function<void(std::optional<RaisedError>)>& remember) {
  const Circumstances before;
  try {
    fold();
  } catch (const RaisedError& error) {
    if (before == Circumstances()) remember(error);
    throw;
  }
  if (before == Circumstances()) remember(std::nullopt);
}

void RunAndRemember(Memory& memory, const TokenLayer& args, const HostObject& folded,
                    CellValue& target, const std::function<void()>& fold) {
  RunAndTell(fold, [&](std::optional<RaisedError> raised) {
    if (AnySpeaksOfThis(args)) return;
    memory.Keep(args, Outcome(folded, target, std::move(raised)));
  });
}

void RunAndKeep(BoundCall& call, CellValue& target, const std::function<void()>& fold) {
  RunAndTell(fold,
             [&](std::optional<RaisedError> raised) { call.Keep(target, std::move(raised)); });
}

[[gnu::noinline]] void RunOutermost(const std::function<void()>& fold) {
  const Memory memory;
  fold();
}

}  // namespace

void Fold(const TokenLayer& args, const HostObject& folded, CellValue& target,
          const std::function<void()>& fold) {
  BoundCall* const call = BoundEvaluation::FindCall(args);
  if (call != nullptr && call->CanBeKept()) {
    if (!call->TakeKept(target)) RunAndKeep(*call, target, fold);
    return;
  }
  Memory* const memory = Memory::Current();
  if (memory == nullptr) return RunOutermost(fold);
  if (const Outcome* const known = memory->Find(args, folded)) {
    known->Repeat(target);
  } else {
    RunAndRemember(*memory, args, folded, target, fold);
  }
}

}  // namespace ktformula
