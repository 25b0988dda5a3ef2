// What the notebook promises of its entered cells.
#include <functional>
#include <gtest/gtest.h>

#include "listener/entered_values.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/tables/recalculation.h"
#include "notebook/tables/table_control.h"

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

class EnteredCellsTest : public testing::Test {
 protected:
  NotebookForm& Form() const { return *notebook_.forms[0]; }
  NotebookTable& Table(std::u16string_view name) const { return *Form().FindTable(name); }
  NotebookCell Cell(std::u16string_view table, std::u16string_view column) const {
    return Table(table).Rows()[0].CellAt(Table(table).FindColumn(column)->Index());
  }

  // "3 mass=g volume=ml".
  std::string Examine(const ktformula::OwnerCollection& owner) const {
    const auto values = ktformula::ExamineEnteredValues(owner, *notebook_.framework->OwnUnits());
    std::string answer = std::to_string(values.ExaminedSigDig);
    for (const auto& [quantity, unit] : values.ExaminedUnits)
      answer += " " + ToUtf8(quantity) + "=" + ToUtf8(unit);
    return answer;
  }
  std::string Examine() const { return Examine(*Form().OwnerOf(Table(u"T").OwnField())); }

  Notebook notebook_ = ReadNotebook(R"(<notebook><form name="F">
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
};

TEST_F(EnteredCellsTest, EveryChangeOfAnEnteredCellIsSeen) {
  const std::pair<const char*, std::function<void()>> changes[] = {
      {"other digits", [&] { Cell(u"T", u"Mass").Enter(u"1.2500 g"); }},
      {"another unit", [&] { Cell(u"T", u"Mass").Enter(u"1.2500 mg"); }},
      {"a cell of a second table", [&] { Cell(u"U", u"Mass").Enter(u"5 g"); }},
      {"nothing there any more", [&] { Cell(u"U", u"Mass").Enter(u""); }},
      {"a new row", [&] { Table(u"U").AddRow(u"B")->CellAt(0).Enter(u"5.0 g"); }},
      {"a new table",
       [&] {
         NotebookTable& table = *Form().AddTable(u"V", 3);
         table.AddColumn({4, u"Length", DataType::kNumber, nullptr, false});
         table.AddRow(u"A")->CellAt(0).Enter(u"7 m");
       }},
      {"a text without a word about its state", [&] { Cell(u"V", u"Length").TakeTypedText(u"7"); }},
      {"another content",
       [&] {
         Cell(u"V", u"Length").SetContent(ContentView{u"7.00 K", 7, 7, u"K"});
       }},
      {"noted only", [&] { Cell(u"T", u"Mass").SetState(u"noted", u""); }},
      {"entered again", [&] { Cell(u"T", u"Mass").SetState(u"entered", u""); }},
      {"written by the control",
       [&] {
         Table(u"T").Control()->WriteText(*Cell(u"T", u"Mass").Object(), u"1", true);
         Table(u"T").Control()->FinishCell(*Cell(u"T", u"Mass").Object());
       }},
  };
  std::string known = Examine();
  for (const auto& [name, change] : changes) {
    change();
    const std::string found = Examine();
    const auto owner = Form().OwnerOf(Table(u"T").OwnField());
    EXPECT_EQ(found, Examine(*ktformula::MakeRef<UnpromisedCollection>(owner))) << name;
    EXPECT_NE(found, known) << name;
    known = found;
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
