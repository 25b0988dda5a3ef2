// An explanation as a short story for people.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/explanation.h"

#include "notebook/tables/model.h"

namespace ktnotebook {

struct StoryLine {
  // How far it is indented, by steps.
  int level = 0;
  // "" for an empty line.
  std::u16string text;
  bool is_error = false;
  // The address of the other cell that it speaks of; "" for none.
  std::u16string cell = {};
};

// How foreign texts are shown in the lines: as a whole, and where a line quotes them.
struct StoryWords {
  std::function<std::u16string(std::u16string_view)> whole;
  std::function<std::u16string(std::u16string_view)> brief;
};

// What was typed in, what was computed from what, why the number has its digits and its unit, and
// where an error came from, for somebody with the locale. The explanation is of a cell of this
// program's notebook.
std::vector<StoryLine> ExplanationStory(const ktformula::Explanation& explanation,
                                        const ktformula::Locale& locale, const StoryWords& words);

}  // namespace ktnotebook
