// What a program may do to its cells between calls, and what it gets told.
#include "notebook/tables/own_cells.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "notebook/tables/utf8.h"
#include "values/raised_error.h"

namespace {

using ktnotebook::CellContent;
using ktnotebook::DataType;
using ktnotebook::OwnCellsHost;
using ktnotebook::ToUtf8;

class Grid final : public ktnotebook::OwnTable {
 public:
  std::vector<ktnotebook::OwnColumn> columns;
  std::vector<std::vector<CellContent>> cells;
  std::vector<std::u16string> ids;
  // Cells in this row are entered ones.
  std::size_t entered = static_cast<std::size_t>(-1);
  bool throws = false;

  std::vector<ktnotebook::OwnColumn> Columns() const override { return columns; }
  std::size_t RowCount() const override { return cells.size(); }
  ktnotebook::OwnNumbers Numbers(std::size_t row, std::size_t column) const override {
    return {cells[row][column].min, cells[row][column].max};
  }
  std::u16string Text(std::size_t row, std::size_t column) const override {
    return cells[row][column].text;
  }
  void Write(std::size_t row, std::size_t column, const CellContent& content) override {
    if (throws) throw std::length_error("full");
    cells[row][column] = content;
  }
  ktnotebook::TypedMark Mark(std::size_t row, std::size_t) const override {
    return row == entered ? ktnotebook::kQuantityMark : ktnotebook::TypedMark();
  }
  std::u16string RowId(std::size_t row) const override { return ids.empty() ? u"" : ids[row]; }
};

class OwnCells : public testing::Test {
 protected:
  OwnCells() {
    grid_.columns = {{u"x"}, {u"f"}};
    grid_.cells = {{Number(2), {}}, {Number(3), {}}};
    host_.Add(u"T", grid_);
    host_.SetFormula(u"T", u"f", u"[x]*10");
  }

  static CellContent Number(int value) {
    const std::string text = std::to_string(value);
    return {{text.begin(), text.end()}, double(value), double(value), {}};
  }
  // The texts of a row behind one another.
  std::string Shown(std::size_t row) {
    host_.Recalculate();
    std::string text;
    for (const CellContent& cell : grid_.cells[row])
      text += (text.empty() ? "" : " | ") + ToUtf8(cell.text);
    return text;
  }

  Grid grid_;
  OwnCellsHost host_;
};

TEST_F(OwnCells, MayBeOthersWithEachCall) {
  EXPECT_EQ(Shown(1), "3 | 30");
  grid_.columns = {{u"f"}, {u"new"}, {u"x"}};
  grid_.cells = {{{}, Number(7), Number(4)}};
  EXPECT_EQ(Shown(0), "40 | 7 | 4");
  host_.SetFormula(u"T", u"new", u"[T:x:b]");
  grid_.ids = {u"a"};
  EXPECT_EQ(Shown(0).substr(0, 12), "40 | #Error:");
  grid_.ids = {u"b"};
  EXPECT_EQ(Shown(0), "40 | 4 | 4");
  grid_.columns[2].name = u"y";
  EXPECT_EQ(Shown(0).substr(0, 8), "#Error: ");
  grid_.columns[2] = {u"x", DataType::kString};
  EXPECT_EQ(Shown(0), "40 | 4 | 4");
  grid_.cells.push_back({{}, {}, Number(5)});
  grid_.ids = {u"c", u"b"};
  EXPECT_EQ(Shown(0), "40 | 5 | 4");
  grid_.entered = 1;
  grid_.cells[1][0] = Number(1);
  EXPECT_EQ(Shown(1), "1 | 5 | 5");
}

TEST_F(OwnCells, ReadWhatIsTypedAndShowDigitsAndUnits) {
  grid_.columns = {{u"x", DataType::kNumber, u"g", true}, {u"f", DataType::kNumber, u"g", true}};
  grid_.cells = {{host_.ReadTyped(u"T", 0, u" 250 mg "), {}}};
  EXPECT_EQ(grid_.cells[0][0].min, 0.00025);
  EXPECT_EQ(Shown(0), "250 mg | 2.500 g");
  const auto value = host_.Evaluate({u"T", 0, 0}, u"[x]+[f]");
  EXPECT_DOUBLE_EQ(value.MinNumber(), 0.00275);
  EXPECT_EQ(Shown(0), "250 mg | 2.500 g");
}

TEST_F(OwnCells, TellChangesCirclesAndWhatIsThrown) {
  EXPECT_EQ(host_.Recalculate().changed.size(), 2U);
  EXPECT_EQ(host_.Recalculate().rounds, 1);
  grid_.cells[1][0] = Number(9);
  grid_.throws = true;
  EXPECT_THROW(host_.Recalculate(), std::length_error);
  grid_.throws = false;
  EXPECT_EQ(host_.Recalculate().changed, (std::vector<ktnotebook::OwnPlace>{{u"T", 1, 1}}));
  host_.SetFormula(u"T", u"f", u"[f]+1");
  const auto circle = host_.Recalculate(3);
  EXPECT_FALSE(circle.settled);
  EXPECT_EQ(circle.unsettled.size(), 2U);
  EXPECT_EQ(host_.Check(circle).front().code, ktformula::ProblemCode::kCircular);
}

TEST(OwnCellsHost, WritesNumbersInItsLocale) {
  Grid grid;
  grid.columns = {{u"f"}};
  grid.cells = {{{}}};
  OwnCellsHost host(ktformula::StandardFunctions(), {u',', u'.'});
  host.Add(u"T", grid);
  host.SetFormula(u"T", u"f", u"9/2");
  host.Recalculate();
  EXPECT_EQ(ToUtf8(grid.cells[0][0].text), "4,5");
}

TEST_F(OwnCells, NameWhatIsNotThere) {
  const std::pair<void (*)(OwnCellsHost&, Grid&), const char*> rows[] = {
      {[](auto& host, auto& grid) { host.Add(u"T", grid); }, "the name \"T\" is in use"},
      {[](auto& host, auto&) { host.SetFormula(u"U", u"f", u"1"); }, "there is no table \"U\""},
      {[](auto& host, auto&) { host.SetFormula(u"T", u"g", u"1"); },
       "table \"T\" has no column \"g\""},
      {[](auto& host, auto&) {
         host.Evaluate({u"T", 2, 0}, u"1");
       },
       "table \"T\" has no row of this index"},
      {[](auto& host, auto&) {
         host.Explain({u"T", 0, 2});
       },
       "table \"T\" has no column of this index"},
      {[](auto& host, auto& grid) {
         grid.columns = {{u"x"}, {u"x"}};
         host.Recalculate();
       },
       "table \"T\" has two columns \"x\""},
      {[](auto& host, auto& grid) {
         grid.columns = {{u"x"}, {u"f", DataType::kNumber, u"furlong"}};
         host.Recalculate();
       },
       "the column \"f\" of table \"T\" can not have the unit \"furlong\""},
  };
  for (const auto& [call, description] : rows) {
    try {
      call(host_, grid_);
      ADD_FAILURE() << description;
    } catch (const ktformula::RaisedError& error) {
      EXPECT_EQ(ToUtf8(error.Description()), description);
    }
  }
  grid_.columns = {{u"x"}, {u"f"}};
  EXPECT_EQ(Shown(0), "2 | 20");
}

}  // namespace
