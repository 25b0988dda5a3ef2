// A notebook means the same whoever opens it; what people type and read is in their own locale.
#include <algorithm>
#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <set>

#include "notebook/files/csv_file.h"
#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/program.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/cell_text.h"
#include "notebook/tables/localized_text.h"
#include "notebook/tables/number_pattern.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {
namespace {

using ktformula::Locale;

Locale Named(std::string_view name) {
  return FindLocale(name).value();
}

constexpr std::string_view kLocales[] = {"C", "de_DE", "fr_FR", "de_CH", "sv_SE"};

struct LocaleTest : ::testing::Test {
  std::string Saved(const std::string& name, std::string_view text) const {
    WriteWholeFile(folder.File(name), text);
    return folder.File(name);
  }
  // What the command prints, messages behind.
  std::string Print(Arguments arguments) const {
    const Program program(arguments);
    return program.out.str() + program.err.str();
  }
  TemporaryFolder folder;
};

TEST_F(LocaleTest, NumbersChangeTheirSeparatorsAndNothingElse) {
  const std::tuple<std::string_view, std::u16string, std::string_view, std::u16string> cases[] = {
      {"C", u"1.50 mg", "de_DE", u"1,50 mg"},
      {"C", u"-1,234,567.250E-03 g", "de_DE", u"-1.234.567,250E-03 g"},
      {"C", u".5", "fr_FR", u",5"},
      {"C", u"1,234.5 \u00B1 1.5 K", "fr_FR", u"1\u202F234,5 \u00B1 1,5 K"},
      {"C", u"1,000.5+/-0.25", "de_CH", u"1\u2019000.5+/-0.25"},
      {"C", u"0.5...75 l", "de_DE", u"0,5..,75 l"},
      {"C", u"1.. 2.5", "de_DE", u"1.. 2,5"},
      {"de_DE", u"1.000,..2.000,5", "C", u"1,000. ..2,000.5"},
      {"C", u"12.5%", "sv_SE", u"12,5%"},
      // What a pattern puts around a number stays.
      {"C", u"ca. 1,234.5 (v. 1.2)", "de_DE", u"ca. 1.234,5 (v. 1.2)"},
      {"C", u"n. d.", "de_DE", u"n. d."},
      {"C", u"", "de_DE", u""},
  };
  for (const auto& [from, text, to, expected] : cases) {
    std::u16string buffer;
    EXPECT_EQ(ToUtf8(WithSeparatorsOf(Named(to), text, Named(from), buffer)), ToUtf8(expected));
  }
}

// Whatever a pattern makes of a number, it can be typed again in any locale.
TEST_F(LocaleTest, WhatIsShownCanBeTypedAgain) {
  const std::u16string_view patterns[] = {u"",       u"0.",       u"0.00", u"#,##0.0###",
                                          u"#,##0.", u"0.00E+00", u"0.0%", u"#.##"};
  const Ref<NotebookUnitCatalogue> units = ktformula::MakeRef<NotebookUnitCatalogue>();
  const NotebookUnit* const gram = units->FindUnit(u"g");
  std::mt19937_64 random(7);
  const auto number = [&] {
    const double size = std::pow(10, static_cast<double>(random() % 24) - 12);
    return FormatNumber(
        static_cast<double>(static_cast<std::int64_t>(random() % 2000001) - 1000000) * size,
        patterns[random() % std::size(patterns)]);
  };
  const std::u16string_view between[] = {u"..", u" .. ", u"\u00B1", u" +/- "};
  const std::u16string_view behind[] = {u"", u" mg", u"kg"};
  int numbers = 0;
  for (int i = 0; i < 20000; ++i) {
    std::u16string text = number();
    if (random() % 3 == 0) text += std::u16string(between[random() % 4]) + number();
    text += behind[random() % 3];
    PropertyDefinition definition{1, u"A", DataType::kNumber, i % 2 == 0 ? gram : nullptr};
    const Locale kept_in;
    const Locale locale = Named(kLocales[random() % std::size(kLocales)]);
    const auto kept = ParseNumberText(text, definition.unit, *units, kept_in);
    if (!kept) continue;
    ++numbers;
    std::u16string buffer;
    const std::u16string shown(WithSeparatorsOf(locale, text, kept_in, buffer));
    TypedTexts typed(definition, *units, kept_in, locale);
    const ContentView read = typed.ReadTyped(shown);
    ASSERT_EQ(ToUtf8(read.text), ToUtf8(text)) << ToUtf8(shown);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(read.min),
              std::bit_cast<std::uint64_t>(kept->min + 0.0));
    ASSERT_EQ(std::bit_cast<std::uint64_t>(read.max),
              std::bit_cast<std::uint64_t>(kept->max + 0.0));
  }
  EXPECT_GT(numbers, 5000);
}

