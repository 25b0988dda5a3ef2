// The functions of the formula language, called by formulas in a notebook's cells.
#include <gtest/gtest.h>
#include <sstream>

#include "host_fakes.h"

#include "functions/function_help.h"
#include "functions/standard_functions.h"
#include "functions/tag_functions.h"
#include "listener/formula_listener.h"
#include "notebook/file.h"
#include "notebook/function_pages.h"
#include "notebook/notebook_file.h"
#include "notebook/recalculation.h"
#include "notebook/text_output.h"
#include "notebook/utf.h"
#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

constexpr std::string_view kNotebook = R"(<notebook><form name="F"><table name="T" key="1">
<property key="1" name="V" type="number"/><property key="2" name="P" type="number"/>
<property key="3" name="Z" type="number"/><property key="4" name="S" type="string"/>
<property key="5" name="N" type="number"/><row id="r1"><tag name="Lot">B-17</tag>
<cell property="V" state="entered">3 +/- 1</cell><cell property="S">a</cell></row><row id="r2">
<cell property="V">2.5</cell><cell property="P">7</cell><cell property="N">n.d.</cell></row>
<row id="r3"><cell property="V">2</cell><cell property="P">5</cell><cell property="S">true</cell></row>
</table><table name="U" key="2"><property key="6" name="V" type="number"/></table></form></notebook>)";

std::string Replace(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from)) != text.npos;)
    text.replace(at, from.size(), to);
  return text;
}

class FunctionsTest : public ::testing::Test {
 protected:
  FunctionsTest() {
    functions.push_back({u"ROWTAG", [] { return std::make_unique<RowTagFunction>(); }});
    listener = MakeRef<FormulaListener>(functions);
    listener->Initialize(notebook.framework, form->OwnerOf(T->OwnField()), nullptr);
  }
  ~FunctionsTest() override { listener->Terminate(); }

  // The value for the object. "!Sum* text" is a raised error of the function class SumFunction.
  std::string Show(const std::string& formula, NotebookObject* object) {
    CellValue value;
    const auto tree = listener->MakeTokenTree(Widen(formula));
    const EvaluationContext context{nullptr, object, object, listener.get()};
    std::string text = Raised([&] { EvaluateTokenTreeLayer(value, tree->Top(), context); });
    text = text.empty() ? Describe(value) : text.substr(0, text.size() - 2);
    text = Replace(Replace(text, "raised -2147220991 ", "!"), "E-2147220991 ", "E ");
    return Replace(text, "Function.IKtFormulaFunction_ComputeValue:", "*");
  }
  // Rows of "FORMULA -> RESULT" for T's first cell, in lines or split by " | "; @0 is names[0].
  void Expect(const std::string& rows, const std::vector<std::string>& names = {}) {
    std::string text = Replace(rows, " | ", "\n");
    for (std::size_t i = 0; i < names.size(); ++i)
      text = Replace(text, "@" + std::to_string(i), names[i]);
    const auto show = [this](const auto& row) { return Show(row, &T->Rows()[0]->CellAt(0)); };
    std::istringstream lines(text);
    for (std::string line; std::getline(lines >> std::ws, line);)
      ExpectRows({line}, show);
  }

  std::vector<FunctionClass> functions{StandardFunctions().begin(), StandardFunctions().end()};
  ktnotebook::Notebook notebook = ktnotebook::ReadNotebook(kNotebook, "n.xml");
  ktnotebook::NotebookForm* form = notebook.forms[0].get();
  ktnotebook::NotebookTable* T = form->FindTable(u"T");
  Ref<FormulaListener> listener;
};

TEST_F(FunctionsTest, AggregatesCheckTheirArguments) {
  constexpr const char* kRows = R"(
      @0 -> !@1* the @2 function requires one argument
      @0() -> !@1* the number of arguments for @2 function (0) is not 1, 2 or 3
      @0(1,2,3,4) -> !@1* the number of arguments for @2 function (4) is not 1, 2 or 3
      @0([V]+1) -> !@1* the argument for the @2 function is not a reference
      @0([T]) -> !@1* the argument for the @2 function is not a reference to a table property
      @0([V],1) -> !@1* the second argument for the @1 function is not a reference
      @0(1,[V],1) -> !@1* the second argument for the @1 function is not a reference to a table)";
  Expect(kRows, {"SUM", "Sum", "sum"});
  Expect(kRows, {"MIN", "Min", "Min"});
  Expect(kRows, {"MAX", "Max", "Max"});
  Expect(R"(
      COUNT -> !Count* the Count function requires one argument
      COUNT([T],1,1) -> !Count* the number of arguments for Count function (3) is not 1 or 2
      COUNT(1) -> !Count* the first argument for the Count function is not a reference
      COUNT([no]) -> !Count* the first argument for the Count function is not a reference to a table)");
}

