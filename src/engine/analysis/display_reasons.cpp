#include "analysis/display_reasons.h"

#include <utility>

#include "listener/entered_values.h"

namespace ktformula {

namespace {

struct Written {
  std::u16string pattern;
  std::u16string unit;
};

// Notes what a number is shown with and writes nothing.
class RecordingGrid final : public GridControl {
 public:
  std::u16string TypeName() const override { return u"RecordingGrid"; }
  void WriteText(TableCell&, std::u16string_view, bool) override {}
  void ClearNumber(TableCell&) override {}
  void SetValue(TableCell&, double, std::u16string_view pattern,
                std::u16string_view unit_name) override {
    written_ = {std::u16string(pattern), std::u16string(unit_name)};
  }
  void FinishCell(TableCell&) override {}

  std::optional<Written> Take() { return std::exchange(written_, std::nullopt); }

 private:
  std::optional<Written> written_;
};

// Whether the listener's format shows numbers of this cell with as many digits as it is told.
bool LooksAtDigits(const FormulaListener& listener, TableCell& cell,
                   std::u16string_view string_format, const ExaminedUnitsMap& units) {
  const Ref<IKtFormulaFormat> format = listener.CreateFormulaFormat();
  const Ref<RecordingGrid> grid = MakeRef<RecordingGrid>();
  const auto pattern_for = [&](std::int16_t digits) {
    format->SetGridCellValue(*grid, cell, 0, string_format, digits, units);
    const std::optional<Written> written = grid->Take();
    return written ? written->pattern : std::u16string();
  };
  constexpr std::int16_t kMany = 15;
  constexpr std::int16_t kMore = 20;
  return pattern_for(kMany) != pattern_for(kMore);
}

}  // namespace

std::optional<DisplayReasons> FindDisplayReasons(const WatchedForm& form,
                                                 const FormulaListener& listener, TableCell& cell,
                                                 const CellValue& value) {
  const Ref<RecordingGrid> grid = MakeRef<RecordingGrid>();
  listener.ShowInCell(value, cell, *grid);
  const std::optional<Written> written = grid->Take();
  if (!written) return std::nullopt;

  DecidingCells deciding;
  const EnteredValues entered = ExamineEnteredValues(*form.owner, *form.units, deciding);
  DisplayReasons shown;
  shown.pattern = written->pattern;
  shown.unit = written->unit;
  shown.format = listener.FormulaOf(cell.Property()->Key())->string_format;
  if (LooksAtDigits(listener, cell, shown.format, entered.ExaminedUnits)) {
    shown.digits = entered.ExaminedSigDig;
    shown.digits_from = deciding.digits;
  }
  if (!shown.unit.empty()) {
    if (const Ref<TableCell>* from = deciding.units.Find(cell.Key())) shown.unit_from = *from;
  }
  return shown;
}

}  // namespace ktformula
