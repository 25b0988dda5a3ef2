// What the notebook promises of its entered cells.
#include <functional>
#include <gtest/gtest.h>
#include <random>

#include "listener/entered_values.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/tables/recalculation.h"
#include "notebook/tables/table_control.h"
#include "values/number_text.h"

namespace ktnotebook {
namespace {

// The same collection without its promise.
class UnpromisedCollection final : public ktformula::OwnerCollection {
 public:
  explicit UnpromisedCollection(Ref<ktformula::OwnerCollection> owner) : owner_(std::move(owner)) {}

  std::u16string TypeName() const override { return owner_->TypeName(); }
  int FieldCount() const override { return owner_->FieldCount(); }
  Ref<ktformula::Field> FieldAt(int index) const override { return owner_->FieldAt(index); }
  Ref<ktformula::Field> WatchedField() const override { return owner_->WatchedField(); }
  Ref<ktformula::ELNProperties> WatchedProperties() const override {
    return owner_->WatchedProperties();
  }
  std::u16string Description(int flag) const override { return owner_->Description(flag); }

 private:
  Ref<ktformula::OwnerCollection> owner_;
};

// Knows every text as a unit of a quantity of its own, and does something else first.
class AnyUnits final : public ktformula::UnitCatalogue {
 public:
  class AnyUnit final : public ktformula::Unit {
   public:
    explicit AnyUnit(std::u16string_view text) : text_(text) {}
    std::u16string TypeName() const override { return u"Unit"; }
    std::u16string QuantityName() const override { return text_; }
    std::u16string UnitText() const override { return text_; }
    double FromBase(double value) const override { return value; }

   private:
    std::u16string text_;
  };

  std::u16string TypeName() const override { return u"UnitCatalogue"; }
  Ref<ktformula::Unit> Find(std::u16string_view text) override {
    if (const auto action = std::exchange(before_find, nullptr)) action();
    return ktformula::MakeRef<AnyUnit>(text);
  }

  std::function<void()> before_find;
};

// Random changes of a form, by the seed.
class RandomChanges {
 public:
  RandomChanges(NotebookForm& form, std::uint32_t seed) : form_(form), random_(seed) {
    for (int row = 0; row < 20; ++row)
      AnyTable().AddRow(u"R" + Number());
  }

  std::size_t Below(std::size_t limit) { return random_() % limit; }

  void Next() {
    switch (Below(60)) {
      case 0: AnyTable().AddColumn({9, u"C" + Number(), DataType::kNumber}); return;
      case 1: form_.AddTable(u"T" + Number(), 9)->AddColumn({9, u"A", DataType::kNumber}); return;
      case 2:
      case 3: form_.SetLocale(Below(2) == 0 ? NamedLocale() : kCommas); return;
      case 4: form_.Given() = {Below(8) != 0, Below(8) != 0, Below(8) != 0}; return;
      case 5: RecalculateForm(form_, 8); return;
      // More than the columns remember one by one.
      case 6: return ChangeCells(3000);
      case 7: AnyTable().AddRow(u"R" + Number()); return;
      default: return ChangeCells(1 + Below(3));
    }
  }

 private:
  const NamedLocale kCommas{u"de_DE", {u',', u'.'}};

  std::u16string Number() { return ktformula::NumberToText(++number_); }
  NotebookTable& AnyTable() { return *form_.Tables()[Below(form_.Tables().size())]; }

  void ChangeCells(std::size_t count) {
    NotebookTable& table = AnyTable();
    if (table.RowCount() == 0) return;
    for (; count > 0; --count) {
      const NotebookRow row = table.Rows()[Below(static_cast<std::size_t>(table.RowCount()))];
      ChangeCell(row.CellAt(Below(table.Columns().size())));
    }
  }

  void ChangeCell(const NotebookCell& cell) {
    static const std::u16string kTexts[] = {u"",
                                            u"1.5 g",
                                            u"0.250 mg",
                                            u"2,25 kg",
                                            u"12 K",
                                            u"K",
                                            u"123 parsec",
                                            u"3.25 ml",
                                            u"7.125 mol",
                                            u"1.25E3 s",
                                            std::u16string(1200, u'7') + u" m"};
    const std::u16string& text = kTexts[Below(std::size(kTexts))];
    TableControl& control = *cell.OwningRow().Parent().Control();
    switch (Below(9)) {
      case 8: return cell.SetContent(ContentView{text, 7, 7, u"K"});
      case 0: return cell.SetState(Below(2) == 0 ? u"entered" : u"noted", u"");
      case 1: return cell.TakeTypedText(text);
      case 2: control.WriteText(*cell.Object(), text, true); return;
      case 3: control.FinishCell(*cell.Object()); return;
      // Columns without entered cells are looked at in another way.
      case 4:
      case 5: return cell.Enter(u"");
      default: return cell.Enter(text);
    }
  }

