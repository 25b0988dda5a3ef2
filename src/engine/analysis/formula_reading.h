// What keeps a formula from being read, or its parts from being understood, wherever it stands.
#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "analysis/finding.h"

#include "formula/function_registry.h"
#include "formula/source_map.h"
#include "formula/token_tree.h"
#include "host/notebook_objects.h"

namespace ktformula {

// The formula's tree; nullptr, and why among the findings, when it is refused. What the tree takes
// although it is not closed is among the findings too. `units` may be nullptr.
std::shared_ptr<const TokenTree> ReadFormula(std::u16string_view formula,
                                             const FunctionRegistry& functions,
                                             UnitCatalogue* units, Findings& findings);

// Whether the reference runs to the end of the formula without a closing bracket.
bool IsUnclosedReference(const SourceMap& map, const LayerItem& item);

// Of a symbol that stands where an operand is expected, or that is no operator.
Finding MisplacedSymbol(const SourceMap& map, const LayerItem& item);
// Of an operator behind which nothing stands.
Finding MissingOperand(const SourceMap& map, const LayerItem& item);
// Of something that stands where an operator should.
Finding Leftover(const SourceMap& map, const LayerItem& item, UnitCatalogue* units);

// What is wrong with a number format; `pattern` may be "".
Findings FormatProblems(std::u16string_view pattern);

}  // namespace ktformula
