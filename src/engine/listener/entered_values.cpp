#include "listener/entered_values.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <vector>

#include "listener/entered_tally.h"
#include "values/leak_check.h"
#include "values/platform.h"
#include "values/significant_digits.h"

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

// `deciding` may be nullptr.
void CompleteUnits(ExaminedUnitsMap& units, DecidingCells* deciding) {
  for (const CompletionRow& row : kCompletion) {
    const std::u16string* unit = units.Find(row.quantity);
    if (unit == nullptr || *unit != row.unit) continue;
    for (const Addition& addition : row.additions) {
      const bool is_new = units.Add(addition.quantity, std::u16string(addition.unit));
      if (is_new && deciding != nullptr) {
        deciding->units.Add(addition.quantity, *deciding->units.Find(row.quantity));
      }
    }
  }
}

// What columns say one after the other, in the order of the form.
class EnteredValuesWalk {
 public:
  // `deciding` may be nullptr.
  explicit EnteredValuesWalk(UnitCatalogue& units, DecidingCells* deciding = nullptr)
      : units_(units), deciding_(deciding) {}

  void Visit(const TableProperty& column) {
    const int count = column.CellCount();
    for (int r = 1; r <= count; ++r) {
      const Ref<TableCell> cell = column.Cell(r);
      if (cell->StateText() == kEnteredState) Visit(cell->Text(), {column, r});
    }
  }

  void Visit(const TableProperty& column, const ColumnCells& cells) {
    std::u16string buffer;
    std::size_t left = cells.EnteredCount();
    const std::size_t count = cells.Count();
    for (std::size_t row = 0; left > 0 && row < count; ++row) {
      if (!cells.IsEntered(row)) continue;
      Visit(cells.Text(row, buffer), {column, static_cast<int>(row) + 1});
      --left;
    }
  }

  void Visit(EnteredTally& tally, const UnitNumbers& numbers) {
    smallest_ = std::min(smallest_, tally.SmallestDigits());
    for (const std::uint16_t number : tally.FirstUnits()) {
      const UnitNames& names = numbers.NamesOf(number);
      values_.ExaminedUnits.Add(names.quantity, names.unit);
    }
  }

  EnteredValues Result() && {
    if (smallest_ != kTooManyDigits) values_.ExaminedSigDig = smallest_;
    CompleteUnits(values_.ExaminedUnits, deciding_);
    return std::move(values_);
  }

 private:
  // Rows count from 1.
  struct Place {
    const TableProperty& column;
    int row;

    Ref<TableCell> Cell() const { return column.Cell(row); }
  };

  void Visit(std::u16string_view text, const Place& place) {
    const std::int16_t digits = CountSignificantDigits(text, false);
    if (deciding_ != nullptr) NoteDigits(digits, place);
    smallest_ = std::min(smallest_, digits);
    const std::u16string_view unit_text = UnitPart(text);
    if (unit_text.empty()) return;
    if (const Ref<Unit> unit = units_.Find(unit_text)) {
      const std::u16string quantity = unit->QuantityName();
      const bool is_first = values_.ExaminedUnits.Add(quantity, unit->UnitText());
      if (is_first && deciding_ != nullptr) deciding_->units.Add(quantity, place.Cell());
    }
  }

  // Rows above come first, in whichever column of the table.
  void NoteDigits(std::int16_t digits, const Place& place) {
    if (digits > smallest_ || digits == kTooManyDigits) return;
    const Ref<Table> table = place.column.OwningTable();
    const bool is_above = IsSameObject(table.get(), digits_table_.get()) && place.row < digits_row_;
    if (digits == smallest_ && !is_above) return;
    digits_table_ = table;
    digits_row_ = place.row;
    deciding_->digits = place.Cell();
  }

  UnitCatalogue& units_;
  DecidingCells* deciding_;
  EnteredValues values_;
  std::int16_t smallest_ = kTooManyDigits;
  // Of the cell that decides on digits.
  Ref<Table> digits_table_;
  int digits_row_ = 0;
};

