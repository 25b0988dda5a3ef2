#include "random_notebooks/smaller_plans.h"

#include <utility>

namespace random_notebooks {

namespace {

constexpr int kMaximumAttempts = 400;

class Reduction {
 public:
  Reduction(NotebookPlan plan, const std::function<bool(const NotebookPlan&)>& shows)
      : plan_(std::move(plan)), shows_(shows) {}

  NotebookPlan Run() {
    do {
      is_smaller_ = false;
      WithoutPartsOf([](NotebookPlan & plan) -> auto& { return plan.steps; });
      for (std::size_t i = 0; i < plan_.steps.size(); ++i)
        WithoutPartsOf([i](NotebookPlan & plan) -> auto& { return plan.steps[i].edits; });
      WithoutPartsOf([](NotebookPlan & plan) -> auto& { return plan.pokes; });
      for (std::size_t i = 0; i < plan_.tables.size(); ++i)
        ReduceTable(i);
    } while (is_smaller_ && attempts_ < kMaximumAttempts);
    return std::move(plan_);
  }

 private:
  void ReduceTable(std::size_t table) {
    WithoutPartsOf([table](NotebookPlan & plan) -> auto& { return plan.tables[table].rows; });
    WithoutPartsOf([table](NotebookPlan & plan) -> auto& { return plan.tables[table].listeners; });
    for (std::size_t i = 0; i < plan_.tables[table].listeners.size(); ++i) {
      const auto listener = [ table, i ](NotebookPlan & plan) -> auto& {
        return plan.tables[table].listeners[i];
      };
      WithoutPartsOf([&](NotebookPlan & plan) -> auto& { return listener(plan).formulas; });
      WithoutPartsOf([&](NotebookPlan & plan) -> auto& { return listener(plan).definitions; });
    }
  }

  // Leaves out what is not needed of a list, long stretches first.
  template <typename PartsOf>
  void WithoutPartsOf(const PartsOf& parts_of) {
    for (std::size_t length = parts_of(plan_).size(); length > 0; length /= 2) {
      for (std::size_t first = parts_of(plan_).size(); first >= length; --first) {
        // From the end, where what is left out moves nothing.
        if (first > parts_of(plan_).size()) continue;
        NotebookPlan candidate = plan_;
        auto& parts = parts_of(candidate);
        const auto end = parts.begin() + static_cast<std::ptrdiff_t>(first);
        parts.erase(end - static_cast<std::ptrdiff_t>(length), end);
        TryOut(std::move(candidate));
        if (attempts_ >= kMaximumAttempts) return;
      }
    }
  }

  void TryOut(NotebookPlan candidate) {
    ++attempts_;
    if (!shows_(candidate)) return;
    plan_ = std::move(candidate);
    is_smaller_ = true;
  }

  NotebookPlan plan_;
  const std::function<bool(const NotebookPlan&)>& shows_;
  int attempts_ = 0;
  bool is_smaller_ = false;
};

}  // namespace

NotebookPlan Smallest(NotebookPlan plan, const std::function<bool(const NotebookPlan&)>& shows) {
  return Reduction(std::move(plan), shows).Run();
}

}  // namespace random_notebooks
