#include "functions/row_folds.h"

#include <cstdint>
#include <optional>
#include <unordered_map>

#include "formula/evaluator.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

// What a fold came to.
class Outcome {
 public:
  Outcome(const Table& table, const CellValue& target, std::optional<RaisedError> raised)
      : table_(table.Identity()), value_(target), raised_(std::move(raised)) {}

  bool IsOf(const Table& table) const { return table.Identity() == table_; }

  void Repeat(CellValue& target) const {
    target.SetNumber(value_.MinNumber(), value_.MaxNumber());
    if (value_.CellValueType() == kCellValueTypeError) {
      target.SetError(value_.ErrorNumber(), value_.ErrorSource(), value_.ErrorDescription());
    }
    if (raised_) throw RaisedError(*raised_);
  }

 private:
  const void* table_;
  CellValue value_;
  std::optional<RaisedError> raised_;
};

struct HashOfLayer {
  std::size_t operator()(const TokenLayer& layer) const noexcept { return layer.Hash(); }
};

// The folds under way on this thread, and what those within them came to.
struct Folds {
  int under_way = 0;
  // After how many calls of hosts' functions the outcomes were found.
  std::uint64_t host_calls = 0;
  std::unordered_map<TokenLayer, Outcome, HashOfLayer> outcomes;
};
thread_local Folds folds;

class FoldUnderWay {
 public:
  FoldUnderWay() { ++folds.under_way; }
  FoldUnderWay(const FoldUnderWay&) = delete;
  FoldUnderWay& operator=(const FoldUnderWay&) = delete;
  ~FoldUnderWay() {
    if (--folds.under_way == 0) folds.outcomes.clear();
  }
};

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

void ForgetWhatHostsMayHaveChanged() {
  if (folds.host_calls == HostFunctionCalls()) return;
  folds.outcomes.clear();
  folds.host_calls = HostFunctionCalls();
}

// Runs the fold and remembers what it came to, if it would come to that again.
void RunAndRemember(const TokenLayer& args, const Table& table, CellValue& target,
                    const std::function<void()>& fold) {
  const std::uint64_t refusals = EvaluationRefusals();
  const auto remember = [&](std::optional<RaisedError> raised) {
    if (refusals != EvaluationRefusals() || folds.host_calls != HostFunctionCalls() ||
        AnySpeaksOfThis(args)) {
      return;
    }
    folds.outcomes.insert_or_assign(args, Outcome(table, target, std::move(raised)));
  };
  try {
    fold();
  } catch (const RaisedError& error) {
    remember(error);
    throw;
  }
  remember(std::nullopt);
}

}  // namespace

void FoldRows(const TokenLayer& args, const Table& table, CellValue& target,
              const std::function<void()>& fold) {
  const bool is_outermost = folds.under_way == 0;
  const FoldUnderWay under_way;
  if (is_outermost) return fold();
  ForgetWhatHostsMayHaveChanged();
  const auto known = folds.outcomes.find(args);
  if (known != folds.outcomes.end() && known->second.IsOf(table)) {
    known->second.Repeat(target);
  } else {
    RunAndRemember(args, table, target, fold);
  }
}

}  // namespace ktformula
