#include "notebook/files/csv_numbers.h"

#include <algorithm>
#include <array>

#include "notebook/files/utf.h"
#include "notebook/tables/typed_text.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::IsDigit;
using ktformula::Locale;

// How many digits the text begins with.
std::size_t CountDigits(std::u16string_view text) {
  const auto* const end =
      std::find_if_not(text.begin(), text.end(), [](char16_t unit) { return IsDigit(unit); });
  return static_cast<std::size_t>(end - text.begin());
}

// Takes the integer digits of a number, and its decimals, off the front; whether its thousands
// separators, if there are any, part groups of three. The first may be shorter; "0,125" has none,
// as nobody writes thousands so.
bool TakeGroups(std::u16string_view& text, const Locale& locale) {
  constexpr std::size_t kGroup = 3;
  const bool begins_with_zero = text[0] == u'0';
  std::size_t digits = CountDigits(text);
  bool are_groups = true;
  text.remove_prefix(digits);
  for (std::size_t groups = 1;
       text.size() > 1 && text[0] == locale.thousands_separator && IsDigit(text[1]); ++groups) {
    are_groups = are_groups && !begins_with_zero && (groups > 1 || digits <= kGroup);
    digits = CountDigits(text.substr(1));
    are_groups = are_groups && digits == kGroup;
    text.remove_prefix(digits + 1);
  }
  if (!text.empty() && text[0] == locale.decimal_separator) {
    text.remove_prefix(1);
    text.remove_prefix(CountDigits(text));
  }
  return are_groups;
}

// Of all numbers in the text.
bool HasGroupsOfThree(std::u16string_view text, const Locale& locale) {
  if (text.find(locale.thousands_separator) == std::u16string_view::npos) return true;
  while (!text.empty()) {
    if (!IsDigit(text[0])) {
      text.remove_prefix(1);
    } else if (!TakeGroups(text, locale)) {
      return false;
    }
  }
  return true;
}

// Separators in use elsewhere, by a name that --locale takes.
struct OtherLocale {
  Locale separators;
  std::string_view name;
};
constexpr std::array<OtherLocale, 5> kOtherLocales{{
    {{u'.', u','}, "C"},
    {{u',', u'.'}, "de_DE"},
    {{u',', u'\u202F'}, "fr_FR"},
    {{u',', u'\u00A0'}, "sv_SE"},
    {{u'.', u'\u2019'}, "de_CH"},
}};

// Whether the text is several numbers with the delimiter between them.
bool IsRowOfNumbers(std::u16string_view text, char delimiter, const CsvNumberReading& reading) {
  const auto parts = ktformula::Split(text, static_cast<char16_t>(delimiter));
  return parts.size() > 1 && std::all_of(parts.begin(), parts.end(), [&](std::u16string_view part) {
           return ParseCsvNumber(part, nullptr, reading.catalogue, reading.locale).has_value();
         });
}

// A way to read texts as numbers that the user has not asked for.
struct OtherWay {
  CsvNoteKind kind;
  std::string looks;
  std::string help;
  // For one kind the locale, for the other the delimiter.
  Locale locale;
  char delimiter = '\0';
  // What it reads.
  CsvTexts texts{};

  bool Reads(std::u16string_view text, const CsvNumberReading& reading) const {
    return kind == CsvNoteKind::kOtherLocale
               ? ParseCsvNumber(text, reading.unit, reading.catalogue, locale).has_value()
               : IsRowOfNumbers(text, delimiter, reading);
  }
};

// The likelier ones first.
std::vector<OtherWay> OtherWays(const Locale& locale, const CsvDelimiter& delimiter) {
  const std::string if_all = "if the whole file is so, give ";
  std::vector<OtherWay> ways;
  for (const OtherLocale& other : kOtherLocales) {
    if (other.separators == locale) continue;
    ways.push_back({CsvNoteKind::kOtherLocale, "written as numbers of another locale",
                    if_all + "--locale " + std::string(other.name), other.separators});
  }
  for (const char other : kUsualDelimiters) {
    if (other == delimiter.character || delimiter.is_given) continue;
    const std::string shown = DelimiterText(other);
    ways.push_back({CsvNoteKind::kOtherDelimiter,
                    "written as several numbers with \"" + shown + "\" between them",
                    if_all + "--delimiter '" + shown + "'", locale, other});
  }
  return ways;
}

// Whether a number of any kind may begin so.
bool BeginsLikeNumber(std::u16string_view text) {
  constexpr std::u16string_view kOthers = u"+-.,";
  return IsDigit(text[0]) || kOthers.find(text[0]) != std::u16string_view::npos;
}

}  // namespace

std::optional<ParsedNumber> ParseCsvNumber(std::u16string_view text,
                                           const NotebookUnit* default_unit,
                                           const NotebookUnitCatalogue& catalogue,
                                           const Locale& locale) {
  auto number = ParseNumberText(text, default_unit, catalogue, locale);
  if (number && !HasGroupsOfThree(text, locale)) number.reset();
  return number;
}

CsvNumbers ReadCsvNumbers(const CsvColumn& column, std::size_t rows,
                          const CsvNumberReading& reading, CsvReach reach) {
  CsvNumbers numbers;
  numbers.data.Append(rows);
  numbers.data.ReserveTexts(column.Size());
  column.AllAre([&, row = std::size_t{0}](std::u16string_view field) mutable {
    const std::u16string_view text = TrimTypedText(field);
    const std::size_t index = row++;
    if (text.empty()) return true;
    ++numbers.filled;
    const auto number = ParseCsvNumber(text, reading.unit, reading.catalogue, reading.locale);
    numbers.data.SetContent(
        index, number ? NumberContent(text, *number) : MereText(DataType::kNumber, text));
    numbers.data.SetState(index, kQuantityMark.state, kQuantityMark.tag);
    if (!number) numbers.others.Add(text, row);
    return reach == CsvReach::kAll || numbers.others.count < rows - numbers.others.count;
  });
  return numbers;
}

std::optional<CsvNote> FindOtherNumbers(const CsvColumn& column, std::size_t rows,
                                        const CsvNumberReading& reading, std::size_t known,
                                        const CsvDelimiter& delimiter) {
  std::vector<OtherWay> ways = OtherWays(reading.locale, delimiter);
  std::size_t filled = 0;
  std::size_t misses = 0;
  column.AllAre([&, row = std::size_t{0}](std::u16string_view field) mutable {
    const std::u16string_view text = TrimTypedText(field);
    ++row;
    if (text.empty()) return true;
    ++filled;
    bool is_read = false;
    for (OtherWay& way : ways) {
      if (!BeginsLikeNumber(text) || !way.Reads(text, reading)) continue;
      way.texts.Add(text, row);
      is_read = true;
    }
    if (!is_read) ++misses;
    return misses < rows - misses;
  });
  const auto best = std::max_element(ways.begin(), ways.end(), [](const auto& a, const auto& b) {
    return a.texts.count < b.texts.count;
  });
  const std::size_t count = best->texts.count;
  if (count <= known || count <= filled - count) return std::nullopt;
  return MakeCsvNote(best->kind, {}, best->texts, filled, best->looks, best->help);
}

}  // namespace ktnotebook
