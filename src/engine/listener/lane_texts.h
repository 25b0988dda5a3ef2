// The texts of lanes, ready to be written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "formula/lanes.h"

namespace ktformula {

// Each different text once, as far as that is seen at a glance, and which one each lane has. What
// is written meanwhile does not change them.
class LaneTexts {
 public:
  void Take(const Lanes& lanes, std::size_t count);

  std::span<const std::uint32_t> Which() const noexcept { return which_; }
  std::span<const std::u16string_view> Texts() const noexcept { return texts_; }

 private:
  std::uint32_t IndexOf(std::u16string_view kept_text);

  std::vector<std::uint32_t> which_;
  std::vector<std::u16string_view> texts_;
  std::vector<std::u16string> buffers_;
};

}  // namespace ktformula
