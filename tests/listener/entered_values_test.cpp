// What typed values say about digits and units.
#include "listener/entered_values.h"

#include <gtest/gtest.h>
#include <utility>

#include "test_host/notebook.h"
#include "test_host/utf8.h"
#include "values/describe.h"

namespace ktformula {
namespace {

EnteredValues ValuesOf(const std::string& notation) {
  const auto form = MakeRef<TestForm>(notation);
  return ExamineEnteredValues(*form->OwnerOf(u"T"), *form->units);
}

// "3 mass=g volume=ml" for a form of this notation.
std::string ExamineForm(const std::string& notation) {
  const EnteredValues values = ValuesOf(notation);
  std::string answer = std::to_string(values.ExaminedSigDig);
  for (const auto& [quantity, unit] : values.ExaminedUnits)
    answer += " " + ToUtf8(quantity) + "=" + ToUtf8(unit);
  return answer;
}

// The same for a table of one row of texts, "a, b", all of them entered.
std::string Examine(const std::string& texts) {
  std::string columns = "1 A string";
  std::string row = "entered ";
  for (const char character : texts) {
    if (character != ',') {
      row += character;
      continue;
    }
    columns += " | 2 B string";
    row += " | entered";
  }
  return ExamineForm("table T\n" + columns + "\n" + row);
}

TEST(EnteredValuesTest, SmallestNumberOfDigitsAndFirstUnits) {
  ExpectRows(
      {
          "12.5 -> 3",
          "0.00450, 123 -> 3",
          "-0.050 -> 2",
          "0.0, 123 -> 1",
          "n.d., 123 -> 1",
          "1.0 ± 0.15 -> 5",
          "12.5 K -> 3 temperature=K",
          "0.0250 g, 12 mg -> 2 mass=g volume=ml molality=mmol/g moles=mmol",
          "5 K, 6 s -> 1 temperature=K time=s",
          // A unit is what stands behind the numeral; digits in its name count like the others.
          "1.50m3 -> 4 volume=m3",
          "1.2 kg/m3 -> 3 density=kg/m3",
          "1.50 m4 -> 4",
          "12.5   K -> 3 temperature=K",
          ".5 K -> 1 temperature=K",
          "12 parsecs -> 2",
          "12 k -> 2",
          "-12 K -> 2",
          "1E3 K -> 2",
          "K -> 1 temperature=K",
      },
      Examine);
}

TEST(EnteredValuesTest, LooksAtEnteredCellsOfAllTables) {
  EXPECT_EQ(ExamineForm("table T\n 1 A string | 2 B string\n | noted 5 g"), "4");
  // Hosts may keep the state of a cell without text.
  const auto form = MakeRef<TestForm>("table T\n 1 A string\n |");
  form->TableOf(u"T").CellAt(u"A", 1).state = u"entered";
  EXPECT_EQ(ExamineEnteredValues(*form->OwnerOf(u"T"), *form->units).ExaminedSigDig, 1);
  // The first unit of a quantity wins, over all tables of the form.
  EXPECT_EQ(ExamineForm("table T\n 1 A string\n entered 12 K\n"
                        "structure S = C9\n"
                        "table U\n 2 A string | 3 B string\n entered 1.5 °C | entered 0.1 m"),
            "1 temperature=K length=m");
}

TEST(EnteredValuesTest, CompletesUnitsThatGoTogether) {
  ExpectRows(
      {
          "1 kg -> 1 mass=kg volume=L molality=mol/kg moles=mol",
          "1 g -> 1 mass=g volume=ml molality=mmol/g moles=mmol",
          "1 mg -> 1 mass=mg volume=µl molality=mmol/g moles=mmol",
          "5 L -> 1 volume=L mass=kg molality=mol/kg moles=mol",
          "5 l -> 1 volume=l mass=kg molality=mol/kg moles=mol",
          "5 ml -> 1 volume=ml mass=g molality=mmol/g moles=mmol",
          "5 µl -> 1 volume=µl mass=mg molality=mmol/mg moles=µmol",
          "5 mol -> 1 moles=mol mass=kg volume=L molality=mol/kg",
          "5 mmol -> 1 moles=mmol mass=g volume=ml molality=mmol/g",
          "5 µmol -> 1 moles=µmol mass=mg volume=µl molality=µmol/mg",
          // Units without a row of their own bring nothing.
          "5 µg -> 1 mass=µg",
          "5 mL -> 1 volume=mL",
          "5 mol/kg -> 1 molality=mol/kg",
          // What is there stays; mass comes before volume, volume before moles.
          "5 µmol, 1 kg -> 1 moles=µmol mass=kg volume=L molality=mol/kg",
          "5 µl, 1 µg -> 1 volume=µl mass=µg molality=mmol/mg moles=µmol",
          "5 µmol, 1 µg -> 1 moles=µmol mass=µg volume=µl molality=µmol/mg",
          // A volume that mass brought in brings in nothing more: all four are there by then.
          "1 mg, 5 mol/kg -> 1 mass=mg molality=mol/kg volume=µl moles=mmol",
      },
      Examine);
}

TEST(EnteredValuesTest, AreTheSameInAnyOrder) {
  const auto values = [](const std::string& first, const std::string& second) {
    return ValuesOf("table T\n 1 A string | 2 B string\n entered " + first + " | entered " +
                    second);
  };
  EXPECT_EQ(values("5 g", "1 K"), values("1 K", "5 g"));
  EXPECT_NE(values("5 g", "1 K"), values("5 g", "1 °C"));
  EXPECT_NE(values("5 g", "1 K"), values("5 g", "1 s"));
  EXPECT_NE(values("5 g", "1 K"), values("5 g", "1"));
  EXPECT_NE(values("1.5 g", "1.0 K"), values("5 g", "1 K"));
}

// A form's owner that counts how often its fields are looked at and, if it is to, promises to tell
// when its entered cells change.
class CountingOwner final : public OwnerCollection, public EnteredCellsPromise {
 public:
  CountingOwner(TestForm& form, bool promises) : owner_(form.OwnerOf(u"T")), promises_(promises) {}

