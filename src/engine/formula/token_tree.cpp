#include "formula/token_tree.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <unordered_map>
#include <utility>

#include "formula/tokenizer.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kLayerSource = u"FormulaListener.MakeTokenTreeLayer";

// Built in bulk, so they are counted in bulk.
KtLeakCheck token_counter{"FormulaToken"};
KtLeakCheck layer_counter{"TokenLayer"};

}  // namespace

bool LayerItem::IsLayer() const noexcept {
  return tree_->ItemAt(index_).Kind() == TokenTree::Item::kLayer;
}

TokenLayer LayerItem::Layer() const noexcept {
  return {*tree_, tree_->ItemAt(index_).Place()};
}

FormulaTokenTypeEnum LayerItem::TokenType() const noexcept {
  return static_cast<FormulaTokenTypeEnum>(tree_->ItemAt(index_).Kind());
}

FormulaWord LayerItem::Word() const noexcept {
  return tree_->ItemAt(index_).Word();
}

const std::u16string& LayerItem::String() const noexcept {
  return tree_->strings_[tree_->ItemAt(index_).Detail()];
}

const ReferencePath& LayerItem::Reference() const noexcept {
  return tree_->references_[tree_->ItemAt(index_).Detail()];
}

double LayerItem::Number() const noexcept {
  return tree_->numbers_[tree_->ItemAt(index_).Detail()];
}

const std::shared_ptr<IKtFormulaFunction>& LayerItem::Function() const noexcept {
  return tree_->functions_[tree_->ItemAt(index_).Detail()];
}

std::size_t LayerItem::Begin() const noexcept {
  return tree_->ItemAt(index_).Place();
}

std::u16string LayerItem::TokenText() const {
  const Tokenizer tokenizer(tree_->formula_, tree_->locale_);
  return tokenizer.TextOf(tokenizer.At(tree_->ItemAt(index_).Place()));
}

FormulaToken LayerItem::Token() const {
  const bool is_function = TokenType() == kFormulaTokenTypeFunction;
  return {TokenType(), TokenText(), is_function ? Function() : nullptr};
}

std::size_t TokenLayer::Count() const noexcept {
  return tree_->layers_[index_].count;
}

LayerItem TokenLayer::Item(std::size_t position) const noexcept {
  return {*tree_, tree_->layers_[index_].first + static_cast<std::uint32_t>(position)};
}

const Term& TokenLayer::Head() const noexcept {
  return tree_->expressions_[index_].head;
}

std::span<const Step> TokenLayer::Steps() const noexcept {
  const LayerExpression& expression = tree_->expressions_[index_];
  return {tree_->steps_.data() + expression.first_step, expression.step_count};
}

TokenTree::TokenTree(std::u16string_view formula)
    : formula_(formula), counted_tokens_(token_counter), counted_layers_(layer_counter) {}

// Builds the layers from the inside out. The items of the layers that are still open stand in one
// stack, each layer's behind those of the layers around it.
class TokenTreeBuilder {
 public:
  TokenTreeBuilder(std::u16string_view formula, const FunctionRegistry& functions)
      : tree_(new TokenTree(formula)),
        functions_(functions),
        tokenizer_(tree_->formula_, tree_->locale_) {}

  std::shared_ptr<const TokenTree> Build() {
    Reserve();
    MakeTokenTreeLayer(false, 0);
    if (!tokenizer_.IsAtEnd()) {
      Raise(u"FormulaListener.MakeTokenTree",
            u"the specified formula has an unbalanced right parentheses.");
    }
    tree_->top_ = open_.back().Place();
    open_ = std::vector<Item>();
    ReadExpressions();
    // Each layer but the top one is an item of another.
    tree_->counted_tokens_.Add(tree_->items_.size() + 1 - tree_->layers_.size());
    tree_->counted_layers_.Add(tree_->layers_.size());
    return std::shared_ptr<const TokenTree>(tree_.release());
  }

