// Texts in files and on terminals.
#pragma once

#include <string>
#include <string_view>

#include "notebook/tables/utf8.h"

namespace ktnotebook {

// What may stand once in front of UTF-8 text.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
// Why text with another one behind it is refused.
inline constexpr std::string_view kSecondMark = "a second byte order mark";

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