constexpr std::string_view kForms = R"(  <form name="F">
    <table name="T" key="1">
      <property key="1" name="A" type="number" unit="g" numberFormatting="true" />
      <property key="2" name="B" type="number" unit="g" numberFormatting="true" />
      <property key="3" name="N" type="string" />
      <row id="1">
        <cell property="A" state="entered">@1@234@.5 mg</cell>
      </row>
      <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
        <propertyFormula format="#,##0.00" name="B"><![CDATA[[A]*[half]*1000000]]></propertyFormula>
        <definition name="half"><![CDATA[@]]></definition>
      </fieldListener>
    </table>
  </form>
</notebook>
)";

// A notebook in the locale, with a mass in its separators and a definition.
std::string NotebookText(const std::string& locale, const std::string& mass,
                         const std::string& half) {
  std::string text = "<notebook" + (locale.empty() ? "" : " locale=\"" + locale + "\"") + ">\n" +
                     std::string(kForms);
  text.replace(text.find("@1@234@.5 mg"), 12, mass);
  text.replace(text.find('@'), 1, half);
  return text;
}

TEST_F(LocaleTest, ANotebookIsTheSameForEverybody) {
  const std::tuple<std::string, std::string, std::string> notebooks[] = {
      {"", "1,234.5 mg", "0.5"},
      {"de_DE", "1.234,5 mg", "1/2"},
      {"de_CH", "1\u2019234.5 mg", "0.5"},
  };
  for (const auto& [locale, mass, half] : notebooks) {
    const std::string file = Saved("n.xml", NotebookText(locale, mass, half));
    const std::string db = folder.File(locale + ".db");
    Print({"import", file, "--db", db});
    std::set<std::string> saved;
    std::set<std::string> json;
    for (const std::string_view person : kLocales) {
      const std::string option = "--locale=" + std::string(person);
      saved.insert(Print({"recalculate", file, "-o", "-", option}));
      saved.insert(Print({"export", "F", "--db", db, option}));
      json.insert(Print({"recalculate", file, "--json", option}));
    }
    EXPECT_EQ(saved.size(), 1U) << *saved.begin();
    EXPECT_NE(saved.begin()->find(mass + "<"), std::string::npos) << *saved.begin();
    EXPECT_EQ(json.size(), 1U);
    EXPECT_NE(json.begin()->find("\"min\":617.25,"), std::string::npos) << *json.begin();
    // Shown to each in their own.
    const std::string show = Print({"show", "F", "--db", db, "--locale=fr_FR"});
    EXPECT_NE(show.find("1\u202F234,5 mg  617\u202F250,00 g"), std::string::npos) << show;
  }
  EXPECT_EQ(Print({"recalculate", Saved("x.xml", "<notebook locale='xx'/>")}),
            "ktnotebook: " + folder.File("x.xml") + ":1: the locale \"xx\" is not known\n");
}

