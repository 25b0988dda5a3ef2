// What users are told about problems and errors, made from the tables that they come from.
#pragma once

#include <string>

namespace ktnotebook {

// docs/errors.md.
std::string ErrorReferencePage();

}  // namespace ktnotebook
