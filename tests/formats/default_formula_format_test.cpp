// The default result format: patterns, display units, and its life as a field listener.
#include "formats/default_formula_format.h"

#include <gtest/gtest.h>

#include "host_fakes.h"

#include "formats/display_pattern.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/describe.h"

namespace ktformula {
namespace {

class DefaultFormulaFormatTest : public ::testing::Test {
 protected:
  DefaultFormulaFormatTest() { format->Initialize(framework, nullptr, nullptr); }
  ~DefaultFormulaFormatTest() override { format->Terminate(); }

  // A property with this default unit; "" for none.
  static Ref<TestProperty> Property(std::u16string_view unit) {
    auto property = MakeRef<TestProperty>();
    property->unit = MakeRef<TestUnits>()->FindUnit(unit);
    return property;
  }

  Ref<TestFramework> framework = MakeRef<TestFramework>();
  Ref<DefaultFormulaFormat> format = MakeRef<DefaultFormulaFormat>();
};

TEST_F(DefaultFormulaFormatTest, ChoosesPatternByDigitsAndUnit) {
  struct Row {
    double value;
    std::int16_t digits;
    std::u16string_view unit;
    std::u16string_view default_unit;
    std::string pattern;
  };
  const Row rows[] = {
      {0, 3, u"", u"", "0.00"},
      {0, 1, u"", u"", "0."},
      {0, 0, u"", u"", "0.0"},
      {-0.5, 2, u"", u"", "0.00"},
      {0.0123, 3, u"", u"", "0.0000"},
      {0.05, 1, u"", u"", "0.00"},
      {9.99, 3, u"", u"", "0.00"},
      {10, 3, u"", u"", "00.0"},
      {-123.4, 5, u"", u"", "000.00"},
      {123.4, 2, u"", u"", "000"},
      {12345, 3, u"", u"", "00000"},
      {1000, 0, u"", u"", "0000"},
      {0.1234, 3, u"%", u"", "00.0%"},
      {0.1234, 3, u"g", u"", "0.000"},
      // In units: the named one, else the default one.
      {0.0123, 3, u"", u"kg", "0.0000"},
      {0.0123, 3, u"g", u"kg", "00.0"},
      {0.0123, 3, u"", u"mg", "00000"},
      {0.0123, 3, u"no unit", u"g", "00.0"},
      {0.0123, 3, u"%", u"g", "00.0"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(ToUtf8(DisplayPattern(row.value, row.digits, row.unit, *Property(row.default_unit),
                                    *framework->Units())),
              row.pattern)
        << row.value << " " << row.digits << " " << ToUtf8(row.unit);
  }
  const auto pattern_of = [&](double value, std::int16_t digits, std::u16string_view unit) {
    return Raised(
        [&] { DisplayPattern(value, digits, unit, *Property(u""), *framework->Units()); });
  };
  EXPECT_EQ(pattern_of(0.5, -1, u""), "raised 5 KtFormula9: Invalid procedure call or argument; ");
  EXPECT_EQ(pattern_of(1e307, 3, u"%"), "raised 6 KtFormula9: Overflow; ");
}

TEST_F(DefaultFormulaFormatTest, SetsValueWithPatternAndUnit) {
  struct Row {
    double value;
    std::u16string_view format;
    // Of the column's unit and the cell's own; the examined units are mass in mg.
    std::string unit;
    std::string text;
    std::string shown;
  };
  const Row rows[] = {
      {0.5, u"", "", "1", "0.5 as 0.000"},
      {0.5, u"%", "", "1", "0.5 as 00.0%"},
      {0.5, u"0.0", "", "1", "0.5 as 0.0"},
      {0.0000123, u"", "g", "1 g", "1.23E-05 as 00.0 in mg"},
      {0.0000123, u"0.##", "g", "1 g", "1.23E-05 as 0.## in mg"},
      {0.0000123, u"", "m3", "1 l", "1.23E-05 as 0.0000 in l"},
      {0.0000123, u"", "m3", "1", "1.23E-05 as 0.0000000 in m3"},
      // A percentage is shown without a unit, whatever was entered.
      {0.0000123, u"%", "kg", "1 mg", "1.23E-05 as 0.0000000"},
  };
  ExaminedUnitsMap units;
  units.Add(u"mass", u"mg");
  for (const Row& row : rows) {
    const auto form =
        MakeRef<TestForm>("table T\n 1 X number " + row.unit + "\n noted " + row.text);
    TestCell& cell = form->TableOf(u"T").CellAt(u"X", 1);
    format->SetGridCellValue(*form->grid, cell, row.value, row.format, 3, units);
    EXPECT_EQ(form->grid->shown, row.shown);
  }
}

TEST_F(DefaultFormulaFormatTest, NeedsWhatItIsInitializedWithAndAProperty) {
  const auto units = MakeRef<TestUnits>();
  const auto grid = MakeRef<TestGrid>(*units);
  const std::string not_set = "raised 91 KtFormula9: Object variable not set; ";
  const auto cell = MakeRef<FakeCell>();
  EXPECT_EQ(Raised([&] { format->SetGridCellValue(*grid, *cell, 1, u"", 3, {}); }), not_set);
  EXPECT_EQ(Raised([&] { MakeRef<DefaultFormulaFormat>()->RequestSave(); }), not_set);
}

TEST_F(DefaultFormulaFormatTest, IsFieldListenerWithoutConfiguration) {
  const auto element = ParseXml(
      u"<fieldListener name='Digits' progID='KtFormula9.DefaultFormulaFormat' position='2'>"
      u"<propertyFormula key='1'>1</propertyFormula></fieldListener>");
  format->SetData(u"xml", element.get());
  const auto root = ParseXml(u"<r/>");
  format->Export(*root, u"");
  EXPECT_EQ(ToUtf8(root->Xml()),
            "<r><fieldListener key=\"0\" progID=\"KtFormula9.DefaultFormulaFormat\" "
            "name=\"Digits\" position=\"2\"/></r>");
  format->EditProperties();
  EXPECT_EQ(framework->calls.back(), "show: The field listener \"Digits\" has no properties");
  EXPECT_EQ(Raised([&] { format->ResolveType(u"Unit", nullptr); }),
            "raised -2147220991 FormulaListener.IKtObject_ResolveType: the type \"Unit\" cannot be "
            "resolved from Field Listener \"Digits\"; ");
  EXPECT_EQ(Raised([&] { format->Refresh(); }), "raised 91 KtFormula9: Object variable not set; ");
  // Its failures are reported under the one name that all field listeners share.
  EXPECT_EQ(Raised([&] { format->SetData(u"", nullptr); }),
            "raised 91 FormulaListener.SetData/KtFormula9: Object variable not set; ");
}

}  // namespace
}  // namespace ktformula
