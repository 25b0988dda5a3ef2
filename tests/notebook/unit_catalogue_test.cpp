#include "notebook/tables/unit_catalogue.h"

#include <cmath>
#include <gtest/gtest.h>

#include "formats/display_choice.h"
#include "notebook/files/utf.h"
#include "notebook/tables/model.h"

namespace ktnotebook {
namespace {

using ktformula::MakeRef;
using ktformula::Ref;

class UnitCatalogueTest : public testing::Test {
 protected:
  const NotebookUnit& UnitOf(std::u16string_view name) {
    const NotebookUnit* const unit = catalogue_->FindUnit(name);
    if (unit == nullptr) throw std::runtime_error("no unit " + ToUtf8(name));
    return *unit;
  }

  Ref<NotebookUnitCatalogue> catalogue_ = MakeRef<NotebookUnitCatalogue>();
};

TEST_F(UnitCatalogueTest, ConvertsExactly) {
  const struct {
    double value;
    std::u16string unit;
    std::u16string quantity;
    double base;
  } rows[] = {
      {5, u"mg", u"mass", 5e-6},
      {7, u"\u00B5g", u"mass", 7e-9},
      {3, u"ml", u"volume", 3e-6},
      {3, u"\u00B5L", u"volume", 3e-9},
      {9, u"mmol", u"moles", 0.009},
      {1, u"\u00B5mol", u"moles", 1e-6},
      {1, u"mmol/mg", u"molality", 1000},
      {1, u"mol/g", u"molality", 1000},
      {1, u"mmol/g", u"molality", 1},
      {1, u"\u00B5mol/mg", u"molality", 1},
      {7, u"\u00B5mol/g", u"molality", 0.007},
      {7, u"\u00B5mol/kg", u"molality", 7e-6},
      {122.12, u"g/mol", u"molar mass", 0.12212},
      {1, u"kD", u"molar mass", 1},
      {1, u"D", u"molar mass", 0.001},
      {0.789, u"g/ml", u"density", 789},
      {3, u"\u00B5g/l", u"density", 3e-6},
      {1, u"M", u"concentration", 1000},
      {1, u"molar", u"concentration", 1000},
      {1, u"mol/l", u"concentration", 1000},
      {1, u"mol/L", u"concentration", 1000},
      {3, u"\u00B5M", u"concentration", 0.003},
      {1, u"N", u"normality", 1000},
      {3, u"\u00B5N", u"normality", 0.003},
      {7, u"nm", u"length", 7e-9},
      {3, u"cm", u"length", 0.03},
      {1.5, u"hr", u"time", 5400},
      {2, u"min", u"time", 120},
      {3, u"\u00B5s", u"time", 3e-6},
      {1.25, u"bar", u"pressure", 125000},
      {7, u"mbar", u"pressure", 700},
      {25, u"\u00B0C", u"temperature", 298.15},
      {-273.15, u"\u00B0C", u"temperature", 0},
      {0.1, u"\u00B0C", u"temperature", 273.25},
      {4, u"K", u"temperature", 4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(ToUtf8(row.unit));
    EXPECT_EQ(UnitOf(row.unit).QuantityName(), row.quantity);
    EXPECT_EQ(UnitOf(row.unit).ToBase(row.value), row.base);
    EXPECT_EQ(UnitOf(row.unit).FromBase(row.base), row.value);
  }
}

// A small number is shown in the next smaller unit: the format knows the names, the catalogue what
// they mean.
TEST_F(UnitCatalogueTest, NextSmallerUnitsAreSmallerUnitsOfTheSameQuantity) {
  int steps = 0;
  for (const UnitDefinition& definition : UnitDefinitions()) {
    SCOPED_TRACE(ToUtf8(definition.name));
    const NotebookUnit& unit = UnitOf(definition.name);
    const auto property =
        MakeRef<NotebookProperty>(PropertyDefinition{1, u"P", DataType::kNumber, &unit});
    const auto shown =
        ktformula::MinDigitDisplay(unit.ToBase(0.005), definition.name, *property, 3, *catalogue_);
    if (shown.unit_name == definition.name) continue;
    ++steps;
    EXPECT_EQ(UnitOf(shown.unit_name).MeasuredQuantity(), unit.MeasuredQuantity());
    EXPECT_GT(unit.ToBase(1), UnitOf(shown.unit_name).ToBase(1));
  }
  EXPECT_EQ(steps, 47);
}

TEST_F(UnitCatalogueTest, FindsEveryDefinitionUnderItsOwnName) {
  for (const UnitDefinition& definition : UnitDefinitions()) {
    SCOPED_TRACE(ToUtf8(definition.name));
    const NotebookUnit& unit = UnitOf(definition.name);
    EXPECT_EQ(unit.QuantityName(),
              QuantityText(definition.quantity));  // fails for a name used twice
    EXPECT_EQ(unit.ToBase(1), definition.numerator / definition.denominator + definition.offset);
    const double base = unit.ToBase(3.7);
    EXPECT_NEAR(unit.FromBase(base), 3.7, 1e-15);
    const Ref<ktformula::Unit> found = catalogue_->Find(definition.name);
    EXPECT_EQ(found.get(), &unit);
    EXPECT_EQ(found->UnitText(), definition.name);
  }
}

TEST_F(UnitCatalogueTest, NamesAreExact) {
  for (const std::u16string name : {u"", u"%", u"G", u"KG", u"mg ", u"\u03BCg", u"furlong"}) {
    EXPECT_FALSE(catalogue_->Find(name)) << ToUtf8(name);
    EXPECT_EQ(catalogue_->FindUnit(name), nullptr) << ToUtf8(name);
  }
  EXPECT_EQ(NormalizeUnitName(u"\u03BCmol/\u03BCl"), u"\u00B5mol/\u00B5l");
}

TEST_F(UnitCatalogueTest, AUnitOutlivesItsCatalogue) {
  const Ref<ktformula::Unit> unit = catalogue_->Find(u"mg");
  catalogue_ = nullptr;
  EXPECT_EQ(unit->FromBase(5e-6), 5);
}

}  // namespace
}  // namespace ktnotebook
