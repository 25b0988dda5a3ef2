// Text helpers over UTF-16 code units.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ktformula {

constexpr bool IsDigit(char16_t unit) noexcept {
  return unit >= u'0' && unit <= u'9';
}
constexpr bool IsLetter(char16_t unit) noexcept {
  return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
}

// Case mapping of the letters A to Z; keywords and function names have no others.
std::u16string UpperCase(std::u16string_view text);
std::u16string LowerCase(std::u16string_view text);

// Without the blanks at both ends; a blank is the space character only.
std::u16string_view TrimBlanks(std::u16string_view text) noexcept;

// Without the spaces and tabs at both ends.
std::u16string_view TrimWhitespace(std::u16string_view text) noexcept;

// The pieces between the separators; one empty piece for an empty text.
std::vector<std::u16string_view> Split(std::u16string_view text, char16_t separator);

std::u16string ToDecimalText(std::int64_t number);

// Text built from ASCII characters.
std::u16string Widen(std::string_view ascii);

}  // namespace ktformula
