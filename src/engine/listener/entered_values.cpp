#include "listener/entered_values.h"

#include <algorithm>
#include <array>
#include <limits>

#include "values/leak_check.h"
#include "values/platform.h"
#include "values/significant_digits.h"
#include "values/text.h"

namespace ktformula {

namespace {

struct Addition {
  std::u16string_view quantity;
  std::u16string_view unit;
};

// When the quantity's unit is this one, these go with it unless the quantities have units already.
// The rows are applied in order, so a later one sees what an earlier one added.
struct CompletionRow {
  std::u16string_view quantity;
  std::u16string_view unit;
  std::array<Addition, 3> additions;
};

constexpr std::u16string_view kMass = u"mass";
constexpr std::u16string_view kVolume = u"volume";
constexpr std::u16string_view kMolality = u"molality";
constexpr std::u16string_view kMoles = u"moles";

constexpr std::array<CompletionRow, 10> kCompletion{{
    {kMass, u"kg", {{{kVolume, u"L"}, {kMolality, u"mol/kg"}, {kMoles, u"mol"}}}},
    {kMass, u"g", {{{kVolume, u"ml"}, {kMolality, u"mmol/g"}, {kMoles, u"mmol"}}}},
    {kMass, u"mg", {{{kVolume, u"µl"}, {kMolality, u"mmol/g"}, {kMoles, u"mmol"}}}},
    {kVolume, u"l", {{{kMass, u"kg"}, {kMolality, u"mol/kg"}, {kMoles, u"mol"}}}},
    {kVolume, u"L", {{{kMass, u"kg"}, {kMolality, u"mol/kg"}, {kMoles, u"mol"}}}},
    {kVolume, u"ml", {{{kMass, u"g"}, {kMolality, u"mmol/g"}, {kMoles, u"mmol"}}}},
    {kVolume, u"µl", {{{kMass, u"mg"}, {kMolality, u"mmol/mg"}, {kMoles, u"µmol"}}}},
    {kMoles, u"mol", {{{kMass, u"kg"}, {kVolume, u"L"}, {kMolality, u"mol/kg"}}}},
    {kMoles, u"mmol", {{{kMass, u"g"}, {kVolume, u"ml"}, {kMolality, u"mmol/g"}}}},
    {kMoles, u"µmol", {{{kMass, u"mg"}, {kVolume, u"µl"}, {kMolality, u"µmol/mg"}}}},
}};

void CompleteUnits(ExaminedUnitsMap& units) {
  for (const CompletionRow& row : kCompletion) {
    const std::u16string* unit = units.Find(row.quantity);
    if (unit == nullptr || *unit != row.unit) continue;
    for (const Addition& addition : row.additions) {
      units.Add(addition.quantity, std::u16string(addition.unit));
    }
  }
}

// The unit behind the numeral; empty when the catalogue has none of this name.
Ref<Unit> SplitUnitText(std::u16string_view text, UnitCatalogue& units) {
  const std::u16string_view trimmed = TrimBlanks(text);
  // A text without a numeral in front may be a unit as a whole.
  const bool has_numeral = !trimmed.empty() && (IsDigit(trimmed[0]) || trimmed[0] == u'.');
  const std::u16string_view unit_text =
      TrimBlanks(trimmed.substr(has_numeral ? NumeralLength(trimmed) : 0));
  return unit_text.empty() ? nullptr : units.Find(unit_text);
}

class EnteredValuesWalk {
 public:
  explicit EnteredValuesWalk(UnitCatalogue& units) : units_(units) {}

  void Visit(const Table& table) {
    const int columns = table.ColumnCount();
    for (int c = 1; c <= columns; ++c) {
      const Ref<TableProperty> column = table.Column(c);
      const int count = column->CellCount();
      for (int r = 1; r <= count; ++r)
        Visit(*column->Cell(r));
    }
  }

  EnteredValues Result() && {
    if (smallest_ != kNothingSeen) values_.ExaminedSigDig = smallest_;
    CompleteUnits(values_.ExaminedUnits);
    return std::move(values_);
  }

 private:
  static constexpr std::int16_t kNothingSeen = 999;

  void Visit(const TableCell& cell) {
    if (cell.StateText() != kEnteredState) return;
    const std::u16string text = cell.Text();
    smallest_ = std::min(smallest_, CountSignificantDigits(text, false));
    if (const Ref<Unit> unit = SplitUnitText(text, units_)) {
      values_.ExaminedUnits.Add(unit->QuantityName(), unit->UnitText());
    }
  }

  UnitCatalogue& units_;
  EnteredValues values_;
  std::int16_t smallest_ = kNothingSeen;
};

EnteredValues LookAtEnteredCells(const OwnerCollection& owner, UnitCatalogue& units) {
  EnteredValuesWalk walk(units);
  const int fields = owner.FieldCount();
  for (int i = 1; i <= fields; ++i) {
    if (const Ref<Table> table = owner.FieldAt(i)->AsTable()) walk.Visit(*table);
  }
  return std::move(walk).Result();
}

// What a look at the entered cells found, kept with the host until they change.
class KeptValues final : public HostObject, private LeakCounted<KeptValues> {
 public:
  static constexpr std::string_view kClassName = "KeptValues";

  KeptValues(std::uint64_t stamp, UnitCatalogue& units, EnteredValues values)
      : values_(std::move(values)), stamp_(stamp), units_(&units) {}

  std::u16string TypeName() const override { return u"EnteredValues"; }
  bool HoldFor(std::uint64_t stamp, const UnitCatalogue& units) const {
    return stamp_ == stamp && IsSameObject(units_.get(), &units);
  }
  const EnteredValues& Values() const { return values_; }

 private:
  EnteredValues values_;
  std::uint64_t stamp_;
  Ref<UnitCatalogue> units_;
};

}  // namespace

EnteredValues ExamineEnteredValues(const OwnerCollection& owner, UnitCatalogue& units) {
  EnteredCellsPromise* const promise = owner.EnteredCells();
  if (promise == nullptr) return LookAtEnteredCells(owner, units);
  const std::uint64_t stamp = promise->Stamp();
  const Ref<HostObject> kept = promise->Kept();
  const auto* const known = dynamic_cast<const KeptValues*>(kept.get());
  if (known != nullptr && known->HoldFor(stamp, units)) return known->Values();
  EnteredValues values = LookAtEnteredCells(owner, units);
  promise->Keep(MakeRef<KeptValues>(stamp, units, values));
  return values;
}

}  // namespace ktformula
