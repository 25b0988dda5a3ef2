// KtLeakCheck: how many objects of each class are alive.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ktformula {

// A counter of a class, reachable by its label ("KtFormula9.CellValue"); several of one label count
// together. Counters live as long as the program and count the objects of all threads; counting
// costs one increment.
class KtLeakCheck {
 public:
  explicit KtLeakCheck(std::string_view class_name);
  KtLeakCheck(const KtLeakCheck&) = delete;
  KtLeakCheck& operator=(const KtLeakCheck&) = delete;

  struct Count {
    std::string label;
    std::int64_t alive;
  };
  // Every class that was ever counted, by label.
  static std::vector<Count> Counts();
  // The classes with living objects as "label: count" lines; "" when nothing is alive.
  static std::string Report();

  void Created(std::int64_t count = 1) noexcept {
    alive_.fetch_add(count, std::memory_order_relaxed);
  }
  void Destroyed(std::int64_t count = 1) noexcept {
    alive_.fetch_sub(count, std::memory_order_relaxed);
  }

 private:
  std::string label_;
  std::atomic<std::int64_t> alive_ = 0;
  KtLeakCheck* next_;
};

// Counts objects that are made and dropped together, for as long as it lives.
class LeakCountOf {
 public:
  explicit LeakCountOf(KtLeakCheck& counter) noexcept : counter_(counter) {}
  LeakCountOf(const LeakCountOf&) = delete;
  LeakCountOf& operator=(const LeakCountOf&) = delete;
  ~LeakCountOf() { counter_.Destroyed(count_); }

  void Add(std::size_t count) noexcept {
    counter_.Created(static_cast<std::int64_t>(count));
    count_ += static_cast<std::int64_t>(count);
  }

 private:
  KtLeakCheck& counter_;
  std::int64_t count_ = 0;
};

// Base of a counted class; `T::kClassName` is the class's name.
template <typename T>
class LeakCounted {
 public:
  LeakCounted() noexcept { counter_.Created(); }
  LeakCounted(const LeakCounted&) noexcept { counter_.Created(); }
  LeakCounted(LeakCounted&&) noexcept { counter_.Created(); }
  LeakCounted& operator=(const LeakCounted&) noexcept = default;
  LeakCounted& operator=(LeakCounted&&) noexcept = default;
  ~LeakCounted() { counter_.Destroyed(); }

 private:
  inline static KtLeakCheck counter_{T::kClassName};
};

}  // namespace ktformula
