#include "listener/column_plan.h"

#include <algorithm>

#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

// Definitions that hang together in more than these are not looked into.
constexpr int kMaximumBoundDefinitions = 50;

// The formula's tree, or the one that it would get; nullptr for one that can not be parsed. A
// formula that nobody evaluates yet is left as it is: with what it is parsed is settled when it is.
std::shared_ptr<const TokenTree> TreeIfAny(const PropertyFormula& formula,
                                           const FunctionRegistry& functions) {
  if (formula.TokenTree != nullptr) return formula.TokenTree;
  try {
    return MakeTokenTree(formula.Formula, functions);
  } catch (const RaisedError&) {
    return nullptr;
  }
}

bool HasTree(const PropertyFormula& formula, const std::shared_ptr<const TokenTree>& tree) {
  return formula.TokenTree == nullptr || formula.TokenTree == tree;
}

std::uint64_t StampOf(const Ref<TableProperty>& column) {
  return column->Changes()->Stamp();
}

bool Contains(const std::vector<std::size_t>& rows, std::size_t row) {
  return std::find(rows.begin(), rows.end(), row) != rows.end();
}

}  // namespace

std::shared_ptr<const TokenTree> TreeOf(PropertyFormula& formula,
                                        const FunctionRegistry& functions) {
  if (formula.TokenTree == nullptr) formula.TokenTree = MakeTokenTree(formula.Formula, functions);
  return formula.TokenTree;
}

bool ColumnPlan::IsOf(const PropertyFormula& formula) const {
  return formula_.get() == &formula && HasTree(formula, tree_) && bound.IsUpToDate();
}

bool ColumnPlan::ReadsItself() const {
  const auto& others = FormulaReads().others;
  return std::any_of(others.begin(), others.end(), [this](const ColumnRead& read) {
    return IsSameObject(read.column.get(), column_.get());
  });
}

Lanes* ColumnPlan::FormulaLanes() const {
  if (ReadsItself() || FormulaReads().is_unknown) return nullptr;
  return column_->Cells() != nullptr ? bound.top.lanes.get() : nullptr;
}

// Whether changes of everything that matters are told.
bool ColumnPlan::IsTracked() const {
  const auto is_tracked = [](const Ref<TableProperty>& column) {
    return column->Changes() != nullptr;
  };
  const Reads& reads = FormulaReads();
  return !reads.is_unknown && !bound.has_unsteady_definitions && is_tracked(column_) &&
         std::all_of(reads.own.begin(), reads.own.end(), is_tracked) &&
         std::all_of(reads.others.begin(), reads.others.end(),
                     [&](const ColumnRead& read) { return is_tracked(read.column); });
}

void ColumnPlan::NoteStamps() {
  stamps_.clear();
  for (const ColumnRead& read : FormulaReads().others)
    stamps_.push_back(StampOf(read.column));
  for (const auto& column : FormulaReads().own)
    stamps_.push_back(StampOf(column));
}

RowsToCompute ColumnPlan::FindRows(const ShownAs& shown_as) const {
  RowsToCompute all{true, {}};
  if (!is_computed_ || !IsTracked()) return all;
  if (shown_as.is_formatted != was_formatted_ || formula_->StringFormat != string_format_) {
    return all;
  }
  if (shown_as.is_formatted && (shown_as.entered == nullptr || *shown_as.entered != entered_)) {
    return all;
  }
  RowsToCompute found;
  if (!OthersHold()) return all;
  std::size_t next = FormulaReads().others.size();
  for (const auto& column : FormulaReads().own) {
    if (!column->Changes()->RowsChangedSince(stamps_[next++], found.rows)) return all;
  }
  if (!column_->Changes()->RowsChangedSince(written_stamp_, found.rows)) return all;
  // Each row that changes may change those behind it.
  if (ReadsItself() && !found.rows.empty()) return all;
  std::sort(found.rows.begin(), found.rows.end());
  found.rows.erase(std::unique(found.rows.begin(), found.rows.end()), found.rows.end());
  return found;
}

// Whether no cell has changed that all rows may read.
bool ColumnPlan::OthersHold() const {
  const auto& others = FormulaReads().others;
  for (std::size_t i = 0; i < others.size(); ++i) {
    const ColumnChanges& changes = *others[i].column->Changes();
    if (changes.Stamp() == stamps_[i]) continue;
    std::vector<std::size_t> changed;
    const bool is_other_row = others[i].row && changes.RowsChangedSince(stamps_[i], changed) &&
                              !Contains(changed, *others[i].row);
    if (!is_other_row) return false;
  }
  return true;
}

ColumnPlan::Use::Use(ColumnPlan& plan, const ShownAs& shown_as) : plan_(plan), shown_as_(shown_as) {
  plan_.is_in_use_ = true;
  plan_.is_computed_ = false;
  if (!plan_.IsTracked()) return;
  plan_.NoteStamps();
  plan_.written_stamp_ = StampOf(plan_.column_);
}

ColumnPlan::Use::~Use() {
  plan_.is_in_use_ = false;
}

void ColumnPlan::Use::End() {
  if (!plan_.IsTracked() || refusals_ != EvaluationRefusals()) return;
  plan_.is_computed_ = true;
  plan_.was_formatted_ = shown_as_.is_formatted;
  plan_.string_format_ = plan_.formula_->StringFormat;
  if (shown_as_.entered != nullptr) plan_.entered_ = *shown_as_.entered;
  // How a formatted number is shown depends on the unit that its cell had before.
  if (!shown_as_.is_formatted) plan_.written_stamp_ = StampOf(plan_.column_);
}

