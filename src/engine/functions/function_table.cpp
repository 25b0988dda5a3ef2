#include "functions/function_table.h"

#include <algorithm>
#include <array>

#include "functions/conditional_functions.h"
#include "functions/count_function.h"
#include "functions/extreme_functions.h"
#include "functions/sum_function.h"
#include "functions/tag_functions.h"

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

// Of a function whose argument of this index is not evaluated.
constexpr FunctionArguments Naming(std::size_t named, FunctionArguments arguments) {
  arguments.named = named;
  return arguments;
}

template <typename Function>
FunctionRow Row(std::u16string_view name, std::u16string_view source, FunctionArguments arguments,
                FunctionHelp help) {
  constexpr auto create = []() -> std::unique_ptr<IKtFormulaFunction> {
    return std::make_unique<Function>();
  };
  return {name, Function::kClassName, create, source, arguments, std::move(help)};
}

}  // namespace

// NOLINTNEXTLINE(readability-function-size): it is one table.
std::span<const FunctionRow> FunctionTable() {
  static const std::array<FunctionRow, 10> rows{
      Row<CountFunction>(
          u"COUNT", u"CountFunction.IKtFormulaFunction_ComputeValue",
          Naming(0, {1, 2, u"Count", u"one argument", u"1 or 2"}),
          {"counts the rows of a table",
           {{"COUNT([table])", "the number of rows; a column stands for its table"},
            {"COUNT([table], condition)", "the number of rows for which the condition is true"}},
           "A row whose condition raises an error, is an error value or is not true or false does "
           "not "
           "count.",
           {{"COUNT([Reactants])", "4"}, {"COUNT([Reactants], [Role] = \"reactant\")", "2"}}}),
      Row<IfFunction>(
          u"IF", u"IfFunction.IKtFormulaFunction_ComputeValue",
          {3, kAnyNumber, u"If", u"three arguments", u"at least 3", WrongCount::kIsErrorValue,
           /*must_be_odd=*/true},
          {"chooses a value by conditions",
           {{"IF(condition, value, default)",
             "the value if the condition is true, else the default"},
            {"IF(condition, value, condition, value, ..., default)",
             "the value behind the first condition that is true"}},
           "A condition that raises an error, is an error value or is not true or false counts as "
           "false. Only the chosen value is evaluated, and its error is the result.",
           {{"IF([Mass] > 0.001, \"much\", \"little\")", "much"},
            {"IF([Mass] > 1, \"heavy\", [Mass] > 0.002, \"medium\", \"light\")", "light"},
            {"IF(1/0 > 1, \"yes\", \"no\")", "no"}}}),
      Row<IsEnteredFunction>(u"ISENTERED", u"TagFunction.IKtFormulaFunction_ComputeValue",
                             Naming(0, {1, 1, u"IsEntered", u"one argument", u"1"}),
                             {"tells whether a value was typed in",
                              {{"ISENTERED([column])", "whether the cell of this row was typed in"},
                               {"ISENTERED([table:column:row])", "whether that cell was typed in"}},
                              "A column of another table is an error.",
                              {{"ISENTERED([Mass])", "true"}, {"ISENTERED([Volume])", "false"}}}),
      Row<MaxFunction>(
          u"MAX", u"MaxFunction.IKtFormulaFunction_ComputeValue",
          Naming(1, {1, 3, u"Max", u"one argument", u"1, 2 or 3"}),
          {"finds the largest value",
           {{"MAX([column])", "the largest number in the column"},
            {"MAX(expression, [table])", "the largest value of the expression over all rows"},
            {"MAX(expression, [table], condition)",
             "over the rows for which the condition is true"}},
           kExtremeErrors,
           {{"MAX([Mass])", "0.0023"}, {"MAX([MW]*2, [Compounds])", "0.42252"}}}),
      Row<MinFunction>(
          u"MIN", u"MinFunction.IKtFormulaFunction_ComputeValue",
          Naming(1, {1, 3, u"Min", u"one argument", u"1, 2 or 3"}),
          {"finds the smallest value",
           {{"MIN([column])", "the smallest number in the column"},
            {"MIN(expression, [table])", "the smallest value of the expression over all rows"},
            {"MIN(expression, [table], condition)",
             "over the rows for which the condition is true"}},
           kExtremeErrors,
           {{"MIN([Mass])", "0.00122"},
            {"MIN([MW], [Compounds], [Name] <> \"benzylamine\")", "0.12212"}}}),
      Row<OnErrorFunction>(
          u"ONERROR", u"OnErrorFunction.IKtFormulaFunction_ComputeValue",
          {1, kAnyNumber, u"OnError", u"arguments", u"at least 1", WrongCount::kIsErrorValue},
          {"replaces an error",
           {{"ONERROR(value, value, ...)", "the first value that is no error"}},
           "Nothing is ever raised: when all values are errors, the result is the last one's "
           "error.",
           {{"ONERROR([Mass]/0, \"none\")", "none"}, {"ONERROR([Mass]*2, \"none\")", "0.00244"}}}),
      Row<SelectFunction>(
          u"SELECT", u"SelectFunction.IKtFormulaFunction_ComputeValue",
          Naming(1, {3, 3, u"Select", u"one argument", u"3"}),
          {"looks a value up in a table",
           {{"SELECT(expression, [table], condition)",
             "the expression in the first row for which the condition is true"}},
           "A row whose condition raises an error, is an error value or is not true or false is "
           "passed "
           "over. When no row is left, the result is an error. In the condition, [this:parent:X] "
           "is "
           "the column X of the row being computed, [X] the column of the table that is searched.",
           {{"SELECT([Name], [Compounds], [MW] > 0.2)", "N-benzylbenzamide"},
            {"SELECT([MW], [Compounds], [Name] = [this:parent:Compound])", "0.12212"},
            {"SELECT([MW], [Compounds], [Name] = \"water\")",
             "#Error: no row of the specified table satisfies the Where clause of a Select "
             "function"}}}),
      Row<SumFunction>(u"SUM", u"SumFunction.IKtFormulaFunction_ComputeValue",
                       Naming(1, {1, 3, u"sum", u"one argument", u"1, 2 or 3"}),
                       {"adds up",
                        {{"SUM([column])", "the sum of the column; empty cells count as 0"},
                         {"SUM(expression, [table])", "the sum of the expression over all rows"},
                         {"SUM(expression, [table], condition)",
                          "the sum over the rows for which the condition is true"}},
                        kRowErrors,
                        {{"SUM([Mass])", "0.00352"},
                         {"SUM([Mass], [Reactants], [Role] = \"reactant\")", "0.00122"},
                         {"SUM([MW]*2, [Compounds])", "1.26446"}}}),
      Row<TagFunction>(u"TAG", u"TagFunction.IKtFormulaFunction_ComputeValue",
                       Naming(0, {1, 1, u"tag", u"one argument", u"1"}),
                       {"gives the tag of a cell",
                        {{"TAG([column])", "the tag of the cell of this row"},
                         {"TAG([table:column:row])", "the tag of that cell"}},
                        "A column of another table is an error.",
                        {{"TAG([Mass])", "entered"}}}),
      Row<RowTagFunction>(u"", u"RowTagFunction.IKtFormulaFunction_ComputeValue",
                          Naming(0, {1, 2, u"row tag", u"one argument", u"1 or 2"}), {}),
  };
  return rows;
}

std::span<const FunctionRow> NamedFunctions() {
  static const std::span<const FunctionRow> named = [] {
    const std::span<const FunctionRow> all = FunctionTable();
    const auto end = std::find_if(all.begin(), all.end(),
                                  [](const FunctionRow& row) { return row.name.empty(); });
    return std::span(all.begin(), end);
  }();
  return named;
}

std::span<const FunctionClass> StandardFunctions() {
  static const std::vector<FunctionClass> classes = [] {
    std::vector<FunctionClass> made;
    for (const FunctionRow& row : NamedFunctions())
      made.push_back({row.name, row.create});
    return made;
  }();
  return classes;
}

const FunctionRow* FindFunctionRow(std::u16string_view name) {
  const auto rows = NamedFunctions();
  const auto found = std::find_if(rows.begin(), rows.end(),
                                  [name](const FunctionRow& row) { return row.name == name; });
  return found != rows.end() ? &*found : nullptr;
}

const FunctionRow& FunctionRowOf(std::string_view class_name) {
  const std::span<const FunctionRow> rows = FunctionTable();
  return *std::find_if(rows.begin(), rows.end(),
                       [&](const FunctionRow& row) { return row.class_name == class_name; });
}

}  // namespace ktformula
