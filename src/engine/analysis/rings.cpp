#include "analysis/rings.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "analysis/directed_graph.h"
#include "analysis/formula_parts.h"
#include "analysis/watched_evaluation.h"

#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::size_t kWatchedTerms = 500'000;
// What messages name at most.
constexpr std::size_t kMostNames = 8;
constexpr std::size_t kMostRings = 5;

using NodeRings = std::vector<std::vector<GraphNode>>;

// The columns with formulas that read each other, or themselves.
NodeRings RingsOfColumns(const ObservedForm& form) {
  GraphEdges edges;
  const auto add = [&edges](std::size_t from, std::size_t to) {
    edges.emplace_back(static_cast<GraphNode>(from), static_cast<GraphNode>(to));
  };
  for (std::size_t number = 0; number < form.Columns().size(); ++number) {
    for (const std::size_t read : form.At(number).own)
      add(number, read);
    for (const ColumnUse& read : form.At(number).others)
      add(number, read.column);
  }
  return RingsOf(form.Columns().size(), edges);
}

// The nodes of some columns in their order: the cells, then each column as a whole, then
// definitions as they are met.
class Nodes {
 public:
  Nodes(const ObservedForm& form, const std::vector<GraphNode>& columns)
      : columns_(columns), ranks_(form.Columns().size(), kNone) {
    for (const GraphNode column : columns) {
      ranks_[column] = firsts_.size();
      firsts_.push_back(static_cast<GraphNode>(cells_));
      cells_ += form.At(column).cells.Count();
    }
  }

  std::size_t Count() const noexcept { return cells_ + columns_.size() + names_.size(); }
  bool Has(std::size_t column) const noexcept { return ranks_[column] != kNone; }
  GraphNode Of(const CellPlace& place) const noexcept {
    return firsts_[ranks_[place.column]] + static_cast<GraphNode>(place.row);
  }
  GraphNode Whole(std::size_t column) const noexcept {
    return static_cast<GraphNode>(cells_ + ranks_[column]);
  }
  GraphNode Definition(const FormulaListener* listener, std::u16string_view name) {
    const auto next = static_cast<GraphNode>(Count());
    const auto [found, is_new] = definitions_.try_emplace({listener, std::u16string(name)}, next);
    if (is_new) names_.emplace_back(name);
    return found->second;
  }

  bool IsCell(GraphNode node) const noexcept { return node < cells_; }
  CellPlace PlaceOf(GraphNode node) const noexcept {
    const auto behind = std::upper_bound(firsts_.begin(), firsts_.end(), node);
    const auto rank = static_cast<std::size_t>(behind - firsts_.begin()) - 1;
    return {columns_[rank], node - firsts_[rank]};
  }
  // nullptr for a column as a whole.
  const std::u16string* DefinitionAt(GraphNode node) const noexcept {
    const std::size_t first = cells_ + columns_.size();
    return node >= first ? &names_[node - first] : nullptr;
  }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  const std::vector<GraphNode>& columns_;
  // By column: its place among the columns.
  std::vector<std::size_t> ranks_;
  // By that place: the node of the first cell.
  std::vector<GraphNode> firsts_;
  std::size_t cells_ = 0;
  std::map<std::pair<const FormulaListener*, std::u16string>, GraphNode> definitions_;
  std::vector<std::u16string> names_;
};

// Notes what a cell, or a definition that it asks for, reads of some columns.
class ReadsObserver final : public FormulaObserver {
 public:
  ReadsObserver(Effort& effort, const ObservedForm& form, const FormulaListener& listener,
                Nodes& nodes, GraphEdges& edges)
      : FormulaObserver(effort), form_(form), listener_(listener), nodes_(nodes), edges_(edges) {}

  void StartAt(const CellPlace& place) { sources_.assign(1, nodes_.Of(place)); }

 private:
  void Read(const TableCell& cell) override {
    const auto place = form_.PlaceOf(cell);
    if (!place || !nodes_.Has(place->column)) return;
    if (form_.At(place->column).Computes(place->row)) AddEdge(nodes_.Of(*place));
  }
  void ReadAll(const TableProperty& column) override {
    const auto number = form_.NumberOf(column);
    if (number && nodes_.Has(*number)) AddEdge(nodes_.Whole(*number));
  }
  void DefinitionBegan(std::u16string_view name) override {
    const GraphNode node = nodes_.Definition(&listener_, name);
    AddEdge(node);
    sources_.push_back(node);
  }
  void DefinitionEnded() override { sources_.pop_back(); }

  void AddEdge(GraphNode to) { edges_.emplace_back(sources_.back(), to); }

  const ObservedForm& form_;
  const FormulaListener& listener_;
  Nodes& nodes_;
  GraphEdges& edges_;
  // The cell, and the definitions that are being evaluated for it.
  std::vector<GraphNode> sources_;
};

