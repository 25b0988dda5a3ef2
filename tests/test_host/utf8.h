// UTF-8 for the texts of tests, whose characters are all of the basic plane.
#pragma once

#include <string>
#include <string_view>

namespace ktformula {

inline std::string ToUtf8(std::u16string_view text) {
  std::string utf8;
  for (const unsigned unit : text) {
    if (unit < 0x80) {
      utf8.push_back(static_cast<char>(unit));
      continue;
    }
    if (unit >= 0x800) utf8.push_back(static_cast<char>(0xE0 | unit >> 12));
    utf8.push_back(static_cast<char>(unit >= 0x800 ? 0x80 | (unit >> 6 & 0x3F) : 0xC0 | unit >> 6));
    utf8.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
  }
  return utf8;
}

inline std::u16string FromUtf8(std::string_view utf8) {
  std::u16string text;
  for (const char character : utf8) {
    const unsigned byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      text.push_back(static_cast<char16_t>(byte));
    } else if (byte >= 0xC0) {
      text.push_back(static_cast<char16_t>(byte & (byte >= 0xE0 ? 0x0FU : 0x1FU)));
    } else {
      text.back() = static_cast<char16_t>(unsigned{text.back()} << 6 | (byte & 0x3FU));
    }
  }
  return text;
}

}  // namespace ktformula
