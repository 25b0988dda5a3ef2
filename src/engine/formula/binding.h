// Binding: what a formula reads, and how much of it can be computed for many rows at once, found
// out before it is evaluated where the host promises what references denote.
//
// Everything found holds as long as the stamps of the bindings that were asked stay the same, and
// the definitions too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "formula/expression.h"
#include "formula/lanes.h"
#include "formula/reference.h"
#include "formula/token_tree.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktformula {

// Cells that a formula reads: one of a column, or all.
struct ColumnRead {
  Ref<TableProperty> column;
  // Counted from 0; empty for any row.
  std::optional<std::size_t> row;
};

// A run over rows that a formula is evaluated for. `[x]*SUM([y], [T])` has two: 0 is that of the
// cells that are computed, in which [x] is read, and 1 that of the rows of T, in which [y] is. Each
// aggregate has one of its own.
using RowRun = unsigned;
inline constexpr RowRun kCellRun = 0;
// Reads::runs has a bit for each of them.
inline constexpr RowRun kMaximumRuns = 30;

// What a part of a formula reads.
struct Reads {
  // Whether nothing is known: a function of the host, or a reference that has to be asked each
  // time.
  bool is_unknown = false;
  // Whether a definition is among it; what that reads is too.
  bool has_definitions = false;
  // The bit `1 << run` for each run whose row decides what is read.
  std::uint32_t runs = 0;
  // Columns of which the cell in the computed cell's own row is read.
  std::vector<Ref<TableProperty>> own;
  std::vector<ColumnRead> others;

  void AddOwn(const Ref<TableProperty>& column);
  void AddOther(const Ref<TableProperty>& column, std::optional<std::size_t> row);
  void Add(const Reads& other);
  // Whether it comes to the same in all rows of the run.
  bool IsFixedIn(RowRun run) const noexcept { return !is_unknown && (runs >> run & 1U) == 0; }
};

// From where references start: not one object, but all cells, or all rows, of a table alike.
struct Place {
  // nullptr where nothing is promised about it.
  Table* table = nullptr;
  ReferenceStart start = ReferenceStart::kCell;
  RowRun run = kCellRun;
  // Where a cell stands; nullptr for other starts.
  TableProperty* column = nullptr;
};

// From where a part is evaluated: its anchor, and what "this" stands for.
struct Standpoint {
  Place anchor;
  Place this_place;

  // Within the argument of a function, "this" is the anchor.
  static Standpoint At(const Place& place) { return {place, place}; }
};

// What a reference denotes from a standpoint: a Denotation of the host's, or what it starts from
// itself (kStart).
struct Denoted {
  enum class Kind { kVaries, kNothing, kObject, kOwnCell, kOwnRow, kStart };

  Kind kind = Kind::kVaries;
  // The object, or the column of the cell.
  Ref<NotebookObject> object;
  // Whose row it is.
  RowRun run = kCellRun;
};

// What was found out about a part of a formula: an operand, an argument, a layer.
struct Bound {
  Reads reads;
  // nullptr when it has to be evaluated row by row.
  LanesPtr lanes;
};

// What an aggregate, or another function that goes through rows, keeps at the place of a formula
// where it is called.
class BoundCall {
 public:
  Reads reads;
  // The argument that is computed for each row, and the condition; nullptr when there is none or
  // when it has to be evaluated row by row.
  LanesPtr expression;
  LanesPtr condition;
  // Whatever else the function keeps: SELECT its Lookup.
  std::shared_ptr<void> own;

  // Whether the call comes to the same wherever it is evaluated, as long as nothing changes of
  // which all changes are told.
  bool CanBeKept() const;

  // For a call that can be kept. Gives what was kept, if none of what the call reads has changed
  // since; false otherwise. Raises what the call raised.
  bool TakeKept(CellValue& target) const;
  // Keeps what the call came to.
  void Keep(const CellValue& target, std::optional<RaisedError> raised);

 private:
  bool StampsHold() const;

  struct Outcome {
    CellValue value;
    std::optional<RaisedError> raised;
    // Of the columns that are read, in their order.
    std::vector<std::uint64_t> stamps;
    // Definitions keep their values for one pass only.
    std::uint64_t pass = 0;
  };
  std::optional<Outcome> outcome_;
};

// What was found out about a whole formula.
class BoundFormula {
 public:
  BoundFormula() = default;
  BoundFormula(const BoundFormula&) = delete;
  BoundFormula& operator=(const BoundFormula&) = delete;

  Bound top;
  // The definitions that the formula itself refers to, each once.
  std::vector<std::u16string> definitions;
  // Whether what the formula comes to depends on when definitions are asked for their values; not
  // any more in a pass in which they all have been.
  bool has_unsteady_definitions = false;

  // Whether what its maker knew besides still is so; empty for always.
  std::function<bool()> holds;

  // Whether everything that was asked would answer the same again.
  bool IsUpToDate() const;

