// The functions of the formula language, called by formulas for a table's first cell.
#include <gtest/gtest.h>

#include "formula/evaluator.h"
#include "formula/fake_function.h"
#include "functions/function_table.h"
#include "functions/tag_functions.h"
#include "test_host/notebook.h"
#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

constexpr std::string_view kForm = R"(
    table T
      1 V number      | 2 P number | 3 Z number | 4 S string | 5 N number | 6 W number
      entered 3 +/- 1 |            |            | a          |            | 1
      2.5             | 7          |            |            | n.d.       | n.d.
      2               | 5          |            | true       |            | 3
    table U
      7 V number
    table Again
      8 New number)";

struct NoNames final : NamedValues {
  std::shared_ptr<CellValue> DefinedValue(std::u16string_view) override { return nullptr; }
};

class FunctionsTest : public ::testing::Test {
 protected:
  FunctionsTest() {
    functions.push_back({u"ROWTAG", [] { return std::make_unique<RowTagFunction>(); }});
    registry.RegisterAll(functions, names);
    form->TableOf(u"T").rows[0]->tags[u"Lot"] = u"B-17";
    // Another wrapper of T, with a column that its rows have no cell of.
    form->TableOf(u"Again").same_as = &form->TableOf(u"T");
    form->TableOf(u"Again").rows.push_back(MakeRef<TestRow>(form->TableOf(u"Again")));
  }
  ~FunctionsTest() override { registry.Terminate(); }

  // The formula's value for the object; errors of functions without the procedure.
  std::string Show(const std::string& formula, NotebookObject* object) {
    CellValue value;
    const auto tree = MakeTokenTree(Widen(formula), registry);
    const EvaluationContext context{nullptr, object, object, &names};
    const std::string raised = Raised([&] { EvaluateTokenTreeLayer(value, tree->Top(), context); });
    std::string text = Spelled(raised.empty() ? Describe(value) : raised);
    const std::string procedure = ".IKtFormulaFunction_ComputeValue";
    const std::size_t found = text.find(procedure);
    return found == text.npos ? text : text.erase(found, procedure.size());
  }
  void ExpectInFirstCell(const std::vector<std::string>& rows) {
    ExpectRows(rows, [this](const std::string& formula) {
      return Show(formula, &form->TableOf(u"T").CellAt(u"V", 1));
    });
  }

  std::vector<FunctionClass> functions{StandardFunctions().begin(), StandardFunctions().end()};
  NoNames names;
  FunctionRegistry registry;
  Ref<TestForm> form = MakeRef<TestForm>(kForm);
};

TEST_F(FunctionsTest, AggregatesCheckTheirArguments) {
  ExpectInFirstCell({
      "SUM -> raised SumFunction: the sum function requires one argument",
      "SUM() -> raised SumFunction: the number of arguments for sum function (0) is not 1, 2 or 3",
      "SUM(1,2,3,4) -> raised SumFunction: the number of arguments for sum function (4) is not 1, "
      "2 or 3",
      "SUM([V]+1) -> raised SumFunction: the argument for the sum function is not a reference",
      "SUM([T]) -> raised SumFunction: the argument for the sum function is not a reference to a "
      "table property",
      "SUM([V],1) -> raised SumFunction: the second argument for the Sum function is not a "
      "reference",
      "SUM(1,[V],1) -> raised SumFunction: the second argument for the Sum function is not a "
      "reference to a table",
      "MIN -> raised MinFunction: the Min function requires one argument",
      "MIN() -> raised MinFunction: the number of arguments for Min function (0) is not 1, 2 or 3",
      "MIN([V]+1) -> raised MinFunction: the argument for the Min function is not a reference",
      "MIN([T]) -> raised MinFunction: the argument for the Min function is not a reference to a "
      "table property",
      "MIN([V],1) -> raised MinFunction: the second argument for the Min function is not a "
      "reference",
      "MIN(1,[V],1) -> raised MinFunction: the second argument for the Min function is not a "
      "reference to a table",
      "MAX -> raised MaxFunction: the Max function requires one argument",
      "MAX() -> raised MaxFunction: the number of arguments for Max function (0) is not 1, 2 or 3",
      "MAX([V]+1) -> raised MaxFunction: the argument for the Max function is not a reference",
      "MAX([T]) -> raised MaxFunction: the argument for the Max function is not a reference to a "
      "table property",
      "MAX([V],1) -> raised MaxFunction: the second argument for the Max function is not a "
      "reference",
      "MAX(1,[V],1) -> raised MaxFunction: the second argument for the Max function is not a "
      "reference to a table",
      "SUM([no]) -> raised SumFunction: the argument for the sum function is not a reference to a "
      "table property",
      "SUM(1,[no]) -> raised SumFunction: the second argument for the Sum function is not a "
      "reference to a table",
      "COUNT -> raised CountFunction: the Count function requires one argument",
      "COUNT([T],1,1) -> raised CountFunction: the number of arguments for Count function (3) is "
      "not 1 or 2",
      "COUNT(1) -> raised CountFunction: the first argument for the Count function is not a "
      "reference",
      "COUNT([no]) -> raised CountFunction: the first argument for the Count function is not a "
      "reference to a table",
      "COUNT([T:V:r1]) -> raised CountFunction: the first argument for the Count function is not a "
      "reference to a table",
  });
}

