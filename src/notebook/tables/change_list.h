// Which rows changed, and when.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ktnotebook {

// Rows that changed, each with a stamp, as far back as they are listed. They are from the first
// question for the stamp on: without that nobody asks for rows.
class ChangeList {
 public:
  // Nothing is known of what was before this stamp.
  explicit ChangeList(std::uint64_t stamp) : last_(stamp), known_since_(stamp) {}

  // The last change; the other stamps are of the same growing counter.
  std::uint64_t Stamp() const noexcept {
    is_asked_ = true;
    return last_;
  }

  // A row of a table of so many changed. Old changes are forgotten when there are too many.
  void Note(std::size_t row, std::uint64_t stamp, std::size_t rows) {
    if (!is_asked_) return NoteAny(stamp);
    if (entries_.size() > rows / 8 + 1024) ForgetOlderHalf();
    entries_.push_back({stamp, row});
    last_ = stamp;
  }
  // Any of the rows may have changed.
  void NoteAny(std::uint64_t stamp) noexcept {
    entries_.clear();
    last_ = known_since_ = stamp;
  }

  // Whether the changes after this stamp are listed.
  bool Knows(std::uint64_t stamp) const noexcept { return stamp >= known_since_; }
  void AppendRowsSince(std::uint64_t stamp, std::vector<std::size_t>& rows) const {
    auto entry = std::partition_point(entries_.begin(), entries_.end(),
                                      [stamp](const Entry& each) { return each.stamp <= stamp; });
    for (; entry != entries_.end(); ++entry)
      rows.push_back(entry->row);
  }

 private:
  struct Entry {
    std::uint64_t stamp;
    std::size_t row;
  };

  void ForgetOlderHalf() {
    const auto middle = entries_.begin() + static_cast<std::ptrdiff_t>(entries_.size() / 2);
    known_since_ = middle->stamp;
    entries_.erase(entries_.begin(), middle + 1);
  }

  std::uint64_t last_;
  std::uint64_t known_since_;
  mutable bool is_asked_ = false;
  // In the order of the stamps.
  std::vector<Entry> entries_;
};

}  // namespace ktnotebook
