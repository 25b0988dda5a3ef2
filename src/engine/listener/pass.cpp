#include "listener/pass.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "formula/evaluator.h"
#include "formula/observation.h"
#include "listener/lane_texts.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

std::uint64_t NextPassNumber() {
  thread_local std::uint64_t number = 0;
  return ++number;
}

// A formula's tree or, without one, why the text could not be parsed.
struct ParsedFormula {
  std::shared_ptr<const TokenTree> tree;
  std::u16string text;
  std::u16string error;

  // Whether parsing would come to the same: the host may change a formula from within a call.
  bool IsUpToDate(const PropertyFormula& formula) const {
    return formula.TokenTree == tree && (tree != nullptr || formula.Formula == text);
  }
};

ParsedFormula Parse(PropertyFormula& formula, const FunctionRegistry& functions) {
  try {
    return {TreeOf(formula, functions), {}, {}};
  } catch (const RaisedError& error) {
    return {nullptr, formula.Formula, error.Description()};
  }
}

// Tells whoever watches that a definition gives its value.
class WatchedDefinition {
 public:
  WatchedDefinition(EvaluationObserver& observer, std::u16string_view name) : observer_(observer) {
    observer_.BeginDefinition(name);
  }
  WatchedDefinition(const WatchedDefinition&) = delete;
  WatchedDefinition& operator=(const WatchedDefinition&) = delete;
  ~WatchedDefinition() { observer_.EndDefinition(); }

 private:
  EvaluationObserver& observer_;
};

}  // namespace

// One column with a formula in this pass.
class Pass::ColumnPass {
 public:
  ColumnPass(Pass& pass, const TableProperty& column, std::shared_ptr<PropertyFormula> formula,
             ResultWriter& writer)
      : pass_(pass),
        column_(column),
        property_(column.Property()),
        formula_(std::move(formula)),
        writer_(writer),
        number_formatting_(property_->NumberFormatting()),
        rows_(static_cast<std::size_t>(column.CellCount())),
        plan_(pass.plans_ != nullptr && EvaluationHasRoom() ? pass.plans_->Of(column, *formula_)
                                                            : nullptr) {}

  void Run() {
    if (plan_ == nullptr) return ComputeRows(0, rows_);
    const ShownAs shown_as{number_formatting_, EnteredIfSettled()};
    const RowsToCompute found = plan_->FindRows(shown_as);
    if (!found.are_all && found.rows.empty()) return;
    ColumnPlan::Use use(*plan_, shown_as);
    if (found.are_all) {
      ComputeRun(0, rows_);
    } else {
      ComputeRuns(found.rows);
    }
    use.End();
  }

 private:
  // Whether the values of definitions are what they would be if rows were computed one by one.
  bool AreDefinitionsSettled() const {
    const auto& names = plan_->bound.definitions;
    return pass_.MayAskEarly(plan_->bound) ||
           std::all_of(names.begin(), names.end(), [this](const std::u16string& name) {
             return pass_.definitions_.IsSettled(name);
           });
  }

  // Looks once whether the lanes can compute anything, as soon as that can be told.
  void TryLanes() {
    if (has_tried_lanes_ || !AreDefinitionsSettled()) return;
    has_tried_lanes_ = true;
    lanes_ = ReadyLanes();
  }

  // What the host's functions enter in the middle of the pass counts if no number was shown before.
  const EnteredValues* EnteredIfSettled() const {
    if (!number_formatting_ || pass_.plans_->MayCallHost()) return nullptr;
    return writer_.PromisedEntered();
  }

  // The lanes, if they can compute anything now.
  Lanes* ReadyLanes() const {
    Lanes* const lanes = plan_->FormulaLanes();
    if (lanes == nullptr || rows_ == 0) return nullptr;
    const Ref<TableCell> cell = column_.Cell(1);
    const std::uint64_t refusals = EvaluationRefusals();
    const BoundEvaluation evaluation(&plan_->bound, pass_.number_, true);
    lanes->Prepare({property_.get(), cell.get(), cell.get(), &pass_.names_});
    return IsWritable(lanes->Kind()) && EvaluationRefusals() == refusals ? lanes : nullptr;
  }

