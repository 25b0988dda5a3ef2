#include "formula/evaluator.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>

#include "values/raised_error.h"

namespace ktformula {

namespace {

// Two procedures of the evaluator report under two spellings of their owner's name.
constexpr std::u16string_view kHeadSource = u"FormulaPListener.EvaluateTokenTreeLayer";
constexpr std::u16string_view kLoopSource = u"CellValue.EvaluateTokenTreeLayer";
constexpr std::u16string_view kNextTokenSource = u"CellValue.EvaluateNextToken";
constexpr std::u16string_view kArgumentSource = u"CellValue.EvaluateArgument";

// What is called while layers are evaluated inside layers lies on the stack once for each of them,
// and hosts have as little as one megabyte of it. So messages, operands and whatever else needs
// room stand in functions of their own, which are gone again before the next layer begins.

std::u16string Quoted(std::u16string_view before, const LayerItem& token,
                      std::u16string_view after) {
  return std::u16string(before) + u" \"" + token.TokenText() + u"\" " + std::u16string(after);
}

[[noreturn, gnu::noinline]] void RaiseQuoted(std::u16string_view source, std::u16string_view before,
                                             const LayerItem& token, std::u16string_view after) {
  Raise(source, Quoted(before, token, after));
}

[[gnu::noinline]] void SetQuotedError(CellValue& target, std::u16string_view before,
                                      const LayerItem& token, std::u16string_view after) {
  target.SetError(kComponentError, kLoopSource, Quoted(before, token, after));
}

[[noreturn]] void RaiseUnknownName(std::u16string_view source, const LayerItem& token) {
  RaiseQuoted(source, u"the string", token, u"is not recognized");
}

// How deep the evaluation on this thread is, how deep it may reach into the stack, and what it met.
struct EvaluationDepth {
  int layers = 0;
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

 private:
  [[noreturn, gnu::noinline]] static void RaiseTooDeep() {
    CountEvaluationRefusal();
    Raise(kLoopSource, u"the formula is nested too deeply");
  }

  EvaluationDepth& depth_;
};

LayerItem ItemAt(const TokenLayer& layer, std::size_t position) {
  if (position >= layer.Count()) Raise(RuntimeError::kInvalidIndex);
  return layer.Item(position);
}

// Strings, references and numbers; other kinds do nothing.
[[gnu::noinline]] void EvaluateLiteral(CellValue& target, const LayerItem& token,
                                       const EvaluationContext& context) {
  switch (token.TokenType()) {
    case kFormulaTokenTypeString: target.SetString(token.String()); break;
    case kFormulaTokenTypeReference:
      ReferenceValue(target, token.Reference(), context.anchor, context.this_object,
                     context.listener);
      break;
    case kFormulaTokenTypeNumber:
      if (std::isnan(token.Number())) Raise(RuntimeError::kTypeMismatch);
      target.SetNumber(token.Number(), token.Number());
      break;
    default: break;
  }
}

// True for the names TRUE and FALSE, which are set; any other name raises.
[[gnu::noinline]] void EvaluateTruthName(CellValue& target, const LayerItem& token,
                                         std::u16string_view source) {
  const FormulaWord word = token.Word();
  if (word != FormulaWord::kTrue && word != FormulaWord::kFalse) RaiseUnknownName(source, token);
  target.SetBoolean(word == FormulaWord::kTrue);
}

void Compute(IKtFormulaFunction& function, const TokenLayer* args, CellValue& target,
             const EvaluationContext& context) {
  std::optional<ForeignCall> foreign_call;
  if (!function.IsPure()) foreign_call.emplace();
  function.ComputeValue(args, context.anchor, target);
}

// Calls the function at `position` with the layer behind it, if there is one.
void CallFunction(CellValue& target, const TokenLayer& layer, std::size_t& position,
                  const EvaluationContext& context) {
  IKtFormulaFunction& function = *layer.Item(position).Function();
  ++position;
  if (position < layer.Count() && layer.Item(position).IsLayer()) {
    const TokenLayer args = layer.Item(position).Layer();
    ++position;
    Compute(function, &args, target, context);
  } else {
    Compute(function, nullptr, target, context);
  }
}

// A symbol that begins a layer becomes an operator between a neutral left side and its operand.
[[gnu::noinline]] void SetNeutralLeftSide(CellValue& target, const LayerItem& token) {
  switch (token.Word()) {
    case FormulaWord::kAdd:
    case FormulaWord::kSubtract:
    case FormulaWord::kPlusMinus: target.SetNumber(0, 0); break;
    case FormulaWord::kNot: target.SetBoolean(true); break;
    default: RaiseQuoted(kHeadSource, u"the symbol", token, u"is not a prefix symbol");
  }
}

// Evaluates the first operand of a layer; `position` is then the first item of the operator loop.
void EvaluateHead(CellValue& target, const TokenLayer& layer, std::size_t& position,
                  const EvaluationContext& context) {
  LayerItem item = ItemAt(layer, position);
  if (item.IsLayer()) {
    EvaluateTokenTreeLayer(target, item.Layer(), context);
    ++position;
    return;
  }
  target.InitializeFromELNProperty(context.prop);
  if (item.Word() == FormulaWord::kEquals) {
    // A formula may begin with "=", but only one token may follow it.
    item = ItemAt(layer, ++position);
    if (item.IsLayer()) Raise(RuntimeError::kTypeMismatch);
  }
  switch (item.TokenType()) {
    case kFormulaTokenTypeSymbol: SetNeutralLeftSide(target, item); return;
    case kFormulaTokenTypeFunction: CallFunction(target, layer, position, context); return;
    case kFormulaTokenTypeName: EvaluateTruthName(target, item, kHeadSource); break;
    default: EvaluateLiteral(target, item, context); break;
  }
  ++position;
}

// The CellValue operation of an operator, nullptr for words that are none.
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
    case FormulaWord::kModulus: return &CellValue::Modulus;
    default: return nullptr;
  }
}

