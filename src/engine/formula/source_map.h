// Where the parts of a formula stand in its text.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "formula/expression.h"
#include "formula/token_tree.h"
#include "formula/tokenizer.h"

namespace ktformula {

// A run of UTF-16 code units.
struct TextRange {
  std::size_t start = 0;
  std::size_t length = 0;

  std::size_t End() const noexcept { return start + length; }
  bool operator==(const TextRange&) const = default;
};

// The smallest range around both.
TextRange Around(const TextRange& first, const TextRange& second) noexcept;

// Finds the places of a tree's parts. Keeps the tree.
class SourceMap {
 public:
  explicit SourceMap(std::shared_ptr<const TokenTree> tree);

  const TokenTree& Tree() const noexcept { return *tree_; }
  const std::u16string& Text() const noexcept { return tree_->Formula(); }
  std::u16string_view Text(const TextRange& range) const {
    return std::u16string_view(Text()).substr(range.start, range.length);
  }

  // Of a token with its quotes or brackets, or of a layer from its first part to its last, with the
  // parentheses that stand between. The layer of a function's arguments has no parentheses; one
  // without parts stands nowhere and is empty.
  TextRange Of(const LayerItem& item) const;
  // Of an operand or argument: as its item, a call with its arguments and closing parenthesis.
  TextRange Of(const Term& term, const LayerItem& item) const;
  // The smallest range around this one in which every parenthesis has its partner.
  TextRange Balanced(const TextRange& range) const;

 private:
  TextRange OfLayer(const TokenLayer& layer) const;
  std::vector<TokenPlace>::const_iterator TokenAt(std::size_t begin) const;
  TextRange OfToken(std::size_t begin) const;
  // The range from `begin` to the parenthesis that closes the next one opened.
  TextRange ToClosingParenthesis(std::size_t begin) const;

  std::shared_ptr<const TokenTree> tree_;
  // All tokens in their order.
  std::vector<TokenPlace> tokens_;
};

}  // namespace ktformula
