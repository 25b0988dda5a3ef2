// Running text for the terminal and for documents.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ktnotebook {

// The words of the text in lines of `width` characters at most, as long as its words are. The first
// line begins with `first`, the others with `indent`; each ends with a line break.
std::string Wrap(std::string_view text, std::string_view first, std::string_view indent,
                 std::size_t width = 78);

}  // namespace ktnotebook
