// The tokenizer: which tokens a formula is read into.
#include "formula/tokenizer.h"

#include <gtest/gtest.h>

#include "formula/fake_function.h"
#include "values/describe.h"
#include "values/platform.h"
#include "values/text.h"

namespace ktformula {
namespace {

// "n:a _ o:+": the kinds as letters, "_" for whitespace.
std::string Dump(const std::vector<FormulaToken>& tokens) {
  constexpr std::string_view kKinds = "_nsr#o(),f";
  std::string dump;
  for (const FormulaToken& token : tokens) {
    dump += dump.empty() ? "" : " ";
    dump += kKinds[static_cast<std::size_t>(token.TokenType)];
    switch (token.TokenType) {
      case kFormulaTokenTypeWhitespace:
      case kFormulaTokenTypeLeftParen:
      case kFormulaTokenTypeRightParen:
      case kFormulaTokenTypeComma: break;
      default: dump += ":" + Narrow(token.TokenText);
    }
  }
  return dump;
}

class TokenizerTest : public ::testing::Test {
 protected:
  TokenizerTest() { registry.Register(u"SUM", sum); }
  ~TokenizerTest() override { SetUserLocale({}); }

  std::string Tokens(const std::string& formula) {
    std::vector<FormulaToken> tokens;
    const std::string raised = Raised([&] { tokens = Tokenize(Widen(formula), registry); });
    return raised + Dump(tokens);
  }

  std::shared_ptr<FakeFunction> sum = std::make_shared<FakeFunction>();
  FunctionRegistry registry;
};

TEST_F(TokenizerTest, ReadsEachKindOfToken) {
  ExpectRows(
      {
          " -> ",
          "a+b -> n:a o:+ n:b",
          " a \t\r\n+b -> _ n:a _ o:+ n:b",
          "_x9y Z_ 9x -> n:_x9y _ n:Z_ _ #:9 n:x",
          // NOT is a symbol, the other keywords and names of no function are names.
          "not x NOT -> o:not _ n:x _ o:NOT",
          "and OR Xor true ROWTAG -> n:and _ n:OR _ n:Xor _ n:true _ n:ROWTAG",
          "sum(1,2) -> f:sum ( #:1 , #:2 )",
          "SUM Sum SUM1 -> f:SUM _ f:Sum _ n:SUM1",
          // Strings: the other quote is text, a doubled one is one, the end of the text closes.
          "'it''s' -> s:it's",
          "\"say 'hi'\" -> s:say 'hi'",
          "'a'\"b\"\"\"'' -> s:a s:b\" s:",
          "'abc -> s:abc",
          "' -> s:",
          "'a'' -> s:a'",
          "'[a]' -> s:[a]",
          // References: anything up to "]"; one that is not closed loses its last character.
          "[Yield (g)] -> r:Yield (g)",
          "[a'b, c: d][] -> r:a'b, c: d r:",
          "[ab -> r:a",
          "[a -> r:",
          "[a[b]] -> raised -2147220991 FormulaPListener.StartTokenType: the character \"]\" is "
          "not "
          "recognized as the first character of a formula token; ",
          // Numbers: as far as every prefix is numeric.
          "1.5 .5 1. . -> #:1.5 _ #:.5 _ #:1. _ #:.",
          "1.2.3 1..2 -> #:1.2 #:.3 _ #:1. #:.2",
          "12,5 1,000 -> #:12 , #:5 _ #:1 , #:000",
          "1e5 2E+3 -> #:1 n:e5 _ #:2 n:E o:+ #:3",
          "007 1_0 -> #:007 _ #:1 n:_0",
          // Symbols: five long ones and no other pairs.
          "1+/-2 +/ /- -> #:1 o:+/- #:2 _ o:+ o:/ _ o:/ o:-",
          "!=<=<>>= -> o:!= o:<= o:<> o:>=",
          "== => =< >< !< -> o:= o:= _ o:= o:> _ o:= o:< _ o:> o:< _ o:! o:<",
          "*&%<>!/-+ -> o:* o:& o:% o:<> o:! o:/ o:- o:+",
          "((,)) -> ( ( , ) )",
      },
      [&](const std::string& formula) { return Tokens(formula); });
}

TEST_F(TokenizerTest, RefusesWhatBeginsNoToken) {
  EXPECT_EQ(Tokens("1 + ["), "raised 5 KtFormula9: Invalid procedure call or argument; ");
  // Digits, letters and blanks are those of ASCII; the neighbours of their ranges are not.
  std::u16string characters = u"#]{};:?@`^|~\\$\v\u00a0\u00e4\u0661\uff11";
  characters += static_cast<char16_t>(0xD83D);  // half of a surrogate pair
  for (const char16_t character : characters) {
    try {
      StartTokenType(character);
      ADD_FAILURE() << static_cast<int>(character);
    } catch (const RaisedError& error) {
      EXPECT_EQ(error.Description(),
                u"the character \"" + std::u16string(1, character) +
                    u"\" is not recognized as the first character of a formula token");
      EXPECT_EQ(error.Source(), u"FormulaPListener.StartTokenType");
    }
  }
}

TEST_F(TokenizerTest, TakesDecimalSeparatorFromLocale) {
  SetUserLocale({u',', u'.'});
  ExpectRows({"1,5 -> #:1 , #:5", "1.5 -> #:1 #:. #:5", "'1,5' -> s:1,5"},
             [&](const std::string& formula) { return Tokens(formula); });
}

TEST_F(TokenizerTest, BindsFunctionObjectToItsNames) {
  const auto tokens = Tokenize(u"sum SUM foo", registry);
  EXPECT_EQ(tokens[0].TokenFunction, sum);
  EXPECT_EQ(tokens[2].TokenFunction, sum);
  EXPECT_EQ(tokens[4].TokenFunction, nullptr);
}

TEST(FunctionRegistryTest, FindsFunctionsInAnyLetterCase) {
  FunctionRegistry registry;
  std::string ended;
  const auto sum = std::make_shared<FakeFunction>([](auto&&...) {}, [&] { ended += "SUM "; });
  registry.Register(u"SUM", sum);
  registry.Register(u"AVG",
                    std::make_shared<FakeFunction>([](auto&&...) {}, [&] { ended += "AVG "; }));
  EXPECT_EQ(registry.FormulaFunction(u"sUm"), sum);
  EXPECT_EQ(registry.Find(u"SUMM"), nullptr);
  EXPECT_EQ(Raised([&] { registry.FormulaFunction(u"Foo"); }),
            "raised -2147220991 FormulaListener.FormulaFunction: the function \"Foo\" is not "
            "recognized; ");
  EXPECT_EQ(Raised([&] { registry.Register(u"SUM", sum); }),
            "raised 457 KtFormula9: This key is already associated with an element of this "
            "collection; ");
  registry.Terminate();
  EXPECT_EQ(ended, "SUM AVG ");
  EXPECT_EQ(registry.Find(u"SUM"), nullptr);
}

}  // namespace
}  // namespace ktformula
