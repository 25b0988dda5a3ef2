// CSV text taken apart into columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "notebook/files/utf.h"

namespace ktnotebook {

// The texts of a column, which are gone through in their order.
class CsvColumn {
 public:
  // The bytes are valid UTF-8.
  void Append(std::string_view utf8) { (bytes_ += utf8) += kEnd; }
  // Of all texts, one more counted for each; not less than they have code units.
  std::size_t Size() const noexcept { return bytes_.size(); }
  void Reserve(std::size_t size) { bytes_.reserve(size); }

  // Calls `test` with each text, good for the length of the call, until it says no; whether it
  // never did.
  template <typename Test>
  bool AllAre(Test test) const {
    std::u16string text;
    for (std::string_view rest = bytes_; !rest.empty();) {
      const std::size_t length = rest.find(kEnd);
      TakeUtf8(rest.substr(0, length), text);
      if (!test(std::u16string_view(text))) return false;
      rest.remove_prefix(length + 1);
    }
    return true;
  }

 private:
  // No byte of UTF-8.
  static constexpr char kEnd = '\xFF';

  std::string bytes_;
};

struct CsvTable {
  // The fields of the first record; a column of the other records' fields for each of them.
  std::vector<std::u16string> header;
  std::vector<CsvColumn> columns;
  // Without the header.
  std::size_t rows = 0;
};

// The records with their fields; empty lines are none. A byte order mark in front is dropped.
// Throws NotebookError with "SOURCE: ..." for misplaced quotes, a second byte order mark, text that
// is not UTF-8, a text without any record and records of different lengths.
CsvTable ParseCsv(std::string_view utf8, const std::string& source);

}  // namespace ktnotebook
