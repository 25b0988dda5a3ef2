// Expressions: the layers of a token tree, understood once.
//
// Every question that evaluation would ask about tokens is answered here when the tree is built:
// `[x] - 2 - SUM([y])` is a layer with the head [x] and the steps "- 2" and "- SUM([y])". Operators
// of other levels are in layers of their own. What is wrong in a formula becomes a refusal, which
// is raised when evaluation reaches it: what stands in front of it is evaluated first.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formula/token.h"

namespace ktformula {

class LayerItem;
class TokenLayer;

// What is raised where evaluation reaches it.
enum class Refusal : std::uint8_t {
  kNone,
  // The index of an item that is not there.
  kNoFirstItem,
  kNoItem,
  // A layer behind a leading "=".
  kLayerBehindEquals,
  kNoNumber,
  kUnknownNameAtHead,
  kNoPrefix,
  kUnknownNameAsOperand,
  kSymbolAsOperand,
  kUnknownNameAsArgument,
  kSymbolAsArgument,
  kNoOperator,
  kMisplacedToken,
};

enum class TermKind : std::uint8_t {
  kRefusal,
  kNumber,
  kString,
  kReference,
  kTrue,
  kFalse,
  // The neutral left sides of prefix symbols: 0 and true.
  kZero,
  kLayer,
  // A function's name alone, and a function with the layer of its arguments behind it.
  kFunction,
  kCall,
};

// One operand of an expression.
struct Term {
  TermKind kind = TermKind::kRefusal;
  Refusal refusal = Refusal::kNone;
  // How many NOTs stand in front; of more than two every other pair is as good as none.
  std::uint8_t nots = 0;
  // The item of the tree; for kCall the function, and the item behind it are the arguments.
  std::uint32_t item = 0;
};

enum class StepKind : std::uint8_t {
  // An operation of CellValue.
  kOperation,
  // Puts the inverted operand in place of what is on the left.
  kNot,
  // Evaluates the operand and drops it: the symbol "!".
  kDrop,
  // Evaluates the operand, then makes the result an error value: no operation has this symbol.
  kUnknownSymbol,
  // Makes the result an error value: a name stands where an operator has to.
  kUnknownName,
  // Raises: something else stands there.
  kRefusal,
};

// One operator and its operand, which is evaluated before the operator is applied.
struct Step {
  StepKind kind = StepKind::kRefusal;
  FormulaWord word = FormulaWord::kNone;
  Refusal refusal = Refusal::kNone;
  // The operator.
  std::uint32_t item = 0;
  Term operand;
};

// A layer's terms: the head, and how many steps follow it from `first_step` on.
struct LayerExpression {
  Term head;
  std::uint32_t first_step = 0;
  std::uint32_t step_count = 0;
};

// Reads the layer; its steps are appended to `steps`.
LayerExpression ReadExpression(const TokenLayer& layer, std::vector<Step>& steps);

// An item that is a function's argument, on its own.
Term ArgumentTerm(const LayerItem& item);

// Raises what the refusal of this item comes to.
[[noreturn]] void RaiseRefusal(Refusal refusal, const LayerItem& item);

// What the texts of errors are made of: before "item" after.
std::u16string QuotedItem(std::u16string_view before, const LayerItem& item,
                          std::u16string_view after);

}  // namespace ktformula
