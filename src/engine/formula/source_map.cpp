#include "formula/source_map.h"

#include <algorithm>
#include <utility>

namespace ktformula {

TextRange Around(const TextRange& first, const TextRange& second) noexcept {
  if (first.length == 0) return second;
  if (second.length == 0) return first;
  const std::size_t start = std::min(first.start, second.start);
  return {start, std::max(first.End(), second.End()) - start};
}

SourceMap::SourceMap(std::shared_ptr<const TokenTree> tree) : tree_(std::move(tree)) {
  for (Tokenizer tokenizer(tree_->Formula(), tree_->NumberLocale()); !tokenizer.IsAtEnd();)
    tokens_.push_back(tokenizer.Next());
}

TextRange SourceMap::Of(const LayerItem& item) const {
  return item.IsLayer() ? OfLayer(item.Layer()) : OfToken(item.Begin());
}

TextRange SourceMap::Of(const Term& term, const LayerItem& item) const {
  return term.kind == TermKind::kCall ? ToClosingParenthesis(item.Begin()) : Of(item);
}

TextRange SourceMap::OfLayer(const TokenLayer& layer) const {
  TextRange range;
  bool is_behind_function = false;
  for (std::size_t i = 0; i < layer.Count(); ++i) {
    const LayerItem item = layer.Item(i);
    const bool is_call = is_behind_function && item.IsLayer();
    range = Around(range, is_call ? ToClosingParenthesis(layer.Item(i - 1).Begin()) : Of(item));
    is_behind_function = !item.IsLayer() && item.TokenType() == kFormulaTokenTypeFunction;
  }
  return Balanced(range);
}

TextRange SourceMap::Balanced(const TextRange& range) const {
  const auto first = TokenAt(range.start);
  const auto last = TokenAt(range.End());
  // Parentheses that are opened in the range, and those that were opened in front of it.
  int open = 0;
  int missing = 0;
  for (auto token = first; token != last; ++token) {
    if (token->type == kFormulaTokenTypeLeftParen) ++open;
    if (token->type == kFormulaTokenTypeRightParen && --open < 0) {
      ++missing;
      open = 0;
    }
  }
  if (open == 0 && missing == 0) return range;
  auto begin = first;
  while (missing > 0 && begin != tokens_.begin()) {
    --begin;
    if (begin->type == kFormulaTokenTypeLeftParen) --missing;
    if (begin->type == kFormulaTokenTypeRightParen) ++missing;
  }
  auto end = last;
  for (; open > 0 && end != tokens_.end(); ++end) {
    if (end->type == kFormulaTokenTypeLeftParen) ++open;
    if (end->type == kFormulaTokenTypeRightParen) --open;
  }
  return {begin->begin, (end - 1)->end - begin->begin};
}

std::vector<TokenPlace>::const_iterator SourceMap::TokenAt(std::size_t begin) const {
  return std::lower_bound(
      tokens_.begin(), tokens_.end(), begin,
      [](const TokenPlace& place, std::size_t position) { return place.begin < position; });
}

TextRange SourceMap::OfToken(std::size_t begin) const {
  return {begin, TokenAt(begin)->end - begin};
}

TextRange SourceMap::ToClosingParenthesis(std::size_t begin) const {
  auto token = TokenAt(begin);
  for (int depth = 0; token != tokens_.end(); ++token) {
    if (token->type == kFormulaTokenTypeLeftParen) ++depth;
    if (token->type == kFormulaTokenTypeRightParen && --depth == 0) break;
  }
  return {begin, token->end - begin};
}

}  // namespace ktformula
