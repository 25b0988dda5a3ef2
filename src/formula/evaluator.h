// The evaluator: token trees to values.
//
// Raised errors end the evaluation of the whole formula; error values end their layer and travel
// upward as its value.
#pragma once

#include "formula/token_tree.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"
#include "values/reference.h"

namespace ktformula {

// What every step of an evaluation is given; all may be nullptr and are borrowed.
struct EvaluationContext {
  // The property that the result is bound to.
  ELNProperty* prop = nullptr;
  // The object in whose context references are resolved and functions are called.
  NotebookObject* context = nullptr;
  // What "this" denotes.
  NotebookObject* sco = nullptr;
  // Whose named values come before the notebook's data.
  NamedValues* listener = nullptr;
};

// Layers that may be under evaluation at once, definitions and functions included. It is beyond
// what kMaximumNesting parentheses can make with all six operator levels between each two, and
// keeps a chain of definitions from using up the stack.
inline constexpr int kMaximumEvaluationDepth = 2200;

// Evaluation on this thread shall not use the stack, which grows towards lower addresses, beyond
// this one: what would raises kComponentError instead. nullptr for no such end, as in the
// beginning.
void SetEvaluationStackEnd(const void* end) noexcept;

// Evaluates the layer into `target`. Raises kComponentError for what is no formula, error 9 for a
// missing operand, error 13 for a numeral that can not be converted.
void EvaluateTokenTreeLayer(CellValue& target, const TokenLayer& layer,
                            const EvaluationContext& context);

// Evaluates the operand at `position` (counted from 0), NOTs in front included, into `target` and
// moves `position` behind it.
void EvaluateNextToken(CellValue& target, const TokenLayer& layer, std::size_t& position,
                       const EvaluationContext& context);

// Evaluates one argument of a function call into `target`.
void EvaluateArgument(CellValue& target, const LayerItem& item, const EvaluationContext& context);

}  // namespace ktformula
