#include "notebook/files/csv_parser.h"

#include <csv.h>
#include <memory>

#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

struct Collected {
  std::vector<std::vector<std::u16string>> records;
  std::vector<std::u16string> current;
  bool is_utf8 = true;
};

// The library's callbacks; nothing may be thrown through it.
void OnField(void* bytes, std::size_t size, void* data) {
  auto& collected = *static_cast<Collected*>(data);
  auto text = FromUtf8({static_cast<const char*>(bytes), size});
  collected.is_utf8 = collected.is_utf8 && text.has_value();
  collected.current.push_back(std::move(text).value_or(u""));
}

void OnRecord(int, void* data) {
  auto& collected = *static_cast<Collected*>(data);
  if (!collected.is_utf8) return;
  collected.records.push_back(std::move(collected.current));
  collected.current.clear();
}

// Blanks belong to the fields.
int IsSkippedSpace(unsigned char) {
  return 0;
}

}  // namespace

std::vector<std::vector<std::u16string>> ParseCsv(std::string_view utf8,
                                                  const std::string& source) {
  if (utf8.starts_with(kByteOrderMark)) utf8.remove_prefix(kByteOrderMark.size());
  csv_parser parser{};
  if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
  const std::unique_ptr<csv_parser, decltype(&csv_free)> guard(&parser, &csv_free);
  csv_set_space_func(&parser, IsSkippedSpace);
  csv_set_blk_size(&parser, kBlockSize);
  Collected collected;
  const auto fail = [&](const std::string& reason) {
    throw NotebookError(source + ": record " + std::to_string(collected.records.size() + 1) + ": " +
                        reason);
  };
  if (utf8.starts_with(kByteOrderMark)) fail(std::string(kSecondMark));
  const bool is_complete =
      csv_parse(&parser, utf8.data(), utf8.size(), OnField, OnRecord, &collected) == utf8.size() &&
      csv_fini(&parser, OnField, OnRecord, &collected) == 0;
  if (!collected.is_utf8) fail("not UTF-8 text");
  if (!is_complete) fail("a quotation mark is missing or misplaced");
  return std::move(collected.records);
}

}  // namespace ktnotebook
