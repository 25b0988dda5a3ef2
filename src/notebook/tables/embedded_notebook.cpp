#include "notebook/tables/embedded_notebook.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

#include "analysis/explanation.h"
#include "analysis/find_problems.h"
#include "analysis/formula_reading.h"

#include "functions/function_table.h"
#include "notebook/tables/embedded_values.h"
#include "notebook/tables/explanation_story.h"
#include "notebook/tables/recalculation.h"
#include "notebook/tables/shown_text.h"
#include "notebook/tables/utf8.h"
#include "notebook/tables/watched_form.h"
#include "values/number_text.h"
#include "values/text.h"

namespace ktnotebook {

using ktformula::FormulaListener;
using ktformula::IKtFormulaListener;
using ktformula::MakeRef;
using ktformula::TableCell;
using ktformula9::CellsOfColumn;
using ktformula9::Error;

namespace {

bool IsFunctionName(std::u16string_view name) {
  const auto is_in_name = [](char16_t unit) {
    return ktformula::IsLetter(unit) || ktformula::IsDigit(unit) || unit == u'_';
  };
  return !name.empty() && !ktformula::IsDigit(name.front()) &&
         std::all_of(name.begin(), name.end(), is_in_name);
}

NotebookCell CellOf(const TableCell& cell) {
  return static_cast<const CellObject&>(cell).Cell();
}

std::string NameOf(const Ref<TableCell>& cell) {
  return cell ? ToUtf8(NameInForm(CellOf(*cell))) : std::string();
}

// Keeps what a recalculation changes.
class ChangeCollector {
 public:
  explicit ChangeCollector(WriteLog& log) : log_(log) {
    log_.cells.clear();
    log_.keep_cells = true;
  }
  ChangeCollector(const ChangeCollector&) = delete;
  ChangeCollector& operator=(const ChangeCollector&) = delete;
  ~ChangeCollector() {
    log_.keep_cells = false;
    log_.cells.clear();
  }

  std::vector<CellsOfColumn> In(const NotebookForm& form) const {
    std::map<const NotebookColumn*, std::vector<std::size_t>> rows;
    for (const NotebookCell& cell : log_.cells)
      rows[&cell.OwningColumn()].push_back(cell.RowIndex());
    std::vector<CellsOfColumn> changed;
    for (const NotebookTable* table : form.Tables()) {
      for (const Ref<NotebookColumn>& column : table->Columns()) {
        const auto found = rows.find(column.get());
        if (found == rows.end()) continue;
        std::vector<std::size_t>& own = found->second;
        std::sort(own.begin(), own.end());
        own.erase(std::unique(own.begin(), own.end()), own.end());
        changed.push_back(
            {ToUtf8(table->Name()), ToUtf8(column->Definition().name), std::move(own)});
      }
    }
    return changed;
  }

