#include "values/leak_check.h"

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
  std::vector<Count> counts;
  for (const KtLeakCheck* counter = FirstCounter(); counter != nullptr; counter = counter->next_) {
    counts.push_back({counter->label_, counter->alive_.load(std::memory_order_relaxed)});
  }
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
