#include "formula/evaluator.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "formula/observation.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kLoopSource = u"CellValue.EvaluateTokenTreeLayer";
constexpr std::u16string_view kNextTokenSource = u"CellValue.EvaluateNextToken";

// How deep the evaluation on this thread is, who watches it, how deep it may reach into the stack,
// and what it met.
struct EvaluationDepth {
  int layers = 0;
  EvaluationObserver* observer = nullptr;
  std::uintptr_t stack_end = 0;
  std::uint64_t refusals = 0;
  int foreign_calls = 0;
  std::uint64_t foreign_call_boundaries = 0;
};
thread_local EvaluationDepth depth;

// Enough of the stack for a formula that people write, and what it calls.
constexpr std::uintptr_t kRoom = std::uintptr_t{256} * 1024;

// Counts the layers under evaluation.
class DepthGuard {
 public:
  DepthGuard() : depth_(depth) {
    if (depth_.layers >= kMaximumEvaluationDepth ||
        reinterpret_cast<std::uintptr_t>(this) < depth_.stack_end) {
      RaiseTooDeep();
    }
    ++depth_.layers;
  }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;
  ~DepthGuard() { --depth_.layers; }

  EvaluationObserver* Observer() const noexcept { return depth_.observer; }

 private:
  [[noreturn, gnu::noinline]] static void RaiseTooDeep() {
    CountEvaluationRefusal();
    Raise(kLoopSource, u"the formula is nested too deeply");
  }

  EvaluationDepth& depth_;
};

void Compute(IKtFormulaFunction& function, const TokenLayer* args, CellValue& target,
             const EvaluationContext& context) {
  std::optional<ForeignCall> foreign_call;
  if (!function.IsPure()) foreign_call.emplace();
  function.ComputeValue(args, context.anchor, target);
}

void Call(CellValue& target, const LayerItem& function, const EvaluationContext& context) {
  const TokenLayer args = function.Other(function.Index() + 1).Layer();
  Compute(*function.Function(), &args, target, context);
}

void EvaluateUnwatched(CellValue& target, const Term& term, const LayerItem& item,
                       const EvaluationContext& context) {
  switch (term.kind) {
    case TermKind::kRefusal: RaiseRefusal(term.refusal, item);
    case TermKind::kNumber: target.SetNumber(item.Number(), item.Number()); return;
    case TermKind::kString: target.SetString(item.String()); return;
    case TermKind::kReference:
      ReferenceValue(target, item.Reference(), context.anchor, context.this_object,
                     context.listener);
      return;
    case TermKind::kTrue: target.SetBoolean(true); return;
    case TermKind::kFalse: target.SetBoolean(false); return;
    case TermKind::kZero: target.SetNumber(0, 0); return;
    case TermKind::kLayer: EvaluateTokenTreeLayer(target, item.Layer(), context); return;
    case TermKind::kFunction: Compute(*item.Function(), nullptr, target, context); return;
    case TermKind::kCall: Call(target, item, context); return;
  }
}

[[gnu::noinline]] void EvaluateWatched(EvaluationObserver& observer, CellValue& target,
                                       const Term& term, const LayerItem& item,
                                       const EvaluationContext& context) {
  observer.BeginTerm(term, item, context);
  try {
    EvaluateUnwatched(target, term, item, context);
  } catch (const RaisedError& error) {
    observer.EndTerm(target, &error);
    throw;
  }
  observer.EndTerm(target, nullptr);
}

// Evaluates the term without its NOTs; `item` is the term's.
void EvaluateTerm(CellValue& target, const Term& term, const LayerItem& item,
                  const EvaluationContext& context, EvaluationObserver* observer) {
  if (observer != nullptr) [[unlikely]] {
    EvaluateWatched(*observer, target, term, item, context);
  } else {
    EvaluateUnwatched(target, term, item, context);
  }
}

// Evaluates what a layer, or an argument, begins with.
void EvaluateHead(CellValue& target, const Term& head, const LayerItem& item,
                  const EvaluationContext& context, EvaluationObserver* observer) {
  const bool is_nothing = head.kind == TermKind::kLayer || head.refusal == Refusal::kNoFirstItem;
  if (!is_nothing) target.InitializeFromELNProperty(context.prop);
  EvaluateTerm(target, head, item, context, observer);
}

// The CellValue operation of an operator.
void (CellValue::*OperationOf(FormulaWord word))(Operand) {
  switch (word) {
    case FormulaWord::kOr: return &CellValue::BooleanOr;
    case FormulaWord::kXor: return &CellValue::BooleanXOr;
    case FormulaWord::kAnd: return &CellValue::BooleanAnd;
    case FormulaWord::kEquals: return &CellValue::Equals;
    case FormulaWord::kGreaterThan: return &CellValue::GreaterThan;
    case FormulaWord::kGreaterThanEquals: return &CellValue::GreaterThanEquals;
    case FormulaWord::kLessThan: return &CellValue::LessThan;
    case FormulaWord::kLessThanEquals: return &CellValue::LessThanEquals;
    case FormulaWord::kNotEquals: return &CellValue::NotEquals;
    case FormulaWord::kAdd: return &CellValue::Add;
    case FormulaWord::kSubtract: return &CellValue::Subtract;
    case FormulaWord::kDivide: return &CellValue::Divide;
    case FormulaWord::kMultiply: return &CellValue::Multiply;
    case FormulaWord::kConcatenate: return &CellValue::Concatenate;
    default: return &CellValue::Modulus;
  }
}

