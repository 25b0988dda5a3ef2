// The token tree: layers of tokens and nested layers, grouped by operator precedence.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "formula/function_registry.h"
#include "formula/token.h"

namespace ktformula {

class TokenLayer;

// A token of the tree's own list, or a nested layer.
struct LayerItem {
  explicit LayerItem(const FormulaToken& item_token) : token(&item_token) {}
  explicit LayerItem(TokenLayer item_layer);

  // Exactly one of the two is set.
  const FormulaToken* token = nullptr;
  std::unique_ptr<TokenLayer> layer;
};

// An ordered collection of items. Commas, parentheses and whitespace are gone: in the layer of a
// pair of parentheses each item is one argument.
class TokenLayer {
 public:
  std::vector<LayerItem> items;
};

// A formula ready to be evaluated any number of times. The layers point into `tokens`.
struct TokenTree {
  std::vector<FormulaToken> tokens;
  TokenLayer top;
};

// Parentheses may nest this deep: more is no formula that a person writes, and every layer costs
// the evaluator a piece of the stack.
inline constexpr int kMaximumNesting = 256;

// Builds one layer from the token at `startPosition` on; `position` is then the first token after
// it. `nested` layers end with ")". Positions count from 0. Raises kComponentError for unbalanced
// parentheses, misplaced commas and nesting beyond kMaximumNesting (`depth` layers stand around
// this one).
TokenLayer MakeTokenTreeLayer(const std::vector<FormulaToken>& tokens, std::size_t startPosition,
                              bool nested, std::size_t& position, int depth = 0);

// Splits the layer, and every layer nested in it, around the operators of one precedence level, so
// that each operand between two of them is a single item.
void GroupOperatorLevel(TokenLayer& layer, int level);

// The tree of a formula. Raises what the tokenizer and MakeTokenTreeLayer raise.
std::shared_ptr<const TokenTree> MakeTokenTree(std::u16string_view formula,
                                               const FunctionRegistry& functions);

}  // namespace ktformula
