// What a formula listener is configured with: formulas of columns and named definitions.
#pragma once

#include <memory>
#include <string>

#include "formula/token_tree.h"
#include "values/dictionary.h"
#include "values/leak_check.h"

namespace ktformula {

// One formula. Whoever changes Formula empties TokenTree.
struct PropertyFormula : private LeakCounted<PropertyFormula> {
  static constexpr std::string_view kClassName = "PropertyFormula";

  PropertyFormula(std::u16string_view formula, std::u16string_view string_format)
      : Formula(formula), StringFormat(string_format) {}

  std::u16string Formula;
  // The pattern passed to the result format: "" for none, "%" for a percentage.
  std::u16string StringFormat;
  // The parsed formula; empty until it is first needed.
  std::shared_ptr<const ktformula::TokenTree> TokenTree;
};

using PropertyFormulas = Dictionary<std::shared_ptr<PropertyFormula>>;

struct FormulaConfiguration {
  // By property key, as decimal text.
  PropertyFormulas property_formulas;
  // By name.
  PropertyFormulas definitions;
};

}  // namespace ktformula
