// CSV text taken apart into records.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ktnotebook {

// The records with their fields; empty lines are none. A byte order mark in front is dropped.
// Throws NotebookError with "SOURCE: record N: ..." for misplaced quotes, a second byte order mark
// and text that is not UTF-8.
std::vector<std::vector<std::u16string>> ParseCsv(std::string_view utf8, const std::string& source);

}  // namespace ktnotebook