// Calls `visit` with the row and the digits of each entered cell that says something about digits.
template <typename Visit>
void ForEachDigits(const TableProperty& column, Visit visit) {
  const int count = column.CellCount();
  for (int r = 1; r <= count; ++r) {
    const Ref<TableCell> cell = column.Cell(r);
    if (cell->StateText() != kEnteredState) continue;
    const std::int16_t digits = CountSignificantDigits(cell->Text(), false);
    if (digits < kTooManyDigits) visit(static_cast<std::size_t>(r) - 1, digits);
  }
}

// The row of the only entered cell with so many digits.
std::size_t RowWith(const TableProperty& column, std::int16_t digits) {
  std::size_t found = 0;
  ForEachDigits(column, [&](std::size_t row, std::int16_t other) {
    if (other == digits) found = row;
  });
  return found;
}

// Calls `visit` with each column of the collection and its table.
template <typename Visit>
void ForEachColumn(const OwnerCollection& owner, Visit visit) {
  const int fields = owner.FieldCount();
  for (int i = 1; i <= fields; ++i) {
    const Ref<Table> table = owner.FieldAt(i)->AsTable();
    if (!table) continue;
    const int columns = table->ColumnCount();
    for (int c = 1; c <= columns; ++c)
      visit(*table, *table->Column(c));
  }
}

bool PromisesAll(Table& table, TableProperty& column) {
  return column.Cells() != nullptr && column.Changes() != nullptr && table.Binding() != nullptr;
}

void VisitAll(EnteredValuesWalk& walk, TableProperty& column) {
  if (const ColumnCells* cells = column.Cells()) {
    walk.Visit(column, *cells);
  } else {
    walk.Visit(column);
  }
}

EnteredValues LookAtEnteredCells(const OwnerCollection& owner, UnitCatalogue& units,
                                 DecidingCells* deciding) {
  EnteredValuesWalk walk(units, deciding);
  ForEachColumn(owner, [&](Table&, TableProperty& column) { VisitAll(walk, column); });
  return std::move(walk).Result();
}

// What a look at the entered cells found and, of columns that promise to tell what changed, what
// each of their cells says. Kept with the host.
class KeptValues final : public HostObject, private LeakCounted<KeptValues> {
 public:
  static constexpr std::string_view kClassName = "KeptValues";

  explicit KeptValues(UnitCatalogue& catalogue) : units_(catalogue) {}

  std::u16string TypeName() const override { return u"EnteredValues"; }
  // Whether cells that did not change say what they said.
  bool IsFor(const UnitCatalogue& catalogue) const {
    return IsSameObject(units_.Catalogue().get(), &catalogue) && locale_ == UserLocale();
  }
  bool HoldFor(std::uint64_t stamp) const { return stamp_ == stamp; }
  // Of the columns that promise everything, by their order; nullptr where nothing is known.
  const EnteredTally* TallyAt(std::size_t index) const {
    const bool is_known = index < columns_.size() && columns_[index].tally.IsKnown();
    return is_known ? &columns_[index].tally : nullptr;
  }
  const EnteredValues& Values() const { return values_; }

  void Renew(const OwnerCollection& owner, std::uint64_t stamp) {
    EnteredValuesWalk walk(*units_.Catalogue());
    std::size_t known = 0;
    ForEachColumn(owner, [&](Table& table, TableProperty& column) {
      if (!PromisesAll(table, column)) return VisitAll(walk, column);
      const ColumnCells& cells = *column.Cells();
      EnteredTally& tally = TallyOf(known++, column, *table.Binding());
      if (!tally.Renew(cells, *column.Changes(), units_)) return walk.Visit(column, cells);
      walk.Visit(tally, units_);
    });
    columns_.resize(known);
    values_ = std::move(walk).Result();
    stamp_ = stamp;
  }

 private:
  struct Column {
    // What the tally is of: an identity alone may be used again for another column.
    const void* identity = nullptr;
    std::uint64_t structure = 0;
    EnteredTally tally;
  };

