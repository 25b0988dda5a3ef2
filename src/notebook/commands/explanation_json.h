// The JSON form of an explanation, for programs and the page.
#pragma once

#include <string>

#include "analysis/explanation.h"

#include "notebook/commands/json_output.h"
#include "notebook/commands/problems_output.h"

namespace ktnotebook {

// One line, without a line break. The explanation is of a cell of this program's notebook, the
// problems are those of its formula.
std::string ExplanationJson(const ktformula::Explanation& explanation, const FormProblems& problems,
                            const JsonReader& reader = {});

// The explanation as a story for somebody with the locale, line by line, with the addresses of the
// cells that lines speak of.
std::string StoryJson(const ktformula::Explanation& explanation, const ktformula::Locale& locale);

}  // namespace ktnotebook
