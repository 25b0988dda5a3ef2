// When a comparison holds, for two values and for two columns of them alike.
#pragma once

namespace ktformula {

// A range of numbers or of dates.
struct Bounds {
  double min;
  double max;

  bool operator==(const Bounds&) const = default;
};

// The strict operators compare like bounds, the others opposite ones: true when the ranges could
// touch. `order` is how two texts compare: negative, 0 or positive.
struct EqualsRule {
  static bool Holds(const Bounds& left, const Bounds& right) noexcept { return left == right; }
  static bool Holds(int order) noexcept { return order == 0; }
};
struct NotEqualsRule {
  static bool Holds(const Bounds& left, const Bounds& right) noexcept { return !(left == right); }
  static bool Holds(int order) noexcept { return order != 0; }
};
struct GreaterRule {
  static bool Holds(const Bounds& left, const Bounds& right) noexcept {
    return left.max > right.max;
  }
  static bool Holds(int order) noexcept { return order > 0; }
};
struct LessRule {
  static bool Holds(const Bounds& left, const Bounds& right) noexcept {
    return left.min < right.min;
  }
  static bool Holds(int order) noexcept { return order < 0; }
};
struct GreaterOrEqualRule {
  static bool Holds(const Bounds& left, const Bounds& right) noexcept {
    return left.max >= right.min;
  }
  static bool Holds(int order) noexcept { return order >= 0; }
};
struct LessOrEqualRule {
  static bool Holds(const Bounds& left, const Bounds& right) noexcept {
    return left.min <= right.max;
  }
  static bool Holds(int order) noexcept { return order <= 0; }
};

}  // namespace ktformula
