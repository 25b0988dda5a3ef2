#include "values/leak_check.h"

#include <map>

namespace ktformula {

namespace {

KtLeakCheck*& FirstCounter() {
  static KtLeakCheck* first = nullptr;
  return first;
}

}  // namespace

KtLeakCheck::KtLeakCheck(std::string_view class_name)
    : label_("KtFormula9." + std::string(class_name)), next_(FirstCounter()) {
  FirstCounter() = this;
}

std::vector<KtLeakCheck::Count> KtLeakCheck::Counts() {
  std::map<std::string, std::int64_t> alive;
  for (const KtLeakCheck* counter = FirstCounter(); counter != nullptr; counter = counter->next_) {
    alive[counter->label_] += counter->alive_.load(std::memory_order_relaxed);
  }
  std::vector<Count> counts;
  counts.reserve(alive.size());
  for (const auto& [label, count] : alive)
    counts.push_back({label, count});
  return counts;
}

std::string KtLeakCheck::Report() {
  std::string report;
  for (const Count& count : Counts()) {
    if (count.alive != 0) report += count.label + ": " + std::to_string(count.alive) + "\n";
  }
  return report;
}

}  // namespace ktformula
