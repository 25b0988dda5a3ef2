// The tokenizer: which tokens a formula is read into.
#include "formula/tokenizer.h"

#include <gtest/gtest.h>

#include "formula/fake_function.h"
#include "values/describe.h"
#include "values/platform.h"
#include "values/text.h"

namespace ktformula {
namespace {

// "name a; blank; symbol +; (".
std::string Dump(const std::vector<FormulaToken>& tokens) {
  constexpr std::string_view kKinds[] = {"blank",  "name", "string", "reference", "number",
                                         "symbol", "(",    ")",      ",",         "function"};
  std::string dump;
  for (const FormulaToken& token : tokens) {
    dump += dump.empty() ? "" : "; ";
    dump += kKinds[token.TokenType];
    switch (token.TokenType) {
      case kFormulaTokenTypeWhitespace:
      case kFormulaTokenTypeLeftParen:
      case kFormulaTokenTypeRightParen:
      case kFormulaTokenTypeComma: break;
      default: dump += " " + Narrow(token.TokenText);
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
          "a+b -> name a; symbol +; name b",
          " a \t\r\n+b -> blank; name a; blank; symbol +; name b",
          "_x9y Z_ 9x -> name _x9y; blank; name Z_; blank; number 9; name x",
          // NOT is a symbol, the other keywords and names of no function are names.
          "not x NOT -> symbol not; blank; name x; blank; symbol NOT",
          "and OR Xor true ROWTAG -> name and; blank; name OR; blank; name Xor; blank; name true; "
          "blank; name ROWTAG",
          "sum(1,2) -> function sum; (; number 1; ,; number 2; )",
          "SUM Sum SUM1 -> function SUM; blank; function Sum; blank; name SUM1",
          // Strings: the other quote is text, a doubled one is one, the end of the text closes.
          "'it''s' -> string it's",
          "\"say 'hi'\" -> string say 'hi'",
          "'a'\"b\"\"\"'' -> string a; string b\"; string ",
          "'abc -> string abc",
          "' -> string ",
          "'a'' -> string a'",
          "'[a]' -> string [a]",
          // References: anything up to "]"; one that is not closed loses its last character.
          "[Yield (g)] -> reference Yield (g)",
          "[a'b, c: d][] -> reference a'b, c: d; reference ",
          "[ab -> reference a",
          "[a -> reference ",
          "[a[b]] -> raised -2147220991 FormulaPListener.StartTokenType: the character \"]\" is "
          "not "
          "recognized as the first character of a formula token; ",
          // Numbers: as far as every prefix is numeric.
          "1.5 .5 1. . -> number 1.5; blank; number .5; blank; number 1.; blank; number .",
          "1.2.3 1..2 -> number 1.2; number .3; blank; number 1.; number .2",
          "12,5 1,000 -> number 12; ,; number 5; blank; number 1; ,; number 000",
          "1e5 2E+3 -> number 1; name e5; blank; number 2; name E; symbol +; number 3",
          "007 1_0 -> number 007; blank; number 1; name _0",
          // Symbols: five long ones and no other pairs.
          "1+/-2 +/ /- -> number 1; symbol +/-; number 2; blank; symbol +; symbol /; blank; symbol "
          "/; symbol -",
          "!=<=<>>= -> symbol !=; symbol <=; symbol <>; symbol >=",
          "== => =< >< !< -> symbol =; symbol =; blank; symbol =; symbol >; blank; symbol =; "
          "symbol <; blank; symbol >; symbol <; blank; symbol !; symbol <",
          "*&%<>!/-+ -> symbol *; symbol &; symbol %; symbol <>; symbol !; symbol /; symbol -; "
          "symbol +",
          "((,)) -> (; (; ,; ); )",
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
  ExpectRows(
      {
          "1,5 -> number 1; ,; number 5",
          "1.5 -> number 1; number .; number 5",
          "'1,5' -> string 1,5",
      },
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

// A host's dictionary that forgets what it is given, and fails.
class ForgettingDictionary final : public FunctionDictionary {
 public:
  explicit ForgettingDictionary(bool fails) : fails_(fails) {}
  void Add(std::u16string_view, std::shared_ptr<IKtFormulaFunction>) override {}
  void Remove(std::u16string_view) override {}
  std::shared_ptr<IKtFormulaFunction> Find(std::u16string_view) const override { return nullptr; }
  std::vector<std::shared_ptr<IKtFormulaFunction>> Items() const override {
    if (fails_) throw RaisedError(70, u"Host", u"failed");
    return {};
  }
  void Clear() override {
    if (fails_) throw RaisedError(70, u"Host", u"failed");
  }

 private:
  bool fails_;
};

TEST(FunctionRegistryTest, EndsWhatTheDictionaryHasLost) {
  for (const bool fails : {false, true}) {
    FunctionRegistry registry(std::make_unique<ForgettingDictionary>(fails));
    int ended = 0;
    registry.Register(u"SUM", std::make_shared<FakeFunction>([](auto&&...) {}, [&] { ++ended; }));
    registry.Terminate();
    registry.Terminate();
    EXPECT_EQ(ended, 1);
  }
}

}  // namespace
}  // namespace ktformula
