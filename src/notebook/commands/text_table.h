// Tables of text for the terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "values/number_text.h"

namespace ktnotebook {

enum class Alignment { kLeft, kRight };

struct TableColumn {
  std::u16string header;
  Alignment alignment = Alignment::kLeft;
};

enum class TextKind { kPlain, kComputed, kError };

struct TableText {
  std::u16string text;
  TextKind kind = TextKind::kPlain;
};

// Where a table is shown, and how much of it.
struct TableStyle {
  // Errors are red, and what is computed is cyan.
  bool coloured = false;
  // The columns of the terminal; 0 when it is none.
  int width = 0;
  bool all_rows = false;
  // "=" stands in front of what is computed.
  bool marks = false;
  // Whose separators numbers have.
  ktformula::Locale locale = {};
};

// The columns that a text may take where no terminal sets a limit.
inline constexpr int kWidestText = 200;

// A table with more rows shows so many of both its ends, unless all are asked for.
inline constexpr std::size_t kMostRows = 60;
inline constexpr std::size_t kRowsOfEnd = 20;

// Collects rows and lays them out in columns. Texts are made printable; blanks at their ends are
// not shown. A table costs about the size of its texts:
// - On a terminal its lines fit as long as its numbers do: the widest columns give way, and what is
//   too wide for its column is cut with an ellipsis; numbers never are.
// - Elsewhere texts are cut at kWidestText columns, and a text that is much wider than the others
//   of its column moves only what stands behind it in its own row.
class TextTable {
 public:
  TextTable(const std::vector<TableColumn>& columns, const TableStyle& style);

  // One text for each column, from the left; columns without one stay empty and texts beyond the
  // last column are not shown.
  void AddRow(const std::vector<TableText>& texts);

  // Adds the rows that are shown of `count`, and a line that counts the others; `row_at` gives the
  // texts of the row at an index from 0.
  template <typename RowAt>
  void AddRows(std::size_t count, RowAt row_at) {
    const bool is_whole = style_.all_rows || count <= kMostRows;
    for (std::size_t i = 0; i < count; ++i) {
      if (i == kRowsOfEnd && !is_whole) {
        hidden_ = count - 2 * kRowsOfEnd;
        hidden_behind_ = cells_.size();
        i += hidden_;
      }
      AddRow(row_at(i));
    }
  }

  // Header, a rule and the rows as UTF-8 lines without trailing blanks, "" for a table without
  // columns.
  std::string Render() const;

 private:
  struct Cell {
    std::u16string text;
    int width = 0;
    TextKind kind = TextKind::kPlain;
  };
  struct Column {
    Cell header;
    Alignment alignment = Alignment::kLeft;
    // The widest text's, and that of all texts together.
    int width = 0;
    std::size_t total = 0;
    // What a column of numbers needs for them.
    int uncut = 0;
  };

  Cell MakeCell(std::u16string_view text, TextKind kind) const;
  std::size_t RowCount() const noexcept { return cells_.size() / columns_.size(); }
  std::vector<int> Widths() const;
  std::vector<int> WidthsOnTerminal() const;
  // Narrows the widest columns of the alignment until the lines fit.
  void GiveWay(std::vector<int>& widths, Alignment alignment, int least_width) const;
  std::vector<int> WidthsElsewhere() const;
  // The cell as it is shown in a column of this width.
  Cell Fit(const Cell& cell, int width) const;
  void AppendText(std::string& lines, const Cell& cell) const;
  template <typename CellAt>
  void AppendLine(std::string& lines, const std::vector<int>& widths, CellAt cell_at) const;

  TableStyle style_;
  std::vector<Column> columns_;
  // Row after row, one cell for each column.
  std::vector<Cell> cells_;
  // How many rows are not shown, and behind how many cells they would stand.
  std::size_t hidden_ = 0;
  std::size_t hidden_behind_ = 0;
};

}  // namespace ktnotebook