TEST_F(FunctionsTest, AggregatesFoldRows) {
  // The first of equal cells stays, with its text. In the first row 35/[P] raises.
  Expect(R"(
      SUM([V]) -> 6.5..8.5 | SUM([P]) -> 12 | SUM([Z]) -> 0 | SUM([U:V]) -> 0
      SUM([S]) -> !CellValue.Add: the value "a" is not a number | MIN([V])&"!" -> '3 +/- 1!
      MIN([P]) -> 5 | MAX([P]) -> 7 | MIN([Z]) -> 0 | MAX([U:V]) -> 0 | MIN([V]) -> 2
      MAX([N]) -> nan..nan | MIN([N],[T]) -> nan..nan | MAX(1,[U]) -> 0 | MAX("5",[T]) -> 0
      SUM([V],[T]) -> 6.5..8.5 | MIN([V],[T]) -> 2 | MAX([V],[T]) -> 4 | SUM(35/[P],[T]) -> inf..0
      MIN(35/[P],[T]) -> 5 | MAX(0-35/[P],[T]) -> 0 | COUNT([U:V]) -> 0
      SUM(35/[P],[T],1=1) -> raised 11 KtFormula9: Division by zero | COUNT([T],1 +/- 1) -> 0
      SUM(1 +/- 1,[T]) -> E CellValue.EvaluateTokenTreeLayer: the symbol "+/-" is not a valid token
      MIN(35/[P],[T],[P]>0) -> 5 | SUM(1,[T],1=2) -> 0 | SUM([P],[T],35/[P]>6) -> 5
      MAX([P],[T],1 +/- 1) -> 0 | SUM(2,[T],[S]) -> 2 | MIN([V],[T],[S]) -> 2 | COUNT([T]) -> 3
      MAX([V],[T],[P]) -> 2.5 | COUNT([T],[S]) -> 1 | COUNT([T],1/0) -> 0 | COUNT([T:V],[P]>5) -> 1)");
}

// Without a condition every step is followed by the next: what a failing expression left in its
// value counts like any other, and an error of the accumulation is dropped.
TEST_F(FunctionsTest, AggregatesWithoutConditionGoOnAfterErrors) {
  ExpectRows(
      {
          "SUM(5+nosuch,[T]) -> 15",
          "MIN(5+nosuch,[T]) -> 5",
          "MAX(5+nosuch,[T]) -> 5",
          "SUM(2*(1/0),[T]) -> 6",
          "SUM(([Misspelt]),[T]) -> E CellValue.ResolveReference: the reference \"Misspelt\" is "
          "not recognized",
          "MIN(([Misspelt]),[T]) -> 0",
          "SUM(1/0,[T]) -> inf..0",
          "SUM([S],[T]) -> 0",
      },
      [this](const std::string& row) { return Show(row, &T->Rows()[0]->CellAt(0)); });
}

TEST_F(FunctionsTest, ConditionalsChoose) {
  Expect(
      R"(
      IF -> E If* the If function requires three arguments | IF("true",1,2) -> 1
      IF(1,2) -> E If* the number of arguments for If function (2) is not at least 3
      IF(1,2,3,4) -> E If* the number of arguments for If function (4) is even | IF(1/0,1,2) -> 2
      IF(1=1,5,1/0) -> 5 | IF(1=2,1/0,2=2,6,1/0) -> 6 | IF(1 +/- 1,1,2) -> 2 | IF("abc",1,2) -> 2
      IF(1=1,1/0,2) -> raised 11 @0 | ONERROR(1/0) -> E11 @0 | SELECT(1/[P],[T],1=1) -> raised 11 @0
      ONERROR -> E OnError* the OnError function requires arguments | ONERROR(1/0,5) -> 5
      ONERROR() -> E OnError* the number of arguments for OnError function (0) is not at least 1
      ONERROR(7,1/0) -> 7 | ONERROR(1 +/- 1,5) -> 5 | ONERROR(TAG([no]),TAG([V])) -> 'entered
      ONERROR(1/0,SUM) -> E Sum* the sum function requires one argument | SELECT([P],[T],[S]) -> 5
      SELECT -> !Select* the Select function requires one argument | SELECT([P],[T],[P]>0) -> 7
      SELECT(1,[T]) -> !Select* the number of arguments for Select function (2) is not 3
      SELECT(1,2,3) -> !Select* the @1 is not a reference | SELECT([P],[T],1/[P]>0) -> 7
      SELECT(1,[V],3) -> !Select* the @1 is not a reference to a table | ONERROR(SELECT(1,[T],"x"),9) -> 9
      SELECT(1,[U],1=1) -> E Select* no row of the specified table satisfies the Where clause of a Select function)",
      {"KtFormula9: Division by zero", "second argument for the Select function"});
}

