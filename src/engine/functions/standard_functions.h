// The functions of the formula language.
#pragma once

#include <span>

#include "formula/function_registry.h"

namespace ktformula {

// In the order in which listeners register them.
std::span<const FunctionClass> StandardFunctions();

}  // namespace ktformula
