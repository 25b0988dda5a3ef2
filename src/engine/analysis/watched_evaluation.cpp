#include "analysis/watched_evaluation.h"

#include <utility>

namespace ktformula {

namespace {

// What a cell of an aggregate's column costs, compared with a term.
constexpr std::size_t kCellsOfATerm = 8;

class PlaceFinder final : public FormulaObserver {
 public:
  PlaceFinder(Effort& effort, const SourceMap& map, const Cause& cause)
      : FormulaObserver(effort), map_(map), cause_(cause) {}

  std::optional<TextRange> Place(const Outcome& outcome) const {
    if (read_) return read_;
    if (!outcome.Error()) return std::nullopt;
    return failed_ ? failed_ : symbol_;
  }

 private:
  void Began(const Frame&) override { symbol_.reset(); }
  void Applied(const LayerItem& symbol) override { symbol_ = map_.Of(symbol); }

  // The innermost part that fails counts, unless what is around it has a value nevertheless.
  void Ended(const Frame& frame, const CellValue& value, const RaisedError* raised) override {
    const bool is_error = raised != nullptr || value.CellValueType() == kCellValueTypeError;
    if (!is_error) {
      failed_.reset();
      symbol_.reset();
    } else if (!failed_) {
      failed_ = symbol_ ? symbol_ : std::optional(map_.Of(frame.term, frame.item));
    }
  }

  void Read(const TableCell& cell) override {
    if (cause_.is_cell && cause_.is_cell(cell)) NoteRead();
  }
  void ReadAll(const TableProperty& column) override {
    if (cause_.is_column && cause_.is_column(column)) NoteRead();
  }
  void NoteRead() {
    if (!read_ && !Frames().empty()) read_ = map_.Of(Frames().back().term, Frames().back().item);
  }

  const SourceMap& map_;
  const Cause& cause_;
  std::optional<TextRange> read_;
  std::optional<TextRange> failed_;
  std::optional<TextRange> symbol_;
};

// False when the effort was spent.
bool WatchPass(FormulaListener& listener, FormulaObserver& observer,
               const std::function<void(const FormulaListener::EvaluateTree&)>& work) {
  const Observation observation(&observer);
  try {
    listener.InOnePass(work);
  } catch (const TooMuchEffort&) {
    return false;
  } catch (const SeenEnough&) {
    // What was wanted is known.
  }
  return true;
}

}  // namespace

void FormulaObserver::BeginTerm(const Term& term, const LayerItem& item, const EvaluationContext&) {
  effort_.Spend(1);
  if (IsInDefinition()) return;
  frames_.push_back({term, item});
  Began(frames_.back());
}

void FormulaObserver::EndTerm(const CellValue& value, const RaisedError* raised) {
  if (IsInDefinition()) return;
  const Frame frame = frames_.back();
  frames_.pop_back();
  Ended(frame, value, raised);
}

void FormulaObserver::ApplyStep(const Step&, const LayerItem& symbol, const CellValue&,
                                const CellValue&) {
  if (!IsInDefinition()) Applied(symbol);
}

void FormulaObserver::ReadColumn(const TableProperty& column) {
  effort_.Spend(static_cast<std::size_t>(column.CellCount()) / kCellsOfATerm);
  ReadAll(column);
}

void FormulaObserver::BeginDefinition(std::u16string_view name) {
  ++definitions_;
  DefinitionBegan(name);
}

void FormulaObserver::EndDefinition() {
  --definitions_;
  DefinitionEnded();
}

std::optional<std::u16string> Outcome::Error() const {
  if (raised) return raised->Description();
  if (value.CellValueType() == kCellValueTypeError) return value.ErrorDescription();
  return std::nullopt;
}

bool WatchRows(const ObservedColumn& column, FormulaObserver& observer,
               const std::function<void(const EvaluateRow&)>& work) {
  return WatchPass(*column.listener, observer, [&](const FormulaListener::EvaluateTree& evaluate) {
    work([&](std::size_t row) {
      Outcome outcome;
      try {
        evaluate(*column.tree, *column.cells.Cell(row), outcome.value);
      } catch (const RaisedError& error) {
        outcome.raised = error;
      }
      return outcome;
    });
  });
}

bool WatchDefinitions(FormulaListener& listener, FormulaObserver& observer,
                      const std::function<void()>& work) {
  return WatchPass(listener, observer, [&](const FormulaListener::EvaluateTree&) { work(); });
}

std::optional<TextRange> FindPlace(const ObservedColumn& column, std::size_t row, Effort& effort,
                                   const Cause& cause) {
  if (!column.can_be_watched) return std::nullopt;
  const SourceMap map(column.tree);
  PlaceFinder finder(effort, map, cause);
  std::optional<TextRange> place;
  WatchRows(column, finder,
            [&](const EvaluateRow& evaluate) { place = finder.Place(evaluate(row)); });
  return place;
}

}  // namespace ktformula
