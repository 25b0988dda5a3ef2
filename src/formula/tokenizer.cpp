#include "formula/tokenizer.h"

#include <algorithm>
#include <array>

#include "values/platform.h"
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

class Tokenizer {
 public:
  Tokenizer(std::u16string_view formula, const FunctionRegistry& functions)
      : formula_(formula), functions_(functions) {}

  std::vector<FormulaToken> Run() {
    while (position_ < formula_.size()) {
      start_ = position_;
      const FormulaTokenTypeEnum type = StartTokenType(formula_[start_]);
      ++position_;
      tokens_.push_back(ReadToken(type));
    }
    return std::move(tokens_);
  }

 private:
  FormulaToken ReadToken(FormulaTokenTypeEnum type) {
    switch (type) {
      case kFormulaTokenTypeWhitespace: SkipWhile(IsWhitespace); break;
      case kFormulaTokenTypeName: SkipWhile(IsNameCharacter); return NameToken();
      case kFormulaTokenTypeString: return {type, ReadString()};
      case kFormulaTokenTypeReference: return {type, ReadReference()};
      case kFormulaTokenTypeNumber: position_ = start_ + NumberLength(); break;
      case kFormulaTokenTypeSymbol: position_ = start_ + SymbolLength(); break;
      default: break;
    }
    return {type, Slice(start_, position_)};
  }

  std::u16string_view Slice(std::size_t begin, std::size_t end) const {
    return formula_.substr(begin, end - begin);
  }

  template <typename Predicate>
  void SkipWhile(Predicate belongs) {
    while (position_ < formula_.size() && belongs(formula_[position_]))
      ++position_;
  }

  FormulaToken NameToken() const {
    const std::u16string_view name = Slice(start_, position_);
    if (UpperCase(name) == u"NOT") return {kFormulaTokenTypeSymbol, name};
    if (auto function = functions_.Find(name)) {
      FormulaToken token(kFormulaTokenTypeFunction, name);
      token.TokenFunction = std::move(function);
      return token;
    }
    return {kFormulaTokenTypeName, name};
  }

  // A doubled quote stands for one; the other quote character is ordinary text.
  std::u16string ReadString() {
    const char16_t quote = formula_[start_];
    std::u16string text;
    while (position_ < formula_.size()) {
      const char16_t character = formula_[position_++];
      if (character == quote) {
        if (position_ == formula_.size() || formula_[position_] != quote) break;
        ++position_;
      }
      text.push_back(character);
    }
    return text;
  }

  // One character too many is cut off a reference that is not closed, as if "]" stood there.
  std::u16string_view ReadReference() {
    const std::size_t close = formula_.find(u']', position_);
    position_ = close == std::u16string_view::npos ? formula_.size() : close + 1;
    if (position_ - start_ < 2) Raise(RuntimeError::kInvalidProcedureCall);
    return Slice(start_ + 1, position_ - 1);
  }

  // A comma ends a number even where it is the decimal separator.
  std::size_t NumberLength() const {
    const std::size_t length = NumeralLength(formula_.substr(start_));
    return std::min(length, formula_.substr(start_, length).find(u','));
  }

  std::size_t SymbolLength() const {
    static constexpr std::array<std::u16string_view, 5> kLongSymbols{u"+/-", u"!=", u"<=", u"<>",
                                                                     u">="};
    for (const std::u16string_view symbol : kLongSymbols) {
      if (formula_.substr(start_).starts_with(symbol)) return symbol.size();
    }
    return 1;
  }

  std::u16string_view formula_;
  const FunctionRegistry& functions_;
  std::vector<FormulaToken> tokens_;
  std::size_t start_ = 0;
  std::size_t position_ = 0;
};

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
  constexpr std::u16string_view kSymbols = u"=+-/*><&!%";
  if (kSymbols.find(character) != std::u16string_view::npos) return kFormulaTokenTypeSymbol;
  Raise(u"FormulaPListener.StartTokenType",
        u"the character \"" + std::u16string(1, character) +
            u"\" is not recognized as the first character of a formula token");
}

std::vector<FormulaToken> Tokenize(std::u16string_view formula, const FunctionRegistry& functions) {
  return Tokenizer(formula, functions).Run();
}

}  // namespace ktformula