  bool IsWritable(CellValueTypeEnum kind) const {
    switch (kind) {
      case kCellValueTypeNumber:
      case kCellValueTypeString: return true;
      case kCellValueTypeBoolean:
      case kCellValueTypeDate: return !number_formatting_;
      default: return false;
    }
  }

  // Rows that stand together are computed together.
  void ComputeRuns(const std::vector<std::size_t>& rows) {
    for (std::size_t i = 0; i < rows.size();) {
      std::size_t end = i + 1;
      while (end < rows.size() && rows[end] == rows[end - 1] + 1)
        ++end;
      ComputeRun(rows[i], std::min(rows[end - 1] + 1, rows_));
      i = end;
    }
  }

  void ComputeRun(std::size_t begin, std::size_t end) {
    while (begin < end && HasPlan()) {
      TryLanes();
      if (lanes_ == nullptr && has_tried_lanes_) break;
      const std::size_t count = lanes_ != nullptr ? std::min(end - begin, kMaximumLanes) : 1;
      if (lanes_ != nullptr) {
        ComputeLanes(begin, count);
      } else {
        ComputeRows(begin, begin + 1);
      }
      begin += count;
    }
    ComputeRows(begin, end);
  }

  void ComputeLanes(std::size_t first, std::size_t count) {
    {
      const BoundEvaluation evaluation(&plan_->bound, pass_.number_, true);
      lanes_->Compute(first, count);
    }
    WriteLanes(first, count);
  }

  bool IsAlone(std::size_t first, std::size_t lane) const {
    if (lanes_->Refused() != nullptr && lanes_->Refused()[lane] != 0) return true;
    if (has_entered_ && Cells().IsEntered(first + lane)) return true;
    return lanes_->Kind() == kCellValueTypeNumber &&
           (number_formatting_ || !std::isfinite(lanes_->MinNumbers()[lane]));
  }

  // Runs of cells whose values are simply written, and each other cell on its own.
  void WriteLanes(std::size_t first, std::size_t count) {
    has_entered_ = Cells().EnteredCount() != 0;
    if (lanes_->Kind() != kCellValueTypeNumber) texts_.Take(*lanes_, count);
    for (std::size_t lane = 0; lane < count;) {
      if (IsAlone(first, lane)) {
        WriteAlone(first, lane++);
        continue;
      }
      std::size_t end = lane + 1;
      while (end < count && !IsAlone(first, end))
        ++end;
      WriteRun(first, lane, end - lane);
      lane = end;
    }
  }

  void WriteRun(std::size_t first, std::size_t lane, std::size_t count) {
    plan_->GiveTree();
    if (lanes_->Kind() == kCellValueTypeNumber) {
      Cells().WriteNumbers(first + lane, {lanes_->MinNumbers() + lane, count});
    } else {
      const bool is_value = lanes_->Kind() != kCellValueTypeString;
      Cells().WriteTexts(first + lane, texts_.Which().subspan(lane, count), texts_.Texts(),
                         is_value);
    }
  }

  void WriteAlone(std::size_t first, std::size_t lane) {
    const bool is_refused = lanes_->Refused() != nullptr && lanes_->Refused()[lane] != 0;
    const std::size_t row = first + lane;
    if (is_refused || !number_formatting_ || lanes_->Kind() != kCellValueTypeNumber) {
      return ComputeRows(row, row + 1);
    }
    const Ref<TableCell> cell = column_.Cell(static_cast<int>(row) + 1);
    if (cell->StateText() == kEnteredState) return;
    plan_->GiveTree();
    value_.SetNumber(lanes_->MinNumbers()[lane], lanes_->MaxNumbers()[lane]);
    writer_.Write(*cell, value_, number_formatting_, formula_->StringFormat);
    writer_.Finish(*cell);
  }

  // Whether there is a plan that still holds: the host may change much from within a call.
  bool HasPlan() const {
    return plan_ != nullptr && plan_->bound.holds() && plan_->IsOf(*formula_);
  }

  ColumnCells& Cells() const { return *plan_->Column()->Cells(); }

