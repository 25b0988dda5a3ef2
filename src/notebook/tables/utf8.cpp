#include "notebook/tables/utf8.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace ktnotebook {

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstSupplementary = 0x10000;
constexpr char32_t kLastCodePoint = 0x10FFFF;

constexpr bool IsLeadSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsTrailSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}
// Where the first character stands that is not ASCII.
std::size_t AsciiLength(std::string_view bytes) {
  const auto* const end = std::find_if(bytes.begin(), bytes.end(), [](char byte) {
    return static_cast<unsigned char>(byte) >= 0x80;
  });
  return static_cast<std::size_t>(end - bytes.begin());
}

void AppendUtf16(std::u16string& text, char32_t code) {
  if (code < kFirstSupplementary) {
    text.push_back(static_cast<char16_t>(code));
    return;
  }
  const char32_t offset = code - kFirstSupplementary;
  text.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
  text.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
}

char ContinuationByte(char32_t code, int shift) {
  return static_cast<char>(0x80 | ((code >> shift) & 0x3F));
}

void AppendUtf8(std::string& bytes, char32_t code) {
  if (code < 0x80) {
    bytes.push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    bytes.push_back(static_cast<char>(0xC0 | (code >> 6)));
    bytes.push_back(ContinuationByte(code, 0));
  } else if (code < kFirstSupplementary) {
    bytes.push_back(static_cast<char>(0xE0 | (code >> 12)));
    bytes.push_back(ContinuationByte(code, 6));
    bytes.push_back(ContinuationByte(code, 0));
  } else {
    bytes.push_back(static_cast<char>(0xF0 | (code >> 18)));
    bytes.push_back(ContinuationByte(code, 12));
    bytes.push_back(ContinuationByte(code, 6));
    bytes.push_back(ContinuationByte(code, 0));
  }
}

enum class Surrogates { kRefuse, kKeep };

// The bytes of a sequence by its first byte; 0 for a byte that starts none.
std::size_t SequenceLength(std::uint8_t first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first <= 0xDF) return 2;
  if (first >= 0xE0 && first <= 0xEF) return 3;
  if (first >= 0xF0 && first <= 0xF4) return 4;
  return 0;
}

// The code point at the position, which moves behind it; when there is no well-formed sequence,
// nothing, and the position stays.
std::optional<char32_t> TakeSequence(std::string_view bytes, std::size_t& position,
                                     Surrogates surrogates) {
  static constexpr std::array<char32_t, 5> kLeastOfLength = {0, 0, 0x80, 0x800, 0x10000};
  const auto first = static_cast<std::uint8_t>(bytes[position]);
  const std::size_t length = SequenceLength(first);
  if (length == 0 || length > bytes.size() - position) return std::nullopt;
  char32_t code = length == 1 ? first : first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<std::uint8_t>(bytes[position + i]);
    if ((next & 0xC0) != 0x80) return std::nullopt;
    code = (code << 6) | (next & 0x3FU);
  }
  if (code < kLeastOfLength[length] || code > kLastCodePoint) return std::nullopt;
  if (surrogates == Surrogates::kRefuse && IsSurrogate(code)) return std::nullopt;
  position += length;
  return code;
}

std::string Encode(std::u16string_view text, Surrogates surrogates) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const char32_t code = TakeCodePoint(text, position);
    const bool replace = surrogates == Surrogates::kRefuse && IsSurrogate(code);
    AppendUtf8(bytes, replace ? kReplacement : code);
  }
  return bytes;
}

}  // namespace

char32_t TakeCodePoint(std::u16string_view text, std::size_t& position) {
  const char32_t unit = text[position++];
  if (!IsLeadSurrogate(unit) || position == text.size()) return unit;
  const char32_t next = text[position];
  if (!IsTrailSurrogate(next)) return unit;
  ++position;
  return kFirstSupplementary + ((unit - 0xD800) << 10) + (next - 0xDC00);
}

std::string ToUtf8(std::u16string_view text) {
  return Encode(text, Surrogates::kRefuse);
}

std::string ToStoredUtf8(std::u16string_view text) {
  return Encode(text, Surrogates::kKeep);
}

std::u16string FromStoredUtf8(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  for (std::size_t position = 0; position < bytes.size();) {
    const std::optional<char32_t> code = TakeSequence(bytes, position, Surrogates::kKeep);
    if (!code) ++position;
    AppendUtf16(text, code.value_or(kReplacement));
  }
  return text;
}

std::optional<std::u16string> FromUtf8(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  for (std::size_t position = 0; position < bytes.size();) {
    const std::optional<char32_t> code = TakeSequence(bytes, position, Surrogates::kRefuse);
    if (!code) return std::nullopt;
    AppendUtf16(text, *code);
  }
  return text;
}

bool IsUtf8(std::string_view bytes) {
  for (std::size_t position = AsciiLength(bytes); position < bytes.size();) {
    if (!TakeSequence(bytes, position, Surrogates::kRefuse)) return false;
  }
  return true;
}

void TakeUtf8(std::string_view bytes, std::u16string& text) {
  text.resize(bytes.size());
  unsigned all_bits = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    all_bits |= byte;
    text[i] = byte;
  }
  if (all_bits >= 0x80) text = FromUtf8(bytes).value_or(u"");
}

}  // namespace ktnotebook
