// The help on functions, for the terminal and for the documents.
#pragma once

#include <string>
#include <string_view>

namespace ktnotebook {

// The help on the function of this name in any letter case, on all functions for an empty name;
// "" when there is no such function.
std::string FunctionHelpText(std::string_view name);

// docs/functions.md.
std::string FunctionReferencePage();

}  // namespace ktnotebook
