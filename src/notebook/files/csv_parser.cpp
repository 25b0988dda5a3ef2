#include "notebook/files/csv_parser.h"

#include <csv.h>
#include <optional>
#include <utility>

#include "notebook/files/notebook_error.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

// Why the text is refused, and in which record, from 1.
struct Fault {
  std::size_t record;
  std::string reason;
};

struct Collected {
  CsvTable table;
  // Complete ones, the header included.
  std::size_t records = 0;
  // Fields of the record that is being read.
  std::size_t fields = 0;
  // The first record that is not as long as the header.
  std::optional<Fault> odd_record;
  bool is_utf8 = true;
  // Of the whole text.
  std::size_t size = 0;
};

std::string CountText(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// The library's callbacks; nothing may be thrown through it.
void OnField(void* bytes, std::size_t size, void* data) {
  auto& collected = *static_cast<Collected*>(data);
  if (!collected.is_utf8) return;
  const std::string_view field(static_cast<const char*>(bytes), size);
  const std::size_t place = collected.fields++;
  if (collected.records == 0) {
    auto text = FromUtf8(field);
    collected.is_utf8 = text.has_value();
    collected.table.header.push_back(std::move(text).value_or(u""));
    return;
  }
  collected.is_utf8 = IsUtf8(field);
  const bool is_kept = collected.is_utf8 && !collected.odd_record;
  if (is_kept && place < collected.table.columns.size()) {
    collected.table.columns[place].Append(field);
  }
}

void OnRecord(int, void* data) {
  auto& collected = *static_cast<Collected*>(data);
  if (!collected.is_utf8) return;
  ++collected.records;
  const std::size_t fields = std::exchange(collected.fields, 0);
  if (collected.records == 1) {
    collected.table.columns.resize(fields);
    for (CsvColumn& column : collected.table.columns)
      column.Reserve(collected.size / fields);
  } else if (fields != collected.table.header.size() && !collected.odd_record) {
    collected.odd_record = {collected.records, CountText(fields, "field") + ", the header has " +
                                                   std::to_string(collected.table.header.size())};
  }
}

// Blanks belong to the fields.
int IsSkippedSpace(unsigned char) {
  return 0;
}

using FieldCallback = void (*)(void* bytes, std::size_t size, void* data);
using RecordCallback = void (*)(int, void* data);

// The library's parser with its callbacks and their data; both Feed and Finish tell whether all is
// well.
class Parser {
 public:
  Parser(char delimiter, FieldCallback on_field, RecordCallback on_record, void* data)
      : on_field_(on_field), on_record_(on_record), data_(data) {
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
    csv_set_delim(&parser_, static_cast<unsigned char>(delimiter));
    csv_set_space_func(&parser_, IsSkippedSpace);
    csv_set_blk_size(&parser_, kBlockSize);
  }
  ~Parser() { csv_free(&parser_); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  bool Feed(std::string_view bytes) {
    return csv_parse(&parser_, bytes.data(), bytes.size(), on_field_, on_record_, data_) ==
           bytes.size();
  }
  bool Finish() { return csv_fini(&parser_, on_field_, on_record_, data_) == 0; }

 private:
  csv_parser parser_{};
  FieldCallback on_field_;
  RecordCallback on_record_;
  void* data_;
};

// What is wrong with the whole; nothing where it is a table.
std::optional<Fault> FaultOf(const Collected& collected, bool is_complete) {
  const std::size_t next_record = collected.records + 1;
  if (!collected.is_utf8) return Fault{next_record, "not UTF-8 text; save the file as UTF-8"};
  if (!is_complete) return Fault{next_record, "a quotation mark is missing or misplaced"};
  return collected.odd_record;
}

struct Attempt {
  CsvTable table;
  std::optional<Fault> fault;
};

Attempt TryDelimiter(std::string_view utf8, char delimiter) {
  Collected collected;
  collected.size = utf8.size();
  Parser parser(delimiter, OnField, OnRecord, &collected);
  const bool is_complete = parser.Feed(utf8) && parser.Finish();
  collected.table.rows = collected.records == 0 ? 0 : collected.records - 1;
  return {std::move(collected.table), FaultOf(collected, is_complete)};
}

// With its line end.
std::string_view FirstLine(std::string_view text) {
  std::size_t end = text.find_first_of("\r\n");
  if (end == std::string_view::npos) return text;
  if (text.substr(end).starts_with("\r\n")) ++end;
  return text.substr(0, end + 1);
}

// The line in which the record begins, both from 1. It takes a pass of its own: only who refuses a
// text asks for it.
std::size_t LineOfRecord(std::string_view utf8, char delimiter, std::size_t record) {
  std::size_t complete = 0;
  Parser parser(
      delimiter, [](void*, std::size_t, void*) {},
      [](int, void* data) { ++*static_cast<std::size_t*>(data); }, &complete);
  std::size_t line = 1;
  for (; !utf8.empty(); ++line) {
    const std::string_view first = FirstLine(utf8);
    const bool is_empty = first.find_first_not_of("\r\n") == std::string_view::npos;
    if (complete + 1 == record && !is_empty) return line;
    parser.Feed(first);
    utf8.remove_prefix(first.size());
  }
  return line;
}

// Another usual delimiter that makes a table of several columns of the text, and of how many.
struct OtherReading {
  char delimiter;
  std::size_t columns;
};
std::optional<OtherReading> FindOtherReading(std::string_view utf8, char delimiter) {
  for (const char other : kUsualDelimiters) {
    if (other == delimiter || utf8.find(other) == std::string_view::npos) continue;
    const Attempt attempt = TryDelimiter(utf8, other);
    const std::size_t columns = attempt.table.header.size();
    if (!attempt.fault && columns > 1) return OtherReading{other, columns};
  }
  return std::nullopt;
}

std::string OptionText(char delimiter) {
  return "--delimiter '" + DelimiterText(delimiter) + "'";
}

std::string Advice(const OtherReading& other) {
  return OptionText(other.delimiter) + " reads the file as " + CountText(other.columns, "column");
}

// The text may have been meant with another delimiter when it is refused, or is one column that
// nobody asked for.
std::optional<Fault> FaultOf(std::string_view utf8, const CsvDelimiter& delimiter,
                             const Attempt& attempt) {
  const bool is_one_column = !attempt.fault && attempt.table.header.size() == 1;
  if (!attempt.fault && (!is_one_column || delimiter.is_given)) return std::nullopt;
  const auto other = FindOtherReading(utf8, delimiter.character);
  if (!other) return attempt.fault;
  if (attempt.fault) {
    return Fault{attempt.fault->record, attempt.fault->reason + "; " + Advice(*other)};
  }
  return Fault{1, "the header is one field; " + Advice(*other) + ", " +
                      OptionText(delimiter.character) + " as this one"};
}

}  // namespace

std::string DelimiterText(char delimiter) {
  return delimiter == '\t' ? "\\t" : std::string(1, delimiter);
}

CsvTable ParseCsv(std::string_view utf8, const std::string& source, const CsvDelimiter& delimiter) {
  if (utf8.starts_with(kByteOrderMark)) utf8.remove_prefix(kByteOrderMark.size());
  const auto refuse = [&](const Fault& fault) {
    const std::size_t line = LineOfRecord(utf8, delimiter.character, fault.record);
    throw NotebookError(source + ":" + std::to_string(line) + ": " + fault.reason);
  };
  if (utf8.starts_with(kByteOrderMark)) refuse({1, std::string(kSecondMark)});
  Attempt attempt = TryDelimiter(utf8, delimiter.character);
  if (const auto fault = FaultOf(utf8, delimiter, attempt)) refuse(*fault);
  if (attempt.table.header.empty()) throw NotebookError(source + ": there is no header row");
  attempt.table.header_line = LineOfRecord(utf8, delimiter.character, 1);
  return std::move(attempt.table);
}

}  // namespace ktnotebook
