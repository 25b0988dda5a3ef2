// The tokenizer: formula text to a flat list of tokens.
#pragma once

#include <string_view>
#include <vector>

#include "formula/function_registry.h"
#include "formula/token.h"

namespace ktformula {

// The kind of a token that begins with the character. Raises kComponentError for a character that
// begins none.
FormulaTokenTypeEnum StartTokenType(char16_t character);

// All tokens in order, whitespace included. A name that is a function of the registry becomes a
// function token. Raises kComponentError for a character that begins no token and error 5 for a
// "[" at the very end; a string or reference that is not closed runs to the end of the formula.
std::vector<FormulaToken> Tokenize(std::u16string_view formula, const FunctionRegistry& functions);

}  // namespace ktformula
