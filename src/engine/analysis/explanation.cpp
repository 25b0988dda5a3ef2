#include "analysis/explanation.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "analysis/display_reasons.h"
#include "analysis/evaluation_record.h"

#include "listener/entered_values.h"
#include "values/significant_digits.h"
#include "values/text.h"

namespace ktformula {

namespace {

// Steps beyond these are left out below computed cells: a reader has long since had enough.
constexpr std::size_t kMostSteps = 2'000;

constexpr std::array<std::u16string_view, 8> kOrigins{
    u"typed", u"noted", u"computed", u"empty", u"definition", u"column", u"constant", u""};

// Of a cell that no formula computes.
ValueOrigin OriginOfText(const TableCell& cell) {
  if (cell.StateText() == kEnteredState) return ValueOrigin::kTyped;
  return cell.Text().empty() ? ValueOrigin::kEmpty : ValueOrigin::kNoted;
}

class Explainer {
 public:
  explicit Explainer(const WatchedForm& form) : form_(form) {}

  Explanation Explain(TableCell& cell, int depth) {
    Explanation explanation;
    explanation.cell = Ref<TableCell>(&cell);
    FormulaListener* const listener = form_.ListenerComputing(cell);
    if (listener == nullptr) {
      explanation.origin = OriginOfText(cell);
      explanation.value = ValueOfCell(cell);
      if (explanation.origin == ValueOrigin::kTyped) {
        explanation.typed_digits = CountSignificantDigits(cell.Text(), false);
      }
      return explanation;
    }
    const EvaluationRecord& record = RecordOf(cell, *listener);
    explanation.origin = ValueOrigin::kComputed;
    explanation.formula = FormulaOf(cell, *listener);
    explanation.value = record.value;
    explanation.error = ErrorOf(cell);
    explanation.steps = record.steps;
    path_.push_back(&cell);
    Open(explanation.steps, *listener, depth);
    if (!explanation.value.raised) {
      explanation.shown = FindDisplayReasons(form_, *listener, cell, explanation.value.value);
    }
    return explanation;
  }

 private:
  struct Recorded {
    // Keeps its identity its own.
    Ref<TableCell> cell;
    EvaluationRecord record;
  };

  static std::u16string FormulaOf(const TableCell& cell, const FormulaListener& listener) {
    return listener.FormulaOf(cell.Property()->Key())->formula;
  }

  const EvaluationRecord& RecordOf(TableCell& cell, FormulaListener& listener) {
    const auto [known, is_new] = records_.try_emplace(cell.Identity());
    if (is_new) {
      known->second = {Ref<TableCell>(&cell),
                       RecordEvaluation(listener, cell, FormulaOf(cell, listener))};
    }
    return known->second.record;
  }

  // Leads steps of the listener's formulas on, to what is below them.
  void Open(std::vector<ExplainedStep>& steps, const FormulaListener& listener, int depth) {
    steps_ += steps.size();
    for (ExplainedStep& step : steps)
      Open(step, listener, depth);
  }

  void Open(ExplainedStep& step, const FormulaListener& listener, int depth) {
    const bool ends = depth <= 1 || steps_ > kMostSteps;
    if (ends) {
      step.steps.clear();
      step.more_rows = 0;
    }
    if (step.origin == ValueOrigin::kDefinition) {
      const auto entry = listener.DefinitionOf(ReferenceText(step.source));
      if (entry) step.formula = entry->formula;
    }
    if (!step.cell) {
      if (!ends) Open(step.steps, listener, depth - 1);
      return;
    }
    FormulaListener* const computing = form_.ListenerComputing(*step.cell);
    if (computing == nullptr) {
      step.origin = OriginOfText(*step.cell);
      return;
    }
    step.origin = ValueOrigin::kComputed;
    step.formula = FormulaOf(*step.cell, *computing);
    step.error = ErrorOf(*step.cell);
    step.is_circular = IsOnPath(*step.cell);
    if (ends || step.is_circular) return;
    step.steps = RecordOf(*step.cell, *computing).steps;
    path_.push_back(step.cell.get());
    Open(step.steps, *computing, depth - 1);
    path_.pop_back();
  }

  // What stands between the brackets.
  static std::u16string_view ReferenceText(std::u16string_view source) {
    return source.size() < 2 ? source : source.substr(1, source.size() - 2);
  }

  bool IsOnPath(const TableCell& cell) const {
    return std::any_of(path_.begin(), path_.end(),
                       [&](const TableCell* other) { return IsSameObject(other, &cell); });
  }

  // The error that a computed cell shows.
  std::optional<ArisenError> ErrorOf(TableCell& cell) {
    const std::u16string text = cell.Text();
    if (!text.starts_with(kErrorPrefix)) return std::nullopt;
    ArisenError error{text.substr(kErrorPrefix.size()), Ref<TableCell>(&cell)};
    std::vector<Ref<TableCell>> met{error.cell};
    const auto is_new = [&met](const Ref<TableCell>& other) {
      return std::none_of(met.begin(), met.end(), [&](const Ref<TableCell>& known) {
        return IsSameObject(known.get(), other.get());
      });
    };
    for (Ref<TableCell> from = HandedOnFrom(*error.cell, error.description); from && is_new(from);
         from = HandedOnFrom(*from, error.description)) {
      met.push_back(from);
      error.cell = from;
    }
    return error;
  }

  // The cell from which a computed one has its error; empty when it is its own.
  Ref<TableCell> HandedOnFrom(TableCell& cell, std::u16string_view description) {
    FormulaListener* const listener = form_.ListenerComputing(cell);
    if (listener == nullptr) return nullptr;
    const EvaluationRecord& record = RecordOf(cell, *listener);
    for (const auto& [read, from] : record.errors_read) {
      if (read == description) return from;
    }
    for (const Ref<TableProperty>& column : record.columns_read) {
      if (Ref<TableCell> from = CellShowing(*column, description)) return from;
    }
    return nullptr;
  }

  static Ref<TableCell> CellShowing(const TableProperty& column, std::u16string_view description) {
    const std::u16string text = std::u16string(kErrorPrefix) + std::u16string(description);
    const int count = column.CellCount();
    for (int row = 1; row <= count; ++row) {
      Ref<TableCell> cell = column.Cell(row);
      if (cell->Text() == text) return cell;
    }
    return nullptr;
  }

  const WatchedForm& form_;
  // By identity.
  std::map<const void*, Recorded> records_;
  // The cells that are just being explained.
  std::vector<const TableCell*> path_;
  std::size_t steps_ = 0;
};

}  // namespace

std::u16string_view OriginText(ValueOrigin origin) noexcept {
  return kOrigins[static_cast<std::size_t>(origin)];
}

Explanation ExplainCell(const WatchedForm& form, TableCell& cell, int depth) {
  return Explainer(form).Explain(cell, depth);
}

}  // namespace ktformula