std::u16string Joined(const std::vector<std::u16string>& names, std::size_t left_out) {
  std::u16string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += left_out == 0 && i + 1 == names.size() ? u" and " : u", ";
    text += names[i];
  }
  if (left_out != 0)
    text += u" and " + ToDecimalText(static_cast<std::int64_t>(left_out)) + u" more";
  return text;
}

std::u16string DefinitionName(std::u16string_view name) {
  return u"the definition \"" + std::u16string(name) + u"\"";
}

// "a, b and c need each other; so do d, e and f".
class RingMessage {
 public:
  bool WantsNames() const noexcept { return rings_ < kMostRings; }
  // Of a ring of so many members; these are the names of the first ones.
  void Add(const std::vector<std::u16string>& names, std::size_t members) {
    if (!WantsNames()) {
      ++rings_;
      return;
    }
    const std::u16string list = Joined(names, members - names.size());
    if (rings_++ == 0) {
      text_ = list + (members == 1 ? u" needs itself" : u" need each other");
    } else {
      text_ += (members == 1 ? u"; so does " : u"; so do ") + list;
    }
  }
  std::u16string Text() const {
    if (rings_ <= kMostRings) return text_;
    return text_ + u"; and so on, " +
           ToDecimalText(static_cast<std::int64_t>(rings_ - kMostRings)) + u" times more";
  }

 private:
  std::u16string text_;
  std::size_t rings_ = 0;
};

// Rings through the same columns and definitions.
struct RingGroup {
  CellPlace first;
  // Of the first column.
  std::size_t rows = 0;
  RingMessage message;
};

// Tells of rings.
class RingReport {
 public:
  RingReport(const ObservedForm& form, const Nodes& nodes) : form_(form), nodes_(nodes) {}

  void Add(const std::vector<GraphNode>& ring, Rings& result) {
    std::vector<GraphNode> members;
    std::vector<std::size_t> parts;
    for (const GraphNode node : ring) {
      const bool is_cell = nodes_.IsCell(node);
      if (!is_cell && nodes_.DefinitionAt(node) == nullptr) continue;
      members.push_back(node);
      // Nodes of a column follow each other, and no definition has a column's number.
      const std::size_t part =
          is_cell ? nodes_.PlaceOf(node).column : form_.Columns().size() + node;
      if (parts.empty() || parts.back() != part) parts.push_back(part);
      if (is_cell) Mark(nodes_.PlaceOf(node), result);
    }
    // Definitions among themselves are told of on their own.
    if (nodes_.IsCell(members.front())) AddTo(GroupOf(parts, members.front()), members);
  }

  void Finish(Effort& effort, Rings& result) const {
    for (const RingGroup& group : groups_) {
      const auto is_cell = [&](const TableCell& cell) {
        const auto place = form_.PlaceOf(cell);
        return place && result.Contains(*place);
      };
      const auto is_column = [&](const TableProperty& column) {
        const auto number = form_.NumberOf(column);
        return number && !result.cells[*number].empty();
      };
      Problem problem = form_.ProblemOf(ProblemCode::kCircular, group.first.column);
      problem.row = group.first.row;
      problem.rows = group.rows;
      problem.place =
          FindPlace(form_.At(group.first.column), group.first.row, effort, {is_cell, is_column});
      problem.message = group.message.Text();
      problem.help = u"type one of them in, or change one of the formulas";
      result.problems.push_back(std::move(problem));
    }
  }

 private:
  RingGroup& GroupOf(const std::vector<std::size_t>& parts, GraphNode first) {
    const auto [known, is_new] = numbers_.try_emplace(parts, groups_.size());
    if (is_new) groups_.emplace_back().first = nodes_.PlaceOf(first);
    return groups_[known->second];
  }

  void AddTo(RingGroup& group, const std::vector<GraphNode>& members) const {
    std::vector<std::u16string> names;
    for (const GraphNode member : members) {
      if (nodes_.IsCell(member) && nodes_.PlaceOf(member).column == group.first.column) {
        ++group.rows;
      }
      if (group.message.WantsNames() && names.size() < kMostNames) names.push_back(NameOf(member));
    }
    group.message.Add(names, members.size());
  }

  std::u16string NameOf(GraphNode node) const {
    const std::u16string* const definition = nodes_.DefinitionAt(node);
    return definition != nullptr ? DefinitionName(*definition) : form_.NameOf(nodes_.PlaceOf(node));
  }

  void Mark(const CellPlace& cell, Rings& result) const {
    std::vector<bool>& rows = result.cells[cell.column];
    rows.resize(form_.At(cell.column).cells.Count());
    rows[cell.row] = true;
  }

