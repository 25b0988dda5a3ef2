// Texts of number cells from one locale to another: a notebook keeps them in its own, people type
// and read them in theirs.
#pragma once

#include <string>
#include <string_view>

#include "values/number_text.h"

namespace ktnotebook {

// The text with the separators of one locale in place of the other's: those of its first numeral,
// and of the one behind "±", "+/-" or ".." that follows. Digits and all other characters stay; only
// where ".." would run into a decimal point a blank comes between. Digit for digit the same number,
// and back again the same text. May stand in `buffer`.
std::u16string_view WithSeparatorsOf(const ktformula::Locale& to, std::u16string_view text,
                                     const ktformula::Locale& from, std::u16string& buffer);

// The text with the thousands separator of the locale where people type another one for it between
// digits: any space for a space, either apostrophe. May stand in `buffer`.
std::u16string_view WithOwnThousands(std::u16string_view text, const ktformula::Locale& locale,
                                     std::u16string& buffer);

}  // namespace ktnotebook
