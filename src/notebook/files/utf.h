// The edge between UTF-16 text inside and UTF-8 in files, databases and terminals.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ktnotebook {

// What may stand once in front of UTF-8 text.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
// Why text with another one behind it is refused.
inline constexpr std::string_view kSecondMark = "a second byte order mark";

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

// Whether the character could move a terminal's cursor, change its state or reorder its line:
// control characters and direction marks.
bool IsActive(char16_t unit);

// "\u001b" for the escape character; JSON reads it back.
std::u16string Escape(char16_t unit);

// The text with its line breaks as the return symbol and every other active character escaped.
// Whatever goes to people goes this way.
std::u16string Printable(std::u16string_view text);

// The terminal columns that a printable text takes: none for combining marks, two for wide
// characters.
int DisplayWidth(std::u16string_view text);

// The text itself when it takes no more columns than `width`, at least 1; else as much of its front
// as leaves room for an ellipsis.
std::u16string CutToWidth(std::u16string_view text, int width);

}  // namespace ktnotebook