 private:
  WriteLog& log_;
};

std::size_t BytesBefore(std::u16string_view text, std::size_t place) {
  return ToUtf8(text.substr(0, place)).size();
}

Error::Place BytesOf(std::u16string_view formula, const ktformula::TextRange& place) {
  const std::size_t start = BytesBefore(formula, place.start);
  return {start, BytesBefore(formula, place.End()) - start};
}

ktformula9::Severity ToSeverity(ktformula::Severity severity) {
  switch (severity) {
    case ktformula::Severity::kError: return ktformula9::Severity::kError;
    case ktformula::Severity::kWarning: return ktformula9::Severity::kWarning;
    case ktformula::Severity::kNote: break;
  }
  return ktformula9::Severity::kNote;
}

ktformula9::Problem ToProblem(const ktformula::Problem& problem) {
  ktformula9::Problem told;
  told.code = ToUtf8(ktformula::KindOf(problem.code).text);
  told.severity = ToSeverity(problem.severity);
  if (problem.table) told.table = ToUtf8(static_cast<const NotebookTable&>(*problem.table).Name());
  if (problem.column) told.column = ToUtf8(problem.column->Property()->Name());
  if (problem.definition) told.definition = ToUtf8(*problem.definition);
  told.row = problem.row;
  told.rows = problem.rows;
  told.formula = ToUtf8(problem.formula);
  if (problem.place) {
    const Error::Place place = BytesOf(problem.formula, *problem.place);
    told.start = place.start;
    told.length = place.length;
  }
  told.message = ToUtf8(problem.message);
  told.help = ToUtf8(problem.help);
  return told;
}

ktformula9::Value ToValue(const ktformula::ExplainedValue& value) {
  return value.raised ? ktnotebook::ToValue(*value.raised) : ktnotebook::ToValue(value.value);
}

std::string ErrorCell(const std::optional<ktformula::ArisenError>& error) {
  return error ? NameOf(error->cell) : std::string();
}

ktformula9::Step ToStep(const ktformula::ExplainedStep& step) {
  ktformula9::Step told;
  told.source = ToUtf8(step.source);
  if (step.value) told.value = ToValue(*step.value);
  told.origin = ToUtf8(OriginText(step.origin));
  told.cell = NameOf(step.cell);
  if (step.cell) told.text = ToUtf8(step.cell->Text());
  told.formula = ToUtf8(step.formula);
  told.error_from = ErrorCell(step.error);
  told.more_rows = step.more_rows;
  for (const ktformula::ExplainedStep& below : step.steps)
    told.steps.push_back(ToStep(below));
  return told;
}

std::string StoryOf(const ktformula::Explanation& explanation, const ktformula::Locale& locale) {
  const auto as_it_is = [](std::u16string_view text) { return std::u16string(text); };
  std::string story;
  for (const StoryLine& line : ExplanationStory(explanation, locale, {as_it_is, as_it_is}))
    story += std::string(static_cast<std::size_t>(line.level) * 2, ' ') + ToUtf8(line.text) + "\n";
  return story;
}

}  // namespace

IKtFormulaListener* FindListener(const NotebookTable& table) {
  for (const Ref<ktformula::IKtFieldListener>& listener : table.Listeners()) {
    if (auto* const found = dynamic_cast<IKtFormulaListener*>(listener.get())) return found;
  }
  return nullptr;
}

ktformula::FormulaEntry FormulaOf(const NotebookColumn& column) {
  const IKtFormulaListener* const listener = FindListener(column.Parent());
  if (listener == nullptr) return {};
  return listener->FormulaOf(column.Definition().key).value_or(ktformula::FormulaEntry());
}

// Formulas run, and call functions.
class EmbeddedNotebook::Running {
 public:
  explicit Running(EmbeddedNotebook& notebook)
      : notebook_(notebook), kept_in_(notebook.form_->OwnLocale().separators) {
    notebook_.Edits();
    notebook_.is_running_ = true;
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() { notebook_.is_running_ = false; }

 private:
  EmbeddedNotebook& notebook_;
  ktformula::LocaleScope kept_in_;
};

EmbeddedNotebook::EmbeddedNotebook(std::u16string_view name, NamedLocale locale)
    : framework_(MakeRef<PlainFramework>(MakeRef<NotebookUnitCatalogue>())),
      form_(MakeRef<NotebookForm>(name, framework_->OwnUnits())),
      edits_(form_) {
  form_->SetLocale(std::move(locale));
}

bool EmbeddedNotebook::Holds(const NotebookTable& table) const {
  const std::vector<NotebookTable*> tables = form_->Tables();
  return std::find(tables.begin(), tables.end(), &table) != tables.end();
}

FormEdits& EmbeddedNotebook::Edits() {
  if (is_running_) {
    Refuse(Error::Kind::kRefused, "",
           u"a function that a formula calls can not edit or recalculate its notebook");
  }
  return edits_;
}

NotebookTable& EmbeddedNotebook::AddTable(std::u16string_view name) {
  return Edits().AddTable(name, ++last_table_key_, form_->Fields().size());
}

NotebookColumn& EmbeddedNotebook::AddColumn(NotebookTable& table, PropertyDefinition definition,
                                            std::u16string_view formula,
                                            std::u16string_view format) {
  definition.key = ++last_property_key_;
  NotebookColumn* column = nullptr;
  Edits().Together([&] {
    column = &edits_.AddColumn(table, std::move(definition), table.Columns().size());
    if (!formula.empty()) edits_.SetFormula(ListenerFor(table), *column, formula, format);
  });
  return *column;
}

Ref<FormulaListener> EmbeddedNotebook::MakeListener(NotebookTable& table) {
  Ref<FormulaListener> listener = MakeRef<FormulaListener>(ktformula::StandardFunctions());
  listener->Initialize(framework_, form_->OwnerOf(table.OwnField()), nullptr);
  for (const auto& function : functions_)
    listener->AddFunction(FromStoredUtf8(function->name), MakeFunction(function));
  return listener;
}

IKtFormulaListener& EmbeddedNotebook::ListenerFor(NotebookTable& table) {
  if (IKtFormulaListener* const found = FindListener(table)) return *found;
  const Ref<FormulaListener> listener = MakeListener(table);
  listeners_.push_back(listener);
  edits_.AddListener(table, listener);
  return *listener;
}

void EmbeddedNotebook::AddFunction(ktformula9::Function function) {
  Edits();
  const std::u16string name = ktformula::UpperCase(TextOfArgument(function.name, "name"));
  if (!IsFunctionName(name)) {
    Refuse(Error::Kind::kArgument, "name",
           u"a function's name has letters, digits and \"_\", and does not begin with a digit");
  }
  const bool is_taken = ktformula::FindFunctionRow(name) != nullptr ||
                        std::any_of(functions_.begin(), functions_.end(), [&](const auto& known) {
                          return FromStoredUtf8(known->name) == name;
                        });
  if (is_taken)
    Refuse(Error::Kind::kRefused, "name", u"there is a function \"" + name + u"\" already");
  function.name = ToUtf8(name);
  functions_.push_back(std::make_shared<const ktformula9::Function>(std::move(function)));
  for (const Ref<FormulaListener>& listener : listeners_)
    listener->AddFunction(name, MakeFunction(functions_.back()));
}

ktformula9::Recalculation EmbeddedNotebook::Recalculate(int rounds) {
  const Running running(*this);
  const ChangeCollector changes(form_->Log());
  const RecalculationResult result =
      RecalculateForm(*form_, rounds > 0 ? rounds : RoundLimit(*form_));
  return {result.settled, result.rounds, changes.In(*form_)};
}

std::vector<ktformula9::Problem> EmbeddedNotebook::Check() {
  const Running running(*this);
  const RecalculationResult result = RecalculateForm(*form_, RoundLimit(*form_));
  std::vector<Ref<TableCell>> unsettled;
  for (const NotebookCell& cell : result.unsettled)
    unsettled.push_back(cell.Object());
  std::vector<ktformula9::Problem> problems;
  for (const ktformula::Problem& problem : ktformula::FindProblems(WatchForm(*form_), unsettled))
    problems.push_back(ToProblem(problem));
  return problems;
}

ktformula9::Explanation EmbeddedNotebook::Explain(const NotebookCell& cell, int depth) {
  const Running running(*this);
  const Ref<CellObject> object = cell.Object();
  const ktformula::Explanation explanation =
      ktformula::ExplainCell(WatchForm(*form_), *object, depth);
  ktformula9::Explanation told;
  told.cell = NameOf(object);
  told.text = ToUtf8(cell.Text());
  told.origin = ToUtf8(OriginText(explanation.origin));
  told.formula = ToUtf8(explanation.formula);
  told.value = ToValue(explanation.value);
  told.error_from = ErrorCell(explanation.error);
  for (const ktformula::ExplainedStep& step : explanation.steps)
    told.steps.push_back(ToStep(step));
  if (const auto& shown = explanation.shown) {
    told.pattern = ToUtf8(shown->pattern);
    told.digits_from = NameOf(shown->digits_from);
    told.unit = ToUtf8(shown->unit);
    told.unit_from = NameOf(shown->unit_from);
  }
  told.story = StoryOf(explanation, form_->OwnLocale().separators);
  return told;
}

ktformula9::Value EmbeddedNotebook::Evaluate(const NotebookCell& cell,
                                             std::u16string_view formula) {
  IKtFormulaListener* listener = FindListener(cell.OwningRow().Parent());
  // Without one in the history.
  Ref<FormulaListener> own;
  const Running running(*this);
  if (listener == nullptr) {
    own = MakeListener(cell.OwningRow().Parent());
    listener = own.get();
  }
  ktformula::CellValue value;
  try {
    listener->EvaluateInCell(formula, *cell.Object(), value);
  } catch (const ktformula::RaisedError& error) {
    throw Error(Error::Kind::kFormula, "formula", ToUtf8(error.Description()),
                UnreadablePlace(cell.OwningRow().Parent(), formula));
  }
  return ktnotebook::ToValue(value);
}

std::optional<Error::Place> EmbeddedNotebook::UnreadablePlace(NotebookTable& table,
                                                              std::u16string_view formula) {
  const Ref<FormulaListener> listener = MakeListener(table);
  ktformula::Findings findings;
  const auto tree = ktformula::ReadFormula(formula, listener->FormulaFunctions(),
                                           framework_->OwnUnits().get(), findings);
  if (tree != nullptr || findings.empty() || !findings.front().place) return std::nullopt;
  return BytesOf(formula, *findings.front().place);
}

}  // namespace ktnotebook
