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

// What stands between the fields of a record.
struct CsvDelimiter {
  char character = ',';
  // Whether somebody has said so; then a file of one column is taken for one.
  bool is_given = false;
};

// What programs put between fields.
inline constexpr std::string_view kUsualDelimiters = ",;\t|";

// A delimiter as it is typed on a command line: ";", and "\t" in two characters for a tab.
std::string DelimiterText(char delimiter);

struct CsvTable {
  // The fields of the first record; a column of the other records' fields for each of them.
  std::vector<std::u16string> header;
  std::vector<CsvColumn> columns;
  // Without the header.
  std::size_t rows = 0;
  // Where the header stands, from 1.
  std::size_t header_line = 1;
};

// The records with their fields; empty lines are none. A byte order mark in front is dropped.
// Throws NotebookError with "SOURCE:LINE: ...", the line in which the record begins, for misplaced
// quotes, a second byte order mark, text that is not UTF-8, records of different lengths, and a
// text that reads as several columns with one of the other usual delimiters only, with that advice;
// with "SOURCE: ..." for a text without any record.
CsvTable ParseCsv(std::string_view utf8, const std::string& source,
                  const CsvDelimiter& delimiter = {});

}  // namespace ktnotebook
