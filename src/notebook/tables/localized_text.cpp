#include "notebook/tables/localized_text.h"

#include <array>

#include "notebook/tables/cell_text.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::Locale;

// Characters that people type for one another: blank, no-break space, thin space and narrow
// no-break space; the apostrophe of keyboards and that of printers.
constexpr std::array<std::u16string_view, 2> kAlike = {u" \u00A0\u2009\u202F", u"'\u2019"};

// Where the first digit or the decimal separator in front of it is; the text's size without one.
std::size_t FirstNumeral(std::u16string_view text, const Locale& locale) {
  std::size_t position = 0;
  while (position < text.size() && !ktformula::IsDigit(text[position]))
    ++position;
  const bool has_separator =
      position > 0 && position < text.size() && text[position - 1] == locale.decimal_separator;
  return has_separator ? position - 1 : position;
}

void AppendNumeral(std::u16string& text, std::u16string_view numeral, const Locale& from,
                   const Locale& to) {
  for (const char16_t unit : numeral) {
    if (unit == from.decimal_separator) {
      text.push_back(to.decimal_separator);
    } else if (unit == from.thousands_separator) {
      text.push_back(to.thousands_separator);
    } else {
      text.push_back(unit);
    }
  }
}

}  // namespace

std::u16string_view WithSeparatorsOf(const Locale& to, std::u16string_view text, const Locale& from,
                                     std::u16string& buffer) {
  if (to == from) return text;
  const std::size_t first = FirstNumeral(text, from);
  buffer.assign(text.substr(0, first));
  std::size_t done = first;
  for (const std::u16string_view numeral : NumeralsIn(text.substr(first), from)) {
    if (numeral.empty()) continue;
    const auto begin = static_cast<std::size_t>(numeral.data() - text.data());
    buffer.append(text.substr(done, begin - done));
    AppendNumeral(buffer, numeral, from, to);
    done = begin + numeral.size();
    // A point at the end belongs to the numeral, and not to a "..".
    if (buffer.ends_with(u'.') && text.substr(done).starts_with(u'.')) buffer.push_back(u' ');
  }
  buffer.append(text.substr(done));
  return buffer;
}

std::u16string_view WithOwnThousands(std::u16string_view text, const Locale& locale,
                                     std::u16string& buffer) {
  const char16_t separator = locale.thousands_separator;
  if (separator == u',' || separator == u'.') return text;
  for (const std::u16string_view alike : kAlike) {
    if (alike.find(separator) == alike.npos) continue;
    buffer.assign(text);
    for (std::size_t i = 1; i + 1 < buffer.size(); ++i) {
      const bool is_between_digits =
          ktformula::IsDigit(buffer[i - 1]) && ktformula::IsDigit(buffer[i + 1]);
      if (is_between_digits && alike.find(buffer[i]) != alike.npos) buffer[i] = separator;
    }
    return buffer;
  }
  return text;
}

}  // namespace ktnotebook
