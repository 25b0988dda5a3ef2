#include "listener/lane_texts.h"

#include <algorithm>

namespace ktformula {

namespace {

// How many of the first texts are looked through; the values of an IF, say.
constexpr std::size_t kGlance = 8;

bool IsSamePlace(std::u16string_view left, std::u16string_view right) {
  return left.data() == right.data() && left.size() == right.size();
}

}  // namespace

void LaneTexts::Take(const Lanes& lanes, std::size_t count) {
  texts_.clear();
  which_.resize(count);
  if (buffers_.size() < count) buffers_.resize(count);
  for (std::size_t lane = 0; lane < count; ++lane) {
    std::u16string& buffer = buffers_[lane];
    if (lanes.Refused() != nullptr && lanes.Refused()[lane] != 0) {
      which_[lane] = 0;
      continue;
    }
    const std::u16string_view text = lanes.Text(lane, buffer);
    if (lanes.KeepsText(lane)) {
      which_[lane] = IndexOf(text);
      continue;
    }
    which_[lane] = static_cast<std::uint32_t>(texts_.size());
    if (text.data() == buffer.data()) {
      texts_.push_back(text);
    } else {
      texts_.emplace_back(buffer.assign(text));
    }
  }
}

std::uint32_t LaneTexts::IndexOf(std::u16string_view kept_text) {
  const std::size_t seen = std::min(texts_.size(), kGlance);
  for (std::size_t i = 0; i < seen; ++i) {
    if (IsSamePlace(texts_[i], kept_text)) return static_cast<std::uint32_t>(i);
  }
  texts_.push_back(kept_text);
  return static_cast<std::uint32_t>(texts_.size() - 1);
}

}  // namespace ktformula
