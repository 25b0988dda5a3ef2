// The test host's units of measurement.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "host/notebook_objects.h"

namespace ktformula {

class TestUnit final : public Unit {
 public:
  TestUnit(std::u16string_view name, std::u16string_view quantity, double per_base)
      : name_(name), quantity_(quantity), per_base_(per_base) {}

  std::u16string TypeName() const override { return u"Unit"; }
  std::u16string QuantityName() const override { return std::u16string(quantity_); }
  std::u16string UnitText() const override { return std::u16string(name_); }
  double FromBase(double value) const override { return value * per_base_; }
  double ToBase(double value) const { return value / per_base_; }

 private:
  std::u16string_view name_;
  std::u16string_view quantity_;
  double per_base_;
};

// Base units are kg, m3, mol, mol/kg, kg/mol, kg/m3, mol/m3, m, s, Pa and K.
class TestUnits final : public UnitCatalogue {
 public:
  TestUnits();

  std::u16string TypeName() const override { return u"UnitCatalogue"; }
  Ref<Unit> Find(std::u16string_view unit_text) override { return FindUnit(unit_text); }
  Ref<TestUnit> FindUnit(std::u16string_view unit_text) const;

 private:
  std::map<std::u16string_view, Ref<TestUnit>> units_;
};

}  // namespace ktformula