TEST_F(LocaleTest, WhatIsTypedIsKeptInTheNotebooksLocale) {
  const std::string db = folder.File("n.db");
  Print({"import", Saved("n.xml", NotebookText("", "1 g", "0.5")), "--db", db});
  const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
      {"de_DE", "1.234,50 mg", ">1,234.50 mg<", "1.234,50 mg"},
      {"de_DE", "187.04", ">1,234.50 mg<", "did you mean \"187,04\"?"},
      {"de_DE", "187,04", ">187.04<", "187,04 g"},
      {"C", "0,125 g", ">187.04<", "did you mean \"0.125 g\"?"},
      {"fr_FR", "12 345,5 mg", ">12,345.5 mg<", "12\u202F345,5 mg"},
      {"fr_FR", "12\u00A0345,5 mg", ">12,345.5 mg<", "12\u202F345,5 mg"},
      {"C", "1'234 mg", ">12,345.5 mg<", "did you mean \"1,234 mg\"?"},
      {"de_DE", "1 234,5", ">12,345.5 mg<", "did you mean \"1.234,5\"?"},
      {"fr_FR", "1.5", ">12,345.5 mg<", "did you mean \"1,5\"?"},
      {"de_CH", "12'345.5 mg", ">12,345.5 mg<", "12\u2019345.5 mg"},
      {"de_DE", "1,5 .. 2,5", ">1.5 .. 2.5<", "1,5 .. 2,5 g"},
      {"de_DE", "n.d.", ">n.d.<", "n.d."},
      {"de_DE", "1,5 ml", ">1,5 ml<", "1,5 ml"},
  };
  for (const auto& [locale, typed, kept, shown] : cases) {
    const std::string said = Print({"set", "F/T:A:1", typed, "--db", db, "--locale", locale});
    EXPECT_NE(said.find(shown), std::string::npos) << typed << "\n" << said;
    const std::string saved = Print({"export", "F", "--db", db});
    EXPECT_NE(saved.find("property=\"A\" state=\"entered\"" + kept), std::string::npos) << saved;
  }
  Print({"set", "F/T:N:1", "1,5", "--db", db, "--locale=de_DE"});
  EXPECT_NE(Print({"export", "F", "--db", db}).find(">1,5<"), std::string::npos);
  // Formulas are the notebook's; without one they are typed.
  const std::string file = folder.File("n.xml");
  EXPECT_EQ(Print({"eval", "[A]*0.5", "--file", file, "--cell", "F/T:A:1", "--locale=de_DE"}),
            "0,0005\n");
  EXPECT_EQ(Print({"eval", "1/8", "--locale=de_DE"}), "0,125\n");
  EXPECT_EQ(Print({"check", Saved("de.xml", NotebookText("de_DE", "1,5 g", "1/2")), "--strict"}),
            "no problems\n");
  const std::string story = Print({"explain", "F/T:B:1", "--file", file, "--locale=de_DE"});
  EXPECT_NE(story.find("500.000,00 g"), std::string::npos) << story;
  EXPECT_NE(story.find("is 0,5"), std::string::npos) << story;
  EXPECT_EQ(Print({"formula", "F/T:B", "[A]*0.25", "--db", db, "--locale=de_DE"}).find("syntax"),
            std::string::npos);
  EXPECT_EQ(Print({"formula", "F/T:B", "--db", db, "--locale=de_DE"}),
            "[A]*0.25\nformat #,##0.00\n");
}

TEST_F(LocaleTest, ACsvFileOfAnyLocaleIsTheSameNotebook) {
  std::mt19937_64 random(11);
  for (const std::u16string_view pattern : {u"0.000", u"#,##0.00", u"0.00E+00", u"#,##0.##", u""}) {
    std::string csv = "a,b (mg),c\n";
    for (int row = 0; row < 200; ++row) {
      const double number = static_cast<double>(static_cast<std::int64_t>(random()) >> 20) / 1024;
      csv += ToUtf8(ktformula::NumberToText(number)) + "," + (row % 9 == 0 ? "" : "1.25 g") + ",\n";
    }
    const CsvOptions options{{{u"c", u"[a]/4096"}}, {{u"c", std::u16string(pattern)}}, {}, {}};
    const Notebook notebook = ReadCsvNotebook(csv, "c", u"t", options);
    RecalculateForm(*notebook.forms.front(), 8);
    const NotebookTable& table = *notebook.forms.front()->Tables().front();
    const std::string expected = WriteNotebook(ReadCsvNotebook(WriteCsv(table), "c", u"t", {}));
    for (const std::string_view name : kLocales) {
      const CsvOptions local{{}, {}, {}, {}, {}, {}, Named(name)};
      const Notebook read =
          ReadCsvNotebook(WriteCsv(table, {',', false, Named(name)}), "c", u"t", local);
      EXPECT_EQ(WriteNotebook(read), expected) << name;
      for (const Ref<NotebookColumn>& column : read.forms.front()->Tables().front()->Columns()) {
        const auto numbers = column->Data().MinNumbers();
        EXPECT_EQ(
            std::count_if(numbers.begin(), numbers.end(), [](double n) { return std::isnan(n); }),
            0);
      }
    }
  }
}

}  // namespace
}  // namespace ktnotebook
