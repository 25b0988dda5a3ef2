// Why the notebook refuses its input or can not do its work.
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ktnotebook {

// what() is UTF-8 and names the place and the reason.
class NotebookError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The end of a message about a name that is none of the candidates: "; did you mean "Mass"?", or ""
// when none is near.
std::string DidYouMean(std::u16string_view name, std::span<const std::u16string> candidates);

}  // namespace ktnotebook
