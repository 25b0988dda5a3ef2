#include "values/xml_text.h"

#include <string>

#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr bool IsHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
constexpr bool IsLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

bool IsXmlCharacter(char16_t unit) {
  if (unit < 0x20) return unit == u'\t' || unit == u'\n' || unit == u'\r';
  return unit < 0xFFFE && !IsHighSurrogate(unit) && !IsLowSurrogate(unit);
}

// As in "U+001F".
std::u16string CodeOf(char16_t unit) {
  constexpr std::u16string_view kDigits = u"0123456789ABCDEF";
  std::u16string code = u"U+";
  for (const unsigned shift : {12U, 8U, 4U, 0U})
    code += kDigits[(static_cast<unsigned>(unit) >> shift) & 0xFU];
  return code;
}

}  // namespace

void CheckXmlText(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool is_pair =
        IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1]);
    if (is_pair) {
      ++i;
    } else if (!IsXmlCharacter(text[i])) {
      Raise(u"XmlElement",
            u"the text contains the character " + CodeOf(text[i]) + u", which XML can not hold");
    }
  }
}

}  // namespace ktformula
