#include "values/text.h"

namespace ktformula {

namespace {

constexpr bool IsWhitespace(char16_t unit) noexcept {
  return unit == u' ' || unit == u'\t';
}

}  // namespace

std::u16string UpperCase(std::u16string_view text) {
  std::u16string upper(text);
  for (char16_t& unit : upper) {
    if (unit >= u'a' && unit <= u'z') unit = static_cast<char16_t>(unit - u'a' + u'A');
  }
  return upper;
}

std::u16string LowerCase(std::u16string_view text) {
  std::u16string lower(text);
  for (char16_t& unit : lower) {
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit - u'A' + u'a');
  }
  return lower;
}

std::u16string_view TrimBlanks(std::u16string_view text) noexcept {
  const std::size_t first = text.find_first_not_of(u' ');
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(u' ') - first + 1);
}

std::u16string_view TrimWhitespace(std::u16string_view text) noexcept {
  while (!text.empty() && IsWhitespace(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && IsWhitespace(text.back()))
    text.remove_suffix(1);
  return text;
}

std::vector<std::u16string_view> Split(std::u16string_view text, char16_t separator) {
  std::vector<std::u16string_view> pieces;
  std::size_t start = 0;
  for (std::size_t end = text.find(separator); end != std::u16string_view::npos;
       end = text.find(separator, start)) {
    pieces.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

std::u16string ToDecimalText(std::int64_t number) {
  return Widen(std::to_string(number));
}

std::u16string Widen(std::string_view ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

}  // namespace ktformula
