// The evaluator: values, error values and raised errors of formulas.
#include "formula/evaluator.h"

#include <gtest/gtest.h>
#include <map>

#include "host_fakes.h"

#include "formula/fake_function.h"
#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

class FakeNames : public NamedValues {
 public:
  FakeNames() {
    values[u"b"].SetBoolean(true);
    values[u"n"].SetNumber(2, 3);
    values[u"e"].SetError(7, u"Source", u"description");
    values[u"yes"].SetString(u"true");
  }
  std::shared_ptr<CellValue> DefinedValue(std::u16string_view name) override {
    ++asked;
    const auto found = values.find(std::u16string(name));
    return found == values.end() ? nullptr : std::make_shared<CellValue>(found->second);
  }

  std::map<std::u16string, CellValue> values;
  int asked = 0;
};

class EvaluatorTest : public ::testing::Test {
 protected:
  EvaluatorTest() {
    Register(u"ARGS", [](const TokenLayer* args, NotebookObject*, CellValue& target) {
      std::u16string shape = args == nullptr ? u"none" : u"";
      for (std::size_t i = 0; args != nullptr && i < args->Count(); ++i)
        shape += args->Item(i).IsLayer() ? u"L" : u"t";
      target.SetString(shape);
    });
    Register(u"ARG", [this](const TokenLayer* args, NotebookObject*, CellValue& target) {
      EvaluateArgument(target, args->Item(0), context);
    });
    Register(u"FAIL", [](auto&&...) { throw RaisedError(99, u"FAIL", u"failed"); });
    Register(u"ERR", [](const TokenLayer*, NotebookObject*, CellValue& target) {
      target.SetError(98, u"ERR", u"value");
    });
    // Leaves the value as it was handed over.
    Register(u"SAME", [this](const TokenLayer*, NotebookObject* anchor, CellValue&) {
      EXPECT_EQ(anchor, object.get());
    });
  }

  void Register(std::u16string_view key, FakeFunction::Body body) {
    registry.Register(key, std::make_shared<FakeFunction>(std::move(body)));
  }

  std::string Evaluate(std::u16string_view formula) {
    CellValue value;
    const std::string raised = Raised(
        [&] { EvaluateTokenTreeLayer(value, MakeTokenTree(formula, registry)->Top(), context); });
    return Spelled(raised.empty() ? Describe(value) : raised);
  }

  void ExpectFormulas(const std::vector<std::string>& rows) {
    ExpectRows(rows, [&](const std::string& formula) { return Evaluate(Widen(formula)); });
  }

  FunctionRegistry registry;
  FakeNames names;
  Ref<FakeProperty> property = MakeRef<FakeProperty>(u"number");
  Ref<FakeField> object = MakeRef<FakeField>();
  EvaluationContext context{property.get(), object.get(), object.get(), &names};
};

TEST_F(EvaluatorTest, AppliesOperatorsFromLeftToRight) {
  ExpectFormulas({
      "1+2*3 -> 7",
      "8-3-2 -> 3",
      "(8-3)*2 -> 10",
      "7%4 -> 3",
      "[n]*10 -> 20..30",
      "'a'&\"b\" -> 'ab",
      "1=1 -> true",
      "1!=1 -> false",
      "1<>2 -> true",
      "1<1 OR 1>1 -> false",
      "2>=2 AND 2<=2 -> true",
      "1=1 AND 1=2 -> false",
      "1=1 Xor 1=1 -> false",
      "1=2 AND 1=1 OR 1=1 -> true",
      "1=1 XOR 1=1 OR 1=1 -> true",
      // "!" evaluates its operand and drops it.
      "1 ! 2 -> 1",
      "1 ! x -> raised CellValue.EvaluateNextToken: the string \"x\" is not recognized",
      "1/0 -> raised 11 KtFormula9: Division by zero",
  });
}

TEST_F(EvaluatorTest, EvaluatesHeadOfLayer) {
  ExpectFormulas({
      " -> raised 9 KtFormula9: Subscript out of range",
      "() -> raised 9 KtFormula9: Subscript out of range",
      "5 -> 5",
      ".5 -> 0.5",
      ". -> raised 13 KtFormula9: Type mismatch",
      "'abc -> 'abc",
      "TRUE -> true",
      "false AND [b] -> false",
      "x + 1 -> raised FormulaPListener.EvaluateTokenTreeLayer: the string \"x\" is not recognized",
      "AND -> raised FormulaPListener.EvaluateTokenTreeLayer: the string \"AND\" is not recognized",
      "FOO(1) -> raised FormulaPListener.EvaluateTokenTreeLayer: the string \"FOO\" is not "
      "recognized",
      // A leading "=" means nothing, and only before a single token.
      "=5 -> 5",
      "=x -> raised FormulaPListener.EvaluateTokenTreeLayer: the string \"x\" is not recognized",
      "= -> raised 9 KtFormula9: Subscript out of range",
      "==5 -> raised FormulaPListener.EvaluateTokenTreeLayer: the symbol \"=\" is not a prefix "
      "symbol",
      "=1+2 -> raised 13 KtFormula9: Type mismatch",
      "=(1) -> raised 13 KtFormula9: Type mismatch",
      // Prefixes stand between a neutral left side and their operand.
      "-5 -> -5",
      "+5 -> 5",
      "-[n] -> -2..-3",
      "--5 -> raised CellValue.EvaluateNextToken: the symbol \"-\" can not follow another symbol",
      "*5 -> raised FormulaPListener.EvaluateTokenTreeLayer: the symbol \"*\" is not a prefix "
      "symbol",
      "! 5 -> raised FormulaPListener.EvaluateTokenTreeLayer: the symbol \"!\" is not a prefix "
      "symbol",
      "NOT [b] -> false",
      "not [b] -> false",
      "NOT 0 -> true",
      "NOT [yes] -> false",
      "NOT [e] -> raised 13 CellValue.BooleanValue: an argument does not evaluate to a Boolean "
      "value",
  });
}

