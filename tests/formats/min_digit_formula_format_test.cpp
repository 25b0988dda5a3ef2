// The minimum-digit result format: patterns by magnitude, and steps to smaller units.
#include "formats/min_digit_formula_format.h"

#include <gtest/gtest.h>

#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/describe.h"

namespace ktformula {
namespace {

// How the value is shown in a typed cell with this text, in a column with this unit ("" for none):
// "VALUE as PATTERN in UNIT".
std::string Shown(double value, const std::string& unit, const std::string& text,
                  std::u16string_view requested = u"", const ExaminedUnitsMap& examined = {}) {
  const auto form = MakeRef<TestForm>("table T\n 1 X number " + unit + "\n noted " + text + "|");
  const auto format = MakeRef<MinDigitFormulaFormat>();
  format->Initialize(MakeRef<TestFramework>(), nullptr, nullptr);
  TestCell& cell = form->TableOf(u"T").CellAt(u"X", 1);
  format->SetGridCellValue(*form->grid, cell, value, requested, 3, examined);
  return form->grid->shown;
}

TEST(MinDigitFormulaFormat, ChoosesPatternByMagnitude) {
  const std::pair<double, std::string> rows[] = {
      {0, "0 as 0.00"},
      {0.000109, "0.000109 as 0.00E+00"},
      {0.00011, "0.00011 as 0.00000"},
      {0.00109, "0.00109 as 0.00000"},
      {0.0011, "0.0011 as 0.0000"},
      {0.0109, "0.0109 as 0.0000"},
      {0.011, "0.011 as 0.000"},
      {2.5, "2.5 as 0.000"},
      {2.51, "2.51 as 0.00"},
      {25, "25 as 0.00"},
      {25.1, "25.1 as 00.0"},
      {-74.9, "-74.9 as 00.0"},
      {75, "75 as 0"},
      {10000, "10000 as 0"},
      {10000.5, "10000.5 as 0.00E+00"},
      {-0.5, "-0.5 as 0.000"},
  };
  for (const auto& [value, shown] : rows)
    EXPECT_EQ(Shown(value, "", "1"), shown);
}

TEST(MinDigitFormulaFormat, ChoosesUnit) {
  ExaminedUnitsMap examined;
  examined.Add(u"mass", u"g");
  examined.Add(u"", u"%");
  EXPECT_EQ(Shown(5e-9, "g", "1 g"), "5E-09 as 0.00 in µg");
  // A negative number is smaller than any.
  EXPECT_EQ(Shown(-1e-3, "g", "1 g"), "-0.001 as 0.00E+00 in µg");
  EXPECT_EQ(Shown(0.011, "g", "1 kg"), "0.011 as 0.000 in kg");
  EXPECT_EQ(Shown(0.0109, "g", "1 kg"), "0.0109 as 0.00 in g");
  EXPECT_EQ(Shown(2, "g", "1 mg", u"", examined), "2 as 0 in g");
  EXPECT_EQ(Shown(5.25e-6, "g", "1 kg", u"0.#", examined), "5.25E-06 as 0.# in mg");
  // A unit that is no one's next is the end, and so is one that nobody knows.
  EXPECT_EQ(Shown(0, "ng", "1 ng"), "0 as 0.00 in ng");
  // The pattern of 50.
  EXPECT_EQ(Shown(0.5, "", "1", u"", examined), "0.5 as 00.0 in %");
}

TEST(MinDigitFormulaFormat, StepsToTheNextSmallerUnit) {
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
                const std::string shown =
                    Shown(units->FindUnit(FromUtf8(unit))->ToBase(0.0109), unit, "1 " + unit);
                return shown.substr(shown.rfind(' ') + 1);
              });
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): counted references are not followed

}  // namespace
}  // namespace ktformula
