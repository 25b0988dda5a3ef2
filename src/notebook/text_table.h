// Tables of text for the terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ktnotebook {

enum class Alignment { kLeft, kRight };

struct TableColumn {
  std::u16string header;
  Alignment alignment = Alignment::kLeft;
};

struct TableText {
  std::u16string text;
  bool is_error = false;
};

// Collects rows and lays them out in columns as wide as their widest text. Texts are made
// printable; blanks at their ends are not shown.
class TextTable {
 public:
  explicit TextTable(const std::vector<TableColumn>& columns);

  // One text for each column, from the left; columns without one stay empty and texts beyond the
  // last column are not shown.
  void AddRow(const std::vector<TableText>& texts);

  // Header, a rule and the rows as UTF-8 lines without trailing blanks, "" for a table without
  // columns. With `coloured`, texts marked as errors are red.
  std::string Render(bool coloured) const;

 private:
  struct Cell {
    std::string bytes;
    int width = 0;
    bool is_error = false;
  };
  struct Column {
    Cell header;
    Alignment alignment = Alignment::kLeft;
    int width = 0;
  };

  static Cell MakeCell(std::u16string_view text, bool is_error);
  template <typename CellAt>
  void AppendLine(std::string& lines, bool coloured, CellAt cell_at) const;
  void AppendRule(std::string& lines) const;

  std::vector<Column> columns_;
  // Row after row, one cell for each column.
  std::vector<Cell> cells_;
};

}  // namespace ktnotebook
