// An explanation as a short story for people.
#pragma once

#include <string>

#include "analysis/explanation.h"

#include "notebook/commands/text_table.h"
#include "notebook/tables/explanation_story.h"

namespace ktnotebook {

// How foreign texts stand in its lines: printable, quotations of moderate length.
StoryWords PrintableWords();

// What was typed in, what was computed from what, why the number has its digits and its unit, and
// where an error came from. The explanation is of a cell of this program's notebook.
std::string ExplanationText(const ktformula::Explanation& explanation, const TableStyle& style);

}  // namespace ktnotebook