TEST_F(FunctionsTest, AggregatesFoldColumns) {
  ExpectInFirstCell({
      "SUM([V]) -> 6.5..8.5",
      "SUM([P]) -> 12",
      "SUM([Z]) -> 0",
      "SUM([U:V]) -> 0",
      "SUM([S]) -> raised CellValue.Add: the value \"a\" is not a number",
      "SUM([Again:New]) -> raised 91 KtFormula9: Object variable not set",
      "MIN([V]) -> 2",
      "MIN([P]) -> 5",
      "MIN([Z]) -> 0",
      "MAX([V]) -> 2.5",
      "MAX([P]) -> 7",
      "MAX([U:V]) -> 0",
      // The first of equal cells stays, with its text.
      "MIN([V])&\"!\" -> '3 +/- 1!",
      // What is no number wins, whatever stands before and behind it.
      "MIN([N]) -> !n.d.",
      "MAX([N]) -> !n.d.",
      "MIN([W]) -> !n.d.",
      "MAX([W]) -> !n.d.",
      "SUM([W]) -> raised CellValue.Add: the value \"n.d.\" is not a number",
      "COUNT([T]) -> 3",
      "COUNT([T:V]) -> 3",
      "COUNT([U:V]) -> 0",
  });
}

// In the first row 35/[P] raises.
TEST_F(FunctionsTest, AggregatesFoldRows) {
  ExpectInFirstCell({
      "SUM([V],[T]) -> 6.5..8.5",
      "SUM(35/[P],[T]) -> inf..0",
      "SUM(1 +/- 1,[T]) -> error value CellValue.EvaluateTokenTreeLayer: the symbol \"+/-\" is not "
      "a valid token",
      "MIN([V],[T]) -> 2",
      "MIN([N],[T]) -> !n.d.",
      "MIN([W],[T]) -> !n.d.",
      "SUM([W],[T]) -> !n.d.",
      "SUM(2*[W],[T]) -> !n.d.",
      "MAX(1/[W],[T]) -> !n.d.",
      "MIN(35/[P],[T]) -> 5",
      "MIN(0-35/[P],[T]) -> -7",
      "MAX([V],[T]) -> 4",
      "MAX([W],[T]) -> !n.d.",
      "MAX(35/[P],[T]) -> 35",
      "MAX(0-35/[P],[T]) -> 0",
      "MAX(1,[U]) -> 0",
      "MAX(\"5\",[T]) -> 0",
  });
}

// Without a condition every step is followed by the next: what a failing expression left in its
// value counts like any other, and an error of the accumulation is dropped.
TEST_F(FunctionsTest, AggregatesWithoutConditionGoOnAfterErrors) {
  ExpectInFirstCell({
      "SUM(5+nosuch,[T]) -> 15",
      "MIN(5+nosuch,[T]) -> 5",
      "MAX(5+nosuch,[T]) -> 5",
      "SUM(2*(1/0),[T]) -> 6",
      "SUM(([Misspelt]),[T]) -> error value CellValue.ResolveReference: the reference \"Misspelt\" "
      "is not recognized",
      "MIN(([Misspelt]),[T]) -> 0",
      "SUM(1/0,[T]) -> inf..0",
      "SUM([S],[T]) -> 0",
  });
}

