// A name-keyed table that remembers the order in which its entries were added.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ktformula {

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::u16string_view text) const noexcept {
    return std::hash<std::u16string_view>{}(text);
  }
};

// Keys compare exactly. Finding is hashed; removing costs time in proportion to the size.
template <typename Value>
class Dictionary {
 public:
  using Entry = std::pair<std::u16string, Value>;

  // The value under the key, or nullptr. Valid until the dictionary changes.
  const Value* Find(std::u16string_view key) const {
    const auto found = positions_.find(key);
    return found == positions_.end() ? nullptr : &entries_[found->second].second;
  }
  bool Contains(std::u16string_view key) const { return Find(key) != nullptr; }

  // Adds an entry at the end; an entry that exists under the key keeps its place and value, and
  // the answer is false.
  bool Add(std::u16string_view key, Value value) {
    if (!positions_.try_emplace(std::u16string(key), entries_.size()).second) return false;
    entries_.emplace_back(std::u16string(key), std::move(value));
    return true;
  }

  void Remove(std::u16string_view key) {
    const auto found = positions_.find(key);
    if (found == positions_.end()) return;
    const std::size_t removed = found->second;
    positions_.erase(found);
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(removed));
    for (auto& [name, position] : positions_) {
      if (position > removed) --position;
    }
  }

  void Clear() {
    positions_.clear();
    entries_.clear();
  }

  // The same entries in the same order.
  bool operator==(const Dictionary& other) const { return entries_ == other.entries_; }

  std::size_t Size() const noexcept { return entries_.size(); }
  auto begin() const noexcept { return entries_.begin(); }
  auto end() const noexcept { return entries_.end(); }

 private:
  std::vector<Entry> entries_;
  std::unordered_map<std::u16string, std::size_t, TextHash, std::equal_to<>> positions_;
};

}  // namespace ktformula
