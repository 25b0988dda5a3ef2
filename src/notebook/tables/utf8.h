// The edge between UTF-16 text inside and UTF-8 outside.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ktnotebook {

// For readers that want valid UTF-8: a lone surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

// For the notebook's own stores: a lone surrogate is kept as a three-byte sequence of its own, so
// that every text comes back from FromStoredUtf8 as it was.
std::string ToStoredUtf8(std::u16string_view text);

// Reads what ToStoredUtf8 wrote. Each byte that belongs to no sequence becomes U+FFFD.
std::u16string FromStoredUtf8(std::string_view bytes);

// Strict: empty when the bytes are not valid UTF-8 (truncated or overlong sequences, surrogates,
// code points beyond U+10FFFF).
std::optional<std::u16string> FromUtf8(std::string_view bytes);
bool IsUtf8(std::string_view bytes);

// Valid UTF-8 in place of the text; fast where it is ASCII.
void TakeUtf8(std::string_view bytes, std::u16string& text);

// The code point at the position, which moves behind it. A lone surrogate stands for itself.
char32_t TakeCodePoint(std::u16string_view text, std::size_t& position);
constexpr bool IsSurrogate(char32_t code) {
  return code >= 0xD800 && code <= 0xDFFF;
}

}  // namespace ktnotebook
