// The token tree: how tokens are grouped.
#include "formula/token_tree.h"

#include <gtest/gtest.h>

#include "formula/fake_function.h"
#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

std::string Dump(const TokenLayer& layer) {
  std::string dump = "[";
  for (std::size_t i = 0; i < layer.Count(); ++i) {
    if (i > 0) dump += ", ";
    const LayerItem item = layer.Item(i);
    dump += item.IsLayer() ? Dump(item.Layer()) : Narrow(item.TokenText());
  }
  return dump + "]";
}

std::string Tree(const std::string& formula) {
  FunctionRegistry registry;
  registry.Register(u"SUM", std::make_shared<FakeFunction>());
  std::string tree;
  const std::string raised =
      Raised([&] { tree = Dump(MakeTokenTree(Widen(formula), registry)->Top()); });
  return raised + tree;
}

// A host's dictionary that makes its function anew whenever it is asked for it.
class MakingDictionary final : public FunctionDictionary {
 public:
  explicit MakingDictionary(int& made) : made_(made) {}
  void Add(std::u16string_view, std::shared_ptr<IKtFormulaFunction>) override {}
  void Remove(std::u16string_view) override {}
  std::shared_ptr<IKtFormulaFunction> Find(std::u16string_view key) const override {
    return key == u"F" ? (++made_, std::make_shared<FakeFunction>()) : nullptr;
  }
  std::vector<std::shared_ptr<IKtFormulaFunction>> Items() const override { return {}; }
  void Clear() override {}

 private:
  int& made_;
};

TEST(TokenTreeTest, AsksOnceForAFunction) {
  int made = 0;
  const FunctionRegistry registry(std::make_unique<MakingDictionary>(made));
  const auto tree = MakeTokenTree(u"F(1) + F(G) + F(F)", registry);
  EXPECT_EQ(made, 1);
  EXPECT_EQ(Dump(tree->Top()), "[[F, [1]], +, [F, [G]], +, [F, [F]]]");
}

TEST(TokenTreeTest, GroupsByParenthesesAndPrecedence) {
  ExpectRows(
      {
          " -> []",
          "1+2*3 -> [1, +, [2, *, 3]]",
          "1*2+3*4-5 -> [[1, *, 2], +, [3, *, 4], -, 5]",
          "a OR b AND c -> [a, OR, [b, AND, c]]",
          "a or b and c -> [a, or, [b, and, c]]",
          "NOT a AND b -> [[NOT, a], AND, b]",
          "x = 2 +/- 0.1 -> [x, =, [2, +/-, 0.1]]",
          "(1+2)*3 -> [[[1, +, 2]], *, 3]",
          "SUM(a, b+1) / 2 -> [[SUM, [a, [b, +, 1]]], /, 2]",
          // All six levels at once, and operators of one level side by side.
          "a XOR b AND NOT c = d + e * f -> [a, XOR, [b, AND, [NOT, [c, =, [d, +, [e, *, f]]]]]]",
          "a OR b XOR c -> [a, OR, b, XOR, c]",
          "a-b+c+/-d -> [a, -, b, +, c, +/-, d]",
          "a/b*c%d&e -> [a, /, b, *, c, %, d, &, e]",
          "a<b<=c>d>=e<>f!=g -> [a, <, b, <=, c, >, d, >=, e, <>, f, !=, g]",
          // No operators: "!", and texts that only look like one.
          "1 ! 2+3 -> [[1, !, 2], +, 3]",
          "1 'OR' [AND] 2 -> [1, OR, AND, 2]",
          // Prefixes, and operators that lack an operand.
          "-a*b -> [-, [a, *, b]]",
          "2*-3 -> [[2, *], -, 3]",
          "NOT NOT a -> [NOT, NOT, a]",
          "1 + NOT 5 -> [[1, +], NOT, 5]",
          "=1+2 -> [=, [1, +, 2]]",
          "a OR -> [a, OR]",
          // Parentheses and arguments.
          "() -> [[]]",
          "((1)) -> [[[1]]]",
          "(a+b) -> [[[a, +, b]]]",
          "(a, b+c) -> [[a, [b, +, c]]]",
          "SUM() SUM -> [SUM, [], SUM]",
          "SUM(1,) -> [SUM, [1]]",
          "SUM(1+2,) -> [SUM, [[1, +, 2]]]",
          "SUM(SUM(1,2)) -> [SUM, [[SUM, [1, 2]]]]",
          "SUM(1 OR 2*3, 4) -> [SUM, [[1, OR, [2, *, 3]], 4]]",
          // Commas of the top layer mean nothing, and nothing closes its last argument.
          "1, 2+3 -> [[1, 2], +, 3]",
          "1+2, 3 -> [[1, +, 2], 3]",
      },
      Tree);
}

TEST(TokenTreeTest, RefusesUnbalancedFormulas) {
  ExpectRows(
      {
          "(1 -> an unbalanced left parenthesis",
          "((1) -> an unbalanced left parenthesis",
          "1) -> an unbalanced right parenthesis",
          "(1)) -> an unbalanced right parenthesis",
          ") -> an unbalanced right parenthesis",
          "(,1) -> an unexpected comma following a left parenthesis",
          ",1 -> an unexpected comma following a left parenthesis",
          "(1,,2) -> an unexpected comma following a comma",
          "1+1,, -> an unexpected comma following a comma",
      },
      [](const std::string& formula) {
        const std::string raised = Tree(formula);
        const std::string prefix = "raised -2147220991 FormulaListener.MakeTokenTreeLayer: ";
        EXPECT_TRUE(raised.starts_with(prefix)) << raised;
        const std::size_t message = raised.find(" an un") + 1;
        return raised.substr(message, raised.size() - message - 2);
      });
}

TEST(TokenTreeTest, LimitsNesting) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '(') + "1" + std::string(depth, ')');
  };
  EXPECT_EQ(Tree(nested(256)).size(), 2 * 257 + 1);
  const std::string refusal =
      "raised -2147220991 FormulaListener.MakeTokenTreeLayer: the formula is nested too deeply; ";
  EXPECT_EQ(Tree(nested(257)), refusal);
  EXPECT_EQ(Tree(std::string(100'000, '(')), refusal);
}

}  // namespace
}  // namespace ktformula
