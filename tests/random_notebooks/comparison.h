// One notebook in several modes at once, which must not differ in anything that anybody sees.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "random_notebooks/live_notebook.h"
#include "random_notebooks/plan.h"

namespace random_notebooks {

// What was compared.
struct Totals {
  std::uint64_t notebooks = 0;
  std::uint64_t recalculations = 0;
  std::uint64_t rounds = 0;
  // Cells looked at, in each other mode, over all rounds.
  std::uint64_t cells = 0;
  // The computed cells of the notebooks at their ends: all, and those that show an error, a number,
  // another text, nothing.
  std::uint64_t formula_cells = 0;
  std::uint64_t errors = 0;
  std::uint64_t numbers = 0;
  std::uint64_t texts = 0;
  std::uint64_t empty = 0;
  // Calls of the host's functions.
  std::uint64_t calls = 0;

  void Add(const Totals& other);
};

// For people, one line.
std::string Describe(const Totals& totals);

// Where a mode first showed something else than the first one.
struct Difference {
  std::string_view mode;
  // Counted from 1.
  std::size_t step = 0;
  int round = 0;
  // Where, and both sides.
  std::string what;
};

// The first mode gives no promises and is what the others have to equal.
std::span<const Mode> AllModes();

// Runs the plan in all modes, step by step and round by round.
std::optional<Difference> Compare(const NotebookPlan& plan, std::span<const Mode> modes,
                                  Totals& totals);

// The notebook of the seed in all modes: "" or, for people, the first difference, with the smallest
// notebook that was found to show one.
std::string Examine(std::uint64_t seed, std::span<const Mode> modes, Totals& totals);

}  // namespace random_notebooks