[[gnu::noinline]] void ApplyOperator(CellValue& target, const LayerItem& token,
                                     const CellValue& operand) {
  if (const auto operation = OperationOf(token.Word())) {
    (target.*operation)(operand);
  } else if (token.Word() == FormulaWord::kNot) {
    target.SetBoolean(!operand.BooleanValue());
  } else if (token.Word() != FormulaWord::kExclamation) {
    SetQuotedError(target, u"the symbol", token, u"is not a valid token");
  }
}

bool IsOperator(const LayerItem& item) {
  if (item.IsLayer()) return false;
  return item.TokenType() == kFormulaTokenTypeSymbol ||
         (item.TokenType() == kFormulaTokenTypeName && OperationOf(item.Word()) != nullptr);
}

// Whether the operand at `position` is a token that leads to no other layer of this formula.
bool IsLiteral(const TokenLayer& layer, std::size_t position) {
  if (position >= layer.Count()) return false;
  const LayerItem item = layer.Item(position);
  return !item.IsLayer() && (item.TokenType() == kFormulaTokenTypeString ||
                             item.TokenType() == kFormulaTokenTypeReference ||
                             item.TokenType() == kFormulaTokenTypeNumber);
}

[[gnu::noinline]] void ApplyToLiteral(CellValue& target, const LayerItem& operator_token,
                                      const LayerItem& literal, const EvaluationContext& context) {
  CellValue operand;
  EvaluateLiteral(operand, literal, context);
  ApplyOperator(target, operator_token, operand);
}

// What stands where an operator has to: a name makes the result an error value, all else raises.
[[gnu::noinline]] void RefuseOperator(CellValue& target, const LayerItem& item) {
  if (item.IsLayer()) {
    Raise(kLoopSource, u"the syntax for the formula is not valid; an operator is missing");
  }
  if (item.TokenType() != kFormulaTokenTypeName) {
    RaiseQuoted(kLoopSource, u"the syntax for the formula token", item, u"is not valid");
  }
  SetQuotedError(target, u"the string", item, u"is not recognized");
}

// Applies the operator at `position` to `target` and the operand behind it.
void EvaluateOperation(CellValue& target, const TokenLayer& layer, std::size_t& position,
                       const EvaluationContext& context) {
  const LayerItem item = layer.Item(position);
  if (!IsOperator(item)) return RefuseOperator(target, item);
  ++position;
  if (IsLiteral(layer, position)) {
    ApplyToLiteral(target, item, layer.Item(position), context);
    ++position;
    return;
  }
  const auto operand = std::make_unique<CellValue>();
  EvaluateNextToken(*operand, layer, position, context);
  ApplyOperator(target, item, *operand);
}

// Symbols and names are no operands.
[[noreturn, gnu::noinline]] void RaiseNoOperand(const LayerItem& token) {
  if (token.TokenType() == kFormulaTokenTypeName) RaiseUnknownName(kNextTokenSource, token);
  RaiseQuoted(kNextTokenSource, u"the symbol", token, u"can not follow another symbol");
}

// Inverts a Boolean operand once for each NOT in front of it.
[[gnu::noinline]] void ApplyNots(CellValue& target, std::size_t count) {
  for (; count > 0; --count) {
    if (target.CellValueType() == kCellValueTypeBoolean) {
      target.SetBoolean(!target.BooleanValue());
    } else if (target.CellValueType() != kCellValueTypeError) {
      target.SetError(kComponentError, kNextTokenSource,
                      u"the token following a NOT is not a Boolean value");
    }
  }
}

}  // namespace

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
  std::size_t position = 0;
  EvaluateHead(target, layer, position, context);
  while (position < layer.Count() && target.CellValueType() != kCellValueTypeError) {
    EvaluateOperation(target, layer, position, context);
  }
}

void EvaluateNextToken(CellValue& target, const TokenLayer& layer, std::size_t& position,
                       const EvaluationContext& context) {
  // NOT in front of an operand is recognized in capitals only.
  std::size_t nots = 0;
  LayerItem item = ItemAt(layer, position);
  while (!item.IsLayer() && item.Word() == FormulaWord::kNot && item.TokenText() == u"NOT") {
    ++nots;
    item = ItemAt(layer, ++position);
  }
  if (item.IsLayer()) {
    EvaluateTokenTreeLayer(target, item.Layer(), context);
    ++position;
  } else {
    switch (item.TokenType()) {
      case kFormulaTokenTypeSymbol:
      case kFormulaTokenTypeName: RaiseNoOperand(item);
      case kFormulaTokenTypeFunction: CallFunction(target, layer, position, context); break;
      default: EvaluateLiteral(target, item, context); ++position;
    }
  }
  ApplyNots(target, nots);
}

void EvaluateArgument(CellValue& target, const LayerItem& item, const EvaluationContext& context) {
  if (item.IsLayer()) {
    EvaluateTokenTreeLayer(target, item.Layer(), context);
    return;
  }
  target.InitializeFromELNProperty(context.prop);
  switch (item.TokenType()) {
    case kFormulaTokenTypeName: EvaluateTruthName(target, item, kArgumentSource); break;
    case kFormulaTokenTypeSymbol:
      RaiseQuoted(kArgumentSource, u"the symbol", item, u"can not be evaluated in isolation");
    case kFormulaTokenTypeFunction: Compute(*item.Function(), nullptr, target, context); break;
    default: EvaluateLiteral(target, item, context); break;
  }
}

}  // namespace ktformula
