#include "formula/observation.h"

#include <utility>

namespace ktformula {

namespace {

thread_local EvaluationObserver* current = nullptr;

}  // namespace

Observation::Observation(EvaluationObserver* observer) noexcept
    : outer_(std::exchange(current, observer)) {}

Observation::~Observation() {
  current = outer_;
}

EvaluationObserver* Observation::Observer() noexcept {
  return current;
}

}  // namespace ktformula