TEST_F(FunctionsTest, TagsOfCellsAndRows) {
  constexpr const char* kRows = R"(
      @0 -> !@1* the @2 function requires one argument
      @0(1,2,3) -> !@1* the number of arguments for @2 function (3) is not 1@5
      @0([V]&1) -> !@1* the @4argument of the @2 function must be a reference
      @0(5) -> !@1* the @4argument for the @3 function is not of the correct type
      @0([no]) -> E CellValue.ResolveReference: the reference "no" is not recognized
      @0([T]) -> !@1* the @4argument for the @3 function is not a reference to a table property@6
      @0([U:V]) -> !@1* the table property argument for the @2 function must be in the same table section as the table cell in which the value will be calculated)";
  Expect(kRows, {"TAG", "Tag", "tag", "tag", "", "", ""});
  Expect(kRows, {"ISENTERED", "Tag", "IsEntered", "tag", "", "", ""});
  Expect(kRows, {"ROWTAG", "RowTag", "row tag", "row tag", "first ", " or 2", " or table cell"});
  Expect(R"(
      ISENTERED("entered") -> true | ISENTERED([V]) -> true | ISENTERED([T:V:r2]) -> false
      SELECT(ISENTERED([V]),[T],1=1) -> true | TAG("abc") -> 'abc | TAG([V]) -> 'entered
      ROWTAG([V]) -> 'r1 | ROWTAG([T:V:r2]) -> 'r2 | ROWTAG([V],"Lot") -> 'B-17 | TAG([T:V:r2]) -> '
      ROWTAG("x") -> raised 91 KtFormula9: Object variable not set | ISENTERED("Entered") -> false
      ROWTAG([V],5) -> !RowTag* the second argument for the @0 function is not of the correct type
      SELECT(TAG([V]),[T],1=1) -> !Tag* the argument for the tag @1
      SELECT(ROWTAG([V]),[T],1=1) -> !RowTag* the first argument for the @0 @1)",
         {"row tag", "function can only be resolved in the context of a table cell"});
  EXPECT_EQ(Show("ISENTERED([T:V])", form),
            "!IsEntered* the argument for the IsEntered function can only be resolved in the "
            "context of a table cell or a table row");
  // A row without the cell; tables are the same by their identity.
  const auto table = MakeRef<FakeTable>();
  const auto same = MakeRef<FakeTable>(table.get());
  const auto column = MakeRef<FakeColumn>(*same);
  const auto row = MakeRef<FakeRow>(*table);
  row->answers[u"c"] = column.get();
  EXPECT_EQ(Show("ISENTERED([c])", row.get()), "false");
}

TEST_F(FunctionsTest, HostileFormulasEnd) {
  std::string nested = "7";
  for (int i = 0; i < 200; ++i)
    nested = "IF(" + nested + ",7,1/0)";
  EXPECT_EQ(Show(nested, nullptr), "7");
  // Formulas of the column Z that read it.
  T->AddListener(listener);
  ExpectRows({"SUM(1,[T],1/[Z]) -> 0", "IF(MAX([Z])<3,MAX([Z])+1,3) -> 3", "SUM([Z])+1 -> never"},
             [this](const std::string& formula) {
               listener->SetPropertyFormula(3, Widen(formula), u"");
               const bool settles = RecalculateForm(*form, 8).settled;
               return settles ? ktnotebook::ToUtf8(T->Rows()[0]->CellAt(2).Text()) : "never";
             });
}

TEST(FunctionHelp, SaysWhatTheFunctionsDo) {
  const auto notebook = ktnotebook::ReadNotebookFile(KT_SOURCE_DIR "/examples/amide-coupling.xml");
  const auto& table = *notebook.forms[0]->FindTable(u"Reactants");
  auto& cell = table.Rows()[0]->CellAt(table.FindColumn(u"Note")->Index());
  std::string keys;
  std::string names;
  for (const FunctionClass& function : StandardFunctions())
    keys += ktnotebook::ToUtf8(function.key) + " ";
  for (const FunctionHelp& help : AllFunctionHelp()) {
    names += std::string(help.name) + " ";
    for (const auto& [formula, shows] : help.examples) {
      CellValue value;
      table.ListenerComputing(cell.OwningColumn())->EvaluateInCell(Widen(formula), cell, value);
      EXPECT_EQ(ktnotebook::ToUtf8(ktnotebook::ValueText(value)), shows) << formula;
    }
  }
  EXPECT_EQ(names, keys);
  EXPECT_EQ(ktnotebook::ReadWholeFile(KT_SOURCE_DIR "/docs/functions.md"),
            ktnotebook::FunctionReferencePage());
}

}  // namespace
}  // namespace ktformula
