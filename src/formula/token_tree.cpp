#include "formula/token_tree.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "formula/tokenizer.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kLayerSource = u"FormulaListener.MakeTokenTreeLayer";

// Moves the items from `first` on into a layer of their own that takes their place.
void WrapFrom(std::vector<LayerItem>& items, std::size_t first) {
  TokenLayer wrapped;
  const auto begin = items.begin() + static_cast<std::ptrdiff_t>(first);
  wrapped.items.assign(std::make_move_iterator(begin), std::make_move_iterator(items.end()));
  items.erase(begin, items.end());
  items.emplace_back(std::move(wrapped));
}

// Ends an argument: more than one item since the last comma become a layer.
void CloseArgument(std::vector<LayerItem>& items, std::size_t last_argument) {
  if (items.size() > last_argument + 1) WrapFrom(items, last_argument);
}

void TakeComma(std::vector<LayerItem>& items, std::size_t& last_argument) {
  if (items.empty()) {
    Raise(kLayerSource, u"the formula contains an unexpected comma following a left parenthesis");
  }
  if (items.size() == last_argument) {
    Raise(kLayerSource, u"the formula contains an unexpected comma following a comma");
  }
  CloseArgument(items, last_argument);
  ++last_argument;
}

bool IsOperator(const LayerItem& item, int level) {
  return item.token != nullptr && PrecedenceLevel(item.token->Word) == level;
}

// Not part of its caller, which is on the stack once for each layer inside another.
[[gnu::noinline]] void GroupItems(std::vector<LayerItem>& items, int level) {
  std::vector<LayerItem> grouped;
  std::size_t operand = 0;  // where the items behind the last operator begin
  for (LayerItem& item : items) {
    const bool is_operator = IsOperator(item, level);
    if (is_operator) CloseArgument(grouped, operand);
    grouped.push_back(std::move(item));
    if (is_operator) operand = grouped.size();
  }
  CloseArgument(grouped, operand);
  items = std::move(grouped);
}

}  // namespace

LayerItem::LayerItem(TokenLayer item_layer)
    : layer(std::make_unique<TokenLayer>(std::move(item_layer))) {}

TokenLayer MakeTokenTreeLayer(const std::vector<FormulaToken>& tokens, std::size_t startPosition,
                              bool nested, std::size_t& position, int depth) {
  if (depth > kMaximumNesting) Raise(kLayerSource, u"the formula is nested too deeply");
  TokenLayer layer;
  std::size_t last_argument = 0;
  position = startPosition;
  while (position < tokens.size()) {
    const FormulaToken& token = tokens[position];
    switch (token.TokenType) {
      case kFormulaTokenTypeRightParen:
        if (!nested) {
          Raise(kLayerSource, u"the specified formula has an unbalanced right parenthesis");
        }
        ++position;
        CloseArgument(layer.items, last_argument);
        return layer;
      case kFormulaTokenTypeLeftParen:
        layer.items.emplace_back(
            MakeTokenTreeLayer(tokens, position + 1, true, position, depth + 1));
        break;
      case kFormulaTokenTypeWhitespace: ++position; break;
      case kFormulaTokenTypeComma:
        TakeComma(layer.items, last_argument);
        ++position;
        break;
      default: layer.items.emplace_back(token); ++position;
    }
  }
  if (nested) Raise(kLayerSource, u"the specified formula has an unbalanced left parenthesis");
  return layer;
}

void GroupOperatorLevel(TokenLayer& layer, int level) {
  bool has_operator = false;
  for (const LayerItem& item : layer.items) {
    if (item.layer != nullptr) GroupOperatorLevel(*item.layer, level);
    has_operator = has_operator || IsOperator(item, level);
  }
  if (has_operator) GroupItems(layer.items, level);
}

std::shared_ptr<const TokenTree> MakeTokenTree(std::u16string_view formula,
                                               const FunctionRegistry& functions) {
  auto tree = std::make_shared<TokenTree>();
  tree->tokens = Tokenize(formula, functions);
  std::size_t position = 0;
  tree->top = MakeTokenTreeLayer(tree->tokens, 0, false, position);
  if (position < tree->tokens.size()) {
    Raise(u"FormulaListener.MakeTokenTree",
          u"the specified formula has an unbalanced right parentheses.");
  }
  for (int level = kLoosestLevel; level <= kTightestLevel; ++level) {
    GroupOperatorLevel(tree->top, level);
  }
  return tree;
}

}  // namespace ktformula
