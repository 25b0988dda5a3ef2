#include "analysis/formula_reading.h"

#include <algorithm>
#include <optional>
#include <string>

#include "formula/tokenizer.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

using Tokens = std::vector<TokenPlace>;

bool IsUnit(UnitCatalogue* units, std::u16string_view text) {
  return units != nullptr && units->Find(text);
}

std::u16string UnitHelp(std::u16string_view unit) {
  return u"units belong to columns: give the column the unit " + std::u16string(unit);
}

// The word, up to a blank or an ASCII sign, that begins at the place.
std::u16string_view WordAt(std::u16string_view formula, std::size_t begin) {
  constexpr std::u16string_view kEnds = u" \t\r\n()[],'\"+-*/%&=<>!";
  return formula.substr(begin, formula.find_first_of(kEnds, begin + 1) - begin);
}

// Tells what to write at the place.
void Advise(Finding& finding, const TextRange& place, std::u16string_view text) {
  finding.help = u"write " + std::u16string(text);
  finding.mend = {place, std::u16string(text)};
}

// What stands for an operator or a quote elsewhere.
void AdviseOnCharacter(Finding& finding, const TextRange& place, char16_t character) {
  constexpr struct {
    std::u16string_view characters;
    std::u16string_view meant;
  } kRows[] = {
      {u"\u00D7\u00B7\u22C5", u"*"},
      {u"\u00F7:", u"/"},
      {u"\u2212\u2013", u"-"},
      {u"\u2264", u"<="},
      {u"\u2265", u">="},
      {u"\u2260", u"<>"},
      {u"\u201C\u201D\u201E", u"\""},
      {u";", u","},
  };
  for (const auto& row : kRows) {
    if (row.characters.find(character) != row.characters.npos)
      return Advise(finding, place, row.meant);
  }
  if (character == u'^') finding.help = u"there are no powers: multiply the value by itself";
}

// Whether the two are one character.
bool IsPair(char16_t first, char16_t second) {
  return first >= 0xD800 && first < 0xDC00 && second >= 0xDC00 && second < 0xE000;
}

// Of the place where the tokenizer stops.
Finding NoToken(std::u16string_view formula, std::size_t begin, const RaisedError& error,
                UnitCatalogue* units) {
  if (formula[begin] == u'[') {
    return {ProblemCode::kSyntax, TextRange{begin, 1}, u"the reference is not closed",
            u"write a name and \"]\" behind it"};
  }
  // Units such as "µg" begin with what begins no token.
  const std::u16string_view word = WordAt(formula, begin);
  if (IsUnit(units, word)) {
    return {ProblemCode::kLeftover, TextRange{begin, word.size()},
            InQuotes(word) + u" stands where an operator should", UnitHelp(word)};
  }
  if (begin + 1 < formula.size() && IsPair(formula[begin], formula[begin + 1])) {
    return {ProblemCode::kSyntax, TextRange{begin, 2},
            InQuotes(formula.substr(begin, 2)) + u" is not recognized as the beginning of a token"};
  }
  Finding finding{ProblemCode::kSyntax, TextRange{begin, 1}, error.Description()};
  AdviseOnCharacter(finding, *finding.place, formula[begin]);
  return finding;
}

std::optional<Tokens> ReadTokens(std::u16string_view formula, UnitCatalogue* units,
                                 Findings& findings) {
  Tokens tokens;
  Tokenizer tokenizer(formula, UserLocale());
  try {
    while (!tokenizer.IsAtEnd())
      tokens.push_back(tokenizer.Next());
  } catch (const RaisedError& error) {
    const std::size_t begin = tokens.empty() ? 0 : tokens.back().end;
    findings.push_back(NoToken(formula, begin, error, units));
    return std::nullopt;
  }
  return tokens;
}

// Quotes inside a text are doubled, so that it is closed when their number is even.
bool IsClosedText(std::u16string_view text) {
  return std::count(text.begin(), text.end(), text.front()) % 2 == 0;
}

