#include "listener/entered_tally.h"

#include <algorithm>
#include <utility>

#include "values/platform.h"
#include "values/significant_digits.h"
#include "values/text.h"

namespace ktformula {

namespace {

// The element of this index, which comes into being if need be.
template <typename Element>
Element& Grown(std::vector<Element>& elements, std::size_t index) {
  if (elements.size() <= index) elements.resize(index + 1);
  return elements[index];
}

}  // namespace

std::u16string_view UnitPart(std::u16string_view text) {
  const std::u16string_view trimmed = TrimBlanks(text);
  // A text without a numeral in front may be a unit as a whole.
  const bool has_numeral = !trimmed.empty() && (IsDigit(trimmed[0]) || trimmed[0] == u'.');
  return TrimBlanks(trimmed.substr(has_numeral ? NumeralLength(trimmed) : 0));
}

std::optional<std::uint16_t> UnitNumbers::NumberOf(std::u16string_view unit_text) {
  if (unit_text.empty()) return kNoUnit;
  if (const std::uint16_t* number = numbers_.Find(unit_text)) return *number;
  const Ref<Unit> unit = catalogue_->Find(unit_text);
  if (!unit) return kNoUnit;
  if (names_.size() == kMostUnits) return std::nullopt;
  names_.push_back({unit->QuantityName(), unit->UnitText()});
  const auto number = static_cast<std::uint16_t>(names_.size());
  numbers_.Add(unit_text, number);
  return number;
}

bool EnteredTally::Renew(const ColumnCells& cells, const ColumnChanges& changes,
                         UnitNumbers& units) {
  // Nothing is told until the end is reached.
  const std::optional<std::uint64_t> known = std::exchange(stamp_, std::nullopt);
  const std::uint64_t stamp = changes.Stamp();
  if (cells.EnteredCount() == 0) {
    *this = EnteredTally();
  } else if (known != stamp) {
    std::vector<std::size_t> rows;
    if (known && said_.empty()) said_.resize(cells.Count());
    const bool is_known =
        known && said_.size() == cells.Count() && changes.RowsChangedSince(*known, rows);
    const bool is_done =
        is_known ? std::all_of(rows.begin(), rows.end(),
                               [&](std::size_t row) {
                                 // A row may have come and gone.
                                 return row >= said_.size() || LookAt(row, cells, units);
                               })
                 : LookAtAll(cells, units);
    if (!is_done) return false;
  }
  stamp_ = stamp;
  return true;
}

bool EnteredTally::LookAtAll(const ColumnCells& cells, UnitNumbers& units) {
  *this = EnteredTally();
  said_.resize(cells.Count());
  std::size_t left = cells.EnteredCount();
  for (std::size_t row = 0; left > 0 && row < said_.size(); ++row) {
    if (!cells.IsEntered(row)) continue;
    if (!LookAt(row, cells, units)) return false;
    --left;
  }
  return true;
}

bool EnteredTally::LookAt(std::size_t row, const ColumnCells& cells, UnitNumbers& units) {
  Said said;
  if (cells.IsEntered(row)) {
    std::u16string buffer;
    const std::u16string_view text = cells.Text(row, buffer);
    const std::int16_t digits = std::min(CountSignificantDigits(text, false), kTooManyDigits);
    const std::optional<std::uint16_t> unit = units.NumberOf(UnitPart(text));
    if (!unit) return false;
    said = {static_cast<std::uint16_t>(digits), *unit};
  }
  Set(row, said);
  return true;
}

void EnteredTally::Set(std::size_t row, const Said& said) {
  Said& old = said_[row];
  if (old == said) return;
  if (old.digits != 0) {
    --rows_with_digits_[old.digits];
    --uses_[old.unit].rows;
  }
  if (said.digits != 0) {
    ++Grown(rows_with_digits_, said.digits);
    UnitUse& use = Grown(uses_, said.unit);
    if (use.rows++ == 0 || row < use.first) use.first = row;
  }
  old = said;
}

std::int16_t EnteredTally::SmallestDigits() const {
  const auto found = std::find_if(rows_with_digits_.begin(), rows_with_digits_.end(),
                                  [](std::size_t rows) { return rows != 0; });
  if (found == rows_with_digits_.end()) return kTooManyDigits;
  return static_cast<std::int16_t>(found - rows_with_digits_.begin());
}

void EnteredTally::AddTo(DigitCounts& counts) const {
  for (std::size_t digits = 0; digits < rows_with_digits_.size(); ++digits) {
    const auto number = static_cast<std::int16_t>(digits);
    if (rows_with_digits_[digits] != 0 && number < kTooManyDigits) {
      counts[number] += rows_with_digits_[digits];
    }
  }
}

std::size_t EnteredTally::RowWith(std::int16_t digits) const {
  const auto found = std::find_if(said_.begin(), said_.end(),
                                  [digits](const Said& said) { return said.digits == digits; });
  return static_cast<std::size_t>(found - said_.begin());
}

std::vector<std::uint16_t> EnteredTally::FirstUnits() {
  std::vector<std::uint16_t> units;
  for (std::size_t unit = UnitNumbers::kNoUnit + 1; unit < uses_.size(); ++unit) {
    UnitUse& use = uses_[unit];
    if (use.rows == 0) continue;
    while (said_[use.first].unit != unit)
      ++use.first;
    units.push_back(static_cast<std::uint16_t>(unit));
  }
  std::sort(units.begin(), units.end(), [this](std::uint16_t left, std::uint16_t right) {
    return uses_[left].first < uses_[right].first;
  });
  return units;
}

}  // namespace ktformula
