#include "formula/binding.h"

#include <algorithm>

#include "formula/evaluator.h"
#include "formula/formula_function.h"
#include "formula/observation.h"

namespace ktformula {

namespace {

// Beyond these a formula is not worth to be understood: it is evaluated row by row, each time.
constexpr int kMaximumBoundDepth = 64;
constexpr std::size_t kMaximumBoundTerms = 1000;

thread_local BoundEvaluation* current = nullptr;

Reads Unknown() {
  Reads reads;
  reads.is_unknown = true;
  return reads;
}

Denoted FromPromise(const Denotation& denotation, RowRun run) {
  switch (denotation.kind) {
    case Denotation::Kind::kVaries: return {Denoted::Kind::kVaries, nullptr, run};
    case Denotation::Kind::kNothing: return {Denoted::Kind::kNothing, nullptr, run};
    case Denotation::Kind::kObject: return {Denoted::Kind::kObject, denotation.object, run};
    case Denotation::Kind::kOwnCell: return {Denoted::Kind::kOwnCell, denotation.object, run};
    case Denotation::Kind::kOwnRow: return {Denoted::Kind::kOwnRow, nullptr, run};
  }
  return {};
}

}  // namespace

void Reads::AddOwn(const Ref<TableProperty>& column) {
  const auto is_same = [&](const auto& known) { return IsSameObject(known.get(), column.get()); };
  if (std::none_of(own.begin(), own.end(), is_same)) own.push_back(column);
}

void Reads::AddOther(const Ref<TableProperty>& column, std::optional<std::size_t> row) {
  for (ColumnRead& known : others) {
    if (!IsSameObject(known.column.get(), column.get())) continue;
    if (known.row == row || !known.row) return;
    if (!row) known.row.reset();
  }
  others.push_back({column, row});
}

void Reads::Add(const Reads& other) {
  is_unknown |= other.is_unknown;
  has_definitions |= other.has_definitions;
  runs |= other.runs;
  for (const auto& column : other.own)
    AddOwn(column);
  for (const ColumnRead& read : other.others)
    AddOther(read.column, read.row);
}

bool BoundCall::CanBeKept() const {
  return !reads.is_unknown && reads.runs == 0 &&
         std::all_of(reads.others.begin(), reads.others.end(),
                     [](const ColumnRead& read) { return read.column->Changes() != nullptr; });
}

bool BoundCall::StampsHold() const {
  const auto& stamps = outcome_->stamps;
  for (std::size_t i = 0; i < stamps.size(); ++i) {
    if (reads.others[i].column->Changes()->Stamp() != stamps[i]) return false;
  }
  return true;
}

bool BoundCall::TakeKept(CellValue& target) const {
  if (!outcome_ || (reads.has_definitions && outcome_->pass != BoundEvaluation::Pass())) {
    return false;
  }
  if (!StampsHold()) return false;
  target = outcome_->value;
  if (outcome_->raised) throw RaisedError(*outcome_->raised);
  return true;
}

void BoundCall::Keep(const CellValue& target, std::optional<RaisedError> raised) {
  Outcome outcome{target, std::move(raised), {}, BoundEvaluation::Pass()};
  for (const ColumnRead& read : reads.others)
    outcome.stamps.push_back(read.column->Changes()->Stamp());
  outcome_ = std::move(outcome);
}

bool BoundFormula::IsUpToDate() const {
  return std::all_of(stamps_.begin(), stamps_.end(), [](const auto& known) {
    ReferenceBinding* const binding = known.first->Binding();
    return binding != nullptr && binding->Stamp() == known.second;
  });
}

BoundCall* BoundFormula::FindCall(const TokenLayer& args) {
  const auto found = calls_.find(args);
  return found != calls_.end() ? found->second.get() : nullptr;
}

void Binder::Bind(const TokenTree& tree, const Place& place) {
  if (place.table != nullptr) NoteStamp(*place.table);
  formula_.top = BindLayer(tree.Top(), Standpoint::At(place), kCellRun);
}

Place Binder::RowsOf(Table* table) {
  if (table == nullptr || table->Binding() == nullptr || last_run_ == kMaximumRuns) return {};
  NoteStamp(*table);
  return {table, ReferenceStart::kRow, ++last_run_, nullptr};
}

void Binder::NoteStamp(Table& table) {
  ReferenceBinding* const binding = table.Binding();
  const auto is_same = [&](const auto& known) { return IsSameObject(known.first.get(), &table); };
  const auto& stamps = formula_.stamps_;
  if (binding == nullptr || std::any_of(stamps.begin(), stamps.end(), is_same)) return;
  formula_.stamps_.emplace_back(Ref<Table>(&table), binding->Stamp());
}

// The same steps as ResolveReference takes.
Denoted Binder::Resolve(const ReferencePath& reference, const Standpoint& at) {
  const Place& start = reference.starts_with_this ? at.this_place : at.anchor;
  ReferenceBinding* const binding = start.table != nullptr ? start.table->Binding() : nullptr;
  if (binding == nullptr) return {};
  const std::span<const std::u16string> parts = reference.parts;
  if (parts.empty()) return {Denoted::Kind::kStart, nullptr, start.run};
  if (reference.starts_with_parent || parts.size() == 1) {
    const Denotation denotation = binding->Denote(start.start, parts);
    if (denotation.kind != Denotation::Kind::kNothing) return FromPromise(denotation, start.run);
  }
  const Ref<PropertyScope> scope = start.table->Scope();
  const Ref<NotebookObject> holder = scope ? scope->FindHolder(parts.front()) : nullptr;
  if (!holder) return {Denoted::Kind::kNothing, nullptr, start.run};
  Ref<NotebookObject> object = parts.size() > 1 && holder->ResolvesRelativeReferences()
                                   ? holder->ResolveRelative(parts.subspan(1))
                                   : scope->ValueObject(*holder);
  const Denoted::Kind kind = object ? Denoted::Kind::kObject : Denoted::Kind::kNothing;
  return {kind, std::move(object), start.run};
}

Ref<NotebookObject> Binder::ObjectArgument(const ReferencePath& reference, const Place& anchor,
                                           Reads& reads) {
  const Denoted denoted = Resolve(reference, Standpoint::At(anchor));
  if (denoted.kind == Denoted::Kind::kVaries) reads.is_unknown = true;
  return denoted.kind == Denoted::Kind::kObject ? denoted.object : nullptr;
}

BoundCall& Binder::CallOf(const TokenLayer& args) {
  auto& call = formula_.calls_[args];
  if (call == nullptr) call = std::make_unique<BoundCall>();
  return *call;
}

Bound Binder::BindArgument(const LayerItem& item, const Standpoint& at, RowRun run) {
  return BindTerm(ArgumentTerm(item), item, true, at, run);
}

Bound Binder::BindLayer(const TokenLayer& layer, const Standpoint& at, RowRun run) {
  if (depth_ == kMaximumBoundDepth) return {Unknown(), nullptr};
  ++depth_;
  const Term& head = layer.Head();
  Bound bound = BindTerm(head, layer.ItemOfTree(head.item), true, at, run);
  for (const Step& step : layer.Steps())
    AddStep(bound, step, layer.ItemOfTree(step.item), at, run);
  --depth_;
  return bound;
}

void Binder::AddStep(Bound& left, const Step& step, const LayerItem& item, const Standpoint& at,
                     RowRun run) {
  if (step.kind == StepKind::kRefusal || step.kind == StepKind::kUnknownName) {
    left.lanes = nullptr;
    return;
  }
  Bound operand = BindTerm(step.operand, item.Other(step.operand.item), false, at, run);
  left.reads.Add(operand.reads);
  left.lanes = MakeStepLanes(step, std::move(left.lanes), std::move(operand.lanes));
}

// What comes to the same in all rows is evaluated once.
Bound Binder::BindTerm(const Term& term, const LayerItem& item, bool is_head, const Standpoint& at,
                       RowRun run) {
  if (++terms_ > kMaximumBoundTerms) return {Unknown(), nullptr};
  Bound bound = BindBareTerm(term, item, is_head, at, run);
  if (bound.reads.IsFixedIn(run)) {
    bound.lanes = MakeFixedLanes(term, item, is_head);
  } else if (bound.lanes != nullptr) {
    bound.lanes = MakeNotLanes(std::move(bound.lanes), term.nots);
  }
  return bound;
}

Bound Binder::BindBareTerm(const Term& term, const LayerItem& item, bool is_head,
                           const Standpoint& at, RowRun run) {
  switch (term.kind) {
    case TermKind::kReference: return BindReference(item, at, run);
    case TermKind::kLayer: return BindLayer(item.Layer(), at, run);
    case TermKind::kFunction:
    case TermKind::kCall: return BindCall(term, item, at, run);
    default: return {{}, MakeFixedLanes(term, item, is_head)};
  }
}

Bound Binder::BindReference(const LayerItem& item, const Standpoint& at, RowRun run) {
  const ReferencePath& reference = item.Reference();
  if (const Reads* const definition = definitions_(reference.text)) {
    auto& names = formula_.definitions;
    if (std::find(names.begin(), names.end(), reference.text) == names.end()) {
      names.push_back(reference.text);
    }
    Bound bound{*definition, nullptr};
    bound.reads.has_definitions = true;
    return bound;
  }
  return BindCell(reference, at, run);
}

Bound Binder::BindCell(const ReferencePath& reference, const Standpoint& at, RowRun run) {
  const Denoted denoted = Resolve(reference, at);
  switch (denoted.kind) {
    case Denoted::Kind::kVaries: return {Unknown(), nullptr};
    case Denoted::Kind::kOwnCell: return BindOwnCell(denoted.object, denoted.run, run);
    case Denoted::Kind::kStart:
      if (at.this_place.column == nullptr) return {};
      return BindOwnCell(Ref<NotebookObject>(at.this_place.column), denoted.run, run);
    case Denoted::Kind::kObject: return BindObject(*denoted.object, at.anchor, run);
    default: return {};
  }
}

Ref<TableProperty> Binder::OwnColumn(const Term& term, const LayerItem& item,
                                     const Standpoint& at) {
  if (term.kind != TermKind::kReference || term.nots != 0) return nullptr;
  const Bound bound = BindReference(item, at, at.anchor.run);
  const Reads& reads = bound.reads;
  const bool is_own = !reads.is_unknown && !reads.has_definitions &&
                      reads.runs == 1U << at.anchor.run && bound.lanes != nullptr;
  if (!is_own) return nullptr;
  return reads.own.empty() ? reads.others.front().column : reads.own.front();
}

Bound Binder::BindOwnCell(const Ref<NotebookObject>& object, RowRun own_run, RowRun run) {
  const Ref<TableProperty> column(static_cast<TableProperty*>(object.get()));
  Bound bound;
  bound.reads.runs = 1U << own_run;
  if (own_run == kCellRun) {
    bound.reads.AddOwn(column);
  } else {
    bound.reads.AddOther(column, std::nullopt);
  }
  if (own_run == run && column->Cells() != nullptr) bound.lanes = MakeColumnLanes(column);
  return bound;
}

// What has no value here reads nothing.
Bound Binder::BindObject(NotebookObject& object, const Place& anchor, RowRun run) {
  if (object.Kind() == NotebookObjectKind::kTableCell) {
    const auto& cell = static_cast<const TableCell&>(object);
    const Ref<TableProperty> column = cell.Column();
    if (!column) return {Unknown(), nullptr};
    Bound bound;
    bound.reads.AddOther(column, cell.Row()->Place());
    return bound;
  }
  if (object.Kind() != NotebookObjectKind::kTableProperty || anchor.table == nullptr ||
      anchor.start == ReferenceStart::kTable) {
    return {};
  }
  // The column's cell in the row of the anchor.
  const auto& column = static_cast<const TableProperty&>(object);
  if (!IsSameObject(column.OwningTable().get(), anchor.table)) return {};
  return BindOwnCell(Ref<NotebookObject>(&object), anchor.run, run);
}

Bound Binder::BindCall(const Term& term, const LayerItem& item, const Standpoint& at, RowRun run) {
  const IKtFormulaFunction& function = *item.Function();
  if (term.kind == TermKind::kFunction) {
    // Without arguments a function of the language says only that it needs some.
    return {function.IsPure() ? Reads() : Unknown(), nullptr};
  }
  return function.Bind(*this, item.Other(item.Index() + 1).Layer(), at.anchor, run);
}

BoundEvaluation::BoundEvaluation(BoundFormula* formula, std::uint64_t pass,
                                 bool may_ask_early) noexcept
    : formula_(formula),
      pass_(pass),
      may_ask_early_(may_ask_early),
      outer_(std::exchange(current, this)) {}

BoundEvaluation::~BoundEvaluation() {
  current = outer_;
}

BoundCall* BoundEvaluation::FindCall(const TokenLayer& args) {
  if (Observation::Observer() != nullptr) return nullptr;
  if (current == nullptr || current->foreign_calls_ != ForeignCallsUnderWay()) return nullptr;
  current->ForgetWhatNoLongerHolds();
  if (current->formula_ == nullptr || !EvaluationHasRoom()) return nullptr;
  return current->formula_->FindCall(args);
}

bool BoundEvaluation::MayAskEarly(const BoundCall& call) noexcept {
  return !call.reads.has_definitions || current->may_ask_early_;
}

// A function of the host that was called meanwhile may have changed anything.
void BoundEvaluation::ForgetWhatNoLongerHolds() {
  const std::uint64_t boundaries = ForeignCallBoundaries();
  if (formula_ == nullptr || std::exchange(boundaries_, boundaries) == boundaries) return;
  if (formula_->holds && !formula_->holds()) formula_ = nullptr;
}

std::uint64_t BoundEvaluation::Pass() noexcept {
  return current != nullptr ? current->pass_ : 0;
}

}  // namespace ktformula
