#include "notebook/files/csv_numbers.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "notebook/files/utf.h"
#include "notebook/tables/localized_text.h"
#include "notebook/tables/typed_text.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::IsDigit;
using ktformula::Locale;

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

// Whether no number comes before it is clear that most texts are none. Keeps and counts nothing but
// these texts, so that a column of names costs little.
bool HasNoNumberInFront(const CsvColumn& column, std::size_t rows, TypedTexts& typed,
                        CsvNumbers& numbers) {
  bool is_number = false;
  column.AllAre([&, row = std::size_t{0}](std::u16string_view field) mutable {
    const std::u16string_view text = TrimTypedText(field);
    ++row;
    if (text.empty()) return true;
    is_number = !std::isnan(typed.ReadTyped(text).min);
    if (is_number) return false;
    ++numbers.filled;
    numbers.others.Add(text, row);
    return numbers.others.count < rows - numbers.others.count;
  });
  return !is_number && numbers.filled > 0;
}

}  // namespace

std::optional<ParsedNumber> ParseCsvNumber(std::u16string_view text,
                                           const NotebookUnit* default_unit,
                                           const NotebookUnitCatalogue& catalogue,
                                           const Locale& locale) {
  std::u16string buffer;
  return ParseNumberText(WithOwnThousands(text, locale, buffer), default_unit, catalogue, locale);
}

CsvNumbers ReadCsvNumbers(const CsvColumn& column, std::size_t rows,
                          const CsvNumberReading& reading, CsvReach reach) {
  PropertyDefinition definition;
  definition.type = DataType::kNumber;
  definition.unit = reading.unit;
  TypedTexts typed(definition, reading.catalogue, reading.kept_in, reading.locale);
  CsvNumbers numbers;
  if (reach == CsvReach::kWhileMostMayBe && HasNoNumberInFront(column, rows, typed, numbers)) {
    return numbers;
  }
  numbers = {};
  numbers.data.Append(rows);
  numbers.data.ReserveTexts(column.Size());
  column.AllAre([&, row = std::size_t{0}](std::u16string_view field) mutable {
    const std::u16string_view text = TrimTypedText(field);
    const std::size_t index = row++;
    if (text.empty()) return true;
    ++numbers.filled;
    const ContentView content = typed.ReadTyped(text);
    const bool is_number = !std::isnan(content.min);
    numbers.data.SetContent(index, content);
    numbers.data.SetState(index, kQuantityMark.state, kQuantityMark.tag);
    if (!is_number) numbers.others.Add(text, row);
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