TEST_F(FunctionsTest, AggregatesFoldRowsThatSatisfyACondition) {
  ExpectInFirstCell({
      "SUM(1,[T],1=2) -> 0",
      "SUM([P],[T],35/[P]>6) -> 5",
      "SUM(2,[T],[S]) -> 2",
      "SUM(35/[P],[T],1=1) -> raised 11 KtFormula9: Division by zero",
      "MIN(35/[P],[T],[P]>0) -> 5",
      "MIN([V],[T],[S]) -> 2",
      "MAX([P],[T],1 +/- 1) -> 0",
      "MAX([V],[T],[P]) -> 2.5",
      "SUM([W],[T],[W]<9) -> 4",
      "SUM([W],[T],[P]>0) -> raised CellValue.Add: the value \"n.d.\" is not a number",
      "COUNT([T],[S]) -> 1",
      "COUNT([T],1/0) -> 0",
      "COUNT([T],1 +/- 1) -> 0",
      "COUNT([T:V],[P]>5) -> 1",
  });
}

// A host's function changes the notebook between two evaluations of its argument.
TEST_F(FunctionsTest, AggregatesWithinHostFunctionsAreComputedAnew) {
  TestCell& cell = form->TableOf(u"T").CellAt(u"P", 2);
  const auto twice = std::make_shared<FakeFunction>(
      [&](const TokenLayer* args, NotebookObject* anchor, CellValue& target) {
        EvaluateArgument(target, args->Item(0), {nullptr, anchor, anchor, &names});
        cell.min = cell.max = cell.min + 100;
        EvaluateArgument(target, args->Item(0), {nullptr, anchor, anchor, &names});
      });
  registry.Register(u"TWICE", twice);
  EXPECT_EQ(Show("MAX(TWICE(MAX([P],[T])),[T])", &cell), "307");
}

// STEP gives its argument and counts how often; what is known to be pure need not be asked again.
class Step final : public IKtFormulaFunction {
 public:
  Step(bool is_pure, int& calls) : is_pure_(is_pure), calls_(calls) {}
  void Initialize(NamedValues& listener) override { listener_ = &listener; }
  void ComputeValue(const TokenLayer* args, NotebookObject* anchor, CellValue& target) override {
    ++calls_;
    EvaluateArgument(target, args->Item(0), {nullptr, anchor, anchor, listener_});
  }
  void Terminate() override {}
  bool IsPure() const noexcept override { return is_pure_; }

 private:
  bool is_pure_;
  int& calls_;
  NamedValues* listener_ = nullptr;
};

TEST_F(FunctionsTest, AggregatesWithinAggregatesAreComputedOnce) {
  struct Row {
    std::string formula;
    int calls_of_pure;
    int calls_of_host;
  };
  const Row rows[] = {
      {"SUM(STEP([V]),[T],SUM(STEP([V]),[T],SUM(STEP([V]),[T])>0)>0)", 9, 39},
      {"COUNT([T],COUNT([T],MAX(STEP([V]),[T])>0)>0)", 3, 27},
      {"MIN(STEP([V]),[T],[P] = MAX(STEP([P]),[T],STEP([P]) > 0))", 6, 16},
      // What fails is remembered too, with what it left behind.
      {"COUNT([T],SUM(STEP(1/[P]),[T],1=1)>0)", 1, 3},
      {"SUM(SUM(STEP([V]),[T],1/[P]>0) + nosuch,[T])", 2, 6},
      {"SUM(STEP(5) + SUM(1 +/- 1,[T]),[T])", 3, 3},
      // Another table is another matter, and so is an argument that speaks of the cell.
      {"SUM(SUM(STEP(1),[U]) + SUM(STEP(2),[T]),[T])", 3, 9},
      {"SUM(SUM([this:V] + STEP(1),[T]),[T])", 9, 9},
      {"SUM(SUM(STEP(1),[T],([this:V]) > 0),[T])", 9, 9},
      {"SUM(SUM(STEP([this:V]),[T]),[T])", 3, 9},
      // Columns, too; they evaluate nothing that could be counted.
      {"SUM(SUM([V]) + MAX([P]) + STEP(1),[T],[V] < SUM([V]))", 3, 3},
  };
  for (const Row& row : rows) {
    std::string shown[2];
    for (const bool is_pure : {true, false}) {
      FunctionRegistry other;
      other.RegisterAll(StandardFunctions(), names);
      int calls = 0;
      const auto step = std::make_shared<Step>(is_pure, calls);
      step->Initialize(names);
      other.Register(u"STEP", step);
      std::swap(registry, other);
      shown[is_pure ? 0 : 1] = Show(row.formula, &form->TableOf(u"T").CellAt(u"V", 1));
      std::swap(registry, other);
      EXPECT_EQ(calls, is_pure ? row.calls_of_pure : row.calls_of_host) << row.formula;
      other.Terminate();
    }
    EXPECT_EQ(shown[0], shown[1]) << row.formula;
  }
}

