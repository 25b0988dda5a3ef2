// The token tree: layers of tokens and nested layers, grouped by operator precedence.
//
// A tree keeps its formula's text and, for each token, eight bytes and what evaluation needs of it.
// Layers and items are views: small values to pass around, valid as long as the tree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "formula/expression.h"
#include "formula/function_registry.h"
#include "formula/reference.h"
#include "formula/token.h"
#include "values/leak_check.h"
#include "values/platform.h"

namespace ktformula {

class TokenLayer;
class TokenTree;
class TokenTreeBuilder;

// A token, or a nested layer. A member about one kind of token may be called for this kind only.
class LayerItem {
 public:
  bool IsLayer() const noexcept;
  TokenLayer Layer() const noexcept;

  FormulaTokenTypeEnum TokenType() const noexcept;
  // kNone but for names and symbols.
  FormulaWord Word() const noexcept;
  // A string token's text.
  const std::u16string& String() const noexcept;
  const ReferencePath& Reference() const noexcept;
  // Not-a-number when the numeral can not be converted.
  double Number() const noexcept;
  const std::shared_ptr<IKtFormulaFunction>& Function() const noexcept;
  // The item's place among all of its tree.
  std::uint32_t Index() const noexcept { return index_; }
  // The item of the same tree at another place.
  LayerItem Other(std::uint32_t index) const noexcept { return {*tree_, index}; }
  const TokenTree& Tree() const noexcept { return *tree_; }
  // Where a token begins in the formula's text.
  std::size_t Begin() const noexcept;
  // Any token's text; see FormulaToken.
  std::u16string TokenText() const;
  FormulaToken Token() const;

 private:
  friend class TokenLayer;
  LayerItem(const TokenTree& tree, std::uint32_t index) : tree_(&tree), index_(index) {}

  const TokenTree* tree_;
  std::uint32_t index_;
};

// An ordered collection of items. Commas, parentheses and whitespace are gone: in the layer of a
// pair of parentheses each item is one argument.
class TokenLayer {
 public:
  std::size_t Count() const noexcept;
  // Positions count from 0.
  LayerItem Item(std::size_t position) const noexcept;

  // The layer as evaluation takes it, and any item of its tree.
  const Term& Head() const noexcept;
  std::span<const Step> Steps() const noexcept;
  LayerItem ItemOfTree(std::uint32_t index) const noexcept { return {*tree_, index}; }

  // Of one tree and place in it.
  bool operator==(const TokenLayer&) const = default;
  std::size_t Hash() const noexcept { return std::hash<const TokenTree*>{}(tree_)*31 + index_; }

 private:
  friend class LayerItem;
  friend class TokenTree;
  friend class TokenTreeBuilder;
  TokenLayer(const TokenTree& tree, std::uint32_t index) : tree_(&tree), index_(index) {}

  const TokenTree* tree_;
  std::uint32_t index_;
};

// A formula ready to be evaluated any number of times.
class TokenTree {
 public:
  TokenTree(const TokenTree&) = delete;
  TokenTree& operator=(const TokenTree&) = delete;

  TokenLayer Top() const noexcept { return {*this, top_}; }
  // The text, and the separators with which its numerals were read.
  const std::u16string& Formula() const noexcept { return formula_; }
  const Locale& NumberLocale() const noexcept { return locale_; }

 private:
  friend class LayerItem;
  friend class TokenLayer;
  friend class TokenTreeBuilder;

  // The kind of a token, or kLayer, and behind it what belongs to the kind: a word, or an index.
  class Item {
   public:
    static constexpr std::uint32_t kLayer = 15;
    static constexpr unsigned kDetailBits = 28;

    // `place` is where the token begins in the formula, or the layer's index.
    Item(std::size_t place, std::uint32_t kind, std::size_t detail)
        : place_(static_cast<std::uint32_t>(place)),
          kind_and_detail_(kind << kDetailBits | static_cast<std::uint32_t>(detail)) {}

    std::uint32_t Place() const noexcept { return place_; }
    std::uint32_t Kind() const noexcept { return kind_and_detail_ >> kDetailBits; }
    std::uint32_t Detail() const noexcept {
      return kind_and_detail_ & ((std::uint32_t{1} << kDetailBits) - 1);
    }
    FormulaWord Word() const noexcept {
      const bool has_word = Kind() == kFormulaTokenTypeName || Kind() == kFormulaTokenTypeSymbol;
      return has_word ? static_cast<FormulaWord>(Detail()) : FormulaWord::kNone;
    }

   private:
    std::uint32_t place_;
    std::uint32_t kind_and_detail_;
  };

  // A run of items.
  struct Layer {
    std::uint32_t first;
    std::uint32_t count;
  };

  explicit TokenTree(std::u16string_view formula);

  const Item& ItemAt(std::uint32_t index) const noexcept { return items_[index]; }

  std::u16string formula_;
  // With which the formula was read.
  Locale locale_ = UserLocale();
  // These grow without being moved, which for a moment would need twice the room.
  std::deque<Layer> layers_;
  std::deque<Item> items_;
  std::uint32_t top_ = 0;
  // One for each layer.
  std::vector<LayerExpression> expressions_;
  std::vector<Step> steps_;
  std::vector<double> numbers_;
  std::vector<std::u16string> strings_;
  // Equal references stand here once, and so do functions of one spelling.
  std::vector<ReferencePath> references_;
  std::vector<std::shared_ptr<IKtFormulaFunction>> functions_;
  LeakCountOf counted_tokens_;
  LeakCountOf counted_layers_;
};

// Parentheses may nest this deep: more is no formula that a person writes, and every layer costs
// the evaluator a piece of the stack.
inline constexpr int kMaximumNesting = 256;

// Code units of a formula, so that a place in it takes no more than an item has room for.
inline constexpr std::size_t kMaximumFormulaLength = (std::size_t{1} << 28U) - 1;

// The tree of a formula. Raises what the tokenizer raises, and kComponentError for unbalanced
// parentheses, misplaced commas, nesting beyond kMaximumNesting and a formula beyond
// kMaximumFormulaLength.
std::shared_ptr<const TokenTree> MakeTokenTree(std::u16string_view formula,
                                               const FunctionRegistry& functions);

}  // namespace ktformula
