// What the notebook's tables promise: the same as their objects say and do.
#include "host/promises.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>

#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/tables/table_control.h"
#include "values/platform.h"

namespace ktnotebook {
namespace {

using ktformula::Denotation;
using ktformula::NotebookObject;
using ktformula::ReferenceStart;
using Parts = std::vector<std::u16string>;

Notebook MixedTables() {
  return ReadNotebook(R"(<notebook><form name="F">
    <table name="T" key="1">
      <property key="1" name="Mass" type="number" unit="g"/>
      <property key="2" name="Count" type="number"/>
      <property key="3" name="Name" type="string"/>
      <property key="4" name="Day" type="date"/>
      <property key="5" name="Done" type="Boolean"/>
      <property key="6" name="parent" type="structure"/>
      <row id="A">
        <cell property="Mass" state="entered">1 .. 2 g</cell><cell property="Count">n.d.</cell>
        <cell property="Name" state="noted">0.1</cell><cell property="Day">2024-02-29</cell>
        <cell property="Done" tag="x">true</cell><cell property="parent">CO</cell>
      </row>
      <row id="2"/><row id="1"/>
      <row id="C"><cell property="Mass">0.1</cell><cell property="Count" state="entered">7</cell>
        <cell property="Day" state="entered">2024-03-01</cell></row>
    </table>
    <table name="U" key="2"><property key="7" name="Mass" type="number"/><row id="1"/></table>
    </form></notebook>)",
                      "n.xml");
}

NotebookTable& Table(const Notebook& notebook) {
  return *notebook.forms[0]->FindTable(u"T");
}

std::string Joined(const Parts& parts) {
  std::string joined;
  for (const std::u16string& part : parts)
    joined += ":" + ToUtf8(part);
  return joined;
}

// All lists of one to three parts.
std::vector<Parts> PartLists() {
  const std::u16string words[] = {u"Mass", u"Name", u"parent", u"Parent", u"A", u"1",
                                  u"2",    u"4",    u"5",      u"x",      u""};
  std::vector<Parts> lists;
  for (const auto& first : words) {
    lists.push_back({first});
    for (const auto& second : words) {
      lists.push_back({first, second});
      for (const auto& third : words)
        lists.push_back({first, second, third});
    }
  }
  return lists;
}

TEST(Promises, DenotationsAreWhatReferencesResolveTo) {
  const Notebook notebook = MixedTables();
  NotebookTable& table = Table(notebook);
  ktformula::ReferenceBinding& binding = *table.Binding();
  const auto expect = [&](ReferenceStart start, NotebookObject& from, const Parts& parts,
                          const NotebookRow& row) {
    const Denotation denotation = binding.Denote(start, parts);
    Ref<NotebookObject> object = denotation.object;
    if (denotation.kind == Denotation::Kind::kOwnRow) object = row.Object();
    if (denotation.kind == Denotation::Kind::kOwnCell) {
      object = row.Object()->Cell(static_cast<ktformula::TableProperty&>(*denotation.object));
    }
    EXPECT_EQ(object.get(), from.ResolveRelative(parts).get()) << Joined(parts);
    EXPECT_EQ(denotation.kind == Denotation::Kind::kNothing, !object) << Joined(parts);
  };
  for (const Parts& parts : PartLists()) {
    expect(ReferenceStart::kTable, table, parts, table.Rows()[0]);
    for (const NotebookRow row : table.Rows()) {
      expect(ReferenceStart::kRow, *row.Object(), parts, row);
      for (const Ref<NotebookColumn>& column : table.Columns())
        expect(ReferenceStart::kCell, *row.CellAt(column->Index()).Object(), parts, row);
    }
  }
}

TEST(Promises, ColumnsReadAsTheirCells) {
  const Notebook notebook = MixedTables();
  std::u16string buffer;
  for (const Ref<NotebookColumn>& column : Table(notebook).Columns()) {
    const ktformula::ColumnCells& cells = *column->Cells();
    ASSERT_EQ(cells.Count(), 4U);
    std::size_t entered = 0;
    for (std::size_t row = 0; row < 4; ++row) {
      const Ref<ktformula::TableCell> cell = column->Cell(static_cast<int>(row) + 1);
      const std::string place = ToUtf8(column->Definition().name) + std::to_string(row);
      EXPECT_EQ(cells.Text(row, buffer), cell->Text()) << place;
      EXPECT_TRUE(IsSameContent({u"", cells.MinNumbers()[row], cells.MaxNumbers()[row], u""},
                                {u"", cell->MinNumber(), cell->MaxNumber(), u""}))
          << place;
      EXPECT_EQ(cells.IsEntered(row), cell->StateText() == u"entered") << place;
      EXPECT_EQ(cell->Column().get(), column.get()) << place;
      EXPECT_EQ(cell->Row()->Place(), row) << place;
      entered += cells.IsEntered(row) ? 1 : 0;
    }
    EXPECT_EQ(cells.EnteredCount(), entered);
  }
}

TEST(Promises, OnlyThoseAreMadeThatAreGiven) {
  const Notebook notebook = MixedTables();
  NotebookTable& table = Table(notebook);
  notebook.forms[0]->Given() = {false, false, false};
  EXPECT_EQ(table.Binding(), nullptr);
  EXPECT_EQ(table.Columns()[0]->Cells(), nullptr);
  EXPECT_EQ(table.Columns()[0]->Changes(), nullptr);
}

// Everything that can be seen of a form's cells and its log.
std::string Seen(const Notebook& notebook, const std::vector<std::uint64_t>& progress) {
  WriteLog& log = notebook.forms[0]->Log();
  std::ostringstream seen;
  seen << log.finished << " finished, " << log.changed << " changed:";
  for (const NotebookCell& cell : log.cells)
    seen << " " << cell.OwningColumn().Index() << "," << cell.RowIndex();
  for (const std::uint64_t finished : progress)
    seen << " at " << finished;
  for (const NotebookRow row : Table(notebook).Rows()) {
    for (const Ref<NotebookColumn>& column : Table(notebook).Columns()) {
      const NotebookCell cell = row.CellAt(column->Index());
      const CellContent content = cell.Content();
      seen << "|" << ToUtf8(content.text) << ";" << content.min << ";" << content.max << ";"
           << ToUtf8(content.unit) << ";" << ToUtf8(cell.State()) << ";" << ToUtf8(cell.Tag());
    }
  }
  return seen.str();
}

using ChangedRows = std::vector<std::vector<std::size_t>>;

// Does `write` to each column, several times, of a table with some rows more; gives what is seen
// after each, and the rows that are told as changed.
std::string SeenAfter(const std::function<void(NotebookColumn&, const std::vector<double>&)>& write,
                      ChangedRows& changed) {
  const Notebook notebook = MixedTables();
  NotebookTable& table = Table(notebook);
  for (int i = 0; i < 800; ++i)
    table.AddRow(u"more" + ktformula::NumberToText(i));
  std::vector<std::uint64_t> progress;
  WriteLog& log = notebook.forms[0]->Log();
  log.keep_cells = true;
  log.on_progress = [&](std::uint64_t finished) { progress.push_back(finished); };
  std::string seen;
  const double values[] = {0.1 + 0.2, 1e22, 5e-324, -0.0, 1.0 / 3, 7};
  for (std::size_t round = 0; round < 4; ++round) {
    // The second round writes what is there, the third some other numbers.
    std::vector<double> numbers;
    for (std::size_t i = 0; i < 700; ++i)
      numbers.push_back(values[(i + (round >= 2 && i % 5 == 0 ? 1 : 0)) % std::size(values)]);
    for (const Ref<NotebookColumn>& column : table.Columns()) {
      const std::uint64_t before = column->Changes()->Stamp();
      write(*column, numbers);
      std::vector<std::size_t> rows;
      if (!column->Changes()->RowsChangedSince(before, rows)) rows = {9'999'999};
      changed.push_back(rows);
    }
    seen += Seen(notebook, progress);
  }
  return seen;
}

TEST(Promises, WritesInBulkAreWritesOfCells) {
  const std::u16string_view texts[] = {u"high", u"0.3", u"2024-02-29", u"", u"n.d."};
  const auto which = [&](double number) {
    return static_cast<std::uint32_t>(std::abs(number * 7)) % std::size(texts);
  };
  const auto in_cells = [](NotebookColumn& column, std::size_t count, const auto& text,
                           bool is_value) {
    for (std::size_t i = 0; i < count; ++i) {
      const Ref<CellObject> cell = column.ObjectAt(1 + i);
      column.Parent().Control()->WriteText(*cell, text(i), is_value);
      column.Parent().Control()->FinishCell(*cell);
    }
  };
  ChangedRows bulk;
  ChangedRows cells;
  EXPECT_EQ(
      SeenAfter([](auto& column, const auto& numbers) { column.Cells()->WriteNumbers(1, numbers); },
                bulk),
      SeenAfter(
          [&](auto& column, const auto& numbers) {
            in_cells(
                column, numbers.size(),
                [&](std::size_t i) { return ktformula::NumberToText(numbers[i]); }, true);
          },
          cells));
  for (const bool is_value : {false, true}) {
    EXPECT_EQ(SeenAfter(
                  [&](auto& column, const auto& numbers) {
                    std::vector<std::uint32_t> of_rows;
                    for (const double number : numbers)
                      of_rows.push_back(static_cast<std::uint32_t>(which(std::fmod(number, 9))));
                    column.Cells()->WriteTexts(1, of_rows, texts, is_value);
                  },
                  bulk),
              SeenAfter(
                  [&](auto& column, const auto& numbers) {
                    in_cells(
                        column, numbers.size(),
                        [&](std::size_t i) { return texts[which(std::fmod(numbers[i], 9))]; },
                        is_value);
                  },
                  cells));
  }
  EXPECT_EQ(bulk, cells);
}

TEST(Promises, WhatThrowsInProgressLeavesWhatWasWritten) {
  const Notebook notebook = MixedTables();
  NotebookTable& table = Table(notebook);
  for (int i = 0; i < 800; ++i)
    table.AddRow(u"more" + ktformula::NumberToText(i));
  WriteLog& log = notebook.forms[0]->Log();
  log.finished = 3500;
  log.on_progress = [](std::uint64_t) { throw std::runtime_error("stop"); };
  NotebookColumn& column = *table.Columns()[1];
  const std::uint64_t before = column.Changes()->Stamp();
  EXPECT_THROW(column.Cells()->WriteNumbers(0, std::vector<double>(800, 2.5)), std::runtime_error);
  std::vector<std::size_t> rows;
  EXPECT_TRUE(column.Changes()->RowsChangedSince(before, rows));
  EXPECT_EQ(rows.size(), 596U);
  EXPECT_EQ(log.changed, 596U);
  EXPECT_EQ(table.Rows()[595].CellAt(1).Text(), u"2.5");
  EXPECT_EQ(table.Rows()[596].CellAt(1).Text(), u"");
}

TEST(Promises, ChangesTellWhatChangedAndNothingElse) {
  const Notebook notebook = MixedTables();
  NotebookTable& table = Table(notebook);
  NotebookColumn& column = *table.Columns()[1];
  const auto cell = [&](std::size_t row) { return table.Rows()[row].CellAt(1); };
  const auto write = [&](std::size_t row, std::u16string_view text, bool is_value) {
    table.Control()->WriteText(*cell(row).Object(), text, is_value);
  };
  const auto finish = [&](std::size_t row) { table.Control()->FinishCell(*cell(row).Object()); };
  using Rows = std::vector<std::size_t>;
  const struct {
    const char* name;
    std::function<void()> act;
    Rows rows;
    bool is_new_name = false;
  } cases[] = {
      {"typed", [&] { cell(1).Enter(u"5"); }, {1}},
      {"typed again", [&] { cell(1).Enter(u"5 "); }, {}},
      {"another state", [&] { cell(1).SetState(u"noted", u"entered"); }, {1}},
      {"another tag", [&] { cell(1).SetState(u"noted", u"x"); }, {1}},
      {"the same", [&] { cell(1).SetState(u"noted", u"x"); }, {}},
      {"content",
       [&] {
         cell(1).SetContent(ContentView{u"5", 5, 5, u"%"});
       },
       {1}},
      {"same content",
       [&] {
         cell(1).SetContent(ContentView{u"5", 5, 5, u"%"});
       },
       {}},
      {"another text of the number", [&] { cell(1).TakeTypedText(u"5.0"); }, {1}},
      {"another cell", [&] { table.Rows()[1].CellAt(0).Enter(u"5"); }, {}},
      {"written, which ends its state", [&] { write(1, u"5.0", true); }, {1}},
      {"written again", [&] { write(1, u"5.0", true), finish(1); }, {}},
      {"gone back",
       [&] {
         table.Control()->ClearNumber(*cell(1).Object());
         write(1, u"5.0", true);
         finish(1);
       },
       {}},
      {"gone back, seen in between",
       [&] {
         table.Control()->ClearNumber(*cell(1).Object());
         column.Changes()->Stamp();
         write(1, u"5.0", true);
         finish(1);
       },
       {1, 1}},
      {"left unfinished for another", [&] { write(2, u"7", true), write(1, u"8", true); }, {2, 1}},
      {"numbers",
       [&] {
         column.Cells()->WriteNumbers(0, std::array{1.0, 8.0});
       },
       {0}},
      {"numbers that are there",
       [&] {
         column.Cells()->WriteNumbers(0, std::array{1.0, 8.0});
       },
       {}},
      {"a row", [&] { table.AddRow(u"new"); }, {4}, true},
      {"a column",
       [&] {
         table.AddColumn({9, u"new", DataType::kString, nullptr, false});
       },
       {},
       true},
      {"a field", [&] { notebook.forms[0]->AddTextField(u"new", u""); }, {}, true},
  };
  for (const auto& row : cases) {
    const std::uint64_t stamp = column.Changes()->Stamp();
    const std::uint64_t names = table.Binding()->Stamp();
    row.act();
    Rows rows;
    EXPECT_TRUE(column.Changes()->RowsChangedSince(stamp, rows)) << row.name;
    EXPECT_EQ(rows, row.rows) << row.name;
    EXPECT_EQ(column.Changes()->Stamp() > stamp, !row.rows.empty()) << row.name;
    EXPECT_EQ(table.Binding()->Stamp() != names, row.is_new_name) << row.name;
  }
  // What is too long ago is not known, what was lately is.
  const std::uint64_t old = column.Changes()->Stamp();
  for (int i = 0; i < 2000; ++i)
    cell(1).Enter(ktformula::NumberToText(i));
  const std::uint64_t late = column.Changes()->Stamp();
  cell(3).Enter(u"1.25");
  Rows rows;
  EXPECT_FALSE(column.Changes()->RowsChangedSince(old, rows));
  EXPECT_TRUE(rows.empty());
  EXPECT_TRUE(column.Changes()->RowsChangedSince(late, rows));
  EXPECT_EQ(rows, Rows{3});
}

}  // namespace
}  // namespace ktnotebook
