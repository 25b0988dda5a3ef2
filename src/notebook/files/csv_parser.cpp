#include "notebook/files/csv_parser.h"

#include <csv.h>
#include <memory>
#include <utility>

#include "notebook/files/notebook_error.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

struct Collected {
  CsvTable table;
  // Complete ones, the header included.
  std::size_t records = 0;
  // Fields of the record that is being read.
  std::size_t fields = 0;
  // The first record that is not as long as the header, and its length; 0 for none.
  std::size_t odd_record = 0;
  std::size_t odd_fields = 0;
  bool is_utf8 = true;
  // Of the whole text.
  std::size_t size = 0;
};

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
  const bool is_kept = collected.is_utf8 && collected.odd_record == 0;
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
  } else if (fields != collected.table.header.size() && collected.odd_record == 0) {
    collected.odd_record = collected.records;
    collected.odd_fields = fields;
  }
}

// Blanks belong to the fields.
int IsSkippedSpace(unsigned char) {
  return 0;
}

}  // namespace

CsvTable ParseCsv(std::string_view utf8, const std::string& source) {
  if (utf8.starts_with(kByteOrderMark)) utf8.remove_prefix(kByteOrderMark.size());
  csv_parser parser{};
  if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
  const std::unique_ptr<csv_parser, decltype(&csv_free)> guard(&parser, &csv_free);
  csv_set_space_func(&parser, IsSkippedSpace);
  csv_set_blk_size(&parser, kBlockSize);
  Collected collected;
  collected.size = utf8.size();
  const auto refuse = [&](const std::string& reason) {
    throw NotebookError(source + ": " + reason);
  };
  const auto refuse_record = [&](const std::string& reason) {
    refuse("record " + std::to_string(collected.records + 1) + ": " + reason);
  };
  if (utf8.starts_with(kByteOrderMark)) refuse_record(std::string(kSecondMark));
  const bool is_complete =
      csv_parse(&parser, utf8.data(), utf8.size(), OnField, OnRecord, &collected) == utf8.size() &&
      csv_fini(&parser, OnField, OnRecord, &collected) == 0;
  if (!collected.is_utf8) refuse_record("not UTF-8 text");
  if (!is_complete) refuse_record("a quotation mark is missing or misplaced");
  if (collected.records == 0) refuse("there is no header row");
  if (collected.odd_record != 0) {
    refuse("record " + std::to_string(collected.odd_record) + " has " +
           std::to_string(collected.odd_fields) + " fields, the header has " +
           std::to_string(collected.table.header.size()));
  }
  collected.table.rows = collected.records - 1;
  return std::move(collected.table);
}

}  // namespace ktnotebook
