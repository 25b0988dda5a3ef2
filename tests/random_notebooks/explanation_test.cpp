// What explanations of random notebooks' cells say is what recalculation wrote, and their steps are
// all that it takes to compute it.
#include "analysis/explanation.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "random_notebooks/comparison.h"
#include "random_notebooks/generator.h"
#include "random_notebooks/live_notebook.h"

#include "formula/evaluator.h"
#include "formula/tokenizer.h"
#include "functions/function_table.h"
#include "notebook/tables/table_control.h"
#include "values/text.h"

namespace random_notebooks {
namespace {

using ktformula::CellValue;
using ktformula::ExplainedStep;
using ktformula::ExplainedValue;
using ktformula::Explanation;
using ktformula::FormulaListener;
using ktformula::RaisedError;
using ktnotebook::NotebookCell;

constexpr std::u16string_view kStepFunction = u"STEP";

// The value of the step whose number is its argument.
class StepFunction final : public ktformula::IKtFormulaFunction {
 public:
  explicit StepFunction(const std::vector<ExplainedStep>& steps) : steps_(steps) {}

  void Initialize(ktformula::NamedValues&) override {}
  void ComputeValue(const ktformula::TokenLayer* args, ktformula::NotebookObject*,
                    CellValue& target) override {
    const ExplainedStep& step = steps_.at(static_cast<std::size_t>(args->Item(0).Number()));
    if (step.value->raised) throw RaisedError(*step.value->raised);
    target = step.value->value;
  }
  void Terminate() override {}

 private:
  const std::vector<ExplainedStep>& steps_;
};

// A language whose only function this is, and which knows no names.
class LanguageOfSteps final : private ktformula::NamedValues {
 public:
  explicit LanguageOfSteps(const std::vector<ExplainedStep>& steps)
      : classes_{{kStepFunction, [&steps] { return std::make_unique<StepFunction>(steps); }}} {
    functions_.RegisterAll(classes_, *this);
  }
  LanguageOfSteps(const LanguageOfSteps&) = delete;
  LanguageOfSteps& operator=(const LanguageOfSteps&) = delete;
  ~LanguageOfSteps() { functions_.Terminate(); }

  ExplainedValue Evaluate(std::u16string_view formula, ktformula::ELNProperty& property) {
    ExplainedValue outcome;
    try {
      const auto tree = ktformula::MakeTokenTree(formula, functions_);
      EvaluateTokenTreeLayer(outcome.value, tree->Top(), {&property, nullptr, nullptr, this});
    } catch (const RaisedError& error) {
      outcome.raised = error;
    }
    return outcome;
  }

  // How many operands the formula has, whatever they are.
  std::size_t CountOperands(std::u16string_view formula) const {
    std::size_t count = 0;
    for (const ktformula::FormulaToken& token : ktformula::Tokenize(formula, functions_)) {
      switch (token.TokenType) {
        case ktformula::kFormulaTokenTypeString:
        case ktformula::kFormulaTokenTypeReference:
        case ktformula::kFormulaTokenTypeNumber: ++count; break;
        default: break;
      }
    }
    return count;
  }

 private:
  std::shared_ptr<CellValue> DefinedValue(std::u16string_view) override { return nullptr; }