  // nullptr when nothing is known about the call with these arguments.
  BoundCall* FindCall(const TokenLayer& args);

 private:
  friend class Binder;
  struct HashOfLayer {
    std::size_t operator()(const TokenLayer& layer) const noexcept { return layer.Hash(); }
  };

  std::unordered_map<TokenLayer, std::unique_ptr<BoundCall>, HashOfLayer> calls_;
  // The tables whose promises were taken, with their stamps.
  std::vector<std::pair<Ref<Table>, std::uint64_t>> stamps_;
};

// Binds one formula. Borrows all that it is given. In all of it `at` says where references start,
// and `run` over which rows lanes are wanted: of these runs what stays the same is evaluated once.
class Binder {
 public:
  // What the definition of this name reads; nullptr when there is none.
  using ReadsOfDefinition = std::function<const Reads*(std::u16string_view name)>;

  Binder(BoundFormula& formula, ReadsOfDefinition definitions)
      : formula_(formula), definitions_(std::move(definitions)) {}

  // Binds the tree, for an anchor that is what "this" stands for too.
  void Bind(const TokenTree& tree, const Place& place);

  // For functions that bind their calls.

  // A place for the rows of a table. Without a table, or with one that promises nothing, its
  // references vary.
  Place RowsOf(Table* table);
  // What the reference denotes.
  static Denoted Resolve(const ReferencePath& reference, const Standpoint& at);
  // What the reference denotes as an argument: "this" is the anchor. The object when it is one and
  // the same everywhere; `reads` becomes unknown when the reference has to be asked each time.
  Ref<NotebookObject> ObjectArgument(const ReferencePath& reference, const Place& anchor,
                                     Reads& reads);
  // Binds an argument.
  Bound BindArgument(const LayerItem& item, const Standpoint& at, RowRun run);
  // Binds a reference that leads to a cell, definitions aside.
  Bound BindCell(const ReferencePath& reference, const Standpoint& at, RowRun run);
  // Binds an operand; `is_head` for what begins a layer.
  Bound BindOperand(const Term& term, const LayerItem& item, bool is_head, const Standpoint& at,
                    RowRun run) {
    return BindTerm(term, item, is_head, at, run);
  }
  // The column, where the term is nothing but the cell of a column in the anchor's row; empty for
  // other terms.
  Ref<TableProperty> OwnColumn(const Term& term, const LayerItem& item, const Standpoint& at);
  // The record of the call with these arguments.
  BoundCall& CallOf(const TokenLayer& args);

 private:
  Bound BindLayer(const TokenLayer& layer, const Standpoint& at, RowRun run);
  Bound BindTerm(const Term& term, const LayerItem& item, bool is_head, const Standpoint& at,
                 RowRun run);
  Bound BindBareTerm(const Term& term, const LayerItem& item, bool is_head, const Standpoint& at,
                     RowRun run);
  Bound BindReference(const LayerItem& item, const Standpoint& at, RowRun run);
  Bound BindOwnCell(const Ref<NotebookObject>& column, RowRun own_run, RowRun run);
  Bound BindObject(NotebookObject& object, const Place& anchor, RowRun run);
  Bound BindCall(const Term& term, const LayerItem& item, const Standpoint& at, RowRun run);
  void AddStep(Bound& left, const Step& step, const LayerItem& item, const Standpoint& at,
               RowRun run);
  void NoteStamp(Table& table);

  BoundFormula& formula_;
  ReadsOfDefinition definitions_;
  RowRun last_run_ = kCellRun;
  int depth_ = 0;
  std::size_t terms_ = 0;
};

// The formula under evaluation on this thread, as far as it is bound: functions find their calls
// there. Within a foreign call there is none, nor where evaluation may be refused for its depth:
// what is known does without the layers that would be counted.
class BoundEvaluation {
 public:
  // `formula` may be nullptr. Definitions have the same values within one `pass`, a number that no
  // other has; with `may_ask_early` it does not matter when they are asked first.
  BoundEvaluation(BoundFormula* formula, std::uint64_t pass, bool may_ask_early) noexcept;
  BoundEvaluation(const BoundEvaluation&) = delete;
  BoundEvaluation& operator=(const BoundEvaluation&) = delete;
  ~BoundEvaluation();

  // nullptr when nothing is known about the call.
  static BoundCall* FindCall(const TokenLayer& args);
  // Whether what the call reads may be asked before its rows come to it.
  static bool MayAskEarly(const BoundCall& call) noexcept;
  static std::uint64_t Pass() noexcept;

 private:
  void ForgetWhatNoLongerHolds();

  BoundFormula* formula_;
  std::uint64_t pass_;
  bool may_ask_early_;
  int foreign_calls_ = ForeignCallsUnderWay();
  std::uint64_t boundaries_ = ForeignCallBoundaries();
  BoundEvaluation* outer_;
};

}  // namespace ktformula