  const ObservedForm& form_;
  const Nodes& nodes_;
  std::map<std::vector<std::size_t>, std::size_t> numbers_;
  std::vector<RingGroup> groups_;
};

// Finds the rings among the cells of columns that read each other.
class CellRings {
 public:
  CellRings(const ObservedForm& form, const std::vector<GraphNode>& columns, Effort& effort)
      : form_(form), columns_(columns), effort_(effort), nodes_(form, columns) {
    reads_all_.resize(form.Columns().size());
    for (const GraphNode number : columns) {
      const ObservedColumn& column = form.At(number);
      reads_all_[number] = column.reads_are_known && !column.has_definitions &&
                           column.tree != nullptr && AlwaysReadsAll(*column.tree);
    }
  }

  void Find(Rings& result) {
    NodeRings rings = PossibleRings();
    const bool are_real = std::all_of(rings.begin(), rings.end(), [this](const auto& ring) {
      return std::all_of(ring.begin(), ring.end(), [this](GraphNode node) {
        return !nodes_.IsCell(node) || ReadsAll(nodes_.PlaceOf(node));
      });
    });
    if (!are_real) rings = RealRings(rings);
    RingReport report(form_, nodes_);
    for (const auto& ring : rings)
      report.Add(ring, result);
    report.Finish(effort_, result);
  }

 private:
  NodeRings PossibleRings() {
    GraphEdges edges;
    for (const GraphNode column : columns_) {
      const std::size_t rows = form_.At(column).cells.Count();
      for (std::size_t row = 0; row < rows; ++row) {
        if (form_.At(column).Computes(row)) AddPossibleEdges({column, row}, edges);
      }
    }
    return RingsOf(nodes_.Count(), edges);
  }

  // Those of the cell's column as a whole to the cell, and from there to what its formula can read.
  void AddPossibleEdges(const CellPlace& place, GraphEdges& edges) const {
    const GraphNode node = nodes_.Of(place);
    edges.emplace_back(nodes_.Whole(place.column), node);
    const auto add = [&](const CellPlace& read) {
      if (!nodes_.Has(read.column) || !form_.At(read.column).Computes(read.row)) return;
      edges.emplace_back(node, nodes_.Of(read));
    };
    for (const std::size_t read : form_.At(place.column).own)
      add({read, place.row});
    for (const ColumnUse& read : form_.At(place.column).others) {
      if (read.row) {
        add({read.column, *read.row});
      } else if (nodes_.Has(read.column)) {
        edges.emplace_back(node, nodes_.Whole(read.column));
      }
    }
  }

  // Whether the cell has read all that its formula can read.
  bool ReadsAll(const CellPlace& place) const {
    if (!reads_all_[place.column]) return false;
    const std::vector<std::size_t>& errors = form_.ErrorRows(place.column);
    return !std::binary_search(errors.begin(), errors.end(), place.row);
  }

  // Whatever is in no possible ring is in no real one.
  NodeRings RealRings(const NodeRings& possible) {
    std::vector<GraphNode> cells;
    for (const auto& ring : possible) {
      std::copy_if(ring.begin(), ring.end(), std::back_inserter(cells),
                   [this](GraphNode node) { return nodes_.IsCell(node); });
    }
    std::sort(cells.begin(), cells.end());
    GraphEdges edges;
    for (auto cell = cells.begin(); cell != cells.end();) {
      const std::size_t column = nodes_.PlaceOf(*cell).column;
      const auto end = std::find_if(
          cell, cells.end(), [&](GraphNode node) { return nodes_.PlaceOf(node).column != column; });
      AddRealEdges({cell, end}, edges);
      cell = end;
    }
    return RingsOf(nodes_.Count(), edges);
  }

  // Of cells of one column.
  void AddRealEdges(std::span<const GraphNode> cells, GraphEdges& edges) {
    std::vector<CellPlace> watched;
    for (const GraphNode cell : cells) {
      const CellPlace place = nodes_.PlaceOf(cell);
      if (ReadsAll(place)) {
        AddPossibleEdges(place, edges);
      } else {
        edges.emplace_back(nodes_.Whole(place.column), cell);
        watched.push_back(place);
      }
    }
    if (watched.empty() || effort_.IsSpent()) return;
    const ObservedColumn& column = form_.At(watched.front().column);
    if (!column.can_be_watched) return;
    ReadsObserver observer(effort_, form_, *column.listener, nodes_, edges);
    WatchRows(column, observer, [&](const EvaluateRow& evaluate) {
      for (const CellPlace& place : watched) {
        observer.StartAt(place);
        evaluate(place.row);
      }
    });
  }

  const ObservedForm& form_;
  const std::vector<GraphNode>& columns_;
  Effort& effort_;
  Nodes nodes_;
  // By column: whether every evaluation without an error reads all that the formula can read.
  std::vector<bool> reads_all_;
};

