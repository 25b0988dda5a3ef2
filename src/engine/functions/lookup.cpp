#include "functions/lookup.h"

#include <bit>
#include <cmath>
#include <functional>
#include <utility>

#include "values/raised_error.h"

namespace ktformula {

namespace {

std::size_t HashOf(std::u16string_view text) {
  return std::hash<std::u16string_view>{}(text);
}

// Of both zeros the same.
std::size_t HashOf(double number) {
  return static_cast<std::size_t>(
      std::bit_cast<std::uint64_t>(number + 0.0) * std::uint64_t{0x9E3779B97F4A7C15} >> 17U);
}

CellValueTypeEnum KindOf(const TableProperty& column) {
  CellValue value;
  value.SetTypeFromProperty(column.Property().get());
  return value.CellValueType();
}

// For each row the value of the row that is found with its key.
class FoundLanes final : public Lanes {
 public:
  FoundLanes(std::shared_ptr<Lookup> lookup, LanesPtr sought, Ref<TableProperty> value,
             Ref<Table> table)
      : lookup_(std::move(lookup)),
        sought_(std::move(sought)),
        value_(std::move(value)),
        table_(std::move(table)) {}

  void Prepare(const EvaluationContext& context) override {
    kind_ = kCellValueTypeUnknown;
    cells_ = value_->Cells();
    if (cells_ == nullptr || table_->RowCount() == 0 || !lookup_->Index().Renew()) return;
    const Ref<TableRow> row = table_->Row(1);
    sought_->Prepare({nullptr, row.get(), context.anchor, context.listener});
    const CellValueTypeEnum kind = KindOf(*value_);
    const bool has_values = kind == kCellValueTypeNumber || kind == kCellValueTypeString;
    if (has_values && sought_->Kind() == lookup_->Index().Kind()) kind_ = kind;
  }

  void Compute(std::size_t first, std::size_t count) override {
    sought_->Compute(first, count);
    own_refused_.Begin(count, sought_->Refused(), nullptr);
    rows_.resize(count);
    for (std::size_t lane = 0; lane < count; ++lane)
      FindRow(lane);
    if (kind_ == kCellValueTypeNumber) TakeNumbers(count);
    refused_ = own_refused_.Get();
  }

  std::u16string_view Text(std::size_t lane, std::u16string& buffer) const override {
    return cells_->Text(rows_[lane], buffer);
  }

 private:
  void FindRow(std::size_t lane) {
    rows_[lane] = 0;
    if (own_refused_.Has(lane)) return;
    const KeyIndex& index = lookup_->Index();
    const auto found =
        index.Kind() == kCellValueTypeString
            ? index.FindText(sought_->Text(lane, buffer_))
            : index.FindNumbers(sought_->MinNumbers()[lane], sought_->MaxNumbers()[lane]);
    if (found) {
      rows_[lane] = *found;
    } else {
      own_refused_.Refuse(lane);
    }
  }

  void TakeNumbers(std::size_t count) {
    const std::span<const double> min = cells_->MinNumbers();
    const std::span<const double> max = cells_->MaxNumbers();
    own_min_.resize(count);
    min_numbers_ = max_numbers_ = own_min_.data();
    for (std::size_t lane = 0; lane < count; ++lane)
      own_min_[lane] = min[rows_[lane]];
    own_refused_.RefuseMissing(own_min_.data(), count);
    if (min.data() == max.data()) return;
    own_max_.resize(count);
    max_numbers_ = own_max_.data();
    for (std::size_t lane = 0; lane < count; ++lane)
      own_max_[lane] = max[rows_[lane]];
  }

