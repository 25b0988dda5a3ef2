// The problems that are found by looking at recalculated notebooks.
#include "analysis/observed_problems.h"

#include <gtest/gtest.h>
#include <sstream>

#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/files/watched_form.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {
namespace {

using ktformula::Problem;
using Named = std::vector<std::pair<std::string, std::string>>;

// One table T.
struct Sheet {
  // "Nr number | Conc number g/l": a unit makes the column a formatted one.
  std::string columns;
  // A line a row, typed into the cells of the columns: "1 | 2.5 g/l".
  std::string rows;
  Named formulas;
  Named definitions;
};

std::vector<std::string> Pieces(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, separator);) {
    const std::size_t first = piece.find_first_not_of(' ');
    const std::size_t last = piece.find_last_not_of(' ');
    pieces.push_back(first == std::string::npos ? "" : piece.substr(first, last - first + 1));
  }
  return pieces;
}

std::string Escaped(const std::string& text) {
  return "<![CDATA[" + text + "]]>";
}

Notebook Make(const Sheet& sheet) {
  std::string xml = "<notebook><form name='F'><table name='T' key='1'>";
  int key = 10;
  for (const std::string& column : Pieces(sheet.columns, '|')) {
    const auto words = Pieces(column, ' ');
    xml += "<property key='" + std::to_string(++key) + "' name='" + words[0] + "' type='" +
           words[1] + "'";
    if (words.size() > 2) xml += " unit='" + words[2] + "' numberFormatting='true'";
    xml += "/>";
  }
  const auto rows = Pieces(sheet.rows, '\n');
  for (std::size_t row = 1; row <= rows.size(); ++row)
    xml += "<row id='" + std::to_string(row) + "'/>";
  xml += "<fieldListener progID='KtFormula9.FormulaListener' name='L' position='1'>";
  for (const auto& [name, formula] : sheet.formulas)
    xml += "<propertyFormula name='" + name + "'>" + Escaped(formula) + "</propertyFormula>";
  for (const auto& [name, formula] : sheet.definitions)
    xml += "<definition name='" + name + "'>" + Escaped(formula) + "</definition>";
  Notebook notebook = ReadNotebook(xml + "</fieldListener></table></form></notebook>", "n.xml");
  const NotebookTable& table = *notebook.forms[0]->FindTable(u"T");
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const auto texts = Pieces(rows[row], '|');
    for (std::size_t column = 0; column < texts.size(); ++column)
      if (!texts[column].empty()) table.Rows()[row].CellAt(column).Enter(*FromUtf8(texts[column]));
  }
  return notebook;
}

// "code A 1/2 [marked]: message": the first row as people count, in how many, what is marked.
std::string Describe(const Problem& problem) {
  std::string text = ToUtf8(KindOf(problem.code).text);
  if (problem.severity != KindOf(problem.code).severity)
    text += " (" + ToUtf8(SeverityText(problem.severity)) + ")";
  if (problem.column) text += " " + ToUtf8(problem.column->Property()->Name());
  if (problem.definition) text += " =" + ToUtf8(*problem.definition);
  if (problem.row) text += " " + std::to_string(*problem.row + 1);
  if (problem.rows) text += "/" + std::to_string(*problem.rows);
  if (problem.place) {
    text +=
        " <" + ToUtf8(problem.formula.substr(problem.place->start, problem.place->length)) + ">";
  }
  return text + ": " + ToUtf8(problem.message);
}

std::string Find(const Sheet& sheet, int rounds = 30) {
  const Notebook notebook = Make(sheet);
  NotebookForm& form = *notebook.forms[0];
  const RecalculationResult result = RecalculateForm(form, rounds);
  std::vector<Ref<ktformula::TableCell>> unsettled;
  for (const NotebookCell& cell : result.unsettled)
    unsettled.push_back(cell.Object());
  std::string found;
  for (const Problem& problem :
       FindObservedProblems(WatchForm(form, *notebook.framework), unsettled)) {
    found += Describe(problem) + "\n";
  }
  return found;
}

