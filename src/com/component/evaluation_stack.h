// The stack of a host's thread, which formulas typed by a user must not use up.
#pragma once

namespace ktcom {

// Lets evaluation on this thread use its stack but for what host objects and scripts, called from
// the deepest layer, may need.
void GuardEvaluationStack() noexcept;

}  // namespace ktcom