 private:
  using Item = TokenTree::Item;

  // Reads all tokens once: what is no token is refused before anything else, and long formulas take
  // no more memory than they need.
  void Reserve() {
    std::array<std::size_t, 16> counts{};
    for (Tokenizer scan = tokenizer_; !scan.IsAtEnd();)
      ++counts[static_cast<std::size_t>(scan.Next().type)];
    for (const auto dropped :
         {kFormulaTokenTypeWhitespace, kFormulaTokenTypeRightParen, kFormulaTokenTypeComma})
      counts[static_cast<std::size_t>(dropped)] = 0;
    tree_->numbers_.reserve(counts[kFormulaTokenTypeNumber]);
    tree_->strings_.reserve(counts[kFormulaTokenTypeString]);
    open_.reserve(std::accumulate(counts.begin(), counts.end(), std::size_t{0}));
    tree_->steps_.reserve(counts[kFormulaTokenTypeName] + counts[kFormulaTokenTypeSymbol]);
  }

  void ReadExpressions() {
    tree_->expressions_.reserve(tree_->layers_.size());
    for (std::uint32_t layer = 0; layer < tree_->layers_.size(); ++layer)
      tree_->expressions_.push_back(ReadExpression({*tree_, layer}, tree_->steps_));
  }

  // Builds the layer that begins at the tokenizer's place, puts it in the place of its items and
  // leaves the tokenizer behind it. `depth` layers stand around it.
  void MakeTokenTreeLayer(bool nested, int depth) {
    if (depth > kMaximumNesting) Raise(kLayerSource, u"the formula is nested too deeply");
    const std::size_t first = open_.size();
    std::size_t argument = first;
    while (!tokenizer_.IsAtEnd()) {
      const TokenPlace token = tokenizer_.Next();
      switch (token.type) {
        case kFormulaTokenTypeRightParen:
          if (!nested) {
            Raise(kLayerSource, u"the specified formula has an unbalanced right parenthesis");
          }
          CloseArgument(argument);
          WrapFrom(first);
          return;
        case kFormulaTokenTypeLeftParen: MakeTokenTreeLayer(true, depth + 1); break;
        case kFormulaTokenTypeWhitespace: break;
        case kFormulaTokenTypeComma: argument = TakeComma(first, argument); break;
        default: open_.push_back(MakeItem(token));
      }
    }
    if (nested) Raise(kLayerSource, u"the specified formula has an unbalanced left parenthesis");
    WrapFrom(first);
  }

  // Ends the argument that began at `argument`; where the next one begins.
  std::size_t TakeComma(std::size_t first, std::size_t argument) {
    if (open_.size() == first) {
      Raise(kLayerSource, u"the formula contains an unexpected comma following a left parenthesis");
    }
    if (open_.size() == argument) {
      Raise(kLayerSource, u"the formula contains an unexpected comma following a comma");
    }
    CloseArgument(argument);
    return open_.size();
  }

  // More than one item become a layer.
  void CloseArgument(std::size_t argument) {
    if (open_.size() > argument + 1) WrapFrom(argument);
  }

