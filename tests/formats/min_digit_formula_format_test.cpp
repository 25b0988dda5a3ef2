// The minimum-digit result format: patterns by magnitude, and steps to smaller units.
#include "formats/min_digit_formula_format.h"

#include <gtest/gtest.h>
#include <sstream>

#include "notebook/notebook_file.h"
#include "notebook/table_control.h"
#include "notebook/utf.h"

namespace ktformula {
namespace {

// What the value makes a typed cell with this text show, in a column with this unit ("" for none).
std::string Shown(double value, const std::string& unit, const std::string& text,
                  std::u16string_view requested = u"", const ExaminedUnitsMap& examined = {}) {
  std::string xml = "<notebook><form name='F'><table name='T' key='1'><property key='1' name='X' ";
  xml += "type='number'" + (unit.empty() ? unit : " unit='" + unit + "'") + "/><row id='1'><cell ";
  xml += "property='X' state='noted'>" + text + "</cell></row></table></form></notebook>";
  const auto notebook = ktnotebook::ReadNotebook(xml, "n.xml");
  const auto format = MakeRef<MinDigitFormulaFormat>();
  format->Initialize(notebook.framework, nullptr, nullptr);
  const auto* table = notebook.forms[0]->Tables()[0];
  auto& cell = table->Rows()[0]->CellAt(0);
  format->SetGridCellValue(*table->Control(), cell, value, requested, 3, examined);
  return ktnotebook::ToUtf8(cell.Text());
}

TEST(MinDigitFormulaFormat, ChoosesPatternByMagnitude) {
  std::istringstream rows(
      "0 0.00 0.000109 1.09E-04 0.00011 0.00011 0.0011 0.0011 0.0109 0.0109 0.011 0.011 2.5 2.500 "
      "2.51 2.51 25.1 25.1 -74.9 -74.9 75.2 75 10000 10000 10000.5 1.00E+04 -0.5 -0.500");
  for (std::string value, shown; rows >> value >> shown;) {
    EXPECT_EQ(Shown(std::stod(value), "", ""), shown);
  }
}

TEST(MinDigitFormulaFormat, StepsToSmallerUnits) {
  ExaminedUnitsMap examined;
  examined.Add(u"mass", u"g");
  examined.Add(u"", u"%");
  EXPECT_EQ(Shown(5e-9, "g", "1 g"), "5.00 µg");
  EXPECT_EQ(Shown(-1e-3, "g", "1 g"), "-1.00E+06 µg");
  EXPECT_EQ(Shown(0.011, "g", "1 kg"), "0.011 kg");
  EXPECT_EQ(Shown(0.0109, "g", "1 kg"), "10.90 g");
  EXPECT_EQ(Shown(2, "g", "1 mg", u"", examined), "2000 g");
  EXPECT_EQ(Shown(5.25e-6, "g", "1 kg", u"0.#", examined), "5.3 mg");
  EXPECT_EQ(Shown(0.5, "", "", u"", examined), "00.5");  // The pattern of 50.
  // Zero goes to the end of every chain.
  std::istringstream chains(
      "kg/mol g/mol kD D g/ml µg/l g/mL µg/L kg/l µg/l kg/L µg/L kg/m3 µg/l m nm cm nm kg µg mol "
      "µmol mol/g µmol/kg µmol/g µmol/kg mol/kg µmol/kg molar µmolar mol/l µM mol/L µM M µM N µN "
      "bar mbar hr µs m3 µl L µL ng ng");
  for (std::string unit, smallest; chains >> unit >> smallest;) {
    EXPECT_EQ(Shown(0, unit, "1 " + unit), "0.00 " + smallest);
  }
}

}  // namespace
}  // namespace ktformula
