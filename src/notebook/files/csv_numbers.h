// What the texts of a CSV file's columns say as numbers.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "notebook/files/csv_note.h"
#include "notebook/files/csv_parser.h"
#include "notebook/tables/cell_text.h"
#include "notebook/tables/column_data.h"

namespace ktnotebook {

// Reads the text as one that is typed into a cell with the default unit, nullptr for none.
std::optional<ParsedNumber> ParseCsvNumber(std::u16string_view text,
                                           const NotebookUnit* default_unit,
                                           const NotebookUnitCatalogue& catalogue,
                                           const ktformula::Locale& locale);

// How a column's numbers are meant.
struct CsvNumberReading {
  // nullptr for none.
  const NotebookUnit* unit = nullptr;
  const NotebookUnitCatalogue& catalogue;
  // Of the file, and of the notebook that it becomes.
  ktformula::Locale locale;
  ktformula::Locale kept_in;
};

// The cells of a column, all of them as if they were typed. What is no number is a text without
// one.
struct CsvNumbers {
  ColumnData data;
  // Of the texts that say anything.
  std::size_t filled = 0;
  CsvTexts others;

  std::size_t Count() const noexcept { return filled - others.count; }
  // Whether it is a column of numbers: more than half of its texts are some, or it is empty.
  bool AreMost() const noexcept { return filled == 0 || Count() > others.count; }
};

enum class CsvReach {
  kAll,
  // Ends, with what has been read so far, where it is clear that most texts are no numbers.
  kWhileMostMayBe,
};
CsvNumbers ReadCsvNumbers(const CsvColumn& column, std::size_t rows,
                          const CsvNumberReading& reading, CsvReach reach);

// Says, of a column whose name the note leaves out, that most texts, and more than the `known`
// ones, are numbers when they are read with other separators, or that most are several numbers with
// another delimiter between them than the one that nobody gave; nothing where neither is so.
std::optional<CsvNote> FindOtherNumbers(const CsvColumn& column, std::size_t rows,
                                        const CsvNumberReading& reading, std::size_t known,
                                        const CsvDelimiter& delimiter);

}  // namespace ktnotebook
