// The stack of a host's thread, which formulas typed by a user must not use up.
#pragma once

#include "formula/evaluator.h"

namespace ktcom {

// Held by every member that evaluates, for the length of the call: lets evaluation use this
// thread's stack but for what host objects and scripts, called from the deepest layer, may need.
class EvaluationCall {
 public:
  EvaluationCall() noexcept;

 private:
  ktformula::ForeignCall foreign_call_;
};

}  // namespace ktcom
