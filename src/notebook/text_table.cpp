#include "notebook/text_table.h"

#include <algorithm>
#include <cstddef>

#include "notebook/utf.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kColumnGap = 2;
constexpr std::string_view kRed = "\x1B[31m";
constexpr std::string_view kPlain = "\x1B[0m";

}  // namespace

TextTable::TextTable(const std::vector<TableColumn>& columns) {
  columns_.reserve(columns.size());
  for (const TableColumn& column : columns) {
    Cell header = MakeCell(column.header, false);
    // A column without any text still has its rule.
    const int width = std::max(header.width, 1);
    columns_.push_back({std::move(header), column.alignment, width});
  }
}

TextTable::Cell TextTable::MakeCell(std::u16string_view text, bool is_error) {
  const std::u16string printable = Printable(text.substr(0, text.find_last_not_of(u' ') + 1));
  return {ToUtf8(printable), DisplayWidth(printable), is_error};
}

void TextTable::AddRow(const std::vector<TableText>& texts) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (i >= texts.size()) {
      cells_.emplace_back();
      continue;
    }
    cells_.push_back(MakeCell(texts[i].text, texts[i].is_error));
    columns_[i].width = std::max(columns_[i].width, cells_.back().width);
  }
}

template <typename CellAt>
void TextTable::AppendLine(std::string& lines, bool coloured, CellAt cell_at) const {
  // Blanks are held back until a text follows them.
  std::size_t blanks = 0;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Cell& cell = cell_at(i);
    const auto padding = static_cast<std::size_t>(columns_[i].width - cell.width);
    const bool is_right = columns_[i].alignment == Alignment::kRight;
    if (i > 0) blanks += kColumnGap;
    if (is_right) blanks += padding;
    if (cell.width > 0) {
      const bool is_red = coloured && cell.is_error;
      lines.append(blanks, ' ');
      if (is_red) lines += kRed;
      lines += cell.bytes;
      if (is_red) lines += kPlain;
      blanks = 0;
    }
    if (!is_right) blanks += padding;
  }
  lines.push_back('\n');
}

void TextTable::AppendRule(std::string& lines) const {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (i > 0) lines.append(kColumnGap, ' ');
    lines.append(static_cast<std::size_t>(columns_[i].width), '-');
  }
  lines.push_back('\n');
}

std::string TextTable::Render(bool coloured) const {
  std::string lines;
  if (columns_.empty()) return lines;
  AppendLine(lines, coloured, [this](std::size_t i) -> const Cell& { return columns_[i].header; });
  AppendRule(lines);
  for (std::size_t row = 0; row < cells_.size(); row += columns_.size()) {
    AppendLine(lines, coloured,
               [this, row](std::size_t i) -> const Cell& { return cells_[row + i]; });
  }
  return lines;
}

}  // namespace ktnotebook