void FindUnclosed(std::u16string_view formula, const Tokens& tokens, Findings& findings) {
  if (tokens.empty()) return;
  const TokenPlace& last = tokens.back();
  const TextRange place{last.begin, last.end - last.begin};
  const std::u16string_view text = formula.substr(last.begin);
  if (last.type == kFormulaTokenTypeReference && !text.ends_with(u']')) {
    findings.push_back({ProblemCode::kSyntax, place, u"the reference is not closed",
                        u"write \"]\" at its end", Mend{{place.End(), 0}, u"]"}});
  }
  if (last.type == kFormulaTokenTypeString && !IsClosedText(text)) {
    findings.push_back({ProblemCode::kSyntax, place, u"the text is not closed",
                        u"write " + std::u16string(1, text.front()) + u" at its end",
                        Mend{{place.End(), 0}, std::u16string(1, text.front())}});
  }
}

// The parenthesis or comma at which the tree builder stops.
std::optional<TextRange> RefusedPlace(const Tokens& tokens) {
  std::vector<TextRange> open;
  FormulaTokenTypeEnum before = kFormulaTokenTypeLeftParen;
  for (const TokenPlace& token : tokens) {
    if (token.type == kFormulaTokenTypeWhitespace) continue;
    const TextRange place{token.begin, token.end - token.begin};
    const bool is_behind_nothing =
        before == kFormulaTokenTypeLeftParen || before == kFormulaTokenTypeComma;
    before = token.type;
    if (token.type == kFormulaTokenTypeComma && is_behind_nothing) return place;
    if (token.type == kFormulaTokenTypeLeftParen) {
      open.push_back(place);
      if (open.size() > static_cast<std::size_t>(kMaximumNesting)) return place;
    }
    if (token.type == kFormulaTokenTypeRightParen) {
      if (open.empty()) return place;
      open.pop_back();
    }
  }
  return open.empty() ? std::nullopt : std::optional(open.back());
}

std::u16string SourceOf(const SourceMap& map, const LayerItem& item) {
  return std::u16string(map.Text(map.Of(item)));
}

// The token behind the position, blanks aside.
std::optional<TokenPlace> TokenBehind(const SourceMap& map, std::size_t position) {
  const std::size_t begin = map.Text().find_first_not_of(u" \t\r\n", position);
  if (begin == std::u16string::npos) return std::nullopt;
  return Tokenizer(map.Text(), map.Tree().NumberLocale()).At(begin);
}

// Tells what to write where a sign and its operand stand behind another operator; nothing for other
// cases.
void AdviseOnSignBehind(Finding& finding, const SourceMap& map, std::size_t position) {
  const auto sign = TokenBehind(map, position);
  if (!sign) return;
  const std::u16string_view symbol = map.Text({sign->begin, sign->end - sign->begin});
  const auto operand =
      symbol == u"-" || symbol == u"+" ? TokenBehind(map, sign->end) : std::nullopt;
  if (!operand) return;
  const bool is_single =
      operand->type == kFormulaTokenTypeNumber || operand->type == kFormulaTokenTypeReference;
  if (!is_single) return;
  const TextRange place{sign->begin, operand->end - sign->begin};
  Advise(finding, place, u"(" + std::u16string(map.Text(place)) + u")");
}

// "%" that was meant as "percent"; its left neighbour is a number or something else.
Finding PercentSign(const SourceMap& map, const LayerItem& item) {
  const TextRange place = map.Of(item);
  const std::u16string_view before = TrimWhitespace(map.Text({0, place.start}));
  const std::size_t begin = before.find_last_not_of(u"0123456789.") + 1;
  const std::u16string number(before.substr(begin));
  return {
      ProblemCode::kLeftover, place, u"\"%\" is an operator, no sign for percent",
      (number.empty() ? u"divide by 100" : u"write " + number + u"/100") + u" or use the format %"};
}

// Symbols that are no operators between two operands.
std::u16string_view HelpOnSymbol(FormulaWord word) {
  switch (word) {
    case FormulaWord::kPlusMinus: return u"a value with a tolerance is typed into a cell";
    case FormulaWord::kExclamation: return u"write NOT, or != for \"is not\"";
    default: return {};
  }
}

}  // namespace

std::shared_ptr<const TokenTree> ReadFormula(std::u16string_view formula,
                                             const FunctionRegistry& functions,
                                             UnitCatalogue* units, Findings& findings) {
  const std::optional<Tokens> tokens = ReadTokens(formula, units, findings);
  if (!tokens) return nullptr;
  FindUnclosed(formula, *tokens, findings);
  try {
    return MakeTokenTree(formula, functions);
  } catch (const RaisedError& error) {
    findings.push_back({ProblemCode::kSyntax, RefusedPlace(*tokens), error.Description()});
    return nullptr;
  }
}

