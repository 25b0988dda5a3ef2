#include "notebook/files/utf.h"

#include <cstddef>
#include <utf8proc.h>

namespace ktnotebook {

namespace {

constexpr char16_t kReturnSymbol = u'\u23CE';
constexpr char16_t kEllipsis = u'\u2026';

int WidthOf(char32_t code) {
  // A lone surrogate is shown as the replacement character.
  return IsSurrogate(code) ? 1 : utf8proc_charwidth(static_cast<utf8proc_int32_t>(code));
}

constexpr bool IsLineBreak(char16_t unit) {
  constexpr std::u16string_view kLineBreaks = u"\r\n\u0085\u2028\u2029";
  return kLineBreaks.find(unit) != std::u16string_view::npos;
}

// Marks, embeddings, overrides and isolates.
constexpr bool IsDirectionMark(char16_t unit) {
  return unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E) ||
         (unit >= 0x2066 && unit <= 0x2069);
}

constexpr bool IsControl(char16_t unit) {
  return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F);
}

}  // namespace

bool IsActive(char16_t unit) {
  return IsControl(unit) || IsDirectionMark(unit);
}

std::u16string Escape(char16_t unit) {
  constexpr std::u16string_view kDigits = u"0123456789abcdef";
  std::u16string escape = u"\\u";
  for (int shift = 12; shift >= 0; shift -= 4) {
    escape.push_back(kDigits[(static_cast<std::size_t>(unit) >> shift) & 0xFU]);
  }
  return escape;
}

int DisplayWidth(std::u16string_view text) {
  int width = 0;
  for (std::size_t position = 0; position < text.size();) {
    width += WidthOf(TakeCodePoint(text, position));
  }
  return width;
}

std::u16string CutToWidth(std::u16string_view text, int width) {
  // What stays when something has to go, so that the ellipsis has its column.
  std::size_t kept = 0;
  int taken = 0;
  for (std::size_t position = 0; position < text.size();) {
    const int next = WidthOf(TakeCodePoint(text, position));
    if (taken + next > width) return std::u16string(text.substr(0, kept)) + kEllipsis;
    taken += next;
    if (taken < width) kept = position;
  }
  return std::u16string(text);
}

std::u16string Printable(std::u16string_view text) {
  std::u16string printable;
  printable.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    // A carriage return and its line feed are one line break.
    if (text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n') continue;
    if (IsLineBreak(text[i])) {
      printable.push_back(kReturnSymbol);
    } else if (IsActive(text[i])) {
      printable += Escape(text[i]);
    } else {
      printable.push_back(text[i]);
    }
  }
  return printable;
}

}  // namespace ktnotebook
