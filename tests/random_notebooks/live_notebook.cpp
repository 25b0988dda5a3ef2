#include "random_notebooks/live_notebook.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "formula/evaluator.h"
#include "functions/function_table.h"
#include "listener/formula_listener.h"
#include "listener/result_formats.h"
#include "notebook/tables/plain_framework.h"
#include "notebook/tables/table_control.h"
#include "values/raised_error.h"

namespace random_notebooks {

using ktformula::FormulaListener;
using ktformula::MakeRef;
using ktformula::RaisedError;
using ktnotebook::NotebookCell;
using ktnotebook::NotebookColumn;
using ktnotebook::NotebookForm;
using ktnotebook::NotebookRow;
using ktnotebook::NotebookTable;

namespace {

// Tables that their own formulas make grow stop here.
constexpr std::size_t kMaximumAddedRows = 5;

// Keys are unique in the notebook.
std::int32_t ColumnKey(std::size_t table, std::size_t column) {
  return static_cast<std::int32_t>(100 * (table + 1) + column);
}

// Of `form`, whose rows and cells these become too.
void CopyRows(const NotebookTable& from, NotebookTable& to) {
  for (const NotebookRow row : from.Rows()) {
    const NotebookRow copy = *to.AddRow(row.ID());
    for (std::size_t column = 0; column < from.Columns().size(); ++column) {
      const NotebookCell cell = row.CellAt(column);
      copy.CellAt(column).SetContent(cell.Content());
      copy.CellAt(column).SetState(cell.State(), cell.Tag());
    }
  }
}

void PutFormula(ListenerPlan& plan, const FormulaPlan& formula) {
  std::erase_if(plan.formulas,
                [&](const FormulaPlan& known) { return known.column == formula.column; });
  plan.formulas.push_back(formula);
}

void PutDefinition(ListenerPlan& plan, const DefinitionPlan& definition) {
  std::erase_if(plan.definitions,
                [&](const DefinitionPlan& known) { return known.name == definition.name; });
  plan.definitions.push_back(definition);
}

}  // namespace

// A function of the host: nothing is known of what it does. Its value is its argument's, or 1,
// after `body` had it.
class LiveNotebook::HostFunction final : public ktformula::IKtFormulaFunction {
 public:
  using Body = std::function<void(ktformula::CellValue&)>;
  explicit HostFunction(Body body) : body_(std::move(body)) {}

  void Initialize(ktformula::NamedValues& listener) override { listener_ = &listener; }
  void ComputeValue(const ktformula::TokenLayer* args, ktformula::NotebookObject* anchor,
                    ktformula::CellValue& target) override {
    target.SetNumber(1, 1);
    if (args != nullptr && args->Count() > 0) {
      ktformula::EvaluateArgument(target, args->Item(0), {nullptr, anchor, anchor, listener_});
    }
    body_(target);
  }
  void Terminate() override { listener_ = nullptr; }