struct Case {
  Sheet sheet;
  std::string problems;
};

void Check(const std::vector<Case>& cases) {
  for (const Case& each : cases) {
    const Named& formulas = each.sheet.formulas;
    EXPECT_EQ(Find(each.sheet), each.problems) << (formulas.empty() ? "" : formulas[0].second);
  }
}

constexpr const char* kTwo = "A number | B number";

TEST(ObservedProblems, RingsOfCells) {
  Check({
      {{kTwo, "|\n|", {{"A", "[B]"}, {"B", "[A]"}}, {}},
       "circular A 1/2 <[B]>: T:A:1 and T:B:1 need each other; so do T:A:2 and T:B:2\n"},
      // Where one of each pair is typed in, all is well.
      {{kTwo, "1|\n|2", {{"A", "[B]*2"}, {"B", "[A]*2"}}, {}}, ""},
      {{kTwo, "1|\n|", {{"A", "[B]*2"}, {"B", "[A]*2"}}, {}},
       "circular A 2/1 <[B]>: T:A:2 and T:B:2 need each other\n"},
      {{"A number", "\n1", {{"A", "[A]+1"}}, {}}, "circular A 1/1 <[A]>: T:A:1 needs itself\n"},
      // What an evaluation does not reach it does not need.
      {{kTwo, "|", {{"A", "IF(TRUE, 1, [B])"}, {"B", "[A]"}}, {}}, ""},
      {{kTwo, "|", {{"A", "IF(ISENTERED([B]), [B], 5)"}, {"B", "IF(ISENTERED([A]), [A], 6)"}}, {}},
       ""},
      // Each row reads the one above, or all of them.
      {{"Nr number | C number",
        "1|8\n2|\n3|\n4|",
        {{"C", "SELECT([C], [T], [Nr] = [this:parent:Nr] - 1) / 2"}},
        {}},
       ""},
      {{"Nr number | C number", "1|8\n2|\n3|", {{"C", "SUM([C]) / 2"}}, {}},
       "circular C 2/2 <SUM([C])>: T:C:2 and T:C:3 need each other\n"},
      {{"Nr number | C number",
        "1|\n2|\n3|",
        {{"C",
          "ONERROR(SELECT([C], [T], [Nr] = [this:parent:Nr] - 1), 7) + "
          "ONERROR(SELECT([C], [T], [Nr] = 3 AND [this:parent:Nr] = 1), 0)"}},
        {}},
       "circular C 1/3 <[C]>: T:C:1, T:C:2 and T:C:3 need each other\n"},
      // Through definitions, and among them.
      {{"A number", "", {{"A", "[total] / 2"}}, {{"total", "SUM([T:A])"}}}, ""},
      {{"A number", "1\n", {{"A", "[total] / 2"}}, {{"total", "SUM([T:A])"}}}, ""},
      {{"A number", "|\n|", {{"A", "[total] / 2"}}, {{"total", "SUM([T:A])"}}},
       "circular A 1/2 <[total]>: T:A:1, T:A:2 and the definition \"total\" need each other\n"},
      {{"A number", "|", {}, {{"a", "[b] + 1"}, {"b", "[a] + 1"}, {"c", "[c]"}, {"d", "[a]"}}},
       "circular =a: the definition \"a\" and the definition \"b\" need each other\n"
       "circular =c: the definition \"c\" needs itself\n"},
  });
}

TEST(ObservedProblems, CellsThatDoNotSettle) {
  const Sheet chain{"A number | B number | C number", "||1\n||2", {{"A", "[B]"}, {"B", "[C]"}}, {}};
  EXPECT_EQ(Find(chain, 4), "");
  EXPECT_EQ(Find(chain, 1),
            "not-settled A 1/2: T:A:1 still changed in the last round\n"
            "not-settled B 1/2: T:B:1 still changed in the last round\n");
  const Sheet ring{
      "A number | B number | C number", "||", {{"A", "[B]+1"}, {"B", "[A]+1"}, {"C", "[A]"}}, {}};
  EXPECT_EQ(Find(ring, 9),
            "circular A 1/1 <[B]>: T:A:1 and T:B:1 need each other\n"
            "not-settled C 1/1: T:C:1 still changed in the last round\n");
}

