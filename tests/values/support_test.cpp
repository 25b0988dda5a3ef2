// The tools around the values: dictionary, call paths, significant digits, leak counters, texts.
#include <cstdlib>
#include <gtest/gtest.h>

#include "values/cell_value.h"
#include "values/describe.h"
#include "values/dictionary.h"
#include "values/leak_check.h"
#include "values/nearest_name.h"
#include "values/significant_digits.h"
#include "values/text.h"
#include "values/xml_text.h"

namespace ktformula {
namespace {

std::string Entries(const Dictionary<int>& dictionary) {
  std::string entries;
  for (const auto& [key, value] : dictionary) {
    const int* found = dictionary.Find(key);
    entries += Narrow(key) + (found == &value ? "=" : "!") + std::to_string(value) + " ";
  }
  return entries;
}

TEST(Dictionary, KeepsOrderThroughRemoval) {
  Dictionary<int> dictionary;
  int value = 0;
  for (const char16_t* key : {u"a", u"b", u"c", u"A"})
    EXPECT_TRUE(dictionary.Add(key, ++value));
  EXPECT_FALSE(dictionary.Add(u"b", 9));
  dictionary.Remove(u"no such key");
  EXPECT_EQ(Entries(dictionary), "a=1 b=2 c=3 A=4 ");
  dictionary.Remove(u"b");
  EXPECT_FALSE(dictionary.Contains(u"b"));
  EXPECT_EQ(Entries(dictionary), "a=1 c=3 A=4 ");
  EXPECT_TRUE(dictionary.Add(u"b", 5));
  dictionary.Remove(u"a");
  EXPECT_EQ(Entries(dictionary), "c=3 A=4 b=5 ");
}

TEST(CallPath, IsPutInFrontOnceForEachMember) {
  const auto raise_in = [](std::u16string_view source) {
    return Raised([&] {
      WithCallPath(u"Outer", [&] { WithCallPath(u"Inner", [&] { Raise(source, u"broken"); }); });
    });
  };
  EXPECT_EQ(raise_in(u"Origin"), "raised -2147220991 Outer/Inner/Origin: broken; ");
  EXPECT_EQ(raise_in(u"Inner"), "raised -2147220991 Outer/Inner: broken; ");
}

TEST(SignificantDigits, AreCounted) {
  // With a bare point or nothing as 0, and as at least 1.
  ExpectRows(
      {
          "-0.00450 -> 3 3",
          "0 -> 0 1",
          "-000.000 -> 0 1",
          " -> 0 1",
          "12.50 g -> 4 4",
          "--0.05 -> 3 3",
          "n.d. -> 1 1",
          "0 g -> 1 1",
          "100 -> 3 3",
          "00.5 -> 1 1",
      },
      [](const std::string& text) {
        return std::to_string(CountSignificantDigits(Widen(text), true)) + " " +
               std::to_string(CountSignificantDigits(Widen(text), false));
      });
  EXPECT_EQ(CountSignificantDigits(std::u16string(40000, u'7'), true), 32767);
}

TEST(SignificantDigits, MakeMasks) {
  ExpectRows(
      {
          "0 0 -> 0.0",
          "0 1 -> 0.",
          "-0.0 3 -> 0.00",
          "-0.5 1 -> 0.0",
          "0.05 2 -> 0.000",
          "9.99 3 -> 0.00",
          "10 3 -> 00.0",
          "123 5 -> 000.00",
          "-123 2 -> 000",
          "10 2 -> 00",
          "1 -4 -> 0",
          "4.9e-324 1 -> 0." + std::string(324, '0'),
          "inf 3 -> raised 6 KtFormula9: Overflow; ",
          "0.5 0 -> raised 5 KtFormula9: Invalid procedure call or argument; ",
      },
      [](const std::string& row) {
        const std::size_t blank = row.find(' ');
        const double value = std::strtod(row.c_str(), nullptr);
        const auto digits = static_cast<std::int16_t>(std::stoi(row.substr(blank)));
        std::string mask;
        return Raised([&] { mask = Narrow(SignificantDigitMask(value, digits)); }) + mask;
      });
}

TEST(KtLeakCheck, TellsWhatIsAlive) {
  EXPECT_EQ(KtLeakCheck::Report(), "");
  const CellValue value;
  const CellValue copy = value;  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(KtLeakCheck::Report(), "KtFormula9.CellValue: 2\n");
}

TEST(Text, OnlyTheLettersAToZHaveCases) {
  EXPECT_EQ(UpperCase(u"`az{\u00e4"), u"`AZ{\u00e4");
  EXPECT_EQ(LowerCase(u"@AZ[\u00c4"), u"@az[\u00c4");
}

TEST(NearestName, IsWhatWasMeantOrNothing) {
  const std::vector<std::u16string> candidates{u"Mass",  u"Moles",  u"MW", u"Equivalents",
                                               u"Yield", u"Volume", u"V",  u"W"};
  const struct {
    std::u16string_view name;
    std::u16string_view nearest;  // "" for none
  } cases[] = {
      {u"mass", u"Mass"},
      {u"Mas", u"Mass"},
      {u"Masss", u"Mass"},
      {u"Msas", u"Mass"},
      {u"MW2", u"MW"},
      {u"WM", u"MW"},
      {u"Yeild", u"Yield"},
      {u"equivalnt", u"Equivalents"},
      {u"Equiv", u"Equivalents"},
      {u"Yield (g)", u"Yield"},
      {u"V (ml)", u"V"},
      {u"v", u"V"},
      {u"Mess", u"Mass"},
      // What is nearer comes first, and of equal ones the first; what is there is not proposed.
      {u"Moless", u"Moles"},
      {u"MV", u"MW"},
      {u"MW", u""},
      {u"x", u""},
      {u"Eq", u""},
      {u"Density", u""},
      {u"", u""},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(Narrow(NearestName(row.name, candidates).value_or(u"")), Narrow(row.nearest))
        << Narrow(row.name);
  }
  EXPECT_EQ(NearestName(std::u16string(1'000'000, u'M'), candidates), std::nullopt);
}

TEST(XmlText, RefusesWhatXmlCanNotHold) {
  const auto refused = [](std::u16string_view text) {
    const std::string raised = Raised([&] { CheckXmlText(text); });
    const std::string before = "raised -2147220991 XmlElement: the text contains the character ";
    if (!raised.starts_with(before)) return raised;
    return raised.substr(before.size(), raised.find(',') - before.size());
  };
  const std::pair<std::u16string, std::string> rows[] = {
      {u"", ""},
      {u"a\t\r\n \u00e4\uFFFD", ""},
      {u"\U0001F600", ""},
      {u"a\u0001", "U+0001"},
      {u"\u001F", "U+001F"},
      {u"\uFFFE", "U+FFFE"},
      {u"\uFFFF", "U+FFFF"},
      {{char16_t{0xD83D}}, "U+D83D"},
      {{char16_t{0xD83D}, u'a'}, "U+D83D"},
      {{char16_t{0xD83D}, char16_t{0xE000}}, "U+D83D"},
      {{char16_t{0xDC00}, char16_t{0xD83D}}, "U+DC00"},
      {{char16_t{0xD83D}, char16_t{0xDFFF}, char16_t{0xDFFF}}, "U+DFFF"},
  };
  for (const auto& [text, character] : rows)
    EXPECT_EQ(refused(text), character);
}

}  // namespace
}  // namespace ktformula
