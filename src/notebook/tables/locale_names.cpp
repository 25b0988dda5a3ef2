#include "notebook/tables/locale_names.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace ktnotebook {

namespace {

using ktformula::Locale;

constexpr char16_t kNoBreakSpace = u'\u00A0';
constexpr char16_t kNarrowNoBreakSpace = u'\u202F';
constexpr char16_t kApostrophe = u'\u2019';

constexpr Locale kPointComma = {u'.', u','};
constexpr Locale kPointApostrophe = {u'.', kApostrophe};
constexpr Locale kCommaPoint = {u',', u'.'};
constexpr Locale kCommaSpace = {u',', kNoBreakSpace};
constexpr Locale kCommaNarrowSpace = {u',', kNarrowNoBreakSpace};

// Blank-separated codes that share their separators: a language, or a country of a language that
// differs from the rest of it.
struct SeparatorUse {
  Locale separators;
  std::string_view codes;
};

constexpr SeparatorUse kSeparatorUses[] = {
    {kPointComma,
     "en ja zh ko th he cy ga mt ms fil "
     "es_MX es_US es_GT es_HN es_NI es_PA es_SV es_DO es_PE es_PR es_419"},
    {kCommaPoint,
     "de es it nl da pt el tr id ro hr sl sr bs mk is ca gl eu vi "
     "en_BE en_DE en_DK en_NL en_SI fr_LU fr_MA"},
    {kCommaNarrowSpace, "fr"},
    {kCommaSpace,
     "sv nb nn no fi pl cs sk ru uk be bg hu et lv lt "
     "de_AT en_AT en_FI en_SE es_CR pt_PT"},
    {kPointApostrophe, "rm gsw de_CH de_LI it_CH en_CH"},
};

bool HasCode(std::string_view codes, std::string_view code) {
  for (std::size_t at = codes.find(code); at != std::string_view::npos;
       at = codes.find(code, at + 1)) {
    const std::size_t end = at + code.size();
    if ((at == 0 || codes[at - 1] == ' ') && (end == codes.size() || codes[end] == ' ')) {
      return true;
    }
  }
  return false;
}

std::optional<Locale> FindCode(std::string_view code) {
  const auto* const use =
      std::find_if(std::begin(kSeparatorUses), std::end(kSeparatorUses),
                   [code](const SeparatorUse& entry) { return HasCode(entry.codes, code); });
  if (use == std::end(kSeparatorUses)) return std::nullopt;
  return use->separators;
}

bool IsLowerLetter(char c) {
  return c >= 'a' && c <= 'z';
}
bool IsUpperLetter(char c) {
  return c >= 'A' && c <= 'Z';
}
bool IsDecimalDigit(char c) {
  return c >= '0' && c <= '9';
}

bool IsLanguage(std::string_view code) {
  return (code.size() == 2 || code.size() == 3) &&
         std::all_of(code.begin(), code.end(), IsLowerLetter);
}

bool IsCountry(std::string_view code) {
  return (code.size() == 2 && std::all_of(code.begin(), code.end(), IsUpperLetter)) ||
         (code.size() == 3 && std::all_of(code.begin(), code.end(), IsDecimalDigit));
}

}  // namespace

std::optional<Locale> FindLocale(std::string_view name) {
  // Encoding and modifier say nothing about numbers.
  const std::string_view code = name.substr(0, name.find_first_of(".@"));
  if (code == "C" || code == "POSIX") return Locale{};
  const std::size_t separator = code.find_first_of("_-");
  const std::string_view language = code.substr(0, separator);
  if (!IsLanguage(language)) return std::nullopt;
  if (separator == std::string_view::npos) return FindCode(language);
  const std::string_view country = code.substr(separator + 1);
  if (!IsCountry(country)) return std::nullopt;
  const auto exception = FindCode(std::string(language) + "_" + std::string(country));
  return exception ? exception : FindCode(language);
}

std::optional<NamedLocale> FindNamedLocale(std::u16string_view name) {
  const bool is_ascii =
      std::all_of(name.begin(), name.end(), [](char16_t unit) { return unit < 0x80; });
  if (!is_ascii) return std::nullopt;
  const auto separators = FindLocale(std::string(name.begin(), name.end()));
  if (!separators) return std::nullopt;
  return NamedLocale{std::u16string(name), *separators};
}

}  // namespace ktnotebook
