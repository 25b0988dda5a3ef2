// What a pass asks of its host, and what becomes of the host's own errors.
#include <gtest/gtest.h>

#include "formats/default_formula_format.h"
#include "listener/formula_listener.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

// A form whose objects tell when they are asked. They lead to those of a test's form.
struct LoggedColumn final : TableProperty {
  LoggedColumn(Ref<TableProperty> own_column, std::string& own_log)
      : column(std::move(own_column)), log(own_log) {}
  Ref<TableProperty> column;
  std::string& log;

  std::u16string TypeName() const override { return column->TypeName(); }
  Ref<Table> OwningTable() const override { return column->OwningTable(); }
  Ref<ELNProperty> Property() const override { return column->Property(); }
  int CellCount() const override {
    log += "cells, ";
    return column->CellCount();
  }
  Ref<TableCell> Cell(int index) const override { return column->Cell(index); }
};

struct LoggedTable final : Table {
  LoggedTable(Ref<Table> own_table, std::string& own_log)
      : table(std::move(own_table)), log(own_log) {}
  Ref<Table> table;
  std::string& log;

  std::u16string TypeName() const override { return table->TypeName(); }
  int ColumnCount() const override {
    log += "columns, ";
    return table->ColumnCount();
  }
  Ref<TableProperty> Column(int index) const override {
    return MakeRef<LoggedColumn>(table->Column(index), log);
  }
  int RowCount() const override { return table->RowCount(); }
  Ref<TableRow> Row(int index) const override { return table->Row(index); }
};

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

struct LoggedHolder final : ControlHolder {
  LoggedHolder(Ref<GridControl> own_grid, std::string& own_log)
      : grid(std::move(own_grid)), log(own_log) {}
  Ref<GridControl> grid;
  std::string& log;

  std::u16string TypeName() const override { return u"Holder"; }
  Ref<ELNProperties> Properties() override {
    log += "properties, ";
    return nullptr;
  }
  Ref<GridControl> Object() override {
    log += "control, ";
    return grid;
  }
};

struct LoggedField final : Field {
  LoggedField(Ref<Table> own_table, std::string& own_log)
      : table(std::move(own_table)), log(own_log) {}
  Ref<Table> table;
  std::string& log;

  std::u16string TypeName() const override { return u"Field"; }
  std::int32_t Key() const override { return 1; }
  std::u16string Description() const override { return u"field"; }
  Ref<Table> AsTable() override {
    log += "table, ";
    return table;
  }
};

struct LoggedOwner final : OwnerCollection {
  LoggedOwner(Ref<Field> own_field, std::string& own_log)
      : field(std::move(own_field)), log(own_log) {}
  Ref<Field> field;
  std::string& log;

  std::u16string TypeName() const override { return u"Owner"; }
  int FieldCount() const override {
    log += "fields, ";
    return 2;
  }
  Ref<Field> FieldAt(int) const override { return field; }
  Ref<Field> WatchedField() const override { return field; }
  Ref<ELNProperties> WatchedProperties() const override { return nullptr; }
  std::u16string Description(int) const override { return u"owner"; }
};

struct LoggedForm final : Form {
  explicit LoggedForm(Ref<LoggedHolder> own_holder) : holder(std::move(own_holder)) {}
  Ref<LoggedHolder> holder;

  std::u16string TypeName() const override { return u"Form"; }
  Ref<ControlHolder> HolderOf(const Field&) override {
    holder->log += "holder, ";
    return holder;
  }
};

struct LoggedSource final : NotificationSource {
  explicit LoggedSource(Ref<LoggedForm> own_form) : form(std::move(own_form)) {}
  Ref<LoggedForm> form;

  std::u16string TypeName() const override { return u"Source"; }
  Ref<Form> FormObject() override {
    form->holder->log += "form, ";
    return form;
  }
};

class HostCallsTest : public ::testing::Test {
 protected:
  HostCallsTest() {
    framework->create_listener = [this](auto) -> Ref<IKtFieldListener> {
      log += "format, ";
      return MakeRef<DefaultFormulaFormat>();
    };
    listener->SetResultFormat(kDefaultFormulaFormatIdentifier);
  }
  ~HostCallsTest() override { listener->Terminate(); }

  // `table` is what stands below the table's name; an empty one is no table.
  void Load(const std::string& table, const Ref<GridControl>& grid) {
    form = MakeRef<TestForm>("table T\n" + (table.empty() ? "1 X number" : table));
    const Ref<Table> logged =
        table.empty() ? Ref<Table>() : MakeRef<LoggedTable>(Ref<Table>(&form->TableOf(u"T")), log);
    listener->Initialize(framework, MakeRef<LoggedOwner>(MakeRef<LoggedField>(logged, log), log),
                         nullptr);
    source = MakeRef<LoggedSource>(MakeRef<LoggedForm>(MakeRef<LoggedHolder>(grid, log)));
    listener->SetPropertyFormula(1, kHuge, u"");
  }
  std::string Notify() {
    return Raised([this] { listener->TableNotification(*source, nullptr); });
  }

  // Finite, but not a thousand times it, nor a hundred times.
  const std::u16string kHuge = u"1" + std::u16string(307, u'0');
  std::string log;
  Ref<TestForm> form;
  Ref<TestFramework> framework = MakeRef<TestFramework>();
  Ref<FormulaListener> listener = MakeRef<FormulaListener>(std::span<const FunctionClass>());
  Ref<LoggedSource> source;
};

TEST_F(HostCallsTest, ComeInOrderAndAskForCountsOnce) {
  const auto grid = MakeRef<FailingGrid>();
  Load("1 X number | 2 Y number\n|\n|\n|", grid);
  EXPECT_EQ(Notify(), "");
  EXPECT_EQ(log, "format, form, holder, properties, table, control, columns, cells, ");
  log.clear();
  listener->Terminate();
  Load("1 X number formatted | 2 Y number\n|\n|", form->grid);
  EXPECT_EQ(Notify(), "");
  const std::string examined = "table, columns, cells, cells, ";
  EXPECT_EQ(log, "format, form, holder, properties, table, control, columns, cells, fields, " +
                     examined + examined);
  log.clear();
  listener->Terminate();
  Load("", grid);
  EXPECT_EQ(Notify(), "");
  EXPECT_EQ(log, "format, form, holder, properties, table, ");
}

// A number may be too large for its display unit: that is the cell's error. What the host's own
// control and units raise is the host's, an overflow like anything else.
TEST_F(HostCallsTest, OverflowIsTheCellsOnlyWhereItIsTheNumbers) {
  const std::string overflow = "raised 6 KtFormula9: Overflow; ";
  Load("1 X number g formatted\n|", MakeRef<FailingGrid>());
  EXPECT_EQ(Notify(), "");
  EXPECT_EQ(form->TableOf(u"T").Texts(u"X"), "#Error: Overflow");
  listener->SetPropertyFormula(1, kHuge, u"%");
  EXPECT_EQ(Notify(), "");
  EXPECT_EQ(form->TableOf(u"T").Texts(u"X"), "#Error: Overflow");
  listener->SetPropertyFormula(1, u"1", u"");
  EXPECT_EQ(Notify(), overflow);

  listener->Terminate();
  framework = MakeRef<FrameworkOfFailingUnits>();
  Load("1 X number g formatted\n|", form->grid);
  EXPECT_EQ(Notify(), overflow);
}

}  // namespace
}  // namespace ktformula
