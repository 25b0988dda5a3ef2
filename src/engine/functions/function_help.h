// What users are told about the functions of the formula language.
#pragma once

#include <span>
#include <string_view>
#include <vector>

namespace ktformula {

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
  std::string_view name;
  std::string_view summary;
  std::vector<FunctionForm> forms;
  // What an error in an argument does, and what else is worth knowing.
  std::string_view errors;
  std::vector<FunctionExample> examples;
};

// One entry for each function that formulas can call, in the order of their names.
std::span<const FunctionHelp> AllFunctionHelp();

}  // namespace ktformula
