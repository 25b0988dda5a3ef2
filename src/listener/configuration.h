// What a formula listener is configured with: formulas of columns and named definitions.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>

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
using KeySet = std::unordered_set<std::u16string, TextHash, std::equal_to<>>;

// The three ways in which a configuration changes. Each tells whether anything did.

// Gives the entry this formula and format. One that has both already is kept, parsed formula
// included; any other is replaced by a new entry at the end.
bool PutFormula(PropertyFormulas& formulas, std::u16string_view key, std::u16string_view formula,
                std::u16string_view format);
// The same, except that an empty formula removes the entry.
bool PutOrRemoveFormula(PropertyFormulas& formulas, std::u16string_view key,
                        std::u16string_view formula, std::u16string_view format);
// Removes the entries that are not among `kept`; the others keep their order.
bool RemoveAllBut(PropertyFormulas& formulas, const KeySet& kept);

struct FormulaConfiguration {
  // By property key, as decimal text.
  PropertyFormulas property_formulas;
  // By name.
  PropertyFormulas definitions;
};

}  // namespace ktformula
