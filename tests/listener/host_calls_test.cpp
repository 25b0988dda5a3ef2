// What a pass asks of its host, and what becomes of the host's own errors.
#include <gtest/gtest.h>

#include "listener/formula_listener.h"
#include "listener/result_formats.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/describe.h"

namespace ktformula {
namespace {

// A control that shows no numbers.
struct FailingGrid final : GridControl {
  std::u16string TypeName() const override { return u"Grid"; }
  void WriteText(TableCell& cell, std::u16string_view text, bool) override {
    static_cast<TestCell&>(cell).text = text;
  }
  void ClearNumber(TableCell&) override {}
  void SetValue(TableCell&, double, std::u16string_view, std::u16string_view) override {
    Raise(RuntimeError::kOverflow);
  }
  void FinishCell(TableCell&) override {}
};

// Units that convert nothing.
struct FailingUnits final : UnitCatalogue {
  struct FailingUnit final : Unit {
    std::u16string TypeName() const override { return u"Unit"; }
    std::u16string QuantityName() const override { return u"mass"; }
    std::u16string UnitText() const override { return u"g"; }
    double FromBase(double) const override { Raise(RuntimeError::kOverflow); }
  };
  std::u16string TypeName() const override { return u"Units"; }
  Ref<Unit> Find(std::u16string_view) override { return MakeRef<FailingUnit>(); }
};

struct FrameworkOfFailingUnits final : TestFramework {
  Ref<UnitCatalogue> Units() override { return MakeRef<FailingUnits>(); }
};

class HostCallsTest : public ::testing::Test {
 protected:
  ~HostCallsTest() override { listener->Terminate(); }

  // The first field of the form is watched; its column X has a formula.
  void Load(const std::string& notation, const Ref<TestFramework>& framework) {
    listener->Terminate();
    form = MakeRef<TestForm>(notation);
    framework->create_listener = [this](auto) -> Ref<IKtFieldListener> {
      form->asked += "format, ";
      return MakeRef<DefaultFormulaFormat>();
    };
    listener->Initialize(framework, form->OwnerOf(u"T"), nullptr);
    listener->SetResultFormat(kDefaultFormulaFormatIdentifier);
    listener->SetPropertyFormula(1, u"1", u"");
  }
  std::string Notify() {
    return Raised([this] { listener->TableNotification(*form->Notification(), nullptr); });
  }

  Ref<TestForm> form;
  Ref<FormulaListener> listener = MakeRef<FormulaListener>(std::span<const FunctionClass>());
};

TEST_F(HostCallsTest, ComeInOrderAndAskForCountsOnce) {
  Load("table T\n 1 X number | 2 Y number\n |\n |\n |", MakeRef<TestFramework>());
  EXPECT_EQ(Notify(), "");
  EXPECT_EQ(form->asked, "format, form, holder, properties, table, control, columns, cells, ");
  // A formatted number wants a look at the entered cells of all tables.
  Load("table T\n 1 X number formatted | 2 Y number\n |\n |\n table U\n 3 Z number\n |",
       MakeRef<TestFramework>());
  EXPECT_EQ(Notify(), "");
  EXPECT_EQ(form->asked,
            "format, form, holder, properties, table, control, columns, cells, fields, table, "
            "columns, cells, cells, table, columns, cells, ");
  Load("text T = no table", MakeRef<TestFramework>());
  EXPECT_EQ(Notify(), "");
  EXPECT_EQ(form->asked, "format, form, holder, properties, ");
}

// A number may be too large for its display unit: that is the cell's error. What the host's own
// control and units raise is the host's, an overflow like anything else.
TEST_F(HostCallsTest, OverflowIsTheCellsOnlyWhereItIsTheNumbers) {
  const std::string notation = "table T\n 1 X number g formatted\n |";
  const std::string overflow = "raised 6 KtFormula9: Overflow; ";
  // Finite, but not a thousand times it, nor a hundred times.
  const std::u16string huge = u"1" + std::u16string(307, u'0');
  Load(notation, MakeRef<TestFramework>());
  form->control = MakeRef<FailingGrid>();
  for (const std::u16string_view format : {u"", u"%"}) {
    listener->SetPropertyFormula(1, huge, format);
    EXPECT_EQ(Notify(), "");
    EXPECT_EQ(form->TableOf(u"T").Texts(u"X"), "#Error: Overflow");
  }
  listener->SetPropertyFormula(1, u"1", u"");
  EXPECT_EQ(Notify(), overflow);

  Load(notation, MakeRef<FrameworkOfFailingUnits>());
  EXPECT_EQ(Notify(), overflow);
}

}  // namespace
}  // namespace ktformula