  NotebookForm& form_;
  std::mt19937 random_;
  int number_ = 0;
};

class EnteredCellsTest : public testing::Test {
 protected:
  NotebookForm& Form() const { return *notebook_.forms[0]; }
  NotebookTable& Table(std::u16string_view name) const { return *Form().FindTable(name); }
  NotebookCell Cell(std::u16string_view table, std::u16string_view column) const {
    return Table(table).Rows()[0].CellAt(Table(table).FindColumn(column)->Index());
  }

  // "3 mass=g volume=ml".
  std::string Examine(const ktformula::OwnerCollection& owner) const {
    return Examine(owner, *notebook_.framework->OwnUnits());
  }
  static std::string Examine(const ktformula::OwnerCollection& owner,
                             ktformula::UnitCatalogue& units) {
    const auto values = ktformula::ExamineEnteredValues(owner, units);
    std::string answer = std::to_string(values.ExaminedSigDig);
    for (const auto& [quantity, unit] : values.ExaminedUnits)
      answer += " " + ToUtf8(quantity) + "=" + ToUtf8(unit);
    return answer;
  }
  std::string ExamineUnkept(const Ref<ktformula::OwnerCollection>& owner,
                            ktformula::UnitCatalogue& units) const {
    const Promises given = std::exchange(Form().Given(), {false, false, false});
    std::string answer = Examine(*ktformula::MakeRef<UnpromisedCollection>(owner), units);
    Form().Given() = given;
    return answer;
  }
  std::string Examine() const { return Examine(*Form().OwnerOf(Table(u"T").OwnField())); }

  static Notebook Read() {
    return ReadNotebook(R"(<notebook><form name="F">
    <table name="T" key="1">
      <property key="1" name="Mass" type="number" unit="g" numberFormatting="true"/>
      <property key="2" name="Double" type="number" unit="g" numberFormatting="true"/>
      <row id="A"><cell property="Mass" state="entered">1.25 g</cell></row>
      <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
        <propertyFormula name="Double">[Mass]*2</propertyFormula></fieldListener>
    </table>
    <table name="U" key="2">
      <property key="3" name="Mass" type="number" unit="g"/>
      <row id="A"/>
    </table></form></notebook>)",
                        "n.xml");
  }

  Notebook notebook_ = Read();
};

TEST_F(EnteredCellsTest, AfterAnyChangesWhatIsKeptIsWhatAWalkFinds) {
  for (std::uint32_t seed = 1; seed <= 60; ++seed) {
    notebook_ = Read();
    RandomChanges changes(Form(), seed);
    const auto owner = Form().OwnerOf(Table(u"T").OwnField());
    for (int step = 0; step < 100; ++step) {
      changes.Next();
      if (changes.Below(2) == 0) continue;
      const ktformula::LocaleScope kept_in(Form().OwnLocale().separators);
      ASSERT_EQ(Examine(*owner), ExamineUnkept(owner, *notebook_.framework->OwnUnits()))
          << "seed " << seed << ", step " << step;
    }
  }
}

TEST_F(EnteredCellsTest, ManyUnitsAndACatalogueThatAsksToo) {
  const auto owner = Form().OwnerOf(Table(u"T").OwnField());
  const auto units = ktformula::MakeRef<AnyUnits>();
  const NotebookCell mass = Cell(u"T", u"Mass");
  int tables = 0;
  for (const int rows : {10, 2000}) {
    for (int row = 0; row < rows; ++row) {
      const std::u16string name = ktformula::NumberToText(rows + row);
      Table(u"U").AddRow(name)->CellAt(0).Enter(u"1.25 u" + name);
    }
    for (const std::u16string_view text : {u"1.125 x", u"1.5 y"}) {
      units->before_find = [&] {
        mass.Enter(u"1 z");
        while (++tables % 6 != 0) {
          NotebookTable& table = *Form().AddTable(ktformula::NumberToText(tables), 9);
          table.AddColumn({9, u"A", DataType::kNumber});
        }
        Examine(*owner, *units);
        mass.Enter(text);
      };
      mass.Enter(text);
      Examine(*owner, *units);
      EXPECT_EQ(Examine(*owner, *units), ExamineUnkept(owner, *units)) << rows;
    }
  }
}

TEST_F(EnteredCellsTest, WhatIsComputedChangesNothing) {
  const std::uint64_t stamp = Form().Entered().Stamp();
  RecalculateForm(Form(), 8);
  EXPECT_EQ(ToUtf8(Cell(u"T", u"Double").Text()), "2.50 g");
  EXPECT_EQ(Form().Entered().Stamp(), stamp);
}

}  // namespace
}  // namespace ktnotebook
