#include "test_host/units.h"

namespace ktformula {

namespace {

struct UnitRow {
  std::u16string_view name;
  double per_base;
};

struct QuantityRow {
  std::u16string_view quantity;
  std::initializer_list<UnitRow> units;
};

const QuantityRow kQuantities[] = {
    {u"mass", {{u"kg", 1}, {u"g", 1e3}, {u"mg", 1e6}, {u"µg", 1e9}, {u"ng", 1e12}}},
    {u"volume",
     {{u"m3", 1},
      {u"l", 1e3},
      {u"L", 1e3},
      {u"ml", 1e6},
      {u"mL", 1e6},
      {u"µl", 1e9},
      {u"µL", 1e9}}},
    {u"moles", {{u"mol", 1}, {u"mmol", 1e3}, {u"µmol", 1e6}}},
    {u"molality",
     {{u"mol/g", 1e-3},
      {u"mol/kg", 1},
      {u"mmol/g", 1},
      {u"mmol/mg", 1e-3},
      {u"µmol/mg", 1},
      {u"mmol/kg", 1e3},
      {u"µmol/g", 1e3},
      {u"µmol/kg", 1e6}}},
    {u"molar mass", {{u"kg/mol", 1}, {u"kD", 1}, {u"g/mol", 1e3}, {u"D", 1e3}}},
    {u"density",
     {{u"g/ml", 1e-3},
      {u"g/mL", 1e-3},
      {u"kg/l", 1e-3},
      {u"kg/L", 1e-3},
      {u"kg/m3", 1},
      {u"g/l", 1},
      {u"g/L", 1},
      {u"mg/ml", 1},
      {u"mg/mL", 1},
      {u"mg/l", 1e3},
      {u"mg/L", 1e3},
      {u"µg/ml", 1e3},
      {u"µg/mL", 1e3},
      {u"µg/l", 1e6},
      {u"µg/L", 1e6}}},
    {u"concentration",
     {{u"mol/l", 1e-3},
      {u"mol/L", 1e-3},
      {u"molar", 1e-3},
      {u"M", 1e-3},
      {u"mmolar", 1},
      {u"mM", 1},
      {u"µmolar", 1e3},
      {u"µM", 1e3}}},
    {u"normality", {{u"N", 1e-3}, {u"mN", 1}, {u"µN", 1e3}}},
    {u"length", {{u"m", 1}, {u"cm", 1e2}, {u"mm", 1e3}, {u"µm", 1e6}, {u"nm", 1e9}}},
    {u"time", {{u"hr", 1 / 3600.0}, {u"min", 1 / 60.0}, {u"s", 1}, {u"ms", 1e3}, {u"µs", 1e6}}},
    {u"pressure", {{u"Pa", 1}, {u"mbar", 1e-2}, {u"bar", 1e-5}}},
    {u"temperature", {{u"K", 1}, {u"\u00B0C", 1}}},
};

}  // namespace

TestUnits::TestUnits() {
  for (const QuantityRow& row : kQuantities) {
    for (const UnitRow& unit : row.units)
      units_[unit.name] = MakeRef<TestUnit>(unit.name, row.quantity, unit.per_base);
  }
}

Ref<TestUnit> TestUnits::FindUnit(std::u16string_view unit_text) const {
  const auto found = units_.find(unit_text);
  return found == units_.end() ? nullptr : found->second;
}

}  // namespace ktformula
