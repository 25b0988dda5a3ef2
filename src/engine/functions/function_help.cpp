#include "functions/function_help.h"

#include <array>

namespace ktformula {

namespace {

constexpr std::string_view kRowErrors =
    "Without a condition a row whose expression raises an error is left out. With one, a row whose "
    "condition raises an error, is an error value or is not true or false is left out, but an "
    "error "
    "in the expression of a row that is taken ends the formula.";

constexpr std::string_view kExtremeErrors =
    "Rows are left out as with SUM. Cells without text do not count in the form with a column "
    "alone; a cell whose text is no number makes the result an error. The result is one number, "
    "never a range; 0 when nothing was taken.";

}  // namespace

// NOLINTNEXTLINE(readability-function-size): it is one table.
std::span<const FunctionHelp> AllFunctionHelp() {
  static const std::array<FunctionHelp, 9> help{{
      {"COUNT",
       "counts the rows of a table",
       {{"COUNT([table])", "the number of rows; a column stands for its table"},
        {"COUNT([table], condition)", "the number of rows for which the condition is true"}},
       "A row whose condition raises an error, is an error value or is not true or false does not "
       "count.",
       {{"COUNT([Reactants])", "4"}, {"COUNT([Reactants], [Role] = \"reactant\")", "2"}}},
      {"IF",
       "chooses a value by conditions",
       {{"IF(condition, value, default)", "the value if the condition is true, else the default"},
        {"IF(condition, value, condition, value, ..., default)",
         "the value behind the first condition that is true"}},
       "A condition that raises an error, is an error value or is not true or false counts as "
       "false. Only the chosen value is evaluated, and its error is the result.",
       {{"IF([Mass] > 0.001, \"much\", \"little\")", "much"},
        {"IF([Mass] > 1, \"heavy\", [Mass] > 0.002, \"medium\", \"light\")", "light"},
        {"IF(1/0 > 1, \"yes\", \"no\")", "no"}}},
      {"ISENTERED",
       "tells whether a value was typed in",
       {{"ISENTERED([column])", "whether the cell of this row was typed in"},
        {"ISENTERED([table:column:row])", "whether that cell was typed in"}},
       "A column of another table is an error.",
       {{"ISENTERED([Mass])", "true"}, {"ISENTERED([Volume])", "false"}}},
      {"MAX",
       "finds the largest value",
       {{"MAX([column])", "the largest number in the column"},
        {"MAX(expression, [table])", "the largest value of the expression over all rows"},
        {"MAX(expression, [table], condition)", "over the rows for which the condition is true"}},
       kExtremeErrors,
       {{"MAX([Mass])", "0.0023"}, {"MAX([MW]*2, [Compounds])", "0.42252"}}},
      {"MIN",
       "finds the smallest value",
       {{"MIN([column])", "the smallest number in the column"},
        {"MIN(expression, [table])", "the smallest value of the expression over all rows"},
        {"MIN(expression, [table], condition)", "over the rows for which the condition is true"}},
       kExtremeErrors,
       {{"MIN([Mass])", "0.00122"},
        {"MIN([MW], [Compounds], [Name] <> \"benzylamine\")", "0.12212"}}},
      {"ONERROR",
       "replaces an error",
       {{"ONERROR(value, value, ...)", "the first value that is no error"}},
       "Nothing is ever raised: when all values are errors, the result is the last one's error.",
       {{"ONERROR([Mass]/0, \"none\")", "none"}, {"ONERROR([Mass]*2, \"none\")", "0.00244"}}},
      {"SELECT",
       "looks a value up in a table",
       {{"SELECT(expression, [table], condition)",
         "the expression in the first row for which the condition is true"}},
       "A row whose condition raises an error, is an error value or is not true or false is passed "
       "over. When no row is left, the result is an error. In the condition, [this:parent:X] is "
       "the column X of the row being computed, [X] the column of the table that is searched.",
       {{"SELECT([Name], [Compounds], [MW] > 0.2)", "N-benzylbenzamide"},
        {"SELECT([MW], [Compounds], [Name] = [this:parent:Compound])", "0.12212"},
        {"SELECT([MW], [Compounds], [Name] = \"water\")",
         "#Error: no row of the specified table satisfies the Where clause of a Select "
         "function"}}},
      {"SUM",
       "adds up",
       {{"SUM([column])", "the sum of the column; empty cells count as 0"},
        {"SUM(expression, [table])", "the sum of the expression over all rows"},
        {"SUM(expression, [table], condition)",
         "the sum over the rows for which the condition is true"}},
       kRowErrors,
       {{"SUM([Mass])", "0.00352"},
        {"SUM([Mass], [Reactants], [Role] = \"reactant\")", "0.00122"},
        {"SUM([MW]*2, [Compounds])", "1.26446"}}},
      {"TAG",
       "gives the tag of a cell",
       {{"TAG([column])", "the tag of the cell of this row"},
        {"TAG([table:column:row])", "the tag of that cell"}},
       "A column of another table is an error.",
       {{"TAG([Mass])", "entered"}}},
  }};
  return help;
}

}  // namespace ktformula
