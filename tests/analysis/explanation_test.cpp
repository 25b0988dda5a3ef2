// Explanations: the steps of a formula, what decides on digits and units, where errors come from.
#include "analysis/explanation.h"

#include <gtest/gtest.h>
#include <utility>

#include "functions/function_table.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "test_host/utf8.h"
#include "values/describe.h"

namespace ktformula {
namespace {

// "Mass:r1".
std::string NameOf(const TableCell& cell) {
  const auto& own = static_cast<const TestCell&>(cell);
  return ToUtf8(own.column.property->name + u":" + own.row.Tag(u"ID"));
}

std::string Described(const ExplainedValue& value) {
  return value.raised ? "raised" : Describe(value.value);
}

// "[Mass]=0.001 typed Mass:r1", the steps below in braces and how many rows more there are.
std::string Described(const std::vector<ExplainedStep>& steps) {
  std::string text;
  for (const ExplainedStep& step : steps) {
    text += (text.empty() ? "" : ", ") + ToUtf8(step.source);
    if (step.value) text += "=" + Described(*step.value);
    text += " " + ToUtf8(OriginText(step.origin));
    if (step.cell) text += " " + NameOf(*step.cell);
    if (step.is_circular) text += " again";
    if (!step.steps.empty()) text += " {" + Described(step.steps) + "}";
    if (step.more_rows > 0) text += " +" + std::to_string(step.more_rows);
  }
  return text;
}

// A form whose table T is computed by one listener. Its host promises nothing.
class ExplanationTest : public testing::Test {
 protected:
  void Load(const std::string& notation) {
    if (listener) listener->Terminate();
    form = MakeRef<TestForm>(notation);
    listener = MakeRef<FormulaListener>(StandardFunctions());
    listener->Initialize(framework, form->OwnerOf(u"T"), nullptr);
  }
  ~ExplanationTest() override { listener->Terminate(); }

  void SetFormula(std::u16string_view column, std::u16string_view formula,
                  std::u16string_view format = u"") {
    const std::int32_t key = form->TableOf(u"T").FindColumn(column)->property->key;
    listener->SetPropertyFormula(key, formula, format);
  }

  // Of the cell in the first row, after a recalculation.
  Explanation Explain(std::u16string_view column, int depth = kDefaultExplanationDepth) {
    listener->TableNotification(*form->Notification(), nullptr);
    WatchedForm watched;
    watched.owner = form->OwnerOf(u"T");
    watched.units = form->units;
    watched.tables.push_back({u"T", Ref<Table>(&form->TableOf(u"T")), {listener}});
    return ExplainCell(watched, form->TableOf(u"T").CellAt(column, 1), depth);
  }