TEST(ObservedProblems, Errors) {
  Check({
      {{kTwo, "2|\n0|\n|", {{"B", "1/[A]"}}, {}}, "failing B 2/2 </>: Division by zero\n"},
      // Told of where it arises.
      {{"A number | B number | C number | D number",
        "0||\n2||",
        {{"B", "1/[A]"}, {"C", "[B]*2"}, {"D", "SUM([B])"}},
        {}},
       "failing B 1/1 </>: Division by zero\n"},
      {{"Nr number | C number",
        "1|\n2|\n3|",
        {{"C", "IF([Nr] = 1, 1 / 0, SELECT([C], [T], [Nr] = [this:parent:Nr] - 1))"}},
        {}},
       "failing C 1/1 </>: Division by zero\n"},
      {{"A number", "\n", {{"A", "SUM(1)"}}, {}},
       "failing A 1/1 <SUM(1)>: the argument for the sum function is not a reference\n"},
      {{"A number | B number",
        "1|\n2|",
        {{"B", "[A] * [half]"}},
        {{"half", "1 / 0"}, {"more", "[half] + 1"}}},
       "failing =half: Division by zero\n"},
      {{kTwo, "1|\n2|", {{"B", "[d]"}}, {{"d", "[e]"}, {"e", "[d]"}}},
       "circular =d: the definition \"d\" and the definition \"e\" need each other\n"},
      // Texts that quote each its row are one problem.
      {{"D date | B number", "2024-01-01|\n2024-01-02|", {{"B", "[D] - [D]"}}, {}},
       "failing B 1/2 <->: the value \"2024-01-01\" is not a number\n"},
      // Values of definitions that can not be taken over.
      {{"A number | D date | S string",
        "1 | 2024-01-01 | x\n",
        {{"A", "[d]"}},
        {{"d", "[T:D:1]"},
         {"s", "[T:S:1]"},
         {"t", "\"true\""},
         {"n", "[T:A:1]"},
         {"e", "[s] & \"!\""}}},
       "unusable-definition =d: the definition \"d\" has a date for its value, which formulas can "
       "not take over\n"
       "unusable-definition =s: the definition \"s\" has a text without a truth value for its "
       "value, which formulas can not take over\n"},
  });
}

TEST(ObservedProblems, NumbersThatAreMissing) {
  const std::string help = "the value \"n.d.\" is not a number (in T:A:2)\n";
  Check({
      {{"A number | B number | C number",
        "1|\nn.d.|\n3|",
        {{"B", "2 * [A]"}, {"C", "[B] + 1"}},
        {}},
       "no-number B 2/1 <[A]>: " + help},
      {{kTwo, "1|\nn.d.|", {{"B", "SUM([A])"}}, {}}, "no-number B 1/2 <SUM([A])>: " + help},
      {{kTwo, "1|\nn.d.|", {{"B", "MAX([A])"}}, {}}, "no-number B 1/2 <MAX([A])>: " + help},
      {{kTwo, "1|\nn.d.|", {{"B", "[all] + 1"}}, {{"all", "SUM([T:A])"}}},
       "no-number B 1/2 <[all]>: " + help},
      {{"A number | S string", "1|\nn.d.|\nn.d.|", {{"S", "IF([A] > 0, \"a\", \"b\")"}}, {}},
       "no-number S 2/2 <[A] > 0>: the condition does not hold because " + help},
      {{kTwo, "1|\nn.d.|", {{"B", "SUM([A], [T], [A] > 0)"}}, {}},
       "no-number (note) B <[A] > 0>: the condition leaves out rows for which " + help},
      // An error that was typed in, or read from a file, is no formula's.
      {{kTwo, "1|\n#Error: broken|", {{"B", "2 * [A]"}}, {}},
       "no-number B 2/1 <[A]>: broken (in T:A:2)\n"},
      {{kTwo, "1|\nn.d.|", {{"B", "ONERROR(2 * [A], 0)"}}, {}}, ""},
      {{"A number | S string",
        "1|\nn.d.|",
        {{"S", "IF(ONERROR([A] > 0, FALSE), \"a\", \"b\")"}},
        {}},
       ""},
  });
}