  // Makes the items from `first` on a layer, grouped by their operators, that takes their place.
  void WrapFrom(std::size_t first) {
    const Item layer = MakeLayer(first, open_.size(), kLoosestLevel);
    open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(first), open_.end());
    open_.push_back(layer);
  }

  Item MakeLayer(std::size_t begin, std::size_t end, int level) {
    for (; level <= kTightestLevel; ++level)
      end = GroupOperatorLevel(begin, end, level);
    auto& items = tree_->items_;
    tree_->layers_.push_back(
        {static_cast<std::uint32_t>(items.size()), static_cast<std::uint32_t>(end - begin)});
    items.insert(items.end(), open_.begin() + static_cast<std::ptrdiff_t>(begin),
                 open_.begin() + static_cast<std::ptrdiff_t>(end));
    return {tree_->layers_.size() - 1, Item::kLayer, 0};
  }

  // Splits the items around the operators of one level, so that each operand between two of them is
  // a single item; where the items, which are fewer then, end.
  std::size_t GroupOperatorLevel(std::size_t begin, std::size_t end, int level) {
    const auto is_operator = [level](const Item& item) {
      return PrecedenceLevel(item.Word()) == level;
    };
    const auto all = std::pair{open_.begin() + static_cast<std::ptrdiff_t>(begin),
                               open_.begin() + static_cast<std::ptrdiff_t>(end)};
    if (std::none_of(all.first, all.second, is_operator)) return end;
    std::size_t operand = begin;
    std::size_t grouped = begin;
    const auto close_operand = [&] {
      if (grouped <= operand + 1) return;
      open_[operand] = MakeLayer(operand, grouped, level + 1);
      grouped = operand + 1;
    };
    for (std::size_t i = begin; i < end; ++i) {
      const Item item = open_[i];
      if (is_operator(item)) close_operand();
      open_[grouped++] = item;
      if (is_operator(item)) operand = grouped;
    }
    close_operand();
    return grouped;
  }

  Item MakeItem(const TokenPlace& token) {
    const auto item = [&](FormulaTokenTypeEnum type, std::size_t detail) {
      return Item(token.begin, static_cast<std::uint32_t>(type), detail);
    };
    switch (token.type) {
      case kFormulaTokenTypeString:
        tree_->strings_.push_back(tokenizer_.TextOf(token));
        return item(token.type, tree_->strings_.size() - 1);
      case kFormulaTokenTypeReference:
        return item(token.type, IndexOfReference(tokenizer_.TextOf(token)));
      case kFormulaTokenTypeNumber:
        tree_->numbers_.push_back(
            NumericValue(TextBetween(token)).value_or(std::numeric_limits<double>::quiet_NaN()));
        return item(token.type, tree_->numbers_.size() - 1);
      case kFormulaTokenTypeName:
        if (const auto function = IndexOfFunction(std::u16string(TextBetween(token)))) {
          return item(kFormulaTokenTypeFunction, *function);
        }
        [[fallthrough]];
      default:
        return item(token.type, static_cast<std::size_t>(FindWord(token.type, TextBetween(token))));
    }
  }

  std::u16string_view TextBetween(const TokenPlace& token) const {
    return std::u16string_view(tree_->formula_).substr(token.begin, token.end - token.begin);
  }

  std::size_t IndexOfReference(std::u16string text) {
    const auto [known, is_new] =
        reference_indices_.try_emplace(std::move(text), tree_->references_.size());
    if (is_new) tree_->references_.emplace_back(known->first);
    return known->second;
  }

  // Empty when the name is no function's.
  std::optional<std::size_t> IndexOfFunction(const std::u16string& name) {
    if (const auto known = function_indices_.find(name); known != function_indices_.end()) {
      return known->second;
    }
    auto function = functions_.Find(name);
    if (function == nullptr) return std::nullopt;
    tree_->functions_.push_back(std::move(function));
    return function_indices_.emplace(name, tree_->functions_.size() - 1).first->second;
  }

  std::unique_ptr<TokenTree> tree_;
  const FunctionRegistry& functions_;
  Tokenizer tokenizer_;
  std::vector<Item> open_;
  std::unordered_map<std::u16string, std::size_t> reference_indices_;
  std::unordered_map<std::u16string, std::size_t> function_indices_;
};

std::shared_ptr<const TokenTree> MakeTokenTree(std::u16string_view formula,
                                               const FunctionRegistry& functions) {
  if (formula.size() > kMaximumFormulaLength) {
    Raise(u"FormulaListener.MakeTokenTree", u"the formula is too long");
  }
  return TokenTreeBuilder(formula, functions).Build();
}

}  // namespace ktformula