  std::shared_ptr<Lookup> lookup_;
  LanesPtr sought_;
  Ref<TableProperty> value_;
  Ref<Table> table_;
  ColumnCells* cells_ = nullptr;
  std::vector<std::size_t> rows_;
  std::vector<double> own_min_;
  std::vector<double> own_max_;
  RefusedRows own_refused_;
  std::u16string buffer_;
};

}  // namespace

bool KeyIndex::Renew() {
  ColumnChanges* const changes = column_->Changes();
  if (column_->Cells() == nullptr || changes == nullptr) return false;
  const std::uint64_t stamp = changes->Stamp();
  if (stamp_ == stamp) return true;
  kind_ = KindOf(*column_);
  if (kind_ != kCellValueTypeString && kind_ != kCellValueTypeNumber) return false;
  Fill();
  stamp_ = stamp;
  return true;
}

void KeyIndex::Fill() {
  const ColumnCells& cells = *column_->Cells();
  const std::size_t count = cells.Count();
  places_.assign(std::bit_ceil(count * 2 + 1), 0);
  for (std::size_t row = 0; row < count; ++row) {
    if (kind_ == kCellValueTypeNumber) {
      const double min = cells.MinNumbers()[row];
      // What is no number is never found, and would stand in one place with all its like.
      if (!std::isnan(min) && !FindNumbers(min, cells.MaxNumbers()[row])) Add(row, HashOf(min));
    } else {
      key_ = cells.Text(row, buffer_);
      if (!FindText(key_)) Add(row, HashOf(key_));
    }
  }
}

void KeyIndex::Add(std::size_t row, std::size_t hash) {
  const std::size_t mask = places_.size() - 1;
  std::size_t place = hash & mask;
  while (places_[place] != 0)
    place = (place + 1) & mask;
  places_[place] = static_cast<std::uint32_t>(row + 1);
}

template <typename IsKey>
std::optional<std::size_t> KeyIndex::Find(std::size_t hash, IsKey is_key) const {
  const std::size_t mask = places_.size() - 1;
  for (std::size_t place = hash & mask; places_[place] != 0; place = (place + 1) & mask) {
    const std::size_t row = places_[place] - 1;
    if (is_key(row)) return row;
  }
  return std::nullopt;
}

std::optional<std::size_t> KeyIndex::FindText(std::u16string_view text) const {
  const ColumnCells& cells = *column_->Cells();
  return Find(HashOf(text), [&](std::size_t row) { return cells.Text(row, buffer_) == text; });
}

std::optional<std::size_t> KeyIndex::FindNumbers(double min, double max) const {
  const ColumnCells& cells = *column_->Cells();
  const double* const mins = cells.MinNumbers().data();
  const double* const maxs = cells.MaxNumbers().data();
  return Find(HashOf(min), [=](std::size_t row) { return mins[row] == min && maxs[row] == max; });
}

std::shared_ptr<Lookup> Lookup::Make(Binder& binder, const LayerItem& condition,
                                     const Standpoint& at) {
  if (!condition.IsLayer()) return nullptr;
  const TokenLayer layer = condition.Layer();
  const bool is_equation = layer.Steps().size() == 1 &&
                           layer.Steps()[0].kind == StepKind::kOperation &&
                           layer.Steps()[0].word == FormulaWord::kEquals;
  if (!is_equation) return nullptr;
  const Term& left = layer.Head();
  const Term& right = layer.Steps()[0].operand;
  auto lookup = MakeFor(binder, condition.Other(left.item), left, condition.Other(right.item),
                        right, false, at);
  if (lookup == nullptr) {
    lookup = MakeFor(binder, condition.Other(right.item), right, condition.Other(left.item), left,
                     true, at);
  }
  return lookup;
}

std::shared_ptr<Lookup> Lookup::MakeFor(Binder& binder, const LayerItem& key_item, const Term& key,
                                        const LayerItem& item, const Term& sought, bool is_head,
                                        const Standpoint& at) {
  const RowRun run = at.anchor.run;
  const Ref<TableProperty> column = binder.OwnColumn(key, key_item, at);
  if (!column || !binder.BindOperand(sought, item, is_head, at, run).reads.IsFixedIn(run)) {
    return nullptr;
  }
  return std::shared_ptr<Lookup>(new Lookup(column, sought, item, is_head));
}

LanesPtr Lookup::MakeLanes(const std::shared_ptr<Lookup>& lookup, Binder& binder,
                           const LayerItem& value, const Standpoint& at, RowRun run, Table& table) {
  if (value.IsLayer()) return nullptr;
  const Ref<TableProperty> column = binder.OwnColumn(ArgumentTerm(value), value, at);
  if (!column || column->Cells() == nullptr) return nullptr;
  LanesPtr sought =
      binder.BindOperand(lookup->sought_, lookup->item_, lookup->is_head_, at, run).lanes;
  if (sought == nullptr) return nullptr;
  return std::make_unique<FoundLanes>(lookup, std::move(sought), column, Ref<Table>(&table));
}

std::optional<Lookup::Answer> Lookup::Find(const EvaluationContext& context) {
  if (!index_.Renew()) return std::nullopt;
  CellValue sought;
  const std::uint64_t refusals = EvaluationRefusals();
  try {
    EvaluateTermWithNots(sought, sought_, item_, is_head_, context);
  } catch (const RaisedError&) {
    // The condition raises, and so does not hold, in any row.
    return EvaluationRefusals() == refusals ? std::optional(Answer{}) : std::nullopt;
  }
  return EvaluationRefusals() == refusals ? FindValue(sought) : std::nullopt;
}

// As CellValue::Equals compares a cell of the key column with the value.
std::optional<Lookup::Answer> Lookup::FindValue(const CellValue& sought) const {
  const CellValueTypeEnum kind = sought.CellValueType();
  if (kind == kCellValueTypeError) return Answer{};
  if (is_head_ && kind != index_.Kind()) return std::nullopt;
  if (index_.Kind() == kCellValueTypeNumber) {
    return Answer{index_.FindNumbers(sought.MinNumber(), sought.MaxNumber())};
  }
  // Texts would become numbers.
  if (kind == kCellValueTypeNumber) return std::nullopt;
  return Answer{index_.FindText(sought.Text())};
}

}  // namespace ktformula
