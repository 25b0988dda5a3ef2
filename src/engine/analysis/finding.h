// What the analysis of one formula finds in it.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "analysis/problem.h"

#include "formula/source_map.h"

namespace ktformula {

// A problem, but for where its formula stands.
struct Finding {
  ProblemCode code;
  // Empty where it has none.
  std::optional<TextRange> place;
  std::u16string message;
  // May be empty.
  std::u16string help = {};
  std::optional<Mend> mend = {};
};

using Findings = std::vector<Finding>;

inline std::u16string InQuotes(std::u16string_view text) {
  return u"\"" + std::u16string(text) + u"\"";
}

}  // namespace ktformula
