// The parts of a formula by what they are, without evaluating it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "formula/token_tree.h"
#include "functions/function_table.h"

namespace ktformula {

// A function in a formula, with parentheses or without.
struct FormulaCall {
  LayerItem function;
  // nullptr for a function that is none of the language's own.
  const FunctionRow* row;
  // None without parentheses.
  std::vector<LayerItem> args;

  bool Is(std::u16string_view name) const noexcept { return row != nullptr && row->name == name; }
  // SUM, MIN and MAX.
  bool IsAggregate() const noexcept { return Is(u"SUM") || Is(u"MIN") || Is(u"MAX"); }
};

// All calls of the formula, those in arguments too.
std::vector<FormulaCall> CallsOf(const TokenTree& tree);

// The texts of all references of the formula, each once.
std::vector<std::u16string> ReferencesOf(const TokenTree& tree);

// Whether evaluating the formula, definitions aside, can do nothing but give a value: so it is with
// the language's own functions. What a host's would do once more is not known.
bool IsPure(const TokenTree& tree);

// Whether an evaluation that ends without an error has read all that the formula can read.
bool AlwaysReadsAll(const TokenTree& tree);

}  // namespace ktformula
