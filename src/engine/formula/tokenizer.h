// The tokenizer: formula text to tokens.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "formula/function_registry.h"
#include "formula/token.h"
#include "values/platform.h"

namespace ktformula {

// The kind of a token that begins with the character. Raises kComponentError for a character that
// begins none.
FormulaTokenTypeEnum StartTokenType(char16_t character);

// Where a token stands in its formula, quotes and brackets included.
struct TokenPlace {
  FormulaTokenTypeEnum type;
  std::size_t begin;
  std::size_t end;
};

// Reads a formula token by token. The formula is borrowed.
class Tokenizer {
 public:
  Tokenizer(std::u16string_view formula, const Locale& locale)
      : formula_(formula), locale_(locale) {}

  bool IsAtEnd() const noexcept { return position_ == formula_.size(); }

  // The next token, whitespace included; functions are names still. Raises kComponentError for a
  // character that begins no token and error 5 for a "[" at the very end; a string or reference
  // that is not closed runs to the end of the formula.
  TokenPlace Next();

  // The token that begins at this position, which was found by Next before.
  TokenPlace At(std::size_t begin) const;

  // The token's text as FormulaToken has it.
  std::u16string TextOf(const TokenPlace& token) const;

 private:
  std::u16string_view Slice(std::size_t begin, std::size_t end) const {
    return formula_.substr(begin, end - begin);
  }
  template <typename Predicate>
  std::size_t EndOfRun(std::size_t position, Predicate belongs) const;
  std::size_t EndOf(FormulaTokenTypeEnum type, std::size_t begin) const;
  std::size_t EndOfString(std::size_t begin) const;
  std::size_t EndOfReference(std::size_t begin) const;
  std::size_t EndOfNumber(std::size_t begin) const;
  std::u16string StringText(const TokenPlace& token) const;

  std::u16string_view formula_;
  Locale locale_;
  std::size_t position_ = 0;
};

// All tokens in order, whitespace included. A name that is a function of the registry becomes a
// function token. Raises what Tokenizer::Next raises.
std::vector<FormulaToken> Tokenize(std::u16string_view formula, const FunctionRegistry& functions);

}  // namespace ktformula