  // A new one unless it is still the same column in the same place.
  EnteredTally& TallyOf(std::size_t index, const TableProperty& column,
                        const ReferenceBinding& binding) {
    if (index == columns_.size()) columns_.emplace_back();
    Column& kept = columns_[index];
    const std::uint64_t structure = binding.Stamp();
    if (kept.identity != column.Identity() || kept.structure != structure) {
      kept = {column.Identity(), structure, {}};
    }
    return kept.tally;
  }

  UnitNumbers units_;
  Locale locale_ = UserLocale();
  std::vector<Column> columns_;
  EnteredValues values_;
  std::optional<std::uint64_t> stamp_;
};

// What is kept with the host, up to date.
Ref<KeptValues> KeptFor(const OwnerCollection& owner, EnteredCellsPromise& promise,
                        UnitCatalogue& units) {
  const std::uint64_t stamp = promise.Stamp();
  const Ref<HostObject> object = promise.Kept();
  Ref<KeptValues> kept(dynamic_cast<KeptValues*>(object.get()));
  if (!kept || !kept->IsFor(units)) kept = MakeRef<KeptValues>(units);
  if (kept->HoldFor(stamp)) return kept;
  // Whoever asks from within a call of the host, or after one that failed, begins anew.
  promise.Keep(nullptr);
  kept->Renew(owner, stamp);
  promise.Keep(kept);
  return kept;
}

// How many digits the entered cells of a column have.
struct ColumnDigits {
  Ref<TableProperty> column;
  // nullptr where nothing is kept.
  const EnteredTally* tally;
  DigitCounts counts;
};

}  // namespace

bool EnteredValues::operator==(const EnteredValues& other) const {
  const auto has = [&other](const ExaminedUnitsMap::Entry& entry) {
    const std::u16string* unit = other.ExaminedUnits.Find(entry.first);
    return unit != nullptr && *unit == entry.second;
  };
  return ExaminedSigDig == other.ExaminedSigDig &&
         ExaminedUnits.Size() == other.ExaminedUnits.Size() &&
         std::all_of(ExaminedUnits.begin(), ExaminedUnits.end(), has);
}

EnteredValues ExamineEnteredValues(const OwnerCollection& owner, UnitCatalogue& units) {
  EnteredCellsPromise* const promise = owner.EnteredCells();
  return promise == nullptr ? LookAtEnteredCells(owner, units, nullptr)
                            : KeptFor(owner, *promise, units)->Values();
}

std::optional<FewestDigits> FindFewestDigits(const OwnerCollection& owner, UnitCatalogue& units) {
  EnteredCellsPromise* const promise = owner.EnteredCells();
  const Ref<KeptValues> kept = promise != nullptr ? KeptFor(owner, *promise, units) : nullptr;
  DigitCounts all;
  std::vector<ColumnDigits> columns;
  std::size_t known = 0;
  ForEachColumn(owner, [&](Table& table, TableProperty& column) {
    const bool is_kept = kept && PromisesAll(table, column);
    columns.push_back(
        {Ref<TableProperty>(&column), is_kept ? kept->TallyAt(known++) : nullptr, {}});
    ColumnDigits& digits = columns.back();
    if (digits.tally != nullptr) {
      digits.tally->AddTo(digits.counts);
    } else {
      ForEachDigits(column, [&](std::size_t, std::int16_t count) { ++digits.counts[count]; });
    }
    for (const auto& [count, rows] : digits.counts)
      all[count] += rows;
  });
  if (all.size() < 2 || all.begin()->second != 1) return std::nullopt;
  const std::int16_t fewest = all.begin()->first;
  const auto column = std::find_if(columns.begin(), columns.end(), [&](const ColumnDigits& digits) {
    return digits.counts.contains(fewest);
  });
  const std::size_t row =
      column->tally != nullptr ? column->tally->RowWith(fewest) : RowWith(*column->column, fewest);
  return FewestDigits{column->column, row, fewest, std::next(all.begin())->first};
}

EnteredValues ExamineEnteredValues(const OwnerCollection& owner, UnitCatalogue& units,
                                   DecidingCells& deciding) {
  return LookAtEnteredCells(owner, units, &deciding);
}

}  // namespace ktformula
