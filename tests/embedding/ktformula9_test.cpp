#include "notebook/tables/ktformula9.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <vector>

namespace ktformula9 {
namespace {

using Numbers = std::vector<double>;
using Texts = std::vector<std::string>;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// Three columns, of which the last is computed, and two rows.
struct Reactants {
  Reactants() {
    table.AddColumn("Mass", {.unit = "g"});
    table.AddColumn("MW", {.unit = "g/mol"});
    table.AddColumn("Moles", {.unit = "mmol", .formula = "[Mass]/[MW]"});
    table.AddRow({"1.22", "122.12"});
    table.AddRow({"0.500 .. 0.600", "100.0 g/mol"}, "B");
  }

  Texts All(std::string_view column) const { return table.At(column).Texts(); }

  Notebook notebook{"Amide"};
  Table table = notebook.AddTable("Reactants");
};

std::string Show(const std::vector<CellsOfColumn>& changed) {
  std::string text;
  for (const CellsOfColumn& cells : changed) {
    text += cells.table + ":" + cells.column;
    for (const std::size_t row : cells.rows)
      text += " " + std::to_string(row);
    text += ";";
  }
  return text;
}

TEST(Embedding, ComputesWhatIsNotTypedAndTellsWhatChanged) {
  Reactants reactants;
  const Recalculation first = reactants.notebook.Recalculate();
  EXPECT_TRUE(first.settled);
  EXPECT_EQ(Show(first.changed), "Reactants:Moles 0 1;");
  EXPECT_EQ(reactants.All("Moles"), (Texts{"9.99 mmol", "5.00 mmol"}));
  reactants.table.At("Mass").Set(0, 2.44);
  EXPECT_EQ(Show(reactants.notebook.Recalculate().changed), "Reactants:Moles 0;");
  EXPECT_EQ(Show(reactants.notebook.Recalculate().changed), "");
  reactants.table.At("Moles").Set(1, "7 mmol");
  EXPECT_EQ(Show(reactants.notebook.Recalculate().changed), "Reactants:Moles 0;");
  EXPECT_EQ(reactants.All("Moles"), (Texts{"20 mmol", "7 mmol"}));
}

TEST(Embedding, TellsNumbersInTheUnitOfTheColumn) {
  Reactants reactants;
  reactants.notebook.Recalculate();
  const Column mass = reactants.table.At("Mass");
  EXPECT_EQ(mass.MinNumbers(), (Numbers{1.22, 0.5}));
  EXPECT_EQ(mass.MaxNumbers(), (Numbers{1.22, 0.6}));
  const Cell moles = reactants.table.At("Moles").At(1);
  EXPECT_DOUBLE_EQ(moles.min, 5);
  EXPECT_EQ(moles.unit, "mmol");
  EXPECT_EQ(mass.Evaluate(1, "[Mass]*2").Min(), 0.001);
  EXPECT_EQ(mass.Evaluate(1, "[Mass]*2").Max(), 0.0012);
}

TEST(Embedding, TellsWhereContentComesFrom) {
  Notebook notebook;
  Table table = notebook.AddTable("T");
  table.AddColumn("Name", {.type = Type::kString});
  table.AddColumn("a");
  table.AddColumn("b", {.formula = "1/[a]"});
  table.AddRow({"first", "0"});
  table.AddRow({"", "4", "5"});
  table.AddRow();
  notebook.Recalculate();
  using Origins = std::vector<Origin>;
  EXPECT_EQ(table.At("Name").Origins(), (Origins{Origin::kNoted, Origin::kEmpty, Origin::kEmpty}));
  EXPECT_EQ(table.At("a").Origins(), (Origins{Origin::kTyped, Origin::kTyped, Origin::kEmpty}));
  EXPECT_EQ(table.At("b").Origins(),
            (Origins{Origin::kComputed, Origin::kTyped, Origin::kComputed}));
  EXPECT_EQ(table.At("b").At(0).error, "Division by zero");
  EXPECT_TRUE(std::isnan(table.At("b").At(0).min));
  EXPECT_EQ(table.At("b").At(1).error, std::nullopt);
}

TEST(Embedding, TakesManyNumbersAtOnce) {
  Notebook notebook("N", "de_DE");
  Table table = notebook.AddTable("T");
  Column a = table.AddColumn("a", {.unit = "mg"});
  Column b = table.AddColumn("b", {.unit = "mg", .formula = "[a]*2"});
  table.AddRows(4);
  a.SetRanges(Numbers{0.1 + 0.2, 1, kNan, 1e300}, Numbers{0.1 + 0.2, 2.5, 1, 1e300});
  EXPECT_EQ(a.Texts(), (Texts{"0,30000000000000004", "1 .. 2,5", "nan", "1e+300"}));
  notebook.Recalculate();
  EXPECT_EQ(b.At(1).min, 2);
  EXPECT_EQ(b.At(2).error, "the value \"nan\" is not a number");
  // It is no quantity of one digit.
  EXPECT_EQ(a.At(2).origin, Origin::kNoted);
  a.SetNumbers(Numbers{kNan, 3}, 2, "");
  EXPECT_EQ(a.Texts(), (Texts{"0,30000000000000004", "1 .. 2,5", "", "3"}));
  const std::vector<std::string_view> texts{"1 g", "n.d."};
  a.SetTexts(texts);
  EXPECT_EQ(a.MinNumbers()[0], 1000);
  EXPECT_EQ(a.Texts(), (Texts{"1 g", "n.d.", "", "3"}));
  ASSERT_TRUE(notebook.Undo());
  ASSERT_TRUE(notebook.Undo());
  EXPECT_EQ(a.Texts()[3], "1e+300");
  ASSERT_TRUE(notebook.Redo());
  ASSERT_TRUE(notebook.Redo());
  EXPECT_EQ(a.Texts(), (Texts{"1 g", "n.d.", "", "3"}));
}

TEST(Embedding, CallsFunctionsOfTheProgram) {
  Reactants reactants;
  int calls = 0;
  const auto half = [&calls](std::span<const Value> values) {
    ++calls;
    return Value::OfRange(values[0].Min() / 2, values[0].Max() / 2);
  };
  reactants.notebook.AddFunction({.name = "Half", .least = 1, .most = 1, .compute = half});
  reactants.notebook.AddFunction(
      {.name = "PURE", .least = 1, .most = 2, .compute = half, .is_pure = true});
  reactants.notebook.AddFunction({.name = "FAIL", .compute = [](auto) -> Value {
                                    throw std::runtime_error("no \xC3\xA4ther");
                                  }});
  reactants.notebook.AddFunction(
      {.name = "REVERSED", .compute = [](auto) { return Value::OfRange(5, 1); }});
  reactants.notebook.AddFunction({.name = "Kind",
                                  .compute =
                                      [](std::span<const Value> values) {
                                        return Value::OfText(values[0].What() == Value::Kind::kError
                                                                 ? "error"
                                                                 : values[0].Text());
                                      },
                                  .takes_errors = true});
  struct Case {
    std::string formula;
    std::string shows;
  };
  const Column moles = reactants.table.At("Moles");
  for (const Case& each :
       {Case{"half([Mass])", "0.00061"},
        {"HALF(half([Mass]))+1", "1.000305"},
        {"SUM(HALF([Mass]), [Reactants])", "0.00086 .. 0.00091"},
        {"HALF(1/0)", "Division by zero"},
        {"ONERROR(FAIL(), 7)", "7"},
        {"FAIL(1)", "no \xC3\xA4ther"},
        {"Kind(1/0)", "error"},
        {"Kind(\"n.d.\")", "n.d."},
        {"HALF(1, 2)", "the number of arguments for HALF function (2) is not 1"},
        {"PURE()", "the number of arguments for PURE function (0) is not 1 to 2"},
        {"REVERSED()", "the lower bound of a range is above the upper one"}}) {
    std::string shown;
    try {
      shown = moles.Evaluate(0, each.formula).Text();
    } catch (const Error& error) {
      EXPECT_EQ(error.Reason(), Error::Kind::kFormula);
      shown = error.what();
    }
    EXPECT_EQ(shown, each.shows) << each.formula;
  }
  // A pure function is called for rows that changed, any other for each in each round.
  Column column =
      reactants.table.AddColumn("h", {.formula = "HALF([Mass])", .is_formatted = false});
  const auto calls_of_next = [&] {
    calls = 0;
    const int rounds = reactants.notebook.Recalculate().rounds;
    return std::pair(calls, rounds);
  };
  reactants.notebook.Recalculate();
  EXPECT_EQ(calls_of_next(), std::pair(2, 1));
  column.SetFormula("PURE([Mass])");
  reactants.notebook.Recalculate();
  EXPECT_EQ(calls_of_next(), std::pair(0, 1));
  reactants.table.At("Mass").Set(1, "3");
  EXPECT_EQ(calls_of_next(), std::pair(1, 2));
}

TEST(Embedding, FunctionsCanNotChangeTheirNotebook) {
  Reactants reactants;
  reactants.notebook.AddFunction({.name = "EDIT", .compute = [&](auto) {
                                    reactants.table.At("Mass").Set(0, "7");
                                    return Value::OfNumber(1);
                                  }});
  Column column = reactants.table.AddColumn("e", {.formula = "EDIT()"});
  reactants.notebook.Recalculate();
  EXPECT_EQ(column.At(0).error,
            "a function that a formula calls can not edit or recalculate its notebook");
  EXPECT_EQ(reactants.table.At("Mass").At(0).text, "1.22");
  reactants.table.At("Mass").Set(0, "8");
}

TEST(Embedding, FindsProblemsWithTheirPlacesInBytes) {
  Reactants reactants;
  reactants.table.AddColumn("x", {.formula = "\"\xC2\xB5\" & [Masss]"});
  reactants.notebook.AddFunction(
      {.name = "FAIL", .compute = [](auto) -> Value { throw std::runtime_error("no"); }});
  reactants.table.AddColumn("y", {.formula = "FAIL()"});
  std::vector<Problem> problems = reactants.notebook.Check();
  std::erase_if(problems, [](const Problem& each) { return each.severity != Severity::kError; });
  ASSERT_EQ(problems.size(), 2U);
  EXPECT_EQ(problems[0].code, "unknown-name");
  EXPECT_EQ(problems[0].table, "Reactants");
  EXPECT_EQ(problems[0].column, "x");
  EXPECT_EQ(problems[0].formula.substr(*problems[0].start, *problems[0].length), "[Masss]");
  EXPECT_EQ(problems[0].help, "did you mean [Mass]?");
  EXPECT_EQ(problems[1].code, "failing");
  EXPECT_EQ(problems[1].message, "no");
  EXPECT_EQ(problems[1].rows, 2U);
}

TEST(Embedding, ExplainsCells) {
  Reactants reactants;
  reactants.notebook.Recalculate();
  const Explanation told = reactants.notebook.Explain("Reactants:Moles:B");
  EXPECT_EQ(told.text, "5.00 mmol");
  EXPECT_EQ(told.origin, "computed");
  ASSERT_EQ(told.steps.size(), 2U);
  EXPECT_EQ(told.steps[0].cell, "Reactants:Mass:B");
  EXPECT_EQ(told.steps[0].origin, "typed");
  EXPECT_EQ(told.steps[0].value.Max(), 0.0006);
  EXPECT_EQ(told.digits_from, "Reactants:Mass:1");
  EXPECT_NE(told.story.find("\n  [Mass] is 0.500 .. 0.600 g, typed into Reactants:Mass:B\n"),
            std::string::npos)
      << told.story;
}

TEST(Embedding, RefusesWhatCanNotBeDone) {
  Reactants reactants;
  Notebook& notebook = reactants.notebook;
  Table& table = reactants.table;
  table.AddColumn("Done", {.type = Type::kBoolean});
  table.AddColumn("Sum", {.formula = "SUM([Reactants:Mass])"});
  Column mass = table.At("Mass");
  const std::vector<std::string_view> texts{"1", "2", "3"};
  using Kind = Error::Kind;
  struct Case {
    Kind kind;
    std::string argument;
    std::function<void()> call;
  };
  const std::vector<Case> cases{
      {Kind::kArgument, "name", [&] { notebook.AddTable("\xFF"); }},
      {Kind::kRefused, "name", [&] { notebook.AddTable("Reactants"); }},
      {Kind::kRefused, "name", [&] { notebook.AddTable(""); }},
      {Kind::kNotFound, "table", [&] { notebook.At("reactants"); }},
      {Kind::kNotFound, "column", [&] { table.At("Volume"); }},
      {Kind::kArgument, "unit", [&] { table.AddColumn("V", {.unit = "stone"}); }},
      {Kind::kArgument, "unit", [&] { table.AddColumn("V", {.type = Type::kDate, .unit = "g"}); }},
      {Kind::kRefused, "name", [&] { table.AddColumn("Mass", {.formula = "1"}); }},
      {Kind::kArgument, "formula", [&] { table.AddColumn("V", {.formula = "\xC0\x80"}); }},
      {Kind::kNotFound, "row", [&] { mass.Set(2, "1"); }},
      {Kind::kNotFound, "row", [&] { mass.At(static_cast<std::size_t>(-1)); }},
      {Kind::kArgument, "text", [&] { table.At("Done").Set(0, "perhaps"); }},
      {Kind::kArgument, "texts",
       [&] {
         table.AddRow({"", "", "", "perhaps"});
       }},
      {Kind::kArgument, "texts",
       [&] {
         table.AddRow({"", "", "", "", "", "1"});
       }},
      {Kind::kRefused, "id", [&] { table.AddRow({}, "B"); }},
      {Kind::kNotFound, "first", [&] { mass.SetTexts(texts); }},
      {Kind::kNotFound, "first", [&] { mass.SetNumbers({}, static_cast<std::size_t>(-1)); }},
      {Kind::kArgument, "max", [&] { mass.SetRanges(Numbers{1}, Numbers{}); }},
      {Kind::kRefused, "name", [&] { mass.Rename("a:b"); }},
      {Kind::kFormula, "formula", [&] { mass.Evaluate(0, "1/0"); }},
      {Kind::kNotFound, "cell", [&] { notebook.Explain("Reactants:Mass:9"); }},
      {Kind::kNotFound, "identifier", [&] { table.SetResultFormat("Best"); }},
      {Kind::kArgument, "locale", [&] { Notebook("N", "Klingon"); }},
      {Kind::kArgument, "name", [&] { notebook.AddFunction({.name = "1A", .compute = {}}); }},
      {Kind::kArgument, "compute", [&] { notebook.AddFunction({.name = "F", .compute = {}}); }},
      {Kind::kArgument, "help",
       [&] {
         notebook.AddFunction(
             {.name = "F", .help = "\xFF", .compute = [](auto) { return Value(); }});
       }},
      {Kind::kArgument, "number", [&] { table.At("Done").Set(0, kNan); }},
      {Kind::kArgument, "numbers",
       [&] { table.At("Done").SetNumbers(Numbers{std::numeric_limits<double>::infinity()}); }},
      {Kind::kRefused, "name",
       [&] { notebook.AddFunction({.name = "sum", .compute = [](auto) { return Value(); }}); }},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    try {
      cases[i].call();
      ADD_FAILURE() << "case " << i << " is not refused";
    } catch (const Error& error) {
      EXPECT_EQ(error.Reason(), cases[i].kind) << i << ": " << error.what();
      EXPECT_EQ(error.Argument(), cases[i].argument) << i << ": " << error.what();
    }
  }
  EXPECT_EQ(table.RowCount(), 2U);
  EXPECT_EQ(table.Columns().size(), 5U);
}

TEST(Embedding, HandlesOutliveTheirNotebookAndComeBackWithUndo) {
  std::optional<Table> table;
  std::optional<Column> mass;
  {
    Reactants reactants;
    table = reactants.table;
    mass = reactants.table.At("Mass");
    mass->Remove();
    EXPECT_THROW(mass->Name(), Error);
    table->Remove();
    EXPECT_THROW(table->RowCount(), Error);
    ASSERT_TRUE(reactants.notebook.Undo());
    ASSERT_TRUE(reactants.notebook.Undo());
  }
  EXPECT_EQ(mass->At(0).text, "1.22");
  table->Rename("R");
  EXPECT_EQ(table->Name(), "R");
}

TEST(Embedding, ARunningCallOutlivesItsHandles) {
  auto notebook = std::make_unique<Notebook>();
  notebook->AddTable("T").AddColumn("a", {.formula = "END()"});
  notebook->At("T").AddRows(1);
  notebook->AddFunction({.name = "END", .compute = [&](auto) {
                           notebook.reset();
                           return Value::OfNumber(1);
                         }});
  EXPECT_EQ(notebook->Recalculate(1).changed.size(), 1U);
}

TEST(Embedding, RowsComeAndGo) {
  Notebook notebook;
  Table table = notebook.AddTable("T");
  Column a = table.AddColumn("a", {.unit = "°C"});
  const auto ids = [&] {
    std::string text;
    for (std::size_t row = 0; row < table.RowCount(); ++row)
      text += table.RowId(row) + " ";
    return text;
  };
  table.AddRows(3);
  table.RenameRow(1, "B");
  table.RemoveRow(0);
  table.AddRow({"20"});
  table.AddRows(1);
  EXPECT_EQ(ids(), "B 3 4 5 ");
  table.MoveRow(3, 0);
  EXPECT_EQ(ids(), "5 B 3 4 ");
  EXPECT_EQ(a.MinNumbers(), (Numbers{0, 0, 0, a.At(3).min}));
  EXPECT_EQ(a.At(0).max, 0);
  a.SetNumbers(Numbers{1, 2}, 1);
  a.Set(0, "n.d.");
  EXPECT_EQ(a.Texts(), (Texts{"n.d.", "1", "2", "20"}));
  // Rows that are taken back leave no id.
  for (int step = 0; step < 6; ++step)
    ASSERT_TRUE(notebook.Undo());
  EXPECT_EQ(ids(), "1 B 3 ");
  EXPECT_EQ(table.FindRow("5"), std::nullopt);
  while (notebook.Redo())
    continue;
  EXPECT_EQ(ids(), "5 B 3 4 ");
  EXPECT_EQ(a.Texts(), (Texts{"n.d.", "1", "2", "20"}));
}

TEST(Embedding, AFormulaThatGoesAgainTakesWhatWasComputedMeanwhile) {
  Reactants reactants;
  Column moles = reactants.table.At("Moles");
  moles.SetFormula("");
  ASSERT_TRUE(reactants.notebook.Undo());
  reactants.notebook.Recalculate();
  ASSERT_TRUE(reactants.notebook.Redo());
  EXPECT_EQ(moles.Texts(), (Texts{"", ""}));
}

TEST(Embedding, EachEditIsOneStepOfUndo) {
  Reactants reactants;
  Notebook& notebook = reactants.notebook;
  reactants.table.AddColumn("Sum", {.unit = "g", .formula = "SUM([Mass])"});
  reactants.table.SetDefinition("total", "SUM([Moles])");
  reactants.table.At("Mass").Rename("m");
  EXPECT_EQ(reactants.table.At("Sum").Formula(), "SUM([m])");
  EXPECT_EQ(reactants.table.Definition("total"), "SUM([Moles])");
  int steps = 0;
  while (notebook.Undo())
    ++steps;
  // A table, three columns, two rows, a column with its formula, a definition, a rename.
  EXPECT_EQ(steps, 9);
  EXPECT_TRUE(notebook.Tables().empty());
  while (notebook.Redo())
    continue;
  notebook.Recalculate();
  EXPECT_EQ(reactants.table.At("Sum").At(0).text, "1.72 g");
  notebook.ForgetHistory();
  EXPECT_FALSE(notebook.Undo());
}

}  // namespace
}  // namespace ktformula9