// The rings among the definitions of one listener.
class DefinitionRings {
 public:
  DefinitionRings(const WatchedTable& table, FormulaListener& listener)
      : table_(table), listener_(listener) {}

  void Find(Effort& effort, std::vector<Problem>& problems) {
    if (!AreDefinitionsPure(listener_)) return;
    const auto entries = listener_.Configuration().definitions.Entries();
    std::map<std::u16string_view, GraphNode> numbers;
    for (const auto& entry : entries)
      numbers.emplace(entry.key, static_cast<GraphNode>(numbers.size()));
    GraphEdges edges;
    for (const auto& entry : entries) {
      const auto tree = DefinitionTree(listener_, *entry.formula);
      if (tree == nullptr) continue;
      for (const std::u16string& reference : ReferencesOf(*tree)) {
        const auto found = numbers.find(reference);
        if (found != numbers.end()) edges.emplace_back(numbers.at(entry.key), found->second);
      }
    }
    for (const auto& ring : RingsOf(numbers.size(), edges))
      Watch(entries, ring, numbers, effort, problems);
  }

 private:
  using Entries = std::vector<FormulaDictionary::Entry>;
  using Numbers = std::map<std::u16string_view, GraphNode>;

  // Notes which definitions the evaluation of one asks for.
  class Observer final : public FormulaObserver {
   public:
    Observer(Effort& effort, const Numbers& numbers, GraphEdges& edges)
        : FormulaObserver(effort), numbers_(numbers), edges_(edges) {}

   private:
    void DefinitionBegan(std::u16string_view name) override {
      const GraphNode number = numbers_.at(name);
      if (!sources_.empty()) edges_.emplace_back(sources_.back(), number);
      sources_.push_back(number);
    }
    void DefinitionEnded() override { sources_.pop_back(); }

    const Numbers& numbers_;
    GraphEdges& edges_;
    std::vector<GraphNode> sources_;
  };

  // What the definitions of a possible ring really ask for.
  void Watch(const Entries& entries, const std::vector<GraphNode>& possible, const Numbers& numbers,
             Effort& effort, std::vector<Problem>& problems) {
    GraphEdges edges;
    Observer observer(effort, numbers, edges);
    WatchDefinitions(listener_, observer, [&] {
      for (const GraphNode number : possible)
        listener_.DefinedValue(entries[number].key);
    });
    for (const auto& ring : RingsOf(numbers.size(), edges))
      problems.push_back(ProblemOf(entries, ring));
  }

  Problem ProblemOf(const Entries& entries, const std::vector<GraphNode>& ring) const {
    Problem problem(ProblemCode::kCircular);
    problem.table = table_.table;
    problem.definition = entries[ring.front()].key;
    problem.formula = entries[ring.front()].formula->Formula;
    std::vector<std::u16string> names;
    for (const GraphNode number : ring) {
      if (names.size() < kMostNames) names.push_back(DefinitionName(entries[number].key));
    }
    RingMessage message;
    message.Add(names, ring.size());
    problem.message = message.Text();
    problem.help = u"change one of the definitions";
    return problem;
  }

  const WatchedTable& table_;
  FormulaListener& listener_;
};

}  // namespace

Rings FindRings(const ObservedForm& form) {
  Rings result;
  result.cells.resize(form.Columns().size());
  result.column_rings.resize(form.Columns().size());
  const auto rings = RingsOfColumns(form);
  Effort effort(kWatchedTerms);
  for (std::size_t i = 0; i < rings.size(); ++i) {
    for (const GraphNode column : rings[i])
      result.column_rings[column] = i + 1;
    CellRings(form, rings[i], effort).Find(result);
  }
  for (const WatchedTable& table : form.Form().tables) {
    for (const Ref<FormulaListener>& listener : table.listeners)
      DefinitionRings(table, *listener).Find(effort, result.problems);
  }
  return result;
}

std::vector<Problem> FindUnsettled(const ObservedForm& form, const Rings& rings,
                                   std::span<const Ref<TableCell>> unsettled) {
  std::map<std::size_t, std::set<std::size_t>> rows_of_columns;
  for (const Ref<TableCell>& cell : unsettled) {
    const auto place = form.PlaceOf(*cell);
    if (place && !rings.Contains(*place)) rows_of_columns[place->column].insert(place->row);
  }
  std::vector<Problem> problems;
  for (const auto& [column, rows] : rows_of_columns) {
    Problem problem = form.ProblemOf(ProblemCode::kNotSettled, column);
    problem.row = *rows.begin();
    problem.rows = rows.size();
    problem.message = form.NameOf({column, *rows.begin()}) + u" still changed in the last round";
    problem.help = u"allow more rounds";
    problems.push_back(std::move(problem));
  }
  return problems;
}

}  // namespace ktformula