 private:
  Body body_;
  ktformula::NamedValues* listener_ = nullptr;
};

LiveNotebook::LiveNotebook(const NotebookPlan& plan, const Mode& mode)
    : plan_(plan),
      mode_(mode),
      units_(MakeRef<ktnotebook::NotebookUnitCatalogue>()),
      framework_(MakeRef<ktnotebook::PlainFramework>(units_)) {
  const auto standard = ktformula::StandardFunctions();
  functions_.assign(standard.begin(), standard.end());
  const auto add = [this](std::u16string_view name, HostFunction::Body body) {
    functions_.push_back({name, [this, body = std::move(body)] {
                            return std::make_unique<HostFunction>([this, body](auto& value) {
                              ++calls_;
                              body(value);
                            });
                          }});
  };
  add(kTwiceFunction, [](auto& value) { value.Add(ktformula::CellValue(value)); });
  add(kCallsFunction, [this](auto& value) {
    value.SetNumber(static_cast<double>(calls_), static_cast<double>(calls_));
  });
  add(kPokeFunction, [this](auto&) { CallPoke(); });

  for (const TablePlan& table : plan.tables) {
    auto& listeners = listeners_.emplace_back();
    for (const ListenerPlan& listener : table.listeners)
      listeners.emplace_back().plan = listener;
  }
  form_ = MakeForm();
  for (std::size_t i = 0; i < plan.tables.size(); ++i) {
    NotebookTable& table = *form_->Tables()[i];
    for (const RowPlan& row : plan.tables[i].rows) {
      const auto added = table.AddRow(row.id);
      if (!added) continue;
      for (std::size_t column = 0; column < row.texts.size(); ++column) {
        const NotebookCell cell = added->CellAt(column);
        if (!row.texts[column].empty() && cell.Accepts(row.texts[column])) {
          cell.Enter(row.texts[column]);
        }
      }
    }
  }
}

Ref<NotebookForm> LiveNotebook::MakeForm() {
  auto form = MakeRef<NotebookForm>(u"Form", units_);
  form->Given() = mode_.promises;
  form->Log().keep_cells = true;
  form->AddStructure(kStructureField, u"CC(=O)O");
  for (std::size_t i = 0; i < plan_.tables.size(); ++i) {
    NotebookTable& table = *form->AddTable(plan_.tables[i].name, static_cast<std::int32_t>(i + 1));
    AddColumns(table, i);
    for (LiveListener& listener : listeners_[i])
      AddListener(table, i, listener);
  }
  form->AddTextField(kTextField, u"first run");
  return form;
}

void LiveNotebook::AddColumns(NotebookTable& table, std::size_t index) const {
  for (const ColumnPlan& plan : plan_.tables[index].columns) {
    ktnotebook::PropertyDefinition definition;
    definition.key = ColumnKey(index, table.Columns().size());
    definition.name = plan.name;
    definition.type = plan.type;
    definition.unit = units_->FindUnit(plan.unit);
    definition.number_formatting = plan.number_formatting;
    table.AddColumn(std::move(definition));
  }
}

void LiveNotebook::AddListener(NotebookTable& table, std::size_t index, LiveListener& listener) {
  const auto object = MakeRef<FormulaListener>(functions_);
  object->Initialize(framework_, table.Parent().OwnerOf(table.OwnField()), nullptr);
  // What an ended one is given afterwards, it has.
  if (listener.terminated) object->Terminate();
  object->SetPosition(listener.plan.position);
  object->SetResultFormat(listener.plan.result_format);
  for (const FormulaPlan& formula : listener.plan.formulas)
    object->SetPropertyFormula(ColumnKey(index, formula.column), formula.formula, formula.format);
  for (const DefinitionPlan& definition : listener.plan.definitions)
    object->SetDefinition(definition.name, definition.formula);
  listener.object = object;
  listener.face = object.get();
  table.AddListener(object);
}

void LiveNotebook::Renew() {
  if (!mode_.fresh) return;
  const Ref<NotebookForm> form = MakeForm();
  form->SetLocale(form_->OwnLocale());
  for (std::size_t i = 0; i < plan_.tables.size(); ++i)
    CopyRows(*form_->Tables()[i], *form->Tables()[i]);
  form_ = form;
}

Rounds LiveNotebook::Recalculate(int maximum_rounds, const Step& step) {
  form_->Log().cells.clear();
  Rounds rounds;
  try {
    const NotebookTable* const first =
        step.first_table ? form_->Tables()[*step.first_table] : nullptr;
    const auto result = ktnotebook::RecalculateForm(*form_, maximum_rounds, first);
    rounds.count = result.rounds;
    rounds.settled = result.settled;
  } catch (const RaisedError& error) {
    rounds.raised = error.Source() + u": " + error.Description();
  }
  if (mode_.tamper) mode_.tamper(*form_);
  return rounds;
}

std::u16string LiveNotebook::FormulaOf(const NotebookColumn& column) const {
  const ktformula::IKtFormulaListener* const listener = column.Parent().ListenerComputing(column);
  return listener != nullptr ? listener->FormulaOf(column.Definition().key)->formula : u"";
}

std::optional<NotebookCell> LiveNotebook::CellOf(const Edit& edit) const {
  const NotebookTable& table = *form_->Tables()[edit.table];
  if (edit.row >= table.Rows().size() || edit.column >= table.Columns().size()) {
    return std::nullopt;
  }
  return table.Rows()[edit.row].CellAt(edit.column);
}

LiveNotebook::LiveListener* LiveNotebook::ListenerOf(const Edit& edit) {
  auto& listeners = listeners_[edit.table];
  return edit.listener < listeners.size() ? &listeners[edit.listener] : nullptr;
}

void LiveNotebook::Apply(const Edit& edit) {
  const std::optional<NotebookCell> cell = CellOf(edit);
  LiveListener* const listener = ListenerOf(edit);
  switch (edit.kind) {
    case EditKind::kType:
      if (cell && cell->Accepts(edit.text)) cell->Enter(edit.text);
      break;
    case EditKind::kState:
      if (cell) cell->SetState(edit.text, edit.more);
      break;
    case EditKind::kWrite:
      if (!cell) break;
      form_->Tables()[edit.table]->Control()->WriteText(*cell->Object(), edit.text, true);
      form_->Tables()[edit.table]->Control()->FinishCell(*cell->Object());
      break;
    case EditKind::kFormula:
    case EditKind::kDefinition:
    case EditKind::kResultFormat:
    case EditKind::kTerminate:
      if (listener != nullptr) Configure(*listener, edit);
      break;
    case EditKind::kAddRow: AddRow(edit); break;
    case EditKind::kNotify: Notify(edit); break;
  }
}

void LiveNotebook::Configure(LiveListener& listener, const Edit& edit) {
  switch (edit.kind) {
    case EditKind::kFormula:
      PutFormula(listener.plan, {edit.column, edit.text, edit.more});
      listener.face->SetPropertyFormula(ColumnKey(edit.table, edit.column), edit.text, edit.more);
      break;
    case EditKind::kDefinition:
      PutDefinition(listener.plan, {edit.more, edit.text});
      listener.face->SetDefinition(edit.more, edit.text);
      break;
    case EditKind::kResultFormat:
      listener.plan.result_format = edit.text;
      listener.face->SetResultFormat(edit.text);
      break;
    default:
      listener.terminated = true;
      listener.plan.formulas.clear();
      listener.plan.definitions.clear();
      listener.object->Terminate();
      break;
  }
}

void LiveNotebook::AddRow(const Edit& edit) {
  NotebookTable& table = *form_->Tables()[edit.table];
  if (table.Rows().size() >= plan_.tables[edit.table].rows.size() + kMaximumAddedRows) return;
  const auto row = table.AddRow(edit.text);
  if (!row || edit.more.empty()) return;
  for (std::size_t column = 0; column < table.Columns().size(); ++column) {
    const NotebookCell cell = row->CellAt(column);
    if (!table.HasFormula(*table.Columns()[column]) && cell.Accepts(edit.more)) {
      cell.Enter(edit.more);
    }
  }
}

void LiveNotebook::Notify(const Edit& edit) {
  class Notification final : public ktformula::NotificationSource {
   public:
    explicit Notification(Ref<NotebookForm> form) : form_(std::move(form)) {}
    std::u16string TypeName() const override { return u"Notification"; }
    Ref<ktformula::Form> FormObject() override { return form_; }

   private:
    Ref<NotebookForm> form_;
  };
  const auto source = MakeRef<Notification>(form_);
  for (const auto& listener : form_->Tables()[edit.table]->Listeners())
    listener->TableNotification(*source, nullptr);
}

// Nothing is done within what is done.
void LiveNotebook::CallPoke() {
  if (is_poking_ || plan_.pokes.empty()) return;
  if (++pokes_ % plan_.poke_interval != 0) return;
  struct Poking {
    explicit Poking(bool& flag) : is_poking(flag) { is_poking = true; }
    ~Poking() { is_poking = false; }
    bool& is_poking;
  } poking(is_poking_);
  Apply(plan_.pokes[pokes_ / plan_.poke_interval % plan_.pokes.size()]);
}

}  // namespace random_notebooks
