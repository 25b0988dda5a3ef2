#include "com/component/evaluation_stack.h"

#include <cstddef>

#include "com/base/windows_headers.h"

namespace ktcom {

namespace {

// A script host's interpreter under the deepest layer, and the system's unwinding of an error.
constexpr std::size_t kReserve = std::size_t{128} * 1024;

}  // namespace

EvaluationCall::EvaluationCall() noexcept {
  // A stack is one allocation, and grows down to its base.
  MEMORY_BASIC_INFORMATION stack{};
  if (VirtualQuery(&stack, &stack, sizeof stack) == 0) return;
  ktformula::SetEvaluationStackEnd(static_cast<const char*>(stack.AllocationBase) + kReserve);
}

}  // namespace ktcom