  std::uint64_t stamp = 1;
  mutable int looks = 0;

  std::u16string TypeName() const override { return u"FormSection"; }
  int FieldCount() const override { return owner_->FieldCount(); }
  Ref<Field> FieldAt(int index) const override {
    ++looks;
    return owner_->FieldAt(index);
  }
  Ref<Field> WatchedField() const override { return owner_->WatchedField(); }
  Ref<ELNProperties> WatchedProperties() const override { return owner_->WatchedProperties(); }
  std::u16string Description(int flag) const override { return owner_->Description(flag); }
  EnteredCellsPromise* EnteredCells() const override {
    return promises_ ? const_cast<CountingOwner*>(this) : nullptr;
  }
  std::uint64_t Stamp() const override { return stamp; }
  Ref<HostObject> Kept() const override { return kept_; }
  void Keep(Ref<HostObject> object) override { kept_ = std::move(object); }

 private:
  Ref<OwnerCollection> owner_;
  bool promises_;
  Ref<HostObject> kept_;
};

// Digits found and looks taken, after each step.
TEST(EnteredValuesTest, AreLookedAtAgainOnlyWhereTheyMayHaveChanged) {
  for (const bool promises : {true, false}) {
    const auto form = MakeRef<TestForm>("table T\n 1 A string\n entered 1.5 K");
    const auto owner = MakeRef<CountingOwner>(*form, promises);
    std::string seen;
    const auto examine = [&](UnitCatalogue& units) {
      const EnteredValues values = ExamineEnteredValues(*owner, units);
      seen += std::to_string(values.ExaminedSigDig) + " by " + std::to_string(owner->looks) + "; ";
    };
    examine(*form->units);
    examine(*form->units);
    form->TableOf(u"T").CellAt(u"A", 1).Type(u"1.25 K");
    ++owner->stamp;
    examine(*form->units);
    const auto other_units = MakeRef<TestUnits>();
    examine(*other_units);
    // What somebody else kept is none of ours.
    owner->Keep(other_units);
    examine(*other_units);
    EXPECT_EQ(seen, promises ? "2 by 1; 2 by 1; 3 by 2; 3 by 3; 3 by 4; "
                             : "2 by 1; 2 by 2; 3 by 3; 3 by 4; 3 by 5; ");
  }
}

}  // namespace
}  // namespace ktformula
