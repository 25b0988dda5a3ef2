// The result formats: what they ask a control to show, and their life as field listeners.
#include "listener/result_formats.h"

#include <gtest/gtest.h>

#include "host_fakes.h"

#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/describe.h"

namespace ktformula {
namespace {

class ResultFormatsTest : public ::testing::Test {
 protected:
  ResultFormatsTest() { format->Initialize(framework, nullptr, nullptr); }
  ~ResultFormatsTest() override { format->Terminate(); }

  Ref<TestFramework> framework = MakeRef<TestFramework>();
  Ref<DefaultFormulaFormat> format = MakeRef<DefaultFormulaFormat>();
};

TEST_F(ResultFormatsTest, SetsValueWithPatternAndUnit) {
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

// The examined units come before the cell's own, a pattern that was asked for before the format's.
TEST_F(ResultFormatsTest, MinDigitsAreAResultFormatToo) {
  ExaminedUnitsMap examined;
  examined.Add(u"mass", u"g");
  const auto few = MakeRef<MinDigitFormulaFormat>();
  few->Initialize(framework, nullptr, nullptr);
  const auto form = MakeRef<TestForm>("table T\n 1 X number g\n noted 1 kg|");
  TestCell& cell = form->TableOf(u"T").CellAt(u"X", 1);
  const auto shown = [&](double value, std::u16string_view pattern, const ExaminedUnitsMap& units) {
    few->SetGridCellValue(*form->grid, cell, value, pattern, 3, units);
    return form->grid->shown;
  };
  EXPECT_EQ(shown(5e-9, u"", {}), "5E-09 as 0.00 in µg");
  EXPECT_EQ(shown(2, u"", examined), "2 as 0 in g");
  EXPECT_EQ(shown(5.25e-6, u"0.#", examined), "5.25E-06 as 0.# in mg");
}

TEST_F(ResultFormatsTest, NeedsWhatItIsInitializedWithAndAProperty) {
  const auto units = MakeRef<TestUnits>();
  const auto grid = MakeRef<TestGrid>(*units);
  const std::string not_set = "raised 91 KtFormula9: Object variable not set; ";
  const auto cell = MakeRef<FakeCell>();
  EXPECT_EQ(Raised([&] { format->SetGridCellValue(*grid, *cell, 1, u"", 3, {}); }), not_set);
  EXPECT_EQ(Raised([&] { MakeRef<DefaultFormulaFormat>()->RequestSave(); }), not_set);
}

TEST_F(ResultFormatsTest, IsFieldListenerWithoutConfiguration) {
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