TEST_F(FunctionsTest, IfChoosesByConditions) {
  ExpectInFirstCell({
      "IF -> error value IfFunction: the If function requires three arguments",
      "IF(1,2) -> error value IfFunction: the number of arguments for If function (2) is not at "
      "least 3",
      "IF(1,2,3,4) -> error value IfFunction: the number of arguments for If function (4) is even",
      "IF(1=1,5,1/0) -> 5",
      "IF(1=2,1/0,2=2,6,1/0) -> 6",
      "IF(1=1,1/0,2) -> raised 11 KtFormula9: Division by zero",
      "IF(\"true\",1,2) -> 1",
      "IF(\"abc\",1,2) -> 2",
      "IF(1/0,1,2) -> 2",
      "IF(1 +/- 1,1,2) -> 2",
  });
}

TEST_F(FunctionsTest, OnErrorTakesTheFirstValueThatIsNone) {
  ExpectInFirstCell({
      "ONERROR -> error value OnErrorFunction: the OnError function requires arguments",
      "ONERROR() -> error value OnErrorFunction: the number of arguments for OnError function (0) "
      "is not at least 1",
      "ONERROR(7,1/0) -> 7",
      "ONERROR(1/0,5) -> 5",
      "ONERROR(1/0) -> error value 11 KtFormula9: Division by zero",
      "ONERROR(1 +/- 1,5) -> 5",
      "ONERROR(TAG([no]),TAG([V])) -> 'entered",
      "ONERROR(1/0,SUM) -> error value SumFunction: the sum function requires one argument",
      "ONERROR(SELECT(1,[T],\"x\"),9) -> 9",
  });
}

TEST_F(FunctionsTest, SelectTakesTheFirstRow) {
  ExpectInFirstCell({
      "SELECT -> raised SelectFunction: the Select function requires one argument",
      "SELECT(1,[T]) -> raised SelectFunction: the number of arguments for Select function (2) is "
      "not 3",
      "SELECT(1,2,3) -> raised SelectFunction: the second argument for the Select function is not "
      "a reference",
      "SELECT(1,[V],3) -> raised SelectFunction: the second argument for the Select function is "
      "not a reference to a table",
      "SELECT(1,[U],1=1) -> error value SelectFunction: no row of the specified table satisfies "
      "the Where clause of a Select function",
      "SELECT([P],[T],[P]>0) -> 7",
      "SELECT([P],[T],1/[P]>0) -> 7",
      "SELECT([P],[T],[S]) -> 5",
      "SELECT(1/[P],[T],1=1) -> raised 11 KtFormula9: Division by zero",
  });
}

