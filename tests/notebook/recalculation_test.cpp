// Rounds of recalculation over whole forms.
#include "notebook/tables/recalculation.h"

#include <gtest/gtest.h>
#include <random>

#include "formats/formula_format.h"
#include "formula/evaluator.h"
#include "listener/field_listener.h"
#include "notebook/commands/json_output.h"
#include "notebook/files/csv_file.h"
#include "notebook/files/framework.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/store/database.h"
#include "notebook/store/notebook_store.h"
#include "values/platform.h"

namespace ktnotebook {
namespace {

using Formulas = std::vector<std::pair<std::string, std::string>>;

// A table of three number columns, in grams, and a text column, with `formulas` for some of them.
std::string TableXml(char name, int key, const Formulas& formulas) {
  const std::string keys = std::to_string(key);
  std::string xml = "<table name='" + std::string(1, name) + "' key='" + keys + "'>";
  for (const char column : {'A', 'B', 'C', 'D'}) {
    const bool is_text = column == 'D';
    xml += "<property key='" + keys + std::to_string(column - 'A') + "' name='" + column +
           (is_text ? "' type='string'/>"
                    : std::string("' type='number' unit='g' numberFormatting='") +
                          (column == 'C' ? "false'/>" : "true'/>"));
  }
  xml +=
      "<row id='1'/><row id='2'/><row id='3'/>"
      "<fieldListener progID='KtFormula9.FormulaListener' name='L' position='1'>";
  for (const auto& [column, formula] : formulas) {
    xml += "<propertyFormula name='" + column + "'><![CDATA[" + formula + "]]></propertyFormula>";
  }
  return xml + "</fieldListener></table>";
}

Notebook TwoTables(const Formulas& first, const Formulas& second) {
  return ReadNotebook("<notebook><form name='F'>" + TableXml('T', 1, first) +
                          TableXml('U', 2, second) + "</form></notebook>",
                      "n.xml");
}

NotebookCell Cell(const Notebook& notebook, std::u16string_view table, std::u16string_view column,
                  std::size_t row = 0) {
  const NotebookTable& found = *notebook.forms[0]->FindTable(table);
  return found.Rows()[row].CellAt(found.FindColumn(column)->Index());
}

TEST(Recalculation, RunsRoundsUntilNothingChanges) {
  const struct {
    Formulas first;
    Formulas second;
    int maximum_rounds;
    const char* start;
    int rounds;
    bool settled;
  } cases[] = {
      {{}, {}, 8, nullptr, 1, true},
      {{{"B", "[A]*2"}}, {}, 8, nullptr, 2, true},
      // To its right; over two columns; in a later table, and in an earlier one.
      {{{"A", "[B]*2"}, {"B", "[C]"}}, {}, 8, nullptr, 3, true},
      {{{"A", "[B]"}, {"B", "[C]"}, {"C", "[U:C:1]"}}, {}, 8, nullptr, 4, true},
      {{{"A", "[U:A:1]"}}, {{"A", "7"}}, 8, nullptr, 3, true},
      {{{"A", "7"}}, {{"A", "[T:A:1]"}}, 8, nullptr, 2, true},
      // The table where a cell was set goes first.
      {{{"A", "[U:A:1]"}}, {{"A", "7"}}, 8, "U", 2, true},
      // A ring of columns never settles.
      {{{"A", "[B]+1"}, {"B", "[A]+1"}}, {}, 8, nullptr, 8, false},
      {{{"A", "[B]+1"}, {"B", "[A]+1"}}, {}, 20, nullptr, 20, false},
      {{{"A", "[B]*2"}, {"B", "[C]"}}, {}, 2, nullptr, 2, false},
      // Not-a-number equals itself.
      {{{"A", "1/0"}, {"B", "[A]+1"}}, {}, 8, nullptr, 2, true},
  };
  for (const auto& row : cases) {
    const Notebook notebook = TwoTables(row.first, row.second);
    NotebookForm& form = *notebook.forms[0];
    const NotebookTable* start = row.start != nullptr ? form.FindTable(u"U") : nullptr;
    for (const char16_t* table : {u"T", u"U"}) {
      const NotebookCell cell = Cell(notebook, table, u"C");
      if (!cell.OwningColumn().Parent().HasFormula(cell.OwningColumn())) cell.Enter(u"5 g");
    }
    const RecalculationResult result = RecalculateForm(form, row.maximum_rounds, start);
    const std::string formulas = row.first.empty() ? "none" : row.first[0].second;
    EXPECT_EQ(result.rounds, row.rounds) << formulas;
    EXPECT_EQ(result.settled, row.settled) << formulas;
  }
}

// A CSV table of so many rows, and the columns x and y with formulas.
Notebook Chain(int rows, std::u16string_view x, std::u16string_view y) {
  std::string csv = "n\n";
  for (int row = 1; row <= rows; ++row)
    csv += std::to_string(row) + "\n";
  return ReadCsvNotebook(csv, "t.csv", u"t",
                         {{{u"x", std::u16string(x)}, {u"y", std::u16string(y)}}, {}, {}, {}});
}

TEST(Recalculation, TriesOneRoundMoreThanThereAreFormulaCells) {
  EXPECT_EQ(RoundLimit(*Chain(3, u"1", u"2").forms[0]), 8);
  EXPECT_EQ(RoundLimit(*Chain(20, u"1", u"2").forms[0]), 41);
  EXPECT_EQ(RoundLimit(*Chain(5000, u"1", u"2").forms[0]), 10'000);
  // Each row needs the one below, and the last one nothing.
  const Notebook chain = Chain(20, u"ONERROR(SELECT([x],[t],[n]=[this:parent:n]+1)+1,1)", u"");
  NotebookForm& form = *chain.forms[0];
  const RecalculationResult result = RecalculateForm(form, RoundLimit(form));
  EXPECT_EQ(result.rounds, 21);
  EXPECT_TRUE(result.settled);
}

// Readings n, one of which is missing, y computed from them, and in x what becomes of both.
Notebook Readings(const std::string& x) {
  std::string xml = "<notebook><form name='F'><table name='t' key='1'>";
  int key = 0;
  for (const char* column : {"z", "n", "x", "y"}) {
    xml += "<property key='" + std::to_string(++key) + "' name='" + column + "' type='number'/>";
  }
  int row = 0;
  for (const char* n : {"4", "0", "n.d.", "2"}) {
    const std::string id = std::to_string(++row);
    xml += "<row id='" + id + "'><cell property='z' state='entered'>" + id +
           "</cell><cell property='n' state='entered'>" + n + "</cell></row>";
  }
  return ReadNotebook(
      xml +
          "<fieldListener progID='KtFormula9.FormulaListener' name='L' position='1'>"
          "<propertyFormula name='x'><![CDATA[" +
          x +
          "]]></propertyFormula><propertyFormula name='y'>8/[n]</propertyFormula>"
          "<definition name='first'>[t:n:3]</definition><definition "
          "name='all'>SUM([n])</definition>"
          "</fieldListener></table></form></notebook>",
      "n.xml");
}

TEST(Recalculation, AMissingNumberAndAnErrorTravelWithTheirWords) {
  const std::string missing = "#Error: the value \"n.d.\" is not a number";
  const std::string zero = "#Error: Division by zero";
  const std::string none =
      "#Error: no row of the specified table satisfies the Where clause of a Select function";
  const auto everywhere = [](const std::string& text) {
    return text + "|" + text + "|" + text + "|" + text;
  };
  const struct {
    std::string x;
    std::string texts;
  } cases[] = {
      {"[n]", "4|0|" + missing + "|2"},
      {"[n]*2", "8|0|" + missing + "|4"},
      {"1+[y]", "3|" + zero + "|" + missing + "|5"},
      {"[z]+[first]", everywhere(missing)},
      {"[z]+[all]", everywhere(missing)},
      {"MIN([y])", everywhere(zero)},
      {"MAX(1-[n],[t])", everywhere(missing)},
      {"SUM([y],[t],[z]<>2)", everywhere(missing)},
      {"SUM([y],[t],[n]>1)", everywhere("6")},
      {"SELECT([y],[t],[z]=[this:parent:z])", "2|" + zero + "|" + missing + "|4"},
      {"SELECT([z],[t],[n]=[this:parent:n])", "1|2|" + none + "|4"},
      {"ONERROR([y]*1,-1)", "2|-1|-1|4"},
      {"IF([n]>1,[y],0-[y])", "2|" + zero + "|" + missing + "|4"},
      {"COUNT([t],[y]>0)", everywhere("2")},
      {"[y]&\"!\"", "2!|" + zero + "!|" + missing + "!|4!"},
  };
  for (const auto& row : cases) {
    const Notebook notebook = Readings(row.x);
    RecalculateForm(*notebook.forms[0], 8);
    std::string texts;
    for (std::size_t i = 0; i < 4; ++i)
      texts += (i == 0 ? "" : "|") + ToUtf8(Cell(notebook, u"t", u"x", i).Text());
    EXPECT_EQ(texts, row.texts) << row.x;
  }
}

TEST(Recalculation, ATypedCellStaysAndABadFormulaDisturbsNothing) {
  const Notebook notebook = TwoTables({{"A", "("}, {"B", "2"}, {"D", "[B] & \"!\""}}, {});
  Cell(notebook, u"T", u"B", 1).Enter(u"0.0250 g");
  Cell(notebook, u"T", u"D", 2).Enter(u"mine");
  Cell(notebook, u"T", u"A", 2).Enter(u"12 mg");
  RecalculateForm(*notebook.forms[0], 8);
  std::string texts;
  for (std::size_t row = 0; row < 3; ++row) {
    for (const char16_t* column : {u"A", u"B", u"D"})
      texts += ToUtf8(Cell(notebook, u"T", column, row).Text()) + "|";
  }
  const std::string error = "#Error: the specified formula has an unbalanced left parenthesis|";
  EXPECT_EQ(texts, error + "2000000 mg|2000000 mg!|" + error + "0.0250 g|0.0250 g!|" +
                       "12 mg|2000000 mg|mine|");
}

// Gives its table a listener in front of all others when it is notified first.
class AddingListener final : public ktformula::FieldListener {
 public:
  AddingListener(NotebookTable& table, Ref<ktformula::IKtFieldListener> added)
      : FieldListener(u"AddingListener"), table_(table), added_(std::move(added)) {}
  ~AddingListener() override { Terminate(); }

  int notified = 0;

  std::u16string TypeName() const override { return u"AddingListener"; }
  void EditProperties() override {}
  void TableNotification(ktformula::NotificationSource&, ktformula::HostObject*) override {
    if (++notified == 1) table_.AddListener(added_);
  }

 private:
  NotebookTable& table_;
  Ref<ktformula::IKtFieldListener> added_;
};

// It is notified from the next round on, and the others are not notified twice.
TEST(Recalculation, AListenerMayBeAddedWhileOthersAreNotified) {
  const Notebook notebook = TwoTables({{"C", "1"}}, {});
  NotebookTable& table = *notebook.forms[0]->FindTable(u"T");
  const Ref<ktformula::IKtFieldListener> added =
      notebook.framework->NeedListener(ktformula::kFormulaListenerIdentifier);
  added->Initialize(notebook.framework, notebook.forms[0]->OwnerOf(table.OwnField()), nullptr);
  added->SetPosition(-2);
  dynamic_cast<ktformula::IKtFormulaListener&>(*added).SetPropertyFormula(10, u"[C]*2", u"0");
  const auto adding = ktformula::MakeRef<AddingListener>(table, added);
  adding->SetPosition(-1);
  table.AddListener(adding);
  EXPECT_EQ(RecalculateForm(*notebook.forms[0], 8).rounds, 3);
  EXPECT_EQ(ToUtf8(Cell(notebook, u"T", u"A").Text()), "2000 g");
  EXPECT_EQ(adding->notified, 3);
}

// The cells as JSON, without the count of rounds.
std::string CellsOf(const Notebook& notebook) {
  std::ostringstream out;
  WriteFormsJson({{notebook.forms[0].get(), {}}}, out);
  return out.str();
}

// In the middle of the only cell that is computed, which has to look at each row on its own.
TEST(Recalculation, GoesOnAfterAnInterruptedOne) {
  struct Stop {};
  const auto one_cell = [] {
    std::string csv = "n,x\n";
    for (int row = 1; row < 300; ++row)
      csv += std::to_string(row) + ",1\n";
    return ReadCsvNotebook(csv + "300,\n", "t.csv", u"t",
                           {{{u"x", u"SUM(1/([n]-[n]),[t])"}}, {}, {}, {}});
  };
  const Notebook interrupted = one_cell();
  NotebookForm& form = *interrupted.forms[0];
  form.Log().on_progress = [](std::uint64_t) { throw Stop(); };
  EXPECT_THROW(RecalculateForm(form, 8), Stop);
  EXPECT_EQ(form.Log().finished, 0U);
  form.Log().on_progress = nullptr;
  RecalculateForm(form, 8);
  const Notebook anew = one_cell();
  RecalculateForm(*anew.forms[0], 8);
  EXPECT_EQ(CellsOf(interrupted), CellsOf(anew));
}

// The limits of one recalculation, such as one that a host's function began, are not the next
// one's.
TEST(Recalculation, ComputesAgainWhatWasRefused) {
  for (const Promises& promises : {Promises{}, Promises{false, false, false}}) {
    const Notebook notebook = TwoTables({{"A", "[C]*2"}, {"B", "SUM([C])"}}, {});
    NotebookForm& form = *notebook.forms[0];
    form.Given() = promises;
    for (const std::u16string_view text : {u"1", u"2"}) {
      Cell(notebook, u"T", u"C").Enter(text);
      RecalculateForm(form, 8);
      const std::string shown = CellsOf(notebook);
      const char end = 0;
      ktformula::SetEvaluationStackEnd(&end);
      RecalculateForm(form, 8);
      ktformula::SetEvaluationStackEnd(nullptr);
      for (const std::u16string_view column : {u"A", u"B"}) {
        EXPECT_EQ(Cell(notebook, u"T", column).Text(), u"#Error: the formula is nested too deeply");
      }
      RecalculateForm(form, 8);
      EXPECT_EQ(CellsOf(notebook), shown);
    }
  }
}

TEST(Recalculation, PromisesMayBeWithdrawn) {
  const Notebook notebook =
      TwoTables({{"A", "[C]/SUM([C])"}, {"B", "SELECT([C], [T], [C]=[this:parent:C])"}}, {});
  const Notebook asked =
      TwoTables({{"A", "[C]/SUM([C])"}, {"B", "SELECT([C], [T], [C]=[this:parent:C])"}}, {});
  asked.forms[0]->Given() = {false, false, false};
  for (int step = 0; step < 16; ++step) {
    notebook.forms[0]->Given() = {step % 4 != 0, step % 3 != 0, step % 2 != 0};
    for (const Notebook* each : {&notebook, &asked}) {
      Cell(*each, u"T", u"C", static_cast<std::size_t>(step % 3))
          .Enter(ktformula::NumberToText(step + 1));
      RecalculateForm(*each->forms[0], 8);
    }
    EXPECT_EQ(CellsOf(notebook), CellsOf(asked)) << step;
  }
}

// A result format of the host that enters a number into the next row's C with each one it shows.
class EnteringFormat final : public ktformula::FieldListener, public ktformula::IKtFormulaFormat {
 public:
  EnteringFormat() : FieldListener(u"EnteringFormat") {}
  ~EnteringFormat() override { Terminate(); }
  std::u16string TypeName() const override { return u"EnteringFormat"; }
  void EditProperties() override {}
  void TableNotification(ktformula::NotificationSource&, ktformula::HostObject*) override {}
  void SetGridCellValue(ktformula::GridControl& control, ktformula::TableCell& cell, double value,
                        std::u16string_view, std::int16_t,
                        const ktformula::ExaminedUnitsMap&) override {
    control.WriteText(cell, ktformula::NumberToText(value), true);
    const NotebookCell& own = static_cast<CellObject&>(cell).Cell();
    const NotebookRows rows = own.OwningColumn().Parent().Rows();
    if (own.RowIndex() + 1 < rows.size()) {
      rows[own.RowIndex() + 1].CellAt(2).Enter(ktformula::NumberToText(value + 1));
    }
  }
};

TEST(Recalculation, AFormatOfTheHostMayChangeWhatRowsRead) {
  std::vector<std::string> shown;
  for (const Promises& promises : {Promises{}, Promises{false, false, false}}) {
    const Notebook notebook = TwoTables({{"A", "[C]*2"}}, {});
    NotebookForm& form = *notebook.forms[0];
    form.Given() = promises;
    auto& listener =
        dynamic_cast<ktformula::IKtFormulaListener&>(*form.FindTable(u"T")->Listeners().front());
    listener.SetResultFormat(u"Entering");
    Cell(notebook, u"T", u"C").Enter(u"1");
    NotebookFramework::UseClasses(
        [](std::u16string_view) { return ktformula::MakeRef<EnteringFormat>(); });
    RecalculateForm(form, 1);
    NotebookFramework::UseClasses({});
    shown.push_back(CellsOf(notebook));
  }
  EXPECT_EQ(shown.front(), shown.back());
}

// The oracle: the same form from its file, computed cells emptied, calculated from nothing.
std::string FromScratch(const Notebook& notebook) {
  const Notebook fresh = ReadNotebook(WriteNotebook(notebook.forms), "n.xml");
  for (const NotebookTable* table : fresh.forms[0]->Tables()) {
    for (const NotebookRow row : table->Rows()) {
      for (const Ref<NotebookColumn>& column : table->Columns()) {
        const NotebookCell cell = row.CellAt(column->Index());
        if (table->HasFormula(*column) && cell.State().empty()) cell.SetContent(ContentView{});
      }
    }
  }
  EXPECT_TRUE(RecalculateForm(*fresh.forms[0], 20).settled);
  return CellsOf(fresh);
}

TEST(Recalculation, EditsLeaveWhatACalculationFromScratchGives) {
  const std::vector<std::vector<std::string>> formulas{
      {"[B]*2", "[U:B:2]+[B]", "([B] & \"x\") & [C]", "7/[C]", "1 .. 2"},
      {"[C]+1", "[C]/[U:A:1]", "\"n\" & [C]", "[C]+[D]", "("},
      {"[T:C:1]*3", "[T:C:3]-[T:C:2]", "[C]", "[C]*[C]"},
      {"[T:D:2] & \"!\"", "[C] & \";\" & [B]", "[B]>[C]", "2"}};
  const std::vector<std::u16string> texts{u"",         u"1",    u"0.0250 g",   u"12 mg",
                                          u"3 .. 4 g", u"n.d.", u"5 kg",       u"0",
                                          u"-7.50 mg", u"1 ml", u"2 \u00B1 1", u"1E300"};
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    const auto pick = [&random](const auto& from) { return from[random() % from.size()]; };
    const std::shared_ptr<Database> database = OpenDatabase(":memory:", true);
    const NotebookStore store(database, true);
    Notebook first =
        TwoTables({{"A", pick(formulas[0])}, {"B", pick(formulas[1])}},
                  {{"A", pick(formulas[2])}, {"B", pick(formulas[2])}, {"D", pick(formulas[3])}});
    store.Add(first, *first.forms[0]);
    for (int edit = 0; edit < 8; ++edit) {
      const Notebook notebook = store.Load(u"F");
      NotebookForm& form = *notebook.forms[0];
      form.Log().keep_cells = true;
      const NotebookTable& table = *form.Tables()[random() % 2];
      const NotebookCell cell = table.Rows()[random() % 3].CellAt(random() % 4);
      cell.Enter(pick(texts));
      ASSERT_TRUE(RecalculateForm(form, 8, &table).settled) << "seed " << seed;
      store.SaveRecalculated(form, form.Log().cells);
      store.SaveRecalculated(form, std::array{cell});
    }
    const Notebook stored = store.Load(u"F");
    const std::string cells = CellsOf(stored);
    EXPECT_EQ(cells, FromScratch(stored)) << "seed " << seed;
    EXPECT_EQ(RecalculateForm(*stored.forms[0], 8).rounds, 1) << "seed " << seed;
    EXPECT_EQ(CellsOf(stored), cells) << "seed " << seed;
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace ktnotebook
