#include "formula/tokenizer.h"

#include <algorithm>

#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

constexpr bool IsWhitespace(char16_t character) noexcept {
  return character == u' ' || character == u'\r' || character == u'\n' || character == u'\t';
}

constexpr bool IsNameCharacter(char16_t character) noexcept {
  return IsLetter(character) || IsDigit(character) || character == u'_';
}

}  // namespace

FormulaTokenTypeEnum StartTokenType(char16_t character) {
  if (IsWhitespace(character)) return kFormulaTokenTypeWhitespace;
  if (IsDigit(character) || character == u'.') return kFormulaTokenTypeNumber;
  if (IsLetter(character) || character == u'_') return kFormulaTokenTypeName;
  switch (character) {
    case u'(': return kFormulaTokenTypeLeftParen;
    case u')': return kFormulaTokenTypeRightParen;
    case u'\'':
    case u'"': return kFormulaTokenTypeString;
    case u'[': return kFormulaTokenTypeReference;
    case u',': return kFormulaTokenTypeComma;
    default: break;
  }
  // Each symbol begins with one that stands alone.
  if (SymbolLength({&character, 1}) == 1) return kFormulaTokenTypeSymbol;
  Raise(u"FormulaPListener.StartTokenType",
        u"the character \"" + std::u16string(1, character) +
            u"\" is not recognized as the first character of a formula token");
}

TokenPlace Tokenizer::Next() {
  const TokenPlace token = At(position_);
  position_ = token.end;
  return token;
}

TokenPlace Tokenizer::At(std::size_t begin) const {
  FormulaTokenTypeEnum type = StartTokenType(formula_[begin]);
  const std::size_t end = EndOf(type, begin);
  const bool is_not = type == kFormulaTokenTypeName &&
                      FindWord(kFormulaTokenTypeSymbol, Slice(begin, end)) == FormulaWord::kNot;
  if (is_not) type = kFormulaTokenTypeSymbol;
  return {type, begin, end};
}

std::u16string Tokenizer::TextOf(const TokenPlace& token) const {
  switch (token.type) {
    case kFormulaTokenTypeString: return StringText(token);
    // One character too many is cut off a reference that is not closed, as if "]" stood there.
    case kFormulaTokenTypeReference: return std::u16string(Slice(token.begin + 1, token.end - 1));
    default: return std::u16string(Slice(token.begin, token.end));
  }
}

std::size_t Tokenizer::EndOf(FormulaTokenTypeEnum type, std::size_t begin) const {
  switch (type) {
    case kFormulaTokenTypeWhitespace: return EndOfRun(begin, IsWhitespace);
    case kFormulaTokenTypeName: return EndOfRun(begin, IsNameCharacter);
    case kFormulaTokenTypeString: return EndOfString(begin);
    case kFormulaTokenTypeReference: return EndOfReference(begin);
    case kFormulaTokenTypeNumber: return EndOfNumber(begin);
    case kFormulaTokenTypeSymbol: return begin + SymbolLength(formula_.substr(begin));
    default: return begin + 1;
  }
}

template <typename Predicate>
std::size_t Tokenizer::EndOfRun(std::size_t position, Predicate belongs) const {
  while (position < formula_.size() && belongs(formula_[position]))
    ++position;
  return position;
}

// A doubled quote stands for one; the other quote character is ordinary text.
std::size_t Tokenizer::EndOfString(std::size_t begin) const {
  const char16_t quote = formula_[begin];
  std::size_t position = begin + 1;
  while (true) {
    position = formula_.find(quote, position);
    if (position == std::u16string_view::npos) return formula_.size();
    ++position;
    if (position == formula_.size() || formula_[position] != quote) return position;
    ++position;
  }
}

std::size_t Tokenizer::EndOfReference(std::size_t begin) const {
  const std::size_t close = formula_.find(u']', begin + 1);
  const std::size_t end = close == std::u16string_view::npos ? formula_.size() : close + 1;
  if (end - begin < 2) Raise(RuntimeError::kInvalidProcedureCall);
  return end;
}

// A comma ends a number even where it is the decimal separator.
std::size_t Tokenizer::EndOfNumber(std::size_t begin) const {
  const std::size_t length = NumeralLength(formula_.substr(begin), locale_);
  return begin + std::min(length, formula_.substr(begin, length).find(u','));
}

std::u16string Tokenizer::StringText(const TokenPlace& token) const {
  const char16_t quote = formula_[token.begin];
  std::u16string text;
  for (std::size_t position = token.begin + 1; position < token.end; ++position) {
    if (formula_[position] == quote) {
      // The closing quote, or the first of two.
      if (++position == token.end) break;
    }
    text.push_back(formula_[position]);
  }
  return text;
}

std::vector<FormulaToken> Tokenize(std::u16string_view formula, const FunctionRegistry& functions) {
  std::vector<FormulaToken> tokens;
  Tokenizer tokenizer(formula, UserLocale());
  while (!tokenizer.IsAtEnd()) {
    const TokenPlace place = tokenizer.Next();
    FormulaToken& token = tokens.emplace_back();
    token.TokenText = tokenizer.TextOf(place);
    token.TokenType = place.type;
    if (place.type != kFormulaTokenTypeName) continue;
    token.TokenFunction = functions.Find(token.TokenText);
    if (token.TokenFunction != nullptr) token.TokenType = kFormulaTokenTypeFunction;
  }
  return tokens;
}

}  // namespace ktformula
