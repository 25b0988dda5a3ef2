#include "analysis/observed_problems.h"

#include <iterator>
#include <utility>

#include "analysis/failures.h"
#include "analysis/hidden_failures.h"
#include "analysis/lost_precision.h"
#include "analysis/observed_form.h"
#include "analysis/rings.h"

namespace ktformula {

std::vector<Problem> FindObservedProblems(const WatchedForm& form,
                                          std::span<const Ref<TableCell>> unsettled,
                                          std::span<const Problem> known) {
  const ObservedForm observed(form);
  Rings rings = FindRings(observed);
  std::vector<Problem> problems = std::move(rings.problems);
  const auto add = [&problems](std::vector<Problem> found) {
    problems.insert(problems.end(), std::make_move_iterator(found.begin()),
                    std::make_move_iterator(found.end()));
  };
  add(FindUnsettled(observed, rings, unsettled));
  add(FindFailures(observed, rings, known));
  add(FindHiddenFailures(observed, known));
  add(FindLostRanges(observed));
  add(FindLostDigits(observed));
  return problems;
}

}  // namespace ktformula
