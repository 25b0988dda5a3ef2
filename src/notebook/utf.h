// The edge between UTF-16 text inside and UTF-8 in files, databases and terminals.
#pragma once

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

// The terminal columns that the text takes: none for combining marks, two for wide characters.
int DisplayWidth(std::u16string_view text);

// The text with visible stand-ins for whatever could move the cursor or reorder a terminal's
// line: control characters, line breaks and directional overrides.
std::u16string Printable(std::u16string_view text);

}  // namespace ktnotebook
