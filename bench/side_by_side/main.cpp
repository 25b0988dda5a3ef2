// The same work done by formulas, by a compiled-expression library as its users embed it, and by
// the loop that a programmer would write for this one job: on the same data, in one run, on one
// core.
//
//   side_by_side [METRIC...]       all metrics unless some are named
//
// prints a line for each figure, with tabulators between:
//
//   peer  metric  median  minimum  maximum  runs
//
// and ends with 1 when something failed or the results do not agree. docs/performance.md tells what
// the metrics are.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <span>

#include "measure.h"
#include "workloads.h"

namespace {

using namespace side_by_side;

constexpr int kWrongUsage = 2;

struct Workload {
  std::string_view metric;
  bool (*measure)(std::string_view metric);
};

constexpr std::array<Workload, 12> kWorkloads{{
    {"W1", MeasureOneFormula},
    {"W2", MeasureThreeFormulas},
    {"W2m", MeasureThreeFormulasMemory},
    {"W3_1000", MeasureShare<1'000>},
    {"W3_10000", MeasureShare<10'000>},
    {"W3_100000", MeasureShare<100'000>},
    {"W4", MeasureFilteredSum},
    {"W5", MeasureEdit},
    {"W6_1000", MeasureLookUp<1'000>},
    {"W6_10000", MeasureLookUp<10'000>},
    {"W7", MeasureFileTime},
    {"W7m", MeasureFileMemory},
}};

bool IsMetric(std::string_view name) {
  return std::any_of(kWorkloads.begin(), kWorkloads.end(),
                     [name](const Workload& workload) { return workload.metric == name; });
}

int WrongUsage() {
  std::cerr << "usage: side_by_side [METRIC...]\nmetrics:";
  for (const Workload& workload : kWorkloads)
    std::cerr << ' ' << workload.metric;
  std::cerr << '\n';
  return kWrongUsage;
}

// Each workload in a process of its own: none finds the memory that another one left.
bool Measure(std::span<const std::string_view> wanted) {
  bool all_well = true;
  for (const Workload& workload : kWorkloads) {
    const bool is_wanted =
        wanted.empty() || std::find(wanted.begin(), wanted.end(), workload.metric) != wanted.end();
    if (!is_wanted) continue;
    all_well = RunApart([&] { return workload.measure(workload.metric); }).done && all_well;
  }
  return all_well;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  if (arguments.size() == 3 && arguments[0] == kLoopOverFile)
    return LoopOverFile(argv[2], argv[3]) ? EXIT_SUCCESS : EXIT_FAILURE;
  if (!std::all_of(arguments.begin(), arguments.end(), IsMetric)) return WrongUsage();
  StayOnOneCore(argv);
  return Measure(arguments) ? EXIT_SUCCESS : EXIT_FAILURE;
}
