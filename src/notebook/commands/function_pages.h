// The help on functions, for the terminal and for the documents.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "functions/function_table.h"

namespace ktnotebook {

// The function of this name in any letter case, all functions for an empty name; none when there is
// no such function.
std::vector<const ktformula::FunctionRow*> FindFunctions(std::string_view name);
std::vector<std::u16string> FunctionNames();

// The help on these functions.
std::string FunctionHelpText(const std::vector<const ktformula::FunctionRow*>& functions);

// docs/functions.md.
std::string FunctionReferencePage();

}  // namespace ktnotebook