  // One by one.
  void ComputeRows(std::size_t begin, std::size_t end) {
    for (std::size_t row = begin; row < end; ++row)
      ComputeCell(*column_.Cell(static_cast<int>(row) + 1));
  }

  void ComputeCell(TableCell& cell) {
    if (cell.StateText() == kEnteredState) return;
    const bool has_plan = HasPlan();
    if (has_plan) plan_->GiveTree();
    if (!parsed_ || !parsed_->IsUpToDate(*formula_)) parsed_ = Parse(*formula_, pass_.functions_);
    CellValue value;
    if (const auto error = Compute(cell, has_plan, value)) {
      writer_.WriteError(cell, *error);
    } else {
      writer_.Write(cell, value, number_formatting_, formula_->StringFormat);
    }
    writer_.Finish(cell);
  }

  // Evaluates the formula for the cell; the description of an error that was raised.
  std::optional<std::u16string> Compute(TableCell& cell, bool has_plan, CellValue& value) {
    if (parsed_->tree == nullptr) return parsed_->error;
    const BoundEvaluation evaluation(has_plan ? &plan_->bound : nullptr, pass_.number_,
                                     has_plan && AreDefinitionsSettled());
    try {
      pass_.Evaluate(*parsed_->tree, property_.get(), &cell, value);
    } catch (const RaisedError& error) {
      return error.Description();
    }
    return std::nullopt;
  }

  Pass& pass_;
  const TableProperty& column_;
  Ref<ELNProperty> property_;
  // The host may take the entry away from within a call.
  std::shared_ptr<PropertyFormula> formula_;
  ResultWriter& writer_;
  bool number_formatting_;
  // As many as there were at the beginning.
  std::size_t rows_;
  std::shared_ptr<ColumnPlan> plan_;
  Lanes* lanes_ = nullptr;
  bool has_tried_lanes_ = false;
  bool has_entered_ = false;
  LaneTexts texts_;
  CellValue value_;
  std::optional<ParsedFormula> parsed_;
};

Pass::Pass(const FormulaConfiguration& configuration, const FunctionRegistry& functions,
           NamedValues& names, Ref<Table> table, Plans* plans)
    : configuration_(configuration),
      functions_(functions),
      names_(names),
      table_(std::move(table)),
      plans_(plans),
      number_(NextPassNumber()),
      definitions_([this](PropertyFormula& formula, CellValue& value) {
        const auto bound = plans_ != nullptr ? plans_->OfDefinition(formula) : nullptr;
        const auto tree = TreeOf(formula, functions_);
        const BoundEvaluation evaluation(bound.get(), number_,
                                         bound != nullptr && MayAskEarly(*bound));
        Evaluate(*tree, nullptr, table_.get(), value);
      }) {
  if (plans_ != nullptr && table_) plans_->Renew(*table_);
}

std::shared_ptr<CellValue> Pass::DefinedValue(std::u16string_view name) {
  std::optional<WatchedDefinition> watched;
  if (EvaluationObserver* const observer = Observation::Observer()) {
    if (configuration_.definitions.Find(name) != nullptr) watched.emplace(*observer, name);
  }
  return definitions_.Get(configuration_.definitions, name);
}

bool Pass::MayAskEarly(const BoundFormula& formula) const {
  return formula.definitions.empty() ||
         (!formula.has_unsteady_definitions && plans_->AreDefinitionsParsed());
}

void Pass::Recalculate(ResultWriter& writer) {
  const int columns = table_->ColumnCount();
  for (int c = 1; c <= columns; ++c) {
    const Ref<TableProperty> column = table_->Column(c);
    auto formula = configuration_.property_formulas.Find(ToDecimalText(column->Property()->Key()));
    if (formula == nullptr || formula->Formula.empty()) continue;
    ColumnPass(*this, *column, std::move(formula), writer).Run();
  }
}

void Pass::Evaluate(const TokenTree& tree, ELNProperty* property, NotebookObject* object,
                    CellValue& target) {
  EvaluateTokenTreeLayer(target, tree.Top(), {property, object, object, &names_});
}

}  // namespace ktformula