TEST_F(EvaluatorTest, EvaluatesOperandsBehindOperators) {
  ExpectFormulas({
      "1+ -> raised 9 KtFormula9: Subscript out of range",
      "1 + NOT 5 -> raised 9 KtFormula9: Subscript out of range",
      "2*-3 -> raised 9 KtFormula9: Subscript out of range",
      "1 + x -> raised CellValue.EvaluateNextToken: the string \"x\" is not recognized",
      "1=1 AND TRUE -> raised CellValue.EvaluateNextToken: the string \"TRUE\" is not recognized",
      "1=1 AND (TRUE) -> true",
      // NOT behind an operator: in capitals only, and for Booleans only.
      "NOT TRUE -> raised CellValue.EvaluateNextToken: the string \"TRUE\" is not recognized",
      "TRUE AND NOT FALSE -> raised CellValue.EvaluateNextToken: the string \"FALSE\" is not "
      "recognized",
      "[b] AND NOT [b] -> false",
      "NOT NOT [b] -> true",
      "NOT NOT NOT [e] -> raised 13 CellValue.BooleanValue: an argument does not evaluate to a "
      "Boolean value",
      "not NOT [b] -> true",
      "not not [b] -> raised CellValue.EvaluateNextToken: the symbol \"not\" can not follow "
      "another symbol",
      "NOT NOT TRUE -> raised CellValue.EvaluateNextToken: the string \"TRUE\" is not recognized",
      "NOT NOT 5 -> raised 13 CellValue.BooleanValue: an argument does not evaluate to a Boolean "
      "value",
      "1 ! NOT [b] -> raised 9 KtFormula9: Subscript out of range",
      // What stands where an operator belongs.
      "(1)(2) -> raised CellValue.EvaluateTokenTreeLayer: the syntax for the formula is not valid; "
      "an operator is missing",
      "1 2 -> raised CellValue.EvaluateTokenTreeLayer: the syntax for the formula token \"2\" is "
      "not valid",
      "1 [a] -> raised CellValue.EvaluateTokenTreeLayer: the syntax for the formula token \"a\" is "
      "not valid",
      "1 ARGS -> raised CellValue.EvaluateTokenTreeLayer: the syntax for the formula token "
      "\"ARGS\" is not valid",
      "1 foo 2 -> error value CellValue.EvaluateTokenTreeLayer: the string \"foo\" is not "
      "recognized",
      "1 true 2 -> error value CellValue.EvaluateTokenTreeLayer: the string \"true\" is not "
      "recognized",
      "2 +/- 0.1 -> error value CellValue.EvaluateTokenTreeLayer: the symbol \"+/-\" is not a "
      "valid token",
      "+/-1 -> error value CellValue.EvaluateTokenTreeLayer: the symbol \"+/-\" is not a valid "
      "token",
      "2 +/- x -> raised CellValue.EvaluateNextToken: the string \"x\" is not recognized",
  });
}

TEST_F(EvaluatorTest, ErrorValueEndsItsLayerAndTravelsUp) {
  const std::string error = "error value 7 Source: description";
  EXPECT_EQ(Evaluate(u"[e]"), error);
  EXPECT_EQ(Evaluate(u"[e] + x 2"), error);
  EXPECT_EQ(Evaluate(u"(([e] * x) + x) = x"), error);
  EXPECT_EQ(Evaluate(u"1 + [e] + x"), error);
  EXPECT_EQ(Evaluate(u"1 + ([e] x)"), error);
  EXPECT_EQ(Evaluate(u"ERR() + FAIL()"), "error value 98 ERR: value");
  EXPECT_EQ(Evaluate(u"1 + FAIL()"), "raised 99 FAIL: failed");
  EXPECT_EQ(Evaluate(u"1 = 2 2 AND FAIL"),
            "raised CellValue.EvaluateTokenTreeLayer: the syntax for the formula token \"2\" is "
            "not valid");
}

