// Patterns and units by a number's size.
#include <gtest/gtest.h>

#include "formats/display_choice.h"
#include "formats/display_pattern.h"
#include "test_host/notebook.h"
#include "test_host/utf8.h"
#include "values/describe.h"

namespace ktformula {
namespace {

// A property with this default unit; "" for none.
Ref<TestProperty> Property(const std::string& unit) {
  auto property = MakeRef<TestProperty>();
  property->unit = MakeRef<TestUnits>()->FindUnit(FromUtf8(unit));
  return property;
}

TEST(DisplayPattern, ChoosesPatternByDigitsAndUnit) {
  struct Row {
    double value;
    std::int16_t digits;
    std::u16string_view unit;
    std::string default_unit;
    std::string pattern;
  };
  const auto units = MakeRef<TestUnits>();
  const Row rows[] = {
      {0, 3, u"", "", "0.00"},
      {0, 1, u"", "", "0."},
      {0, 0, u"", "", "0.0"},
      {-0.5, 2, u"", "", "0.00"},
      {0.0123, 3, u"", "", "0.0000"},
      {0.05, 1, u"", "", "0.00"},
      {9.99, 3, u"", "", "0.00"},
      {10, 3, u"", "", "00.0"},
      {-123.4, 5, u"", "", "000.00"},
      {123.4, 2, u"", "", "000"},
      {12345, 3, u"", "", "00000"},
      {1000, 0, u"", "", "0000"},
      {0.1234, 3, u"%", "", "00.0%"},
      {0.1234, 3, u"g", "", "0.000"},
      // In units: the named one, else the default one.
      {0.0123, 3, u"", "kg", "0.0000"},
      {0.0123, 3, u"g", "kg", "00.0"},
      {0.0123, 3, u"", "mg", "00000"},
      {0.0123, 3, u"no unit", "g", "00.0"},
      {0.0123, 3, u"%", "g", "00.0"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(ToUtf8(DisplayPattern(row.value, row.digits, row.unit, *Property(row.default_unit),
                                    *units)),
              row.pattern)
        << row.value << " " << row.digits << " " << ToUtf8(row.unit);
  }
  const auto pattern_of = [&](double value, std::int16_t digits, std::u16string_view unit) {
    return Raised([&] { DisplayPattern(value, digits, unit, *Property(""), *units); });
  };
  EXPECT_EQ(pattern_of(0.5, -1, u""), "raised 5 KtFormula9: Invalid procedure call or argument; ");
  EXPECT_EQ(pattern_of(1e307, 3, u"%"), "raised 6 KtFormula9: Overflow; ");
}

// The minimum-digit display, "PATTERN in UNIT", of a value in a column with this default unit.
std::string MinDigits(double value, const std::string& unit, const std::string& default_unit) {
  const Display display =
      MinDigitDisplay(value, FromUtf8(unit), *Property(default_unit), 3, *MakeRef<TestUnits>());
  return ToUtf8(display.pattern) + " in " + ToUtf8(display.unit_name);
}

TEST(MinDigitDisplay, ChoosesPatternByMagnitude) {
  const std::pair<double, std::string> rows[] = {
      {0, "0.00"},        {0.000109, "0.00E+00"}, {0.00011, "0.00000"},  {0.00109, "0.00000"},
      {0.0011, "0.0000"}, {0.0109, "0.0000"},     {0.011, "0.000"},      {2.5, "0.000"},
      {2.51, "0.00"},     {25, "0.00"},           {25.1, "00.0"},        {-74.9, "00.0"},
      {75, "0"},          {10000, "0"},           {10000.5, "0.00E+00"}, {-0.5, "0.000"},
  };
  for (const auto& [value, shown] : rows)
    EXPECT_EQ(MinDigits(value, "", ""), shown + " in ") << value;
}

TEST(MinDigitDisplay, ChoosesUnit) {
  EXPECT_EQ(MinDigits(5e-9, "g", "g"), "0.00 in µg");
  // A negative number is smaller than any.
  EXPECT_EQ(MinDigits(-1e-3, "g", "g"), "0.00E+00 in µg");
  EXPECT_EQ(MinDigits(0.011, "kg", "g"), "0.000 in kg");
  EXPECT_EQ(MinDigits(0.0109, "kg", "g"), "0.00 in g");
  // A unit that is no one's next is the end, and so is one that nobody knows.
  EXPECT_EQ(MinDigits(0, "ng", "ng"), "0.00 in ng");
  // The pattern of 50.
  EXPECT_EQ(MinDigits(0.5, "%", ""), "00.0 in %");
}

TEST(MinDigitDisplay, StepsToTheNextSmallerUnit) {
  const auto units = MakeRef<TestUnits>();
  ExpectLines(R"(
      kg/mol -> g/mol
      kD -> D
      g/ml -> mg/ml
      mg/ml -> µg/ml
      µg/ml -> µg/l
      g/mL -> mg/mL
      mg/mL -> µg/mL
      µg/mL -> µg/L
      kg/l -> g/l
      g/l -> mg/l
      mg/l -> µg/l
      kg/L -> g/L
      g/L -> mg/L
      mg/L -> µg/L
      kg/m3 -> mg/l
      m -> mm
      cm -> mm
      mm -> µm
      µm -> nm
      kg -> g
      g -> mg
      mg -> µg
      mol -> mmol
      mmol -> µmol
      mol/g -> mmol/g
      mol/kg -> mmol/kg
      mmol/g -> µmol/g
      mmol/kg -> µmol/kg
      µmol/g -> µmol/kg
      molar -> mmolar
      mmolar -> µmolar
      mol/l -> mM
      mol/L -> mM
      M -> mM
      mM -> µM
      N -> mN
      mN -> µN
      bar -> mbar
      hr -> min
      min -> s
      s -> ms
      ms -> µs
      m3 -> l
      l -> ml
      ml -> µl
      L -> mL
      mL -> µL)",
              [&](const std::string& unit) {
                const double small = units->FindUnit(FromUtf8(unit))->ToBase(0.0109);
                const std::string shown = MinDigits(small, unit, unit);
                return shown.substr(shown.rfind(' ') + 1);
              });
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): counted references are not followed

}  // namespace
}  // namespace ktformula