void ApplyStep(CellValue& target, const Step& step, const LayerItem& item,
               const CellValue& operand) {
  switch (step.kind) {
    case StepKind::kOperation: (target.*OperationOf(step.word))(operand); return;
    case StepKind::kNot: target.SetBoolean(!operand.BooleanValue()); return;
    case StepKind::kUnknownSymbol:
      target.SetError(kComponentError, kLoopSource,
                      QuotedItem(u"the symbol", item, u"is not a valid token"));
      return;
    default: return;
  }
}

// Inverts a Boolean operand once for each NOT in front of it.
void ApplyNots(CellValue& target, std::size_t count) {
  for (; count > 0; --count) {
    if (target.CellValueType() == kCellValueTypeBoolean) {
      target.SetBoolean(!target.BooleanValue());
    } else if (target.CellValueType() != kCellValueTypeError) {
      target.SetError(kComponentError, kNextTokenSource,
                      u"the token following a NOT is not a Boolean value");
    }
  }
}

// What lies under another layer is on the stack once for each of them, and hosts have as little as
// one megabyte of it: there an operand stands elsewhere.
bool LeadsToOtherLayers(const Term& term) {
  return term.kind == TermKind::kLayer || term.kind == TermKind::kCall ||
         term.kind == TermKind::kFunction;
}

// What a step is taken with. The observer stays the same while a layer is evaluated.
struct Surroundings {
  const EvaluationContext& context;
  EvaluationObserver* observer;
};

void EvaluateOperandAndApply(CellValue& operand, CellValue& target, const Step& step,
                             const LayerItem& item, const Surroundings& around) {
  const LayerItem operand_item = item.Other(step.operand.item);
  EvaluateTerm(operand, step.operand, operand_item, around.context, around.observer);
  ApplyNots(operand, step.operand.nots);
  if (around.observer != nullptr) [[unlikely]] {
    around.observer->ApplyStep(step, item, target, operand);
  }
  ApplyStep(target, step, item, operand);
}

[[gnu::noinline]] void TakeLiteralStep(CellValue& target, const Step& step, const LayerItem& item,
                                       const Surroundings& around) {
  CellValue operand;
  EvaluateOperandAndApply(operand, target, step, item, around);
}

[[gnu::noinline]] void SetUnknownName(CellValue& target, const LayerItem& item) {
  target.SetError(kComponentError, kLoopSource,
                  QuotedItem(u"the string", item, u"is not recognized"));
}

void TakeStep(CellValue& target, const Step& step, const LayerItem& item,
              const Surroundings& around) {
  if (step.kind == StepKind::kRefusal) RaiseRefusal(step.refusal, item);
  if (step.kind == StepKind::kUnknownName) return SetUnknownName(target, item);
  if (!LeadsToOtherLayers(step.operand)) return TakeLiteralStep(target, step, item, around);
  EvaluateOperandAndApply(*std::make_unique<CellValue>(), target, step, item, around);
}

}  // namespace

Observation::Observation(EvaluationObserver* observer) noexcept
    : outer_(std::exchange(depth.observer, observer)) {}

Observation::~Observation() {
  depth.observer = outer_;
}

EvaluationObserver* Observation::Observer() noexcept {
  return depth.observer;
}

void SetEvaluationStackEnd(const void* end) noexcept {
  depth.stack_end = reinterpret_cast<std::uintptr_t>(end);
}

bool EvaluationHasRoom() noexcept {
  const char here = 0;
  return depth.layers < kMaximumEvaluationDepth / 2 &&
         reinterpret_cast<std::uintptr_t>(&here) > depth.stack_end + kRoom;
}

std::uint64_t EvaluationRefusals() noexcept {
  return depth.refusals;
}

void CountEvaluationRefusal() noexcept {
  ++depth.refusals;
}

ForeignCall::ForeignCall() noexcept {
  ++depth.foreign_calls;
  ++depth.foreign_call_boundaries;
}
ForeignCall::~ForeignCall() {
  --depth.foreign_calls;
  ++depth.foreign_call_boundaries;
}

int ForeignCallsUnderWay() noexcept {
  return depth.foreign_calls;
}

std::uint64_t ForeignCallBoundaries() noexcept {
  return depth.foreign_call_boundaries;
}

void EvaluateTokenTreeLayer(CellValue& target, const TokenLayer& layer,
                            const EvaluationContext& context) {
  const DepthGuard guard;
  const Surroundings around{context, guard.Observer()};
  EvaluateHead(target, layer.Head(), layer.ItemOfTree(layer.Head().item), context, around.observer);
  for (const Step& step : layer.Steps()) {
    if (target.CellValueType() == kCellValueTypeError) return;
    TakeStep(target, step, layer.ItemOfTree(step.item), around);
  }
}

void EvaluateTermWithNots(CellValue& target, const Term& term, const LayerItem& item, bool is_head,
                          const EvaluationContext& context) {
  if (is_head) {
    EvaluateHead(target, term, item, context, depth.observer);
  } else {
    EvaluateTerm(target, term, item, context, depth.observer);
  }
  ApplyNots(target, term.nots);
}

void EvaluateArgument(CellValue& target, const LayerItem& item, const EvaluationContext& context) {
  EvaluateHead(target, ArgumentTerm(item), item, context, depth.observer);
}

}  // namespace ktformula