  Ref<TestFramework> framework = MakeRef<TestFramework>();
  Ref<TestForm> form;
  Ref<FormulaListener> listener;
};

TEST_F(ExplanationTest, StepsAreWhatWasEvaluatedInItsOrder) {
  Load(R"(table T
    1 Name string | 2 Mass number g | 3 Flag Boolean | 4 Y number | 5 Z number | 6 X number
    noted salt    | entered 1 g     | noted true     |            |            |
    noted water   | entered 2 g     | noted false    |            |            |
                  | entered 3 g     | noted true     |            |            |
                  | entered 4 g     | noted true     |            |            |
                  |                 | noted true     |            |            |)");
  SetFormula(u"Y", u"[Mass]*2");
  SetFormula(u"Z", u"[Y]+[two]");
  listener->SetDefinition(u"two", u"1+1");
  const struct {
    std::u16string_view formula;
    std::string steps;
    int depth = kDefaultExplanationDepth;
  } rows[] = {
      {u"2+3*([Mass]+1)", "2=2 constant, 3=3 constant, [Mass]=0.001 typed Mass:r1, 1=1 constant"},
      {u"-[Mass]", "[Mass]=0.001 typed Mass:r1"},
      {u"[Flag] AND (NOT [Flag])", "[Flag]=true noted Flag:r1, [Flag]=true noted Flag:r1"},
      {u"[T:Mass:r5]", "[T:Mass:r5]=0 empty Mass:r5"},
      // A computed cell has its formula's steps below it, a definition its own.
      {u"[Z]",
       "[Z]=2.002 computed Z:r1 {[Y]=0.002 computed Y:r1 {[Mass]=0.001 typed Mass:r1, "
       "2=2 constant}, [two]=2 definition {1=1 constant, 1=1 constant}}"},
      {u"[Z]", "[Z]=2.002 computed Z:r1 {[Y]=0.002 computed Y:r1, [two]=2 definition}", 2},
      {u"[Z]", "[Z]=2.002 computed Z:r1", 1},
      {u"[two]-[two]",
       "[two]=2 definition {1=1 constant, 1=1 constant}, "
       "[two]=2 definition {1=1 constant, 1=1 constant}"},
      // What a call evaluates is below it.
      {u"IF([Flag],[Mass],[Y])",
       "IF([Flag],[Mass],[Y])=0.001 computed {[Flag]=true noted Flag:r1, "
       "[Mass]=0.001 typed Mass:r1}"},
      {u"ONERROR(1/(0),5)",
       "ONERROR(1/(0),5)=5 computed {1=1 constant, 0=0 constant, 5=5 constant}"},
      {u"ISENTERED([Mass])", "ISENTERED([Mass])=true computed {[Mass] typed Mass:r1}"},
      // Of many rows the first ones that count.
      {u"SUM([Mass])",
       "SUM([Mass])=0.01 computed {[Mass] column {[Mass]=0.001 typed Mass:r1, "
       "[Mass]=0.002 typed Mass:r2, [Mass]=0.003 typed Mass:r3} +2}"},
      {u"SUM([Mass],[T],[Flag])",
       "SUM([Mass],[T],[Flag])=0.008 computed {[Flag]=true noted Flag:r1, "
       "[Mass]=0.001 typed Mass:r1, [Flag]=true noted Flag:r3, [Mass]=0.003 typed Mass:r3, "
       "[Flag]=true noted Flag:r4, [Mass]=0.004 typed Mass:r4} +1"},
      {u"COUNT([T],[Mass]>0.002)",
       "COUNT([T],[Mass]>0.002)=2 computed {[Mass]=0.003 typed Mass:r3, 0.002=0.002 constant, "
       "[Mass]=0.004 typed Mass:r4, 0.002=0.002 constant}"},
      {u"SELECT([Mass],[T],[Name]='water')",
       "SELECT([Mass],[T],[Name]='water')=0.002 computed {[Name]='water noted Name:r2, "
       "'water'='water constant, [Mass]=0.002 typed Mass:r2}"},
      {u"SUM([Y],[T])", "SUM([Y],[T])=0.02 computed", 1},
      // Up to what raises.
      {u"[Mass]+[nothing]+[Y]", "[Mass]=0.001 typed Mass:r1, [nothing]=raised "},
      {u"[X]+1", "[X]=0 computed X:r1 again, 1=1 constant"},
      {u"(1", ""},
  };
  for (const auto& row : rows) {
    form->TableOf(u"T").CellAt(u"X", 1).Type(u"");
    SetFormula(u"X", row.formula);
    const Explanation explanation = Explain(u"X", row.depth);
    EXPECT_EQ(explanation.formula, row.formula);
    std::string steps = Described(explanation.steps);
    // What is at hand once more would count up with each recalculation.
    if (row.formula == u"[X]+1") steps.replace(steps.find("=1 c"), 4, "=0 c");
    EXPECT_EQ(steps, row.steps) << ToUtf8(row.formula);
  }
}

TEST_F(ExplanationTest, NamesTheCellsThatDecideOnDigitsAndUnits) {
  const std::string columns =
      "table T\n 1 A number g | 2 B number g | 3 X number mmol formatted | 4 P number formatted\n";
  const struct {
    std::string cells;
    std::u16string_view formula;
    std::u16string_view format;
    std::string shown;
  } rows[] = {
      {"entered 1.25 g | entered 1.2 g | | |", u"0.001", u"", "0.0, 2 by B:r1, mmol by A:r1"},
      // The first one of the fewest, by rows; the first one of a quantity, by columns.
      {"entered 1.25 g | entered 1.20 mg | |\n entered 1.30 mg | | |", u"0.001", u"",
       "0.00, 3 by A:r1, mmol by A:r1"},
      {"entered 1.255 g | entered 1.20 mg | |\n entered 1.30 mg | | |", u"0.001", u"",
       "0.00, 3 by B:r1, mmol by A:r1"},
      {"noted 1.2 g | | |", u"0.001", u"", "0.000, 4, mmol"},
      {"entered 1.2 g | | |", u"0.001", u"0.0000", "0.0000, mmol by A:r1"},
      {"entered 1.2 g | | |", u"0.125", u"%", "00%, 2 by A:r1"},
      {"entered 1.2 K | | |", u"0.001", u"", "0.0, 2 by A:r1, mmol"},
      // Nothing of what is no formatted number.
      {"entered 1.2 g | | |", u"'text'", u"", "-"},
      {"entered 1.2 g | | |", u"1/0", u"", "-"},
  };
  for (const auto& row : rows) {
    Load(columns + row.cells);
    const std::u16string_view column = row.format == u"%" ? u"P" : u"X";
    SetFormula(column, row.formula, row.format);
    const Explanation explanation = Explain(column);
    std::string shown = "-";
    if (explanation.shown) {
      const DisplayReasons& reasons = *explanation.shown;
      shown = ToUtf8(reasons.pattern);
      if (reasons.digits) shown += ", " + std::to_string(*reasons.digits);
      if (reasons.digits_from) shown += " by " + NameOf(*reasons.digits_from);
      if (!reasons.unit.empty()) shown += ", " + ToUtf8(reasons.unit);
      if (reasons.unit_from) shown += " by " + NameOf(*reasons.unit_from);
    }
    EXPECT_EQ(shown, row.shown) << row.cells << " " << ToUtf8(row.formula);
  }
}

TEST_F(ExplanationTest, FollowsErrorsToWhereTheyArose) {
  const struct {
    std::u16string_view a;
    std::u16string_view b;
    std::u16string_view x;
    std::string error;
  } rows[] = {
      {u"1/0", u"[A]+1", u"[B]", "Division by zero: A:r1"},
      {u"1/0", u"[A]", u"SUM([B],[T],TRUE)", "Division by zero: A:r1"},
      {u"1/0", u"[A]", u"MAX([B])", "Division by zero: A:r1"},
      {u"1/0", u"ONERROR([A]*1,0)", u"(1/[B])", "Division by zero: X:r1"},
      {u"[Typed]+1", u"[A]", u"[B]", "the value \"n.d.\" is not a number: A:r1"},
      {u"1", u"[A]", u"[B]", "-"},
  };
  for (const auto& row : rows) {
    Load("table T\n 1 A number | 2 B number | 3 X number | 4 Typed number\n | | | entered n.d.");
    SetFormula(u"A", row.a);
    SetFormula(u"B", row.b);
    SetFormula(u"X", row.x);
    const Explanation explanation = Explain(u"X");
    EXPECT_EQ(explanation.error
                  ? ToUtf8(explanation.error->description) + ": " + NameOf(*explanation.error->cell)
                  : "-",
              row.error)
        << ToUtf8(row.x);
  }
}

}  // namespace
}  // namespace ktformula
