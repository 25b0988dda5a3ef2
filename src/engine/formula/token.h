// Tokens of the formula language.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "formula/formula_function.h"

namespace ktformula {

enum FormulaTokenTypeEnum : std::int32_t {
  kFormulaTokenTypeWhitespace = 0,
  kFormulaTokenTypeName = 1,
  kFormulaTokenTypeString = 2,
  kFormulaTokenTypeReference = 3,
  kFormulaTokenTypeNumber = 4,
  kFormulaTokenTypeSymbol = 5,
  kFormulaTokenTypeLeftParen = 6,
  kFormulaTokenTypeRightParen = 7,
  kFormulaTokenTypeComma = 8,
  kFormulaTokenTypeFunction = 9,
};

// What a name or symbol token means in a formula.
enum class FormulaWord : std::uint8_t {
  kNone,
  kOr,
  kXor,
  kAnd,
  kNot,
  kEquals,
  kGreaterThan,
  kGreaterThanEquals,
  kLessThan,
  kLessThanEquals,
  kNotEquals,
  kAdd,
  kSubtract,
  kPlusMinus,
  kDivide,
  kMultiply,
  kConcatenate,
  kModulus,
  kExclamation,
  kTrue,
  kFalse,
};

// The operators' precedence levels: 1 binds loosest, 6 tightest.
inline constexpr int kLoosestLevel = 1;
inline constexpr int kTightestLevel = 6;

// The level of an operator, 0 for any other word.
int PrecedenceLevel(FormulaWord word) noexcept;

// How many characters the longest symbol takes that the text begins with; 0 when it begins with
// none.
std::size_t SymbolLength(std::u16string_view text) noexcept;

// What a name or a symbol means, in any letter case; kNone for any other text.
FormulaWord FindWord(FormulaTokenTypeEnum type, std::u16string_view text);

// One token of a formula, made for whoever wants to look at it.
struct FormulaToken {
  FormulaTokenTypeEnum TokenType = kFormulaTokenTypeWhitespace;
  // As written; strings without quotes, references without brackets.
  std::u16string TokenText;
  // The function object, for function tokens only.
  std::shared_ptr<IKtFormulaFunction> TokenFunction;
};

}  // namespace ktformula
