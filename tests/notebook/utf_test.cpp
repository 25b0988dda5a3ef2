#include "notebook/files/utf.h"

#include <gtest/gtest.h>
#include <random>

namespace ktnotebook {
namespace {

using namespace std::string_literals;

const std::u16string kLoneLead = {u'a', char16_t{0xD83D}, u'b'};
const std::u16string kLoneTrail = {char16_t{0xDC00}};
const std::u16string kSwappedPair = {char16_t{0xDE00}, char16_t{0xD83D}};

TEST(Utf, EncodesAndDecodesEachSequenceLengthAtItsLimits) {
  const struct {
    std::u16string text;
    std::string bytes;
  } rows[] = {{u"", ""},
              {u"\0a\x7F"s, "\0a\x7F"s},
              {u"\u0080\u07FF", "\xC2\x80\xDF\xBF"},
              {u"\u0800\uD7FF\uE000\uFFFF", "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
              {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"}};
  for (const auto& row : rows) {
    EXPECT_EQ(ToUtf8(row.text), row.bytes);
    EXPECT_EQ(ToStoredUtf8(row.text), row.bytes);
    EXPECT_EQ(FromUtf8(row.bytes), row.text);
    EXPECT_EQ(FromStoredUtf8(row.bytes), row.text);
  }
}

TEST(Utf, LoneSurrogatesSurviveOnlyInStoredText) {
  EXPECT_EQ(ToUtf8(kLoneLead),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(ToUtf8(kSwappedPair), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(ToStoredUtf8(kLoneTrail), "\xED\xB0\x80");
  std::mt19937 random(7);
  const char16_t alphabet[] = {u'x', 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0x20AC};
  for (int round = 0; round < 500; ++round) {
    std::u16string text;
    for (int i = 0; i < 12; ++i)
      text.push_back(alphabet[random() % std::size(alphabet)]);
    EXPECT_EQ(FromStoredUtf8(ToStoredUtf8(text)), text);
  }
}

TEST(Utf, RefusesOrReplacesMalformedBytes) {
  const struct {
    std::string bytes;
    std::u16string replaced;
  } rows[] = {
      {"a\x80z", u"a\uFFFDz"},                            // no first byte
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                      // overlong, two bytes
      {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},            // overlong, three bytes
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // overlong, four bytes
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
      {"\xF5\x80", u"\uFFFD\uFFFD"},                      // never a first byte
      {"a\xE2\x82", u"a\uFFFD\uFFFD"},                    // truncated by the end
      {"\xE2\x82z", u"\uFFFD\uFFFDz"},                    // truncated by a letter
      {"\xC3\xC3\xA4", u"\uFFFD\u00E4"},                  // truncated by a sequence
  };
  for (const auto& row : rows) {
    EXPECT_FALSE(FromUtf8(row.bytes)) << testing::PrintToString(row.bytes);
    EXPECT_EQ(FromStoredUtf8(row.bytes), row.replaced);
  }
  EXPECT_FALSE(FromUtf8(std::string_view("\xC3\xA4", 1)));  // the rest is not part of the text
  EXPECT_FALSE(FromUtf8("\xED\xA0\x80"));  // a surrogate, allowed in stored text only
}

TEST(Utf, WidthsAreThoseOfATerminal) {
  const struct {
    std::u16string text;
    int width;
  } rows[] = {{u"", 0},       {u"5 \u00B5g", 4}, {u"\u00B1\u00B0", 2},       {u"e\u0301", 1},
              {u"\u6C34", 2}, {u"\uFF21", 2},    {u"\U0001F9EA", 2},         {kLoneLead, 3},
              {u"\uFFFD", 1}, {u"\u23CE", 1},    {u"\u2400\u241B\u2421", 3}, {u"\u200B", 0}};
  for (const auto& row : rows)
    EXPECT_EQ(DisplayWidth(row.text), row.width) << ToUtf8(row.text);
}

TEST(Utf, PrintableTextHasNoActiveCharacters) {
  const struct {
    std::u16string text;
    std::u16string printable;
  } rows[] = {{u"plain \u00B5\u6C34 \\u001b", u"plain \u00B5\u6C34 \\u001b"},
              {u"\x1B[31m", u"\\u001b[31m"},
              {u"a\tb\0c\x7F"s, u"a\\u0009b\\u0000c\\u007f"},
              {u"a\r\nb\nc\rd\u2028e\u0085", u"a\u23CEb\u23CEc\u23CEd\u23CEe\u23CE"},
              {u"\u009B1m", u"\\u009b1m"},
              {u"\u202Etxt\u202C\u2066\u2069", u"\\u202etxt\\u202c\\u2066\\u2069"},
              {u"\u061C\u200E\u200F\u200D", u"\\u061c\\u200e\\u200f\u200D"}};
  for (const auto& row : rows)
    EXPECT_EQ(Printable(row.text), row.printable);
}

TEST(Utf, CutTextsFitWithTheirEllipsis) {
  const struct {
    std::u16string text;
    int width;
    std::u16string cut;
  } rows[] = {{u"abcd", 4, u"abcd"},
              {u"abcde", 4, u"abc\u2026"},
              {u"abcde", 1, u"\u2026"},
              {u"", 1, u""},
              {u"\u6C34\u6C34", 4, u"\u6C34\u6C34"},
              {u"\u6C34\u6C34", 3, u"\u6C34\u2026"},
              {u"\u6C34\u6C34", 2, u"\u2026"},
              {u"ae\u0301e\u0301\u0301", 3, u"ae\u0301e\u0301\u0301"},
              {u"ae\u0301e\u0301", 2, u"a\u2026"},
              {u"\U0001F9EAbcd", 4, u"\U0001F9EAb\u2026"}};
  for (const auto& row : rows)
    EXPECT_EQ(CutToWidth(row.text, row.width), row.cut) << ToUtf8(row.text);
}

}  // namespace
}  // namespace ktnotebook
