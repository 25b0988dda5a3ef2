#include "formula/token.h"

#include <algorithm>
#include <array>

#include "values/text.h"

namespace ktformula {

namespace {

struct WordRow {
  std::u16string_view text;
  FormulaTokenTypeEnum type;
  FormulaWord word;
  int level;
};

// All symbols and words of the language: the operators from the loosest to the tightest, then the
// words without a level.
constexpr std::array<WordRow, 21> kWords{{
    {u"OR", kFormulaTokenTypeName, FormulaWord::kOr, 1},
    {u"XOR", kFormulaTokenTypeName, FormulaWord::kXor, 1},
    {u"AND", kFormulaTokenTypeName, FormulaWord::kAnd, 2},
    {u"NOT", kFormulaTokenTypeSymbol, FormulaWord::kNot, 3},
    {u"=", kFormulaTokenTypeSymbol, FormulaWord::kEquals, 4},
    {u">", kFormulaTokenTypeSymbol, FormulaWord::kGreaterThan, 4},
    {u">=", kFormulaTokenTypeSymbol, FormulaWord::kGreaterThanEquals, 4},
    {u"<", kFormulaTokenTypeSymbol, FormulaWord::kLessThan, 4},
    {u"<>", kFormulaTokenTypeSymbol, FormulaWord::kNotEquals, 4},
    {u"<=", kFormulaTokenTypeSymbol, FormulaWord::kLessThanEquals, 4},
    {u"!=", kFormulaTokenTypeSymbol, FormulaWord::kNotEquals, 4},
    {u"+", kFormulaTokenTypeSymbol, FormulaWord::kAdd, 5},
    {u"-", kFormulaTokenTypeSymbol, FormulaWord::kSubtract, 5},
    {u"+/-", kFormulaTokenTypeSymbol, FormulaWord::kPlusMinus, 5},
    {u"/", kFormulaTokenTypeSymbol, FormulaWord::kDivide, 6},
    {u"*", kFormulaTokenTypeSymbol, FormulaWord::kMultiply, 6},
    {u"&", kFormulaTokenTypeSymbol, FormulaWord::kConcatenate, 6},
    {u"%", kFormulaTokenTypeSymbol, FormulaWord::kModulus, 6},
    {u"!", kFormulaTokenTypeSymbol, FormulaWord::kExclamation, 0},
    {u"TRUE", kFormulaTokenTypeName, FormulaWord::kTrue, 0},
    {u"FALSE", kFormulaTokenTypeName, FormulaWord::kFalse, 0},
}};

constexpr std::size_t kLongestWord = 5;

}  // namespace

FormulaWord FindWord(FormulaTokenTypeEnum type, std::u16string_view text) {
  if (text.size() > kLongestWord) return FormulaWord::kNone;
  const std::u16string upper = UpperCase(text);
  for (const WordRow& row : kWords) {
    if (row.type == type && row.text == upper) return row.word;
  }
  return FormulaWord::kNone;
}

std::size_t SymbolLength(std::u16string_view text) noexcept {
  std::size_t length = 0;
  for (const WordRow& row : kWords) {
    const bool begins = row.type == kFormulaTokenTypeSymbol && text.starts_with(row.text);
    if (begins) length = std::max(length, row.text.size());
  }
  return length;
}

int PrecedenceLevel(FormulaWord word) noexcept {
  // By word, because this is asked for every token of a formula and every level.
  static constexpr auto kLevels = [] {
    std::array<int, kWords.size() + 1> levels{};
    for (const WordRow& row : kWords)
      levels[static_cast<std::size_t>(row.word)] = row.level;
    return levels;
  }();
  return kLevels[static_cast<std::size_t>(word)];
}

}  // namespace ktformula
