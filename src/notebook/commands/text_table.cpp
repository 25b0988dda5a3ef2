#include "notebook/commands/text_table.h"

#include <algorithm>
#include <cstddef>

#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

constexpr int kColumnGap = 2;
// What gives way on a narrow terminal, in this order, and down to how many columns. A text that is
// cut still says something, a number does not: of columns of numbers only headers and errors are.
constexpr struct {
  Alignment alignment;
  int least_width;
} kGivingWay[] = {{Alignment::kLeft, 8}, {Alignment::kRight, 4}, {Alignment::kLeft, 4}};
// Up to here columns are as wide as their widest text wherever they are shown.
constexpr int kUsualWidth = 40;
constexpr std::string_view kRed = "\x1B[31m";
constexpr std::string_view kCyan = "\x1B[36m";
constexpr std::string_view kPlain = "\x1B[0m";

std::string_view ColourOf(TextKind kind) {
  switch (kind) {
    case TextKind::kComputed: return kCyan;
    case TextKind::kError: return kRed;
    default: return {};
  }
}

std::string HiddenRowsLine(std::size_t count) {
  return "\u2026 " + std::to_string(count) + " more rows; --all shows them\n";
}

int LineWidth(const std::vector<int>& widths) {
  int line = -kColumnGap;
  for (const int width : widths)
    line += kColumnGap + width;
  return line;
}

}  // namespace

TextTable::TextTable(const std::vector<TableColumn>& columns, const TableStyle& style)
    : style_(style) {
  columns_.reserve(columns.size());
  for (const TableColumn& column : columns) {
    Cell header = MakeCell(column.header, TextKind::kPlain);
    // A column without any text still has its rule.
    const int width = std::max(header.width, 1);
    columns_.push_back(
        {std::move(header), column.alignment, width, static_cast<std::size_t>(width), 0});
  }
}

TextTable::Cell TextTable::MakeCell(std::u16string_view text, TextKind kind) const {
  const std::u16string printable = Printable(text.substr(0, text.find_last_not_of(u' ') + 1));
  std::u16string shown =
      CutToWidth(printable, style_.width > 0 ? std::max(style_.width, kUsualWidth) : kWidestText);
  const int width = DisplayWidth(shown);
  return {std::move(shown), width, kind};
}

void TextTable::AddRow(const std::vector<TableText>& texts) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (i >= texts.size()) {
      cells_.emplace_back();
      continue;
    }
    const Cell& cell = cells_.emplace_back(MakeCell(texts[i].text, texts[i].kind));
    columns_[i].width = std::max(columns_[i].width, cell.width);
    columns_[i].total += static_cast<std::size_t>(cell.width);
    const bool is_number =
        columns_[i].alignment == Alignment::kRight && cell.kind != TextKind::kError;
    if (is_number)
      columns_[i].uncut = std::max(columns_[i].uncut, std::min(cell.width, kUsualWidth));
  }
}

std::vector<int> TextTable::Widths() const {
  return style_.width > 0 ? WidthsOnTerminal() : WidthsElsewhere();
}

std::vector<int> TextTable::WidthsOnTerminal() const {
  std::vector<int> widths;
  for (const Column& column : columns_)
    widths.push_back(column.width);
  for (const auto& [alignment, least_width] : kGivingWay)
    GiveWay(widths, alignment, least_width);
  return widths;
}

void TextTable::GiveWay(std::vector<int>& widths, Alignment alignment, int least_width) const {
  for (int limit = std::max(style_.width, kUsualWidth);
       limit >= least_width && LineWidth(widths) > style_.width; --limit) {
    for (std::size_t i = 0; i < widths.size(); ++i) {
      if (columns_[i].alignment != alignment) continue;
      widths[i] = std::min(widths[i], std::max(limit, columns_[i].uncut));
    }
  }
}

// Twice the average at most, so that blanks take no more than the texts do.
std::vector<int> TextTable::WidthsElsewhere() const {
  std::vector<int> widths;
  for (const Column& column : columns_) {
    const auto average = static_cast<int>(column.total / (RowCount() + 1));
    widths.push_back(std::min(column.width, std::max(kUsualWidth, 2 * average)));
  }
  return widths;
}

TextTable::Cell TextTable::Fit(const Cell& cell, int width) const {
  if (style_.width == 0 || cell.width <= width) return cell;
  std::u16string cut = CutToWidth(cell.text, width);
  const int cut_width = DisplayWidth(cut);
  return {std::move(cut), cut_width, cell.kind};
}

void TextTable::AppendText(std::string& lines, const Cell& cell) const {
  const std::string_view colour = style_.coloured ? ColourOf(cell.kind) : std::string_view();
  lines += colour;
  lines += ToUtf8(cell.text);
  if (!colour.empty()) lines += kPlain;
}

template <typename CellAt>
void TextTable::AppendLine(std::string& lines, const std::vector<int>& widths,
                           CellAt cell_at) const {
  // Blanks are held back until a text follows them.
  int blanks = 0;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const Cell cell = Fit(cell_at(i), widths[i]);
    const int padding = std::max(widths[i] - cell.width, 0);
    const bool is_right = columns_[i].alignment == Alignment::kRight;
    if (i > 0) blanks += kColumnGap;
    if (is_right) blanks += padding;
    if (cell.width > 0) {
      lines.append(static_cast<std::size_t>(blanks), ' ');
      AppendText(lines, cell);
      blanks = 0;
    }
    if (!is_right) blanks += padding;
  }
  lines.push_back('\n');
}

std::string TextTable::Render() const {
  std::string lines;
  if (columns_.empty()) return lines;
  const std::vector<int> widths = Widths();
  AppendLine(lines, widths, [this](std::size_t i) -> const Cell& { return columns_[i].header; });
  AppendLine(lines, widths, [&widths](std::size_t i) -> Cell {
    return {std::u16string(static_cast<std::size_t>(widths[i]), u'-'), widths[i]};
  });
  for (std::size_t row = 0; row < cells_.size(); row += columns_.size()) {
    if (hidden_ > 0 && row == hidden_behind_) lines += HiddenRowsLine(hidden_);
    AppendLine(lines, widths,
               [this, row](std::size_t i) -> const Cell& { return cells_[row + i]; });
  }
  return lines;
}

}  // namespace ktnotebook
