// The JSON form of an explanation, for programs and the page.
#pragma once

#include <string>

#include "analysis/explanation.h"

namespace ktnotebook {

// One line, without a line break. The explanation is of a cell of this program's notebook.
std::string ExplanationJson(const ktformula::Explanation& explanation);

}  // namespace ktnotebook