void Plans::Forget() {
  ++generation_;
  columns_.clear();
  definitions_.clear();
  table_ = nullptr;
}

Plans::Sources Plans::PresentSources() const {
  return {configuration_.property_formulas.Stamp(), configuration_.definitions.Stamp(),
          functions_.Stamp()};
}

void Plans::Renew(Table& table) {
  const bool is_same_table = IsSameObject(table_.get(), &table);
  if (is_same_table && Hold()) return;
  const bool is_in_use = std::any_of(columns_.begin(), columns_.end(),
                                     [](const auto& column) { return column.second->IsInUse(); });
  if (is_in_use) return;
  Forget();
  sources_ = PresentSources();
  locale_ = UserLocale();
  const bool are_told = std::all_of(sources_.begin(), sources_.end(),
                                    [](const auto& stamp) { return stamp.has_value(); });
  if (!are_told || table.Binding() == nullptr) return;
  table_ = Ref<Table>(&table);
  Make();
}

bool Plans::Hold() const {
  const auto holds = [](const auto& entry) {
    const Definition& definition = entry.second;
    return HasTree(*definition.formula, definition.tree) && definition.bound->IsUpToDate();
  };
  return table_ && sources_ == PresentSources() && locale_ == UserLocale() &&
         std::all_of(definitions_.begin(), definitions_.end(), holds) &&
         std::all_of(columns_.begin(), columns_.end(),
                     [](const auto& column) { return column.second->bound.IsUpToDate(); });
}

void Plans::Make() {
  const int columns = table_->ColumnCount();
  for (int c = 1; c <= columns; ++c)
    MakeColumn(table_->Column(c));
  FindUnsteady();
}

void Plans::MakeColumn(const Ref<TableProperty>& column) {
  auto formula = configuration_.property_formulas.Find(ToDecimalText(column->Property()->Key()));
  if (formula == nullptr || formula->Formula.empty()) return;
  const std::shared_ptr<const TokenTree> tree = TreeIfAny(*formula, functions_);
  if (tree == nullptr) return;
  auto& plan = columns_[column->Identity()];
  plan = std::make_shared<ColumnPlan>(column, std::move(formula), tree);
  Bind(plan->bound, *tree, {table_.get(), ReferenceStart::kCell, kCellRun, column.get()});
}

void Plans::Bind(BoundFormula& bound, const TokenTree& tree, const Place& place) {
  bound.holds = [this, generation = generation_] { return generation_ == generation && Hold(); };
  Binder(bound, [this](std::u16string_view name) {
    return ReadsOfDefinition(name);
  }).Bind(tree, place);
}

const Reads* Plans::ReadsOfDefinition(std::u16string_view name) {
  if (const auto known = definitions_.find(name); known != definitions_.end()) {
    return &known->second.reads;
  }
  auto formula = configuration_.definitions.Find(name);
  if (formula == nullptr) return nullptr;
  Definition& definition = definitions_[std::u16string(name)];
  definition.reads.is_unknown = true;
  definition.formula = std::move(formula);
  if (depth_ == kMaximumBoundDefinitions) return &definition.reads;
  ++depth_;
  definition.tree = TreeIfAny(*definition.formula, functions_);
  if (definition.tree != nullptr) {
    Bind(*definition.bound, *definition.tree,
         {table_.get(), ReferenceStart::kTable, kCellRun, nullptr});
    definition.reads = definition.bound->top.reads;
  } else {
    definition.reads = {};
  }
  --depth_;
  return &definition.reads;
}

// The value of a definition is that of the moment when it was asked for first. When that is does
// not matter as long as the pass writes into no column that the definition reads.
void Plans::FindUnsteady() {
  may_call_host_ = std::any_of(columns_.begin(), columns_.end(), [](const auto& column) {
    return column.second->FormulaReads().is_unknown;
  });
  const auto is_written = [this](const ColumnRead& read) {
    return columns_.contains(read.column->Identity());
  };
  const bool are_unsteady =
      std::any_of(definitions_.begin(), definitions_.end(), [&](const auto& entry) {
        const Reads& reads = entry.second.reads;
        return reads.is_unknown ||
               std::any_of(reads.others.begin(), reads.others.end(), is_written);
      });
  const auto mark = [&](BoundFormula& bound) {
    bound.has_unsteady_definitions =
        bound.top.reads.has_definitions && (are_unsteady || may_call_host_);
  };
  for (auto& [identity, plan] : columns_)
    mark(plan->bound);
  for (auto& [name, definition] : definitions_)
    mark(*definition.bound);
}

bool Plans::AreDefinitionsParsed() const {
  return std::all_of(definitions_.begin(), definitions_.end(), [](const auto& entry) {
    return entry.second.formula->TokenTree != nullptr || entry.second.tree == nullptr;
  });
}

std::shared_ptr<ColumnPlan> Plans::Of(const TableProperty& column,
                                      const PropertyFormula& formula) const {
  const auto found = columns_.find(column.Identity());
  if (found == columns_.end() || found->second->IsInUse() || !Hold()) return nullptr;
  return found->second->IsOf(formula) ? found->second : nullptr;
}

std::shared_ptr<BoundFormula> Plans::OfDefinition(PropertyFormula& formula) const {
  const auto is_of = [&](const auto& entry) { return entry.second.formula.get() == &formula; };
  const auto found = std::find_if(definitions_.begin(), definitions_.end(), is_of);
  if (found == definitions_.end() || !Hold()) return nullptr;
  if (formula.TokenTree == nullptr) formula.TokenTree = found->second.tree;
  return found->second.bound;
}

}  // namespace ktformula