TEST_F(FunctionsTest, TagFunctionsCheckTheirArguments) {
  ExpectInFirstCell({
      "TAG -> raised TagFunction: the tag function requires one argument",
      "TAG(1,2) -> raised TagFunction: the number of arguments for tag function (2) is not 1",
      "TAG([V]&1) -> raised TagFunction: the argument of the tag function must be a reference",
      "TAG(5) -> raised TagFunction: the argument for the tag function is not of the correct type",
      "TAG([no]) -> error value CellValue.ResolveReference: the reference \"no\" is not recognized",
      "TAG([T]) -> raised TagFunction: the argument for the tag function is not a reference to a "
      "table property",
      "TAG([T:no]) -> raised TagFunction: the argument for the tag function is not a reference to "
      "a "
      "table property",
      "TAG([U:V]) -> raised TagFunction: the table property argument for the tag function must be "
      "in the same table section as the table cell in which the value will be calculated",
      "ISENTERED -> raised TagFunction: the IsEntered function requires one argument",
      "ISENTERED(1,2) -> raised TagFunction: the number of arguments for IsEntered function (2) is "
      "not 1",
      "ISENTERED([V]&1) -> raised TagFunction: the argument of the IsEntered function must be a "
      "reference",
      "ISENTERED(5) -> raised TagFunction: the argument for the tag function is not of the correct "
      "type",
      "ISENTERED([no]) -> error value CellValue.ResolveReference: the reference \"no\" is not "
      "recognized",
      "ISENTERED([T]) -> raised TagFunction: the argument for the tag function is not a reference "
      "to a table property",
      "ISENTERED([U:V]) -> raised TagFunction: the table property argument for the IsEntered "
      "function must be in the same table section as the table cell in which the value will be "
      "calculated",
      "ROWTAG -> raised RowTagFunction: the row tag function requires one argument",
      "ROWTAG(1,2,3) -> raised RowTagFunction: the number of arguments for row tag function (3) is "
      "not 1 or 2",
      "ROWTAG([V]&1) -> raised RowTagFunction: the first argument of the row tag function must be "
      "a reference",
      "ROWTAG(5) -> raised RowTagFunction: the first argument for the row tag function is not of "
      "the correct type",
      "ROWTAG([V],5) -> raised RowTagFunction: the second argument for the row tag function is not "
      "of the correct type",
      "ROWTAG([V],1+1) -> raised RowTagFunction: the second argument for the row tag function is "
      "not of the correct type",
      "ROWTAG([no]) -> error value CellValue.ResolveReference: the reference \"no\" is not "
      "recognized",
      "ROWTAG([T]) -> raised RowTagFunction: the first argument for the row tag function is not a "
      "reference to a table property or table cell",
      "ROWTAG([U:V]) -> raised RowTagFunction: the table property argument for the row tag "
      "function must be in the same table section as the table cell in which the value will be "
      "calculated",
      "ROWTAG(\"x\") -> raised 91 KtFormula9: Object variable not set",
  });
}

TEST_F(FunctionsTest, TagsOfCellsAndRows) {
  ExpectInFirstCell({
      "TAG(\"abc\") -> 'abc",
      "TAG([V]) -> 'entered",
      "TAG([T:V:r2]) -> '",
      "ISENTERED(\"entered\") -> true",
      "ISENTERED(\"Entered\") -> false",
      "ISENTERED([V]) -> true",
      "ISENTERED([T:V:r2]) -> false",
      "ROWTAG([V]) -> 'r1",
      "ROWTAG([T:V:r2]) -> 'r2",
      "ROWTAG([V],\"Lot\") -> 'B-17",
      // Rows of aggregates are a context for ISENTERED alone.
      "SELECT(ISENTERED([V]),[T],1=1) -> true",
      "SELECT(TAG([V]),[T],1=1) -> raised TagFunction: the argument for the tag function can only "
      "be resolved in the context of a table cell",
      "SELECT(ROWTAG([V]),[T],1=1) -> raised RowTagFunction: the first argument for the row tag "
      "function can only be resolved in the context of a table cell",
      // A column that the row has no cell of.
      "ISENTERED([Again:New]) -> false",
      "TAG([Again:New]) -> raised 91 KtFormula9: Object variable not set",
  });
  const std::string out_of_context =
      "raised IsEnteredFunction: the argument for the IsEntered function can only be resolved in "
      "the context of a table cell or a table row";
  EXPECT_EQ(Show("ISENTERED([T:V])", form.get()), out_of_context);
  EXPECT_EQ(Show("ISENTERED([V])", &form->TableOf(u"T")), out_of_context);
}

// A formula that somebody kept.
TEST_F(FunctionsTest, FunctionsWorkWithoutTheirListener) {
  const auto tree = MakeTokenTree(u"IF(1=1,[V],0)", registry);
  registry.Terminate();
  TestCell& cell = form->TableOf(u"T").CellAt(u"V", 1);
  CellValue value;
  EvaluateTokenTreeLayer(value, tree->Top(), {nullptr, &cell, &cell, nullptr});
  EXPECT_EQ(Describe(value), "2..4");
}

TEST_F(FunctionsTest, NestedConditionsEnd) {
  std::string nested = "7";
  for (int i = 0; i < 200; ++i)
    nested = "IF(" + nested + ",7,1/0)";
  EXPECT_EQ(Show(nested, nullptr), "7");
}

}  // namespace
}  // namespace ktformula