TEST(ObservedProblems, ErrorsThatArePassedOver) {
  Check({
      {{kTwo, "1|\n2|", {{"B", "ONERROR([A]/0, 7)"}}, {}},
       "swallowed B <[A]/0>: the first argument of ONERROR fails in every row: Division by zero\n"},
      {{kTwo, "1|\n0|", {{"B", "ONERROR(1/[A], 7)"}}, {}}, ""},
      {{"A number | B number | C number",
        "0||\n0||",
        {{"B", "1/[A]"}, {"C", "ONERROR([B], 7) + IF([B] > 1, 1, 2)"}},
        {}},
       "failing B 1/2 </>: Division by zero\n"},
      {{"A number | S string", "1|\n2|", {{"S", "IF([A], \"a\", \"b\")"}}, {}},
       "swallowed S <[A]>: the condition of IF is never true or false: a number\n"},
      {{"A number | S string", "1|x\n2|", {{"A", "COUNT([T], [S] > 1)"}}, {}}, ""},
      {{kTwo, "1|\n2|", {{"B", "SUM([A], [T], [A] + 1)"}}, {}},
       "swallowed B <[A] + 1>: the condition of SUM is never true or false: a number\n"},
      {{"A number | S string | B number", "1|x|\n2|y|", {{"B", "SUM([S] * [S], [T])"}}, {}},
       "swallowed B <[S] * [S]>: SUM hides that this fails in some rows: the value \"x\" is not a "
       "number\n"},
      {{"A number | B number", "1|\n2|", {{"B", "SUM(2*(1/([A] - [A])), [T])"}}, {}},
       "swallowed B <2*(1/([A] - [A]))>: SUM hides that this fails in some rows: Division by "
       "zero\n"},
      {{"A number | B number", "1|\n2|", {{"B", "SUM([A] * 2, [T]) + IF([A] > 1, 1, 2)"}}, {}}, ""},
  });
}

TEST(ObservedProblems, RangesAndDigits) {
  Check({
      {{"A number | B number", "1 .. 2|\n3|", {{"B", "[A] * 2"}}, {}},
       "range-lost B 1/1: the result is a range, of which only the lower bound is shown\n"},
      {{"A number | B number", "1 .. 2|\n3|", {{"B", "IF([A] > 1, 1, 2)"}}, {}}, ""},
      {{"Start number ml | End number ml | Used number ml",
        "0.00 ml | 12.35 ml |\n12.35 ml | 24.71 ml|",
        {{"Used", "[End] - [Start]"}},
        {}},
       "digits Start 1: \"0.00 ml\" has 1 digit and all other entered values at least 4 digits: "
       "computed values are shown with 1 digit\n"},
      {{"Start number ml | End number ml | Used number",
        "0.00 ml | 12.35 ml |\n12.35 ml | 24.71 ml|",
        {{"Used", "[End] - [Start]"}},
        {}},
       ""},
      {{"Start number ml | End number ml | Used number ml",
        "0.00 ml | 12.35 ml |\n0.00 ml | 24.71 ml|",
        {{"Used", "[End] - [Start]"}},
        {}},
       ""},
      {{"Mass number g | Net number g", "9.9 g|\n10.001 g|", {{"Net", "[Mass] - 1"}}, {}},
       "digits Mass 1: \"9.9 g\" has 2 digits and all other entered values at least 5 digits: "
       "computed values are shown with 2 digits\n"},
  });
}

}  // namespace
}  // namespace ktnotebook
