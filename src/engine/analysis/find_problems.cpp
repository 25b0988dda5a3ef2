#include "analysis/find_problems.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <tuple>
#include <utility>

#include "analysis/formula_problems.h"
#include "analysis/observed_problems.h"

namespace ktformula {

namespace {

constexpr std::size_t kLast = std::numeric_limits<std::size_t>::max();

// Where a problem stands in the document.
class DocumentOrder {
 public:
  explicit DocumentOrder(const WatchedForm& form) : form_(form) {}

  bool operator()(const Problem& left, const Problem& right) const {
    return KeyOf(left) < KeyOf(right);
  }

 private:
  using Key = std::tuple<std::size_t, std::size_t, std::u16string, std::size_t, std::size_t>;

  Key KeyOf(const Problem& problem) const {
    return {TableOf(problem), ColumnOf(problem), problem.definition.value_or(u""),
            problem.place ? problem.place->start : kLast, problem.row.value_or(0)};
  }

  std::size_t TableOf(const Problem& problem) const {
    const WatchedTable* const table = problem.table ? form_.Find(*problem.table) : nullptr;
    return table != nullptr ? static_cast<std::size_t>(table - form_.tables.data()) : kLast;
  }

  static std::size_t ColumnOf(const Problem& problem) {
    if (!problem.table || !problem.column) return kLast;
    for (int i = 1; i <= problem.table->ColumnCount(); ++i) {
      if (IsSameObject(problem.table->Column(i).get(), problem.column.get())) {
        return static_cast<std::size_t>(i);
      }
    }
    return kLast;
  }

  const WatchedForm& form_;
};

// What a formula shows by itself is seen once more where it is evaluated.
bool IsAmong(const std::vector<Problem>& problems, const Problem& problem) {
  return std::any_of(problems.begin(), problems.end(), [&problem](const Problem& known) {
    return known.code == problem.code && IsSameObject(known.table.get(), problem.table.get()) &&
           IsSameObject(known.column.get(), problem.column.get()) &&
           known.definition == problem.definition &&
           (problem.definition || known.place == problem.place);
  });
}

}  // namespace

std::vector<Problem> FindProblems(const WatchedForm& form,
                                  std::span<const Ref<TableCell>> unsettled) {
  std::vector<Problem> problems = FindFormulaProblems(form);
  for (Problem& observed : FindObservedProblems(form, unsettled, problems)) {
    if (!IsAmong(problems, observed)) problems.push_back(std::move(observed));
  }
  std::stable_sort(problems.begin(), problems.end(), DocumentOrder(form));
  return problems;
}

}  // namespace ktformula
