// CSV text taken apart into records.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ktnotebook {

// What programs may put in front of a text to say that it is UTF-8.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The records with their fields; empty lines are none. Byte order marks in front are dropped.
// Throws NotebookError with "SOURCE: record N: ..." for misplaced quotes and for text that is not
// UTF-8.
std::vector<std::vector<std::u16string>> ParseCsv(std::string_view utf8, const std::string& source);

}  // namespace ktnotebook