TEST_F(EvaluatorTest, CallsFunctionsWithUnevaluatedArguments) {
  ExpectFormulas({
      "ARGS -> 'none",
      "args() -> '",
      "ARGS(x) -> 't",
      "ARGS(x, 1+y, (z), ) -> 'tLL",
      "'<'&ARGS&ARGS() -> '<none",
      "ARGS&'>' -> 'none>",
      "ARGS(1)(2) -> raised CellValue.EvaluateTokenTreeLayer: the syntax for the formula is not "
      "valid; an operator is missing",
      "ARGS 1 -> raised CellValue.EvaluateTokenTreeLayer: the syntax for the formula token \"1\" "
      "is not valid",
      // One argument: a token by itself or a layer.
      "ARG(5) -> 5",
      "ARG('a') -> 'a",
      "ARG([n]) -> 2..3",
      "ARG(TRUE) -> true",
      "ARG(ARGS) -> 'none",
      "ARG(ARGS()) -> '",
      "ARG(1+2) -> 3",
      "ARG(x) -> raised CellValue.EvaluateArgument: the string \"x\" is not recognized",
      "ARG(+) -> raised CellValue.EvaluateArgument: the symbol \"+\" can not be evaluated in "
      "isolation",
      "ARG(NOT) -> raised CellValue.EvaluateArgument: the symbol \"NOT\" can not be evaluated in "
      "isolation",
      // The value handed over is of the property's kind at the head, and fresh behind operators.
      "SAME -> 0",
      "ARG(SAME) -> 0",
      "1 ! SAME(1) -> 1",
  });
}

// Long formulas take time in proportion to their length; anything worse would take minutes here.
TEST_F(EvaluatorTest, LongFormulas) {
  constexpr std::size_t kCount = 100'000;
  const auto repeat = [](std::u16string_view text, std::size_t count) {
    std::u16string all;
    for (std::size_t i = 0; i < count; ++i)
      all += text;
    return all;
  };
  EXPECT_EQ(Evaluate(repeat(u"1+", kCount) + u"1"), "100001");
  EXPECT_EQ(Evaluate(repeat(u"1*2-", kCount) + u"1"), "-199997");
  EXPECT_EQ(Evaluate(repeat(u"(1)+", kCount) + u"1"), "100001");
  EXPECT_EQ(Evaluate(repeat(u"NOT ", kCount) + u"[b]"), "true");
  EXPECT_EQ(Evaluate(u"ARGS(" + repeat(u"1+1,", kCount) + u")"), "'" + std::string(kCount, 'L'));
  EXPECT_EQ(Evaluate(u"'" + repeat(u"''", kCount)), "'" + std::string(kCount, '\''));
  EXPECT_EQ(Evaluate(u"0." + repeat(u"3", kCount) + u" ! 0" + repeat(u"0", kCount)),
            "0.3333333333333333");
}

// As deep as parentheses may nest, with every operator level between each two.
TEST_F(EvaluatorTest, DeepestFormulaFitsEvaluationLimit) {
  std::u16string formula = u"1";
  for (int depth = 0; depth < kMaximumNesting; ++depth) {
    formula = u"1=2 OR [b] AND NOT 1=2+1*1!(" + formula + u")";
  }
  EXPECT_EQ(Evaluate(formula), "true");
}

// A formula that evaluates itself without end.
class EvaluationDepthTest : public EvaluatorTest {
 protected:
  EvaluationDepthTest() {
    Register(u"AGAIN", [this](const TokenLayer*, NotebookObject*, CellValue& target) {
      ++calls;
      EvaluateTokenTreeLayer(target, tree->Top(), context);
    });
    tree = MakeTokenTree(u"AGAIN", registry);
  }
  ~EvaluationDepthTest() override { SetEvaluationStackEnd(nullptr); }
  std::string EvaluateTree() {
    CellValue value;
    calls = 0;
    return Raised([&] { EvaluateTokenTreeLayer(value, tree->Top(), context); });
  }

  const std::string refusal =
      "raised -2147220991 CellValue.EvaluateTokenTreeLayer: the formula is nested too deeply; ";
  std::shared_ptr<const TokenTree> tree;
  int calls = 0;
};

TEST_F(EvaluationDepthTest, IsLimited) {
  EXPECT_EQ(EvaluateTree(), refusal);
  EXPECT_EQ(calls, kMaximumEvaluationDepth);
  // Nothing stays counted.
  EXPECT_EQ(EvaluateTree(), refusal);
  EXPECT_EQ(calls, kMaximumEvaluationDepth);
}

TEST_F(EvaluationDepthTest, EndsWhereTheHostSaysThatTheStackEnds) {
  const char here = 0;
  constexpr std::ptrdiff_t kRoom = 100'000;
  SetEvaluationStackEnd(&here - kRoom);
  EXPECT_EQ(EvaluateTree(), refusal);
  EXPECT_GT(calls, 10);
  EXPECT_LT(calls, kMaximumEvaluationDepth);
  SetEvaluationStackEnd(nullptr);
  EvaluateTree();
  EXPECT_EQ(calls, kMaximumEvaluationDepth);
}

}  // namespace
}  // namespace ktformula
