// The units of measurement that the notebook knows.
//
// Numbers are kept in coherent SI base units: kg, m3, mol, mol/kg, kg/mol, kg/m3, mol/m3, m, s, Pa
// and K, so that formulas over them need no unit algebra.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "host/notebook_objects.h"

namespace ktnotebook {

enum class Quantity {
  kMass,
  kVolume,
  kMoles,
  kMolality,
  kMolarMass,
  kDensity,
  kConcentration,
  kNormality,
  kLength,
  kTime,
  kPressure,
  kTemperature,
};

// "mass", "molar mass", ...
std::u16string_view QuantityText(Quantity quantity) noexcept;

// "kg", "kg/mol", ...: the unit in which numbers of the quantity are kept.
std::u16string_view BaseUnitText(Quantity quantity) noexcept;

// One unit is numerator / denominator base units. Both are exact and at least one of them is 1,
// so that a conversion rounds once. A value of 0 in the unit is `offset` base units.
struct UnitDefinition {
  std::u16string_view name;
  Quantity quantity;
  double numerator = 1;
  double denominator = 1;
  double offset = 0;
};

// Every unit; the names are distinct.
std::span<const UnitDefinition> UnitDefinitions() noexcept;

class NotebookUnit final : public ktformula::Unit {
 public:
  // The definition has to outlive the unit.
  explicit NotebookUnit(const UnitDefinition& definition) : definition_(definition) {}

  std::u16string TypeName() const override { return u"Unit"; }
  std::u16string QuantityName() const override;
  std::u16string_view Name() const noexcept { return definition_.name; }
  std::u16string UnitText() const override { return std::u16string(definition_.name); }
  Quantity MeasuredQuantity() const noexcept { return definition_.quantity; }

  // Not finite where the result is beyond the range of a double.
  double ToBase(double value) const noexcept;
  double FromBase(double value) const override;

 private:
  const UnitDefinition& definition_;
};

class NotebookUnitCatalogue final : public ktformula::UnitCatalogue {
 public:
  NotebookUnitCatalogue();

  std::u16string TypeName() const override { return u"UnitCatalogue"; }
  ktformula::Ref<ktformula::Unit> Find(std::u16string_view unit_text) override;

  // The same unit as Find gives, or nullptr; the catalogue keeps it alive.
  const NotebookUnit* FindUnit(std::u16string_view unit_text) const;

 private:
  std::unordered_map<std::u16string_view, ktformula::Ref<NotebookUnit>> units_;
};

// The catalogue's spelling of a typed unit name: the Greek letter mu becomes the micro sign.
std::u16string NormalizeUnitName(std::u16string_view typed);

}  // namespace ktnotebook