  std::vector<ktformula::FunctionClass> classes_;
  ktformula::FunctionRegistry functions_;
};

// The formula with STEP(n) in the place of its n-th step. Behind a leading "=", which means
// nothing, there is room for one token only.
std::u16string WithSteps(std::u16string formula, const std::vector<ExplainedStep>& steps) {
  std::vector<std::pair<ktformula::TextRange, std::size_t>> places;
  for (const ExplainedStep& step : steps)
    places.emplace_back(step.place, places.size());
  std::sort(places.begin(), places.end(), [](const auto& left, const auto& right) {
    return left.first.start > right.first.start;
  });
  for (const auto& [place, number] : places) {
    formula.replace(place.start, place.length,
                    std::u16string(kStepFunction) + u"(" +
                        ktformula::ToDecimalText(static_cast<std::int64_t>(number)) + u")");
  }
  if (formula.starts_with(u'=') && !steps.empty()) formula.front() = u' ';
  return formula;
}

bool IsSameNumber(double left, double right) {
  return std::memcmp(&left, &right, sizeof left) == 0 || (left != left && right != right);
}

// What differs; "" for nothing.
std::string Difference(const ExplainedValue& left, const ExplainedValue& right) {
  if (left.raised.has_value() != right.raised.has_value()) return "only one is raised";
  if (left.raised) return left.raised->Description() == right.raised->Description() ? "" : "raised";
  const CellValue& a = left.value;
  const CellValue& b = right.value;
  if (a.CellValueType() != b.CellValueType()) return "kind";
  switch (a.CellValueType()) {
    case ktformula::kCellValueTypeNumber:
      return IsSameNumber(a.MinNumber(), b.MinNumber()) &&
                     IsSameNumber(a.MaxNumber(), b.MaxNumber())
                 ? ""
                 : "number";
    case ktformula::kCellValueTypeDate: return IsSameNumber(a.MinDate(), b.MinDate()) ? "" : "date";
    case ktformula::kCellValueTypeBoolean:
      return a.BooleanValue() == b.BooleanValue() ? "" : "boolean";
    case ktformula::kCellValueTypeError:
      return a.ErrorDescription() == b.ErrorDescription() ? "" : "error";
    case ktformula::kCellValueTypeStructure:
      return a.MvrStructure() == b.MvrStructure() ? "" : "structure";
    default: return a.Text() == b.Text() ? "" : "text";
  }
}

// Calls of functions whose value, or effect, is another each time.
bool IsUnsteady(const NotebookPlan& plan) {
  const auto is_unsteady = [](const std::u16string& formula) {
    return formula.find(kCallsFunction) != formula.npos ||
           formula.find(kPokeFunction) != formula.npos;
  };
  for (const TablePlan& table : plan.tables) {
    for (const ListenerPlan& listener : table.listeners) {
      for (const FormulaPlan& formula : listener.formulas)
        if (is_unsteady(formula.formula)) return true;
      for (const DefinitionPlan& definition : listener.definitions)
        if (is_unsteady(definition.formula)) return true;
    }
  }
  return false;
}

std::size_t CountComputing(const ktformula::WatchedTable& table, const NotebookCell& cell) {
  std::size_t count = 0;
  for (const auto& listener : table.listeners) {
    const auto entry = listener->FormulaOf(cell.Definition().key);
    if (entry && !entry->formula.empty()) ++count;
  }
  return count;
}

struct Checked {
  std::size_t cells = 0;
  std::size_t steps = 0;
  std::size_t shown = 0;
};

// Whether the cell shows the explained value, and shows it the way the explanation says: written
// once more, it is the same.
void ExpectShown(const Explanation& explanation, const FormulaListener& listener,
                 const NotebookCell& cell, Checked& checked) {
  const auto content_of = [&cell] {
    const ktnotebook::CellContent content = cell.Content();
    return Printable(content.text + u"|" + content.unit) + std::to_string(content.min);
  };
  const std::string before = content_of();
  if (explanation.value.raised) {
    EXPECT_EQ(Printable(cell.Text()),
              Printable(u"#Error: " + explanation.value.raised->Description()));
    return;
  }
  const Ref<ktnotebook::CellObject> object = cell.Object();
  ktnotebook::TableControl& control = *cell.OwningColumn().Parent().Control();
  listener.ShowInCell(explanation.value.value, *object, control);
  control.FinishCell(*object);
  EXPECT_EQ(content_of(), before) << "value";
  if (!explanation.shown) return;
  ++checked.shown;
  control.SetValue(*object, explanation.value.value.MinNumber(), explanation.shown->pattern,
                   explanation.shown->unit);
  control.FinishCell(*object);
  EXPECT_EQ(content_of(), before) << "pattern and unit";
}

void ExpectSteps(const Explanation& explanation, const NotebookCell& cell, Checked& checked) {
  LanguageOfSteps language(explanation.steps);
  for (const ExplainedStep& step : explanation.steps) {
    ++checked.steps;
    ASSERT_TRUE(step.value);
    ASSERT_EQ(explanation.formula.substr(step.place.start, step.place.length), step.source);
    for (const ExplainedStep& below : step.steps) {
      if (step.cell || step.origin == ktformula::ValueOrigin::kDefinition) continue;
      EXPECT_GE(below.place.start, step.place.start);
      EXPECT_LE(below.place.End(), step.place.End());
    }
  }
  const std::u16string formula = WithSteps(explanation.formula, explanation.steps);
  const ExplainedValue again = language.Evaluate(formula, *cell.OwningColumn().OwnProperty());
  EXPECT_EQ(Difference(again, explanation.value), "") << Printable(formula);
  const bool is_whole = !explanation.value.raised &&
                        explanation.value.value.CellValueType() != ktformula::kCellValueTypeError;
  if (is_whole) {
    EXPECT_EQ(language.CountOperands(formula), explanation.steps.size()) << Printable(formula);
  }
}

TEST(ExplanationsOfRandomNotebooks, LeadToTheValuesOfTheirCells) {
  constexpr std::uint64_t kSeeds = 300;
  Checked checked;
  for (std::uint64_t seed = 0; seed < kSeeds && !testing::Test::HasFailure(); ++seed) {
    const NotebookPlan plan = MakePlan(seed);
    if (IsUnsteady(plan)) continue;
    const Mode mode{"all promises", {}};
    LiveNotebook notebook(plan, mode);
    const Rounds rounds = notebook.Recalculate(50, Step());
    if (!rounds.settled) continue;
    const ktformula::WatchedForm watched = notebook.Watched();
    for (const ktnotebook::NotebookTable* table : notebook.Form().Tables()) {
      for (const auto& row : table->Rows()) {
        for (std::size_t column = 0; column < table->Columns().size(); ++column) {
          const NotebookCell cell = row.CellAt(column);
          const Ref<ktnotebook::CellObject> object = cell.Object();
          const FormulaListener* const listener = watched.ListenerComputing(*object);
          if (listener == nullptr || CountComputing(*watched.Find(*table), cell) > 1) continue;
          SCOPED_TRACE("seed " + std::to_string(seed) + " " + Printable(table->Name()) + ":" +
                       Printable(cell.Definition().name) + ":" + Printable(row.ID()));
          const Explanation explanation = ExplainCell(watched, *object);
          ++checked.cells;
          ExpectSteps(explanation, cell, checked);
          ExpectShown(explanation, *listener, cell, checked);
        }
      }
    }
  }
  EXPECT_GT(checked.cells, 2'500U);
  EXPECT_GT(checked.steps, 4'000U);
  EXPECT_GT(checked.shown, 500U);
}

}  // namespace
}  // namespace random_notebooks
