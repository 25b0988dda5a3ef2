#include "formula/expression.h"

#include <array>
#include <cmath>
#include <optional>

#include "formula/token_tree.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

// Two procedures of the evaluator report under two spellings of their owner's name.
constexpr std::u16string_view kHeadSource = u"FormulaPListener.EvaluateTokenTreeLayer";
constexpr std::u16string_view kLoopSource = u"CellValue.EvaluateTokenTreeLayer";
constexpr std::u16string_view kNextTokenSource = u"CellValue.EvaluateNextToken";
constexpr std::u16string_view kArgumentSource = u"CellValue.EvaluateArgument";

struct RefusalRow {
  Refusal refusal;
  // The platform's error or, without one, the source and the words around the item's text; without
  // `after` the words stand alone.
  std::optional<RuntimeError> error;
  std::u16string_view source;
  std::u16string_view before;
  std::u16string_view after;
};

constexpr std::u16string_view kNotRecognized = u"is not recognized";

constexpr std::array<RefusalRow, 12> kRefusals{{
    {Refusal::kNoFirstItem, RuntimeError::kInvalidIndex, {}, {}, {}},
    {Refusal::kNoItem, RuntimeError::kInvalidIndex, {}, {}, {}},
    {Refusal::kLayerBehindEquals, RuntimeError::kTypeMismatch, {}, {}, {}},
    {Refusal::kNoNumber, RuntimeError::kTypeMismatch, {}, {}, {}},
    {Refusal::kUnknownNameAtHead, {}, kHeadSource, u"the string", kNotRecognized},
    {Refusal::kNoPrefix, {}, kHeadSource, u"the symbol", u"is not a prefix symbol"},
    {Refusal::kUnknownNameAsOperand, {}, kNextTokenSource, u"the string", kNotRecognized},
    {Refusal::kSymbolAsOperand,
     {},
     kNextTokenSource,
     u"the symbol",
     u"can not follow another symbol"},
    {Refusal::kUnknownNameAsArgument, {}, kArgumentSource, u"the string", kNotRecognized},
    {Refusal::kSymbolAsArgument,
     {},
     kArgumentSource,
     u"the symbol",
     u"can not be evaluated in isolation"},
    {Refusal::kNoOperator,
     {},
     kLoopSource,
     u"the syntax for the formula is not valid; an operator is missing",
     {}},
    {Refusal::kMisplacedToken,
     {},
     kLoopSource,
     u"the syntax for the formula token",
     u"is not valid"},
}};

Term Refused(Refusal refusal, std::uint32_t item) {
  return {TermKind::kRefusal, refusal, 0, item};
}

// Names and symbols are for others.
Term LiteralTerm(const LayerItem& item) {
  switch (item.TokenType()) {
    case kFormulaTokenTypeString: return {TermKind::kString, Refusal::kNone, 0, item.Index()};
    case kFormulaTokenTypeReference: return {TermKind::kReference, Refusal::kNone, 0, item.Index()};
    default:
      if (std::isnan(item.Number())) return Refused(Refusal::kNoNumber, item.Index());
      return {TermKind::kNumber, Refusal::kNone, 0, item.Index()};
  }
}

// TRUE or FALSE; any other name is refused.
Term TruthTerm(const LayerItem& item, Refusal refusal) {
  switch (item.Word()) {
    case FormulaWord::kTrue: return {TermKind::kTrue, Refusal::kNone, 0, item.Index()};
    case FormulaWord::kFalse: return {TermKind::kFalse, Refusal::kNone, 0, item.Index()};
    default: return Refused(refusal, item.Index());
  }
}

// A symbol that begins a layer is an operator between a neutral left side and its operand.
Term NeutralTerm(const LayerItem& item) {
  switch (item.Word()) {
    case FormulaWord::kAdd:
    case FormulaWord::kSubtract:
    case FormulaWord::kPlusMinus: return {TermKind::kZero, Refusal::kNone, 0, item.Index()};
    case FormulaWord::kNot: return {TermKind::kTrue, Refusal::kNone, 0, item.Index()};
    default: return Refused(Refusal::kNoPrefix, item.Index());
  }
}

StepKind KindOf(const LayerItem& item) {
  switch (item.Word()) {
    case FormulaWord::kNot: return StepKind::kNot;
    case FormulaWord::kExclamation: return StepKind::kDrop;
    default:
      if (PrecedenceLevel(item.Word()) > 0 && item.Word() != FormulaWord::kPlusMinus) {
        return StepKind::kOperation;
      }
      return item.TokenType() == kFormulaTokenTypeSymbol ? StepKind::kUnknownSymbol
                                                         : StepKind::kUnknownName;
  }
}

// Walks one layer from left to right.
class LayerReader {
 public:
  explicit LayerReader(const TokenLayer& layer) : layer_(layer) {}

  bool IsAtEnd() const { return position_ >= layer_.Count(); }

