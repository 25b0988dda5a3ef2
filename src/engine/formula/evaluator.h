// The evaluator: token trees to values.
//
// Raised errors end the evaluation of the whole formula; error values end their layer and travel
// upward as its value.
#pragma once

#include <cstdint>

#include "formula/reference.h"
#include "formula/token_tree.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"

namespace ktformula {

// What every step of an evaluation is given; all may be nullptr and are borrowed.
struct EvaluationContext {
  // The property of the cell that is computed: each layer's value begins as one of this property
  // into which nothing was entered.
  ELNProperty* prop = nullptr;
  // The object in whose context references are resolved and functions are called.
  NotebookObject* anchor = nullptr;
  // What "this" denotes.
  NotebookObject* this_object = nullptr;
  // Whose named values come before the notebook's data.
  NamedValues* listener = nullptr;
};

// Evaluation belongs to a thread, like the objects that it evaluates for: how deep it is, where its
// stack ends and what follows below are each thread's own, so that listeners in several threads
// know nothing of one another.

// Layers that may be under evaluation at once, definitions and functions included. It is beyond
// what kMaximumNesting parentheses can make with all six operator levels between each two. What
// would go deeper is refused: kComponentError is raised.
inline constexpr int kMaximumEvaluationDepth = 2200;

// Evaluation shall not use the stack, which grows towards lower addresses, beyond this one: what
// would is refused. nullptr for no such end, as in the beginning.
void SetEvaluationStackEnd(const void* end) noexcept;

// Whether what is evaluated from here on has half of the layers, and a good part of the stack,
// left.
bool EvaluationHasRoom() noexcept;

// How often evaluation was refused so far. What comes of a refusal says something about the
// evaluation under way and nothing about the formula.
std::uint64_t EvaluationRefusals() noexcept;

// For whoever hands on what came of a refusal: it counts as one more.
void CountEvaluationRefusal() noexcept;

// Stands for a call into foreign code, such as a host's function, or out of it: no exception but
// RaisedError is sent through it, and behind it anything in the notebook may have changed.
class ForeignCall {
 public:
  ForeignCall() noexcept;
  ForeignCall(const ForeignCall&) = delete;
  ForeignCall& operator=(const ForeignCall&) = delete;
  ~ForeignCall();
};

int ForeignCallsUnderWay() noexcept;

// How often a foreign call has begun or ended so far.
std::uint64_t ForeignCallBoundaries() noexcept;

// Evaluates the layer into `target`. Raises kComponentError for what is no formula, error 9 for a
// missing operand, error 13 for a numeral that can not be converted.
void EvaluateTokenTreeLayer(CellValue& target, const TokenLayer& layer,
                            const EvaluationContext& context);

// Evaluates one term of an expression into `target`, its NOTs included; `item` is the term's.
// `is_head` for what begins a layer or an argument: then `target` is initialised first.
void EvaluateTermWithNots(CellValue& target, const Term& term, const LayerItem& item, bool is_head,
                          const EvaluationContext& context);

// Evaluates one argument of a function call into `target`.
void EvaluateArgument(CellValue& target, const LayerItem& item, const EvaluationContext& context);

}  // namespace ktformula
