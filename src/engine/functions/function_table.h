// The functions of the formula language, a row for each: what it is called, what it takes and what
// users are told about it.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "formula/formula_function.h"
#include "formula/function_registry.h"

namespace ktformula {

// What becomes of a wrong number of arguments.
enum class WrongCount { kRaises, kIsErrorValue };

inline constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

// How many arguments a function takes, and what it says of other numbers: "the NAME function
// requires REQUIRED" where it is called without parentheses, "the number of arguments for NAME
// function (5) is not TAKEN" otherwise.
struct FunctionArguments {
  std::size_t least;
  std::size_t most;
  // The function as its messages name it.
  std::u16string_view name;
  std::u16string_view required;
  std::u16string_view taken;
  WrongCount wrong_count = WrongCount::kRaises;
  // Even numbers that are large enough are refused too, as "even".
  bool must_be_odd = false;
  // The argument, counted from 0, that names a table or a column and is not evaluated; the last one
  // where there are fewer. Others are evaluated for the rows of that table.
  std::size_t named = kAnyNumber;
};

struct FunctionForm {
  std::string_view syntax;
  std::string_view meaning;
};

// A formula, and what it shows in the cell Note of row A of the table Reactants in the example
// notebook examples/amide-coupling.xml, before that is recalculated.
struct FunctionExample {
  std::string_view formula;
  std::string_view shows;
};

struct FunctionHelp {
  std::string_view summary;
  std::vector<FunctionForm> forms;
  // What an error in an argument does, and what else is worth knowing.
  std::string_view errors;
  std::vector<FunctionExample> examples;
};

struct FunctionRow {
  // The name in formulas, "" for a function that no formula can call.
  std::u16string_view name;
  // The class; its program identifier is this behind "KtFormula9.".
  std::string_view class_name;
  std::unique_ptr<IKtFormulaFunction> (*create)();
  // The source of errors about the arguments.
  std::u16string_view source;
  FunctionArguments arguments;
  // Empty for a function without a name.
  FunctionHelp help;
};

// All functions of the component: those with a name in the order of their names, then the others.
std::span<const FunctionRow> FunctionTable();

// The functions that formulas can call.
std::span<const FunctionRow> NamedFunctions();

// The same for registering them, in that order.
std::span<const FunctionClass> StandardFunctions();

// The row of the language's function of this upper-case name; nullptr when it has none.
const FunctionRow* FindFunctionRow(std::u16string_view name);

// The row of the function with this class name, which has one.
const FunctionRow& FunctionRowOf(std::string_view class_name);

}  // namespace ktformula
