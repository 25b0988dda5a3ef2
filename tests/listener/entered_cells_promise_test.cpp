// Entered cells are looked at again only where the host cannot promise that they are the same.
#include <gtest/gtest.h>

#include "host_fakes.h"

#include "listener/entered_values.h"

namespace ktformula {
namespace {

class OneUnit final : public Unit {
 public:
  explicit OneUnit(std::u16string quantity) : quantity_(std::move(quantity)) {}
  std::u16string TypeName() const override { return u"Unit"; }
  std::u16string QuantityName() const override { return quantity_; }
  std::u16string UnitText() const override { return u"x"; }
  double FromBase(double value) const override { return value; }

 private:
  std::u16string quantity_;
};

// Knows every unit text as one unit.
class OneUnitCatalogue final : public UnitCatalogue {
 public:
  explicit OneUnitCatalogue(std::u16string quantity)
      : unit_(MakeRef<OneUnit>(std::move(quantity))) {}
  std::u16string TypeName() const override { return u"UnitCatalogue"; }
  Ref<Unit> Find(std::u16string_view) override { return unit_; }

 private:
  Ref<OneUnit> unit_;
};

// A form with nothing but one entered cell.
class EnteredCell final : public FakeCell {
 public:
  std::u16string StateText() const override { return u"entered"; }
};

class OneCellTable final : public FakeTable {
 public:
  class OneCellColumn final : public FakeColumn {
   public:
    using FakeColumn::FakeColumn;
    int CellCount() const override { return 1; }
    Ref<TableCell> Cell(int) const override { return cell; }
    Ref<EnteredCell> cell = MakeRef<EnteredCell>();
  };

  int ColumnCount() const override { return 1; }
  Ref<TableProperty> Column(int) const override { return column; }
  Ref<OneCellColumn> column = MakeRef<OneCellColumn>(*this);
};

class OneCellField final : public Field {
 public:
  std::u16string TypeName() const override { return u"Field"; }
  std::int32_t Key() const override { return 1; }
  std::u16string Description() const override { return u"table \"T\""; }
  Ref<Table> AsTable() override { return table; }
  Ref<OneCellTable> table = MakeRef<OneCellTable>();
};

class OneCellForm final : public OwnerCollection, public EnteredCellsPromise {
 public:
  explicit OneCellForm(bool promises) : promises_(promises) {}

  void SetText(std::u16string_view text) { field_->table->column->cell->text = text; }
  int Looks() const { return looks_; }
  void BreakStamp() { ++stamp_; }

  std::u16string TypeName() const override { return u"FormSection"; }
  int FieldCount() const override { return 1; }
  Ref<Field> FieldAt(int) const override {
    ++looks_;
    return field_;
  }
  Ref<Field> WatchedField() const override { return field_; }
  Ref<ELNProperties> WatchedProperties() const override { return nullptr; }
  std::u16string Description(int) const override { return u""; }
  EnteredCellsPromise* EnteredCells() const override {
    return promises_ ? const_cast<OneCellForm*>(this) : nullptr;
  }
  std::uint64_t Stamp() const override { return stamp_; }
  Ref<HostObject> Kept() const override { return kept_; }
  void Keep(Ref<HostObject> object) override { kept_ = std::move(object); }

 private:
  bool promises_;
  mutable int looks_ = 0;
  std::uint64_t stamp_ = 1;
  Ref<OneCellField> field_ = MakeRef<OneCellField>();
  Ref<HostObject> kept_;
};

class EnteredCellsPromiseTest : public testing::Test {
 protected:
  // "3 mass, 1 look" for a form and a catalogue.
  static std::string Examine(const OneCellForm& form, OneUnitCatalogue& units) {
    const EnteredValues values = ExamineEnteredValues(form, units);
    std::string answer = std::to_string(values.ExaminedSigDig);
    for (const auto& [quantity, unit] : values.ExaminedUnits)
      answer += " " + std::string(quantity.begin(), quantity.end());
    return answer + ", looks: " + std::to_string(form.Looks());
  }

  Ref<OneUnitCatalogue> lengths_ = MakeRef<OneUnitCatalogue>(u"length");
};

TEST_F(EnteredCellsPromiseTest, OneLookDoesUntilTheStampChanges) {
  const Ref<OneCellForm> form = MakeRef<OneCellForm>(true);
  form->SetText(u"1.5 x");
  EXPECT_EQ(Examine(*form, *lengths_), "2 length, looks: 1");
  EXPECT_EQ(Examine(*form, *lengths_), "2 length, looks: 1");
  form->SetText(u"1.25");
  form->BreakStamp();
  EXPECT_EQ(Examine(*form, *lengths_), "3, looks: 2");
  EXPECT_EQ(Examine(*form, *lengths_), "3, looks: 2");
}

TEST_F(EnteredCellsPromiseTest, WithoutAPromiseEveryPassLooks) {
  const Ref<OneCellForm> form = MakeRef<OneCellForm>(false);
  form->SetText(u"1.5 x");
  EXPECT_EQ(Examine(*form, *lengths_), "2 length, looks: 1");
  form->SetText(u"1.25");
  EXPECT_EQ(Examine(*form, *lengths_), "3, looks: 2");
}

TEST_F(EnteredCellsPromiseTest, WhatWasKeptIsForItsOwnCatalogueAndReader) {
  const Ref<OneCellForm> form = MakeRef<OneCellForm>(true);
  form->SetText(u"1.5 x");
  EXPECT_EQ(Examine(*form, *lengths_), "2 length, looks: 1");
  const Ref<OneUnitCatalogue> times = MakeRef<OneUnitCatalogue>(u"time");
  EXPECT_EQ(Examine(*form, *times), "2 time, looks: 2");
  form->Keep(times);
  EXPECT_EQ(Examine(*form, *times), "2 time, looks: 3");
}

}  // namespace
}  // namespace ktformula
