// What a listener knows about the formulas of its columns, from one pass to the next.
//
// There are plans only where the host promises what references denote. They are there to compute
// many rows at once, and only those for which something has changed: what is skipped would come to
// what it is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "formula/binding.h"
#include "formula/evaluator.h"
#include "formula/function_registry.h"
#include "host/notebook_objects.h"
#include "listener/configuration.h"
#include "listener/entered_values.h"
#include "values/dictionary.h"
#include "values/platform.h"

namespace ktformula {

// The formula's tree, built when it is first needed. Raises what MakeTokenTree raises.
std::shared_ptr<const TokenTree> TreeOf(PropertyFormula& formula,
                                        const FunctionRegistry& functions);

// The rows of a column that have to be computed.
struct RowsToCompute {
  bool are_all = false;
  // Counted from 0, in order, each once; unless all.
  std::vector<std::size_t> rows;
};

// How the values of a column are shown in a pass.
struct ShownAs {
  // Whether numbers go through the result format.
  bool is_formatted = false;
  // What the format goes by; nullptr when that is not known before a number is shown, or when it
  // may show the same number otherwise each time.
  const EnteredValues* entered = nullptr;
};

// One column with a formula.
class ColumnPlan {
 public:
  ColumnPlan(Ref<TableProperty> column, std::shared_ptr<PropertyFormula> formula,
             std::shared_ptr<const TokenTree> tree)
      : column_(std::move(column)), formula_(std::move(formula)), tree_(std::move(tree)) {}
  ColumnPlan(const ColumnPlan&) = delete;
  ColumnPlan& operator=(const ColumnPlan&) = delete;

  BoundFormula bound;

  const Reads& FormulaReads() const noexcept { return bound.top.reads; }
  const Ref<TableProperty>& Column() const noexcept { return column_; }
  // Whether the plan is this formula's, which has the plan's tree or none so far, and what was
  // asked about references holds.
  bool IsOf(const PropertyFormula& formula) const;
  // Gives a formula without a tree that of the plan. To be called where the formula would be
  // parsed now, which is where its first cell is computed.
  void GiveTree() const {
    if (formula_->TokenTree == nullptr) formula_->TokenTree = tree_;
  }
  // The lanes of the formula; nullptr when rows are always computed one by one.
  Lanes* FormulaLanes() const;

  // The rows for which something that they read, or the computed cell itself, has changed since
  // they were computed last.
  RowsToCompute FindRows(const ShownAs& shown_as) const;

  // Lives while these rows are computed: notes the stamps in front of that and, at End, that all of
  // them were. Without End, or where the limits of the evaluation under way refused something, all
  // rows are to be computed next time.
  class Use {
   public:
    Use(ColumnPlan& plan, const ShownAs& shown_as);
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use();
    void End();

   private:
    ColumnPlan& plan_;
    ShownAs shown_as_;
    std::uint64_t refusals_ = EvaluationRefusals();
  };
  // A pass that begins while another is at this column does without the plan.
  bool IsInUse() const noexcept { return is_in_use_; }

 private:
  bool ReadsItself() const;
  bool IsTracked() const;
  void NoteStamps();
  bool OthersHold() const;

  Ref<TableProperty> column_;
  std::shared_ptr<PropertyFormula> formula_;
  std::shared_ptr<const TokenTree> tree_;
  bool is_in_use_ = false;
  // Whether all rows were computed once, and those that changed ever since.
  bool is_computed_ = false;
  // Of the columns that are read: others, then own.
  std::vector<std::uint64_t> stamps_;
  // Of the column itself: after the pass or, where it wrote formatted numbers, before it.
  std::uint64_t written_stamp_ = 0;
  std::u16string string_format_;
  bool was_formatted_ = false;
  EnteredValues entered_;
};

// The plans of a listener's columns and definitions, as long as they hold.
class Plans {
 public:
  Plans(const FormulaConfiguration& configuration, const FunctionRegistry& functions)
      : configuration_(configuration), functions_(functions) {}
  Plans(const Plans&) = delete;
  Plans& operator=(const Plans&) = delete;

  // Brings the plans up to date with the table and the configuration. Without promises there are
  // none.
  void Renew(Table& table);
  void Forget();

  // nullptr when there is none, when it is in use or when something changed since Renew.
  std::shared_ptr<ColumnPlan> Of(const TableProperty& column, const PropertyFormula& formula) const;
  // What is known about a definition's formula, nullptr for nothing. It is to be evaluated now, and
  // gets its tree.
  std::shared_ptr<BoundFormula> OfDefinition(PropertyFormula& formula) const;
  // Whether every definition that formulas refer to is parsed, as far as it can be: with which
  // separators that is done is settled when it is asked for first.
  bool AreDefinitionsParsed() const;
  // Whether some column's formula may call a function of the host, which may do anything.
  bool MayCallHost() const noexcept { return may_call_host_; }

 private:
  // A named definition as it is bound.
  struct Definition {
    std::shared_ptr<PropertyFormula> formula;
    std::shared_ptr<const TokenTree> tree;
    std::shared_ptr<BoundFormula> bound = std::make_shared<BoundFormula>();
    // Unknown until it is bound, as a definition that leads back to itself finds it.
    Reads reads;
  };
  // The stamps of formulas, definitions and functions; empty for those that the host keeps.
  using Sources = std::array<std::optional<std::uint64_t>, 3>;

  // Whether what the plans were made from is still there.
  bool Hold() const;
  Sources PresentSources() const;
  void Make();
  void MakeColumn(const Ref<TableProperty>& column);
  void Bind(BoundFormula& bound, const TokenTree& tree, const Place& place);
  const Reads* ReadsOfDefinition(std::u16string_view name);
  void FindUnsteady();

  const FormulaConfiguration& configuration_;
  const FunctionRegistry& functions_;
  Ref<Table> table_;
  Sources sources_;
  Locale locale_;
  // By the columns' identities.
  std::unordered_map<const void*, std::shared_ptr<ColumnPlan>> columns_;
  std::map<std::u16string, Definition, std::less<>> definitions_;
  bool may_call_host_ = false;
  // Of the plans that are there now.
  std::uint64_t generation_ = 0;
  int depth_ = 0;
};

}  // namespace ktformula