  Term TakeHead() {
    if (IsAtEnd()) return Refused(Refusal::kNoFirstItem, 0);
    if (Current().IsLayer()) return TakeLayer();
    // A formula may begin with "=", but only one token may follow it.
    if (Current().Word() == FormulaWord::kEquals) {
      ++position_;
      if (IsAtEnd()) return Refused(Refusal::kNoItem, 0);
      if (Current().IsLayer()) return Refused(Refusal::kLayerBehindEquals, Current().Index());
    }
    switch (Current().TokenType()) {
      case kFormulaTokenTypeSymbol: return NeutralTerm(Current());
      case kFormulaTokenTypeName: return TruthTerm(Take(), Refusal::kUnknownNameAtHead);
      case kFormulaTokenTypeFunction: return TakeCall();
      default: return LiteralTerm(Take());
    }
  }

  // Nothing behind a refusal is ever reached, and so nothing behind it is taken.
  Step TakeStep() {
    const LayerItem item = Take();
    Step step;
    step.item = item.Index();
    if (item.IsLayer()) {
      step.refusal = Refusal::kNoOperator;
    } else if (item.TokenType() != kFormulaTokenTypeSymbol &&
               item.TokenType() != kFormulaTokenTypeName) {
      step.refusal = Refusal::kMisplacedToken;
    } else {
      step.kind = KindOf(item);
      step.word = item.Word();
      if (step.kind != StepKind::kUnknownName) step.operand = TakeOperand();
    }
    return step;
  }

 private:
  LayerItem Current() const { return layer_.Item(position_); }
  LayerItem Take() { return layer_.Item(position_++); }

  Term TakeLayer() { return {TermKind::kLayer, Refusal::kNone, 0, Take().Index()}; }

  Term TakeCall() {
    const std::uint32_t function = Take().Index();
    if (IsAtEnd() || !Current().IsLayer())
      return {TermKind::kFunction, Refusal::kNone, 0, function};
    ++position_;
    return {TermKind::kCall, Refusal::kNone, 0, function};
  }

  // NOT in front of an operand is recognized in capitals only.
  bool IsAtNot() const {
    return !IsAtEnd() && !Current().IsLayer() && Current().Word() == FormulaWord::kNot &&
           Current().TokenText() == u"NOT";
  }

  Term TakeOperand() {
    std::uint8_t nots = 0;
    for (; IsAtNot(); ++position_)
      nots = nots == 2 ? 1 : static_cast<std::uint8_t>(nots + 1);
    Term operand = TakeBareOperand();
    operand.nots = nots;
    return operand;
  }

  Term TakeBareOperand() {
    if (IsAtEnd()) return Refused(Refusal::kNoItem, 0);
    if (Current().IsLayer()) return TakeLayer();
    switch (Current().TokenType()) {
      case kFormulaTokenTypeSymbol: return Refused(Refusal::kSymbolAsOperand, Take().Index());
      case kFormulaTokenTypeName: return Refused(Refusal::kUnknownNameAsOperand, Take().Index());
      case kFormulaTokenTypeFunction: return TakeCall();
      default: return LiteralTerm(Take());
    }
  }

  TokenLayer layer_;
  std::size_t position_ = 0;
};

// Whether evaluation goes on behind the term, or the step, as far as its kind tells.
bool Ends(const Term& term) {
  return term.kind == TermKind::kRefusal;
}
bool Ends(const Step& step) {
  return step.kind == StepKind::kRefusal || step.kind == StepKind::kUnknownName ||
         step.kind == StepKind::kUnknownSymbol || Ends(step.operand);
}

}  // namespace

LayerExpression ReadExpression(const TokenLayer& layer, std::vector<Step>& steps) {
  LayerReader reader(layer);
  LayerExpression expression{reader.TakeHead(), static_cast<std::uint32_t>(steps.size()), 0};
  bool ends = Ends(expression.head);
  while (!ends && !reader.IsAtEnd()) {
    steps.push_back(reader.TakeStep());
    ends = Ends(steps.back());
  }
  expression.step_count = static_cast<std::uint32_t>(steps.size()) - expression.first_step;
  return expression;
}

Term ArgumentTerm(const LayerItem& item) {
  if (item.IsLayer()) return {TermKind::kLayer, Refusal::kNone, 0, item.Index()};
  switch (item.TokenType()) {
    case kFormulaTokenTypeName: return TruthTerm(item, Refusal::kUnknownNameAsArgument);
    case kFormulaTokenTypeSymbol: return Refused(Refusal::kSymbolAsArgument, item.Index());
    case kFormulaTokenTypeFunction: return {TermKind::kFunction, Refusal::kNone, 0, item.Index()};
    default: return LiteralTerm(item);
  }
}

std::u16string QuotedItem(std::u16string_view before, const LayerItem& item,
                          std::u16string_view after) {
  return std::u16string(before) + u" \"" + item.TokenText() + u"\" " + std::u16string(after);
}

void RaiseRefusal(Refusal refusal, const LayerItem& item) {
  const RefusalRow* row = kRefusals.data();
  while (row->refusal != refusal)
    ++row;
  if (row->error) Raise(*row->error);
  Raise(row->source, row->after.empty() ? std::u16string(row->before)
                                        : QuotedItem(row->before, item, row->after));
}

}  // namespace ktformula
