// What a CSV file's reader has to say about a file that it takes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ktnotebook {

enum class CsvNoteKind {
  // Texts of a column of numbers that are none.
  kNoNumbers,
  // A header that names a unit over texts that are mostly no numbers in it.
  kNoQuantities,
  // A column that would be numbers with other separators.
  kOtherLocale,
  // A column whose texts would be several numbers each with another delimiter.
  kOtherDelimiter,
};

// Texts of a column that have something in common.
struct CsvTexts {
  // The first one, and its row, from 1.
  std::u16string first{};
  std::size_t row = 0;
  // How many there are.
  std::size_t count = 0;

  void Add(std::u16string_view text, std::size_t in_row) {
    if (count++ > 0) return;
    first = text;
    row = in_row;
  }
};

struct CsvNote {
  CsvNoteKind kind;
  // The column's name in the table.
  std::u16string column;
  // What it is about, of so many texts that are not empty; 0 where they were not all counted.
  CsvTexts texts;
  std::size_t filled = 0;
  // For people, UTF-8: what is the matter, without the column's name, and what helps; "" for
  // nothing.
  std::string message;
  std::string help;
};

// A note whose message is such as "3 of 96 values WHAT, the first \"n.d.\" in row 7"; "most values"
// where `filled` is 0.
CsvNote MakeCsvNote(CsvNoteKind kind, std::u16string_view column, CsvTexts texts,
                    std::size_t filled, std::string_view what, std::string help);

// The whole as a line: column, message and help.
std::string NoteText(const CsvNote& note);

}  // namespace ktnotebook