bool IsUnclosedReference(const SourceMap& map, const LayerItem& item) {
  const TextRange place = map.Of(item);
  return place.End() == map.Text().size() && !map.Text().ends_with(u']');
}

Finding MisplacedSymbol(const SourceMap& map, const LayerItem& item) {
  if (item.Word() == FormulaWord::kModulus) return PercentSign(map, item);
  const std::u16string text = SourceOf(map, item);
  if (const std::u16string_view help = HelpOnSymbol(item.Word()); !help.empty()) {
    return {ProblemCode::kSyntax, map.Of(item), InQuotes(text) + u" is no operator of formulas",
            std::u16string(help)};
  }
  Finding finding{ProblemCode::kSyntax, map.Of(item),
                  u"something is missing in front of " + InQuotes(text)};
  if (item.Word() == FormulaWord::kNot) {
    finding.help = u"behind another operator it is written in capitals: NOT";
  } else {
    AdviseOnSignBehind(finding, map, map.Of(item).start);
  }
  return finding;
}

Finding MissingOperand(const SourceMap& map, const LayerItem& item) {
  if (item.Word() == FormulaWord::kModulus) return PercentSign(map, item);
  Finding finding{ProblemCode::kSyntax, map.Of(item),
                  u"something is missing behind " + InQuotes(SourceOf(map, item))};
  AdviseOnSignBehind(finding, map, map.Of(item).End());
  return finding;
}

Finding Leftover(const SourceMap& map, const LayerItem& item, UnitCatalogue* units) {
  const TextRange place = map.Of(item);
  const std::u16string text = SourceOf(map, item);
  Finding finding{ProblemCode::kLeftover, place,
                  InQuotes(text) + u" stands where an operator should",
                  u"put an operator such as * or & in front of it, or take it away"};
  // With its denominator, if that makes a unit: "g/ml".
  const std::u16string_view rest = std::u16string_view(map.Text()).substr(place.start);
  std::u16string_view unit = rest.substr(0, rest.find_first_of(u" \t\r\n()[],'\"+-*%&=<>!"));
  if (!IsUnit(units, unit)) unit = rest.substr(0, place.length);
  if (IsUnit(units, unit)) {
    finding.place->length = unit.size();
    finding.message = InQuotes(unit) + u" stands where an operator should";
    finding.help = UnitHelp(unit);
  } else if (item.IsLayer()) {
    finding.message = u"an operator is missing in front of " + InQuotes(text);
    finding.help = u"put an operator such as * in front of the parenthesis";
  } else if (place.start > 0 && map.Text()[place.start - 1] == u',' &&
             item.TokenType() == kFormulaTokenTypeNumber) {
    finding.help = u"a comma ends a number: write a decimal point";
  } else if (place.start > 0 && IsDigit(map.Text()[place.start - 1]) && text.size() <= 3 &&
             (text[0] == u'e' || text[0] == u'E')) {
    finding.help = u"numbers have no exponent here: write it out, or multiply by a power of ten";
  }
  return finding;
}

Findings FormatProblems(std::u16string_view pattern) {
  constexpr std::u16string_view kKnown = u"0#.,%E+- ";
  bool is_text = false;
  std::size_t quote = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == u'"') {
      is_text = !is_text;
      quote = i;
    }
    if (is_text || pattern[i] == u'"' || kKnown.find(pattern[i]) != kKnown.npos) continue;
    const std::size_t end = std::min(pattern.find_first_of(u"0#.,%E+- \"", i), pattern.size());
    return {{ProblemCode::kFormat, TextRange{i, end - i},
             u"formats do not know " + InQuotes(pattern.substr(i, end - i)),
             pattern[i] == u'O' || pattern[i] == u'o'
                 ? u"did you mean 0?"
                 : u"use 0 # . , % E + - and blanks; other text stands in double quotes"}};
  }
  if (!is_text) return {};
  return {{ProblemCode::kFormat, TextRange{quote, pattern.size() - quote},
           u"the text is not closed", u"write \" at its end"}};
}

}  // namespace ktformula
