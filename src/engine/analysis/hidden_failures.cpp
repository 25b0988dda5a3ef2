#include "analysis/hidden_failures.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "analysis/formula_parts.h"
#include "analysis/watched_evaluation.h"

#include "values/raised_error.h"

namespace ktformula {

namespace {

// What an argument is to its function.
enum class Part {
  // The first of ONERROR's, of several.
  kFirstChoice,
  // A condition that chooses among values.
  kChoice,
  // A condition that chooses rows.
  kWhere,
  // What an aggregate without a condition computes for each row.
  kEach,
};

// An argument, and what became of it so far.
struct Site {
  Site(Part its_part, const LayerItem& its_item, std::u16string_view its_function)
      : part(its_part), item(its_item), function(its_function) {}

  Part part;
  LayerItem item;
  std::u16string_view function;
  // Whether it was evaluated at all; whether it came out as it should: without an error or, for a
  // condition, Boolean.
  bool is_met = false;
  bool is_good = false;
  // What else it came to last: an error, or a value of another kind. Not an error that a cell shows
  // which is read: that is told of where it arises.
  std::optional<std::u16string> other;
  // Whether that is an error.
  bool fails = false;
  // Rows for which it failed for want of a number, and the first of these cells.
  std::size_t missing_rows = 0;
  std::size_t first_row = 0;
  std::size_t last_row = 0;
  std::u16string description;
  CellPlace cell;
  // An error of a row that the aggregate drops.
  std::optional<std::u16string> dropped;

  bool IsCondition() const noexcept { return part == Part::kChoice || part == Part::kWhere; }
};

std::vector<Site> SitesOf(const TokenTree& tree) {
  std::vector<Site> sites;
  for (const FormulaCall& call : CallsOf(tree)) {
    const std::size_t count = call.args.size();
    const auto add = [&](Part part, std::size_t argument) {
      sites.emplace_back(part, call.args[argument], call.row->name);
    };
    if (call.Is(u"ONERROR") && count > 1) add(Part::kFirstChoice, 0);
    if (call.Is(u"IF")) {
      for (std::size_t i = 0; i + 2 < count; i += 2)
        add(Part::kChoice, i);
    }
    if ((call.IsAggregate() || call.Is(u"SELECT")) && count == 3) add(Part::kWhere, 2);
    if (call.Is(u"COUNT") && count == 2) add(Part::kWhere, 1);
    if (call.IsAggregate() && count == 2) add(Part::kEach, 0);
  }
  return sites;
}

std::u16string KindText(const CellValue& value) {
  switch (value.CellValueType()) {
    case kCellValueTypeString: return u"a text";
    case kCellValueTypeNumber: return u"a number";
    case kCellValueTypeDate: return u"a date";
    case kCellValueTypeStructure: return u"a structure";
    default: return u"nothing";
  }
}

bool IsTruth(const CellValue& value) {
  return value.CellValueType() == kCellValueTypeBoolean ||
         (value.CellValueType() == kCellValueTypeString && value.IsBoolean());
}

// Notes what becomes of the sites of a formula.
class SiteObserver final : public FormulaObserver {
 public:
  SiteObserver(Effort& effort, const ObservedForm& form, std::vector<Site>& sites)
      : FormulaObserver(effort), form_(form) {
    for (Site& site : sites)
      sites_.emplace(site.item.Index(), &site);
  }

  // Another row is evaluated.
  void StartAt(std::size_t row) { row_ = row; }

 private:
  // A site that is under evaluation, and what was read within it: missing numbers, and computed
  // cells that show an error.
  struct Open {
    Site* site;
    std::size_t depth;
    std::vector<CellPlace> missing;
    std::vector<CellPlace> failed;
  };

  void Began(const Frame& frame) override {
    const auto found = sites_.find(frame.item.Index());
    if (found != sites_.end()) open_.push_back({found->second, Frames().size(), {}, {}});
  }

  void Ended(const Frame&, const CellValue& value, const RaisedError* raised) override {
    if (open_.empty() || open_.back().depth != Frames().size() + 1) return;
    const Open open = std::move(open_.back());
    open_.pop_back();
    Note(open, value, raised);
    if (open_.empty()) return;
    // An outer site has read it too.
    Append(open.missing, open_.back().missing);
    Append(open.failed, open_.back().failed);
  }

  static void Append(const std::vector<CellPlace>& from, std::vector<CellPlace>& to) {
    to.insert(to.end(), from.begin(), from.end());
  }

  void Read(const TableCell& cell) override {
    if (open_.empty()) return;
    const auto place = form_.PlaceOf(cell);
    if (!place) return;
    const ObservedColumn& column = form_.At(place->column);
    if (column.Computes(place->row)) {
      if (column.cells.Text(place->row).starts_with(kErrorPrefix)) {
        open_.back().failed.push_back(*place);
      }
    } else if (column.property->IsNumeric() && std::isnan(cell.MinNumber())) {
      open_.back().missing.push_back(*place);
    }
  }

  // The first of the cells that lead to this error.
  std::optional<CellPlace> CauseAmong(const std::vector<CellPlace>& cells,
                                      std::u16string_view error) const {
    const auto found = std::find_if(cells.begin(), cells.end(), [&](const CellPlace& place) {
      return MissingDescription(form_.At(place.column).cells.Text(place.row)) == error;
    });
    return found != cells.end() ? std::optional(*found) : std::nullopt;
  }

  void Note(const Open& open, const CellValue& value, const RaisedError* raised) {
    Site& site = *open.site;
    site.is_met = true;
    std::optional<std::u16string> error;
    if (raised != nullptr) {
      error = raised->Description();
    } else if (value.CellValueType() == kCellValueTypeError) {
      error = value.ErrorDescription();
    }
    if (!error && (!site.IsCondition() || IsTruth(value))) {
      site.is_good = true;
    } else if (!error) {
      site.other = KindText(value);
      site.fails = false;
    } else if (!CauseAmong(open.failed, *error)) {
      site.other = error;
      site.fails = true;
      if (raised != nullptr && site.part == Part::kEach && !site.dropped) site.dropped = error;
      const auto missing = CauseAmong(open.missing, *error);
      if (site.IsCondition() && missing) NoteMissing(site, *error, *missing);
    }
  }

  void NoteMissing(Site& site, const std::u16string& error, const CellPlace& cause) {
    if (site.missing_rows == 0) {
      site.first_row = row_;
      site.description = error;
      site.cell = cause;
    } else if (site.last_row == row_) {
      return;
    }
    site.last_row = row_;
    ++site.missing_rows;
  }

  const ObservedForm& form_;
  // By the number of the argument's item.
  std::map<std::uint32_t, Site*> sites_;
  std::vector<Open> open_;
  std::size_t row_ = 0;
};

// The hidden failures of one formula.
class FormulaStudy {
 public:
  FormulaStudy(const ObservedForm& form, std::size_t column)
      : form_(form), number_(column), column_(form.At(column)), sites_(SitesOf(*column_.tree)) {}

  void Find(bool has_known_error, std::vector<Problem>& problems) {
    if (sites_.empty()) return;
    Effort effort(TermsOver(column_.cells.Count()));
    SiteObserver observer(effort, form_, sites_);
    const bool is_complete = WatchRows(
        column_, observer, [&](const EvaluateRow& evaluate) { LookAtRows(observer, evaluate); });
    const SourceMap map(column_.tree);
    for (const Site& site : sites_) {
      if (site.missing_rows != 0) problems.push_back(MissingProblem(site, map));
      if (has_known_error || !site.is_met) continue;
      if (site.dropped && !shows_error_) problems.push_back(DroppedProblem(site, map));
      if (!is_complete || site.is_good || site.part == Part::kEach) continue;
      // Where numbers are missing, that says why.
      if (site.missing_rows == 0 && site.other) problems.push_back(NeverProblem(site, map));
    }
  }

 private:
  void LookAtRows(SiteObserver& observer, const EvaluateRow& evaluate) {
    const std::vector<std::size_t> incomplete = IncompleteColumns();
    for (std::size_t row = 0; row < column_.cells.Count(); ++row) {
      if (AreSettled() && incomplete.empty()) return;
      if (!column_.Computes(row) || (AreSettled() && !IsMissing(incomplete, row))) continue;
      observer.StartAt(row);
      shows_error_ |= evaluate(row).Error().has_value();
    }
  }

  // Whether more rows would tell nothing but of missing numbers in them.
  bool AreSettled() const {
    return std::all_of(sites_.begin(), sites_.end(), [](const Site& site) {
      return site.is_met && (site.is_good || site.part == Part::kEach);
    });
  }

  // Columns in which a number is missing that the formula reads in its own row, if it chooses by
  // conditions.
  std::vector<std::size_t> IncompleteColumns() const {
    std::vector<std::size_t> columns;
    const bool has_choice = std::any_of(
        sites_.begin(), sites_.end(), [](const Site& site) { return site.part == Part::kChoice; });
    if (!has_choice) return columns;
    std::copy_if(column_.own.begin(), column_.own.end(), std::back_inserter(columns),
                 [this](std::size_t read) { return !form_.MissingNumbers(read).empty(); });
    return columns;
  }
  bool IsMissing(const std::vector<std::size_t>& columns, std::size_t row) const {
    return std::any_of(columns.begin(), columns.end(), [&](std::size_t column) {
      return std::isnan(form_.At(column).cells.Min(row)) && !form_.At(column).Computes(row);
    });
  }

  Problem ProblemAt(ProblemCode code, const Site& site, const SourceMap& map) const {
    Problem problem = form_.ProblemOf(code, number_);
    problem.place = map.Of(site.item);
    return problem;
  }

  Problem MissingProblem(const Site& site, const SourceMap& map) const {
    Problem problem = ProblemAt(ProblemCode::kNoNumber, site, map);
    const std::u16string where = u" (in " + form_.NameOf(site.cell) + u")";
    if (site.part == Part::kWhere) {
      problem.severity = Severity::kNote;
      problem.message = u"the condition leaves out rows for which " + site.description + where;
    } else {
      problem.row = site.first_row;
      problem.rows = site.missing_rows;
      problem.message = u"the condition does not hold because " + site.description + where;
      problem.help = u"type a number in, or say with ONERROR what is to be chosen";
    }
    return problem;
  }

  Problem NeverProblem(const Site& site, const SourceMap& map) const {
    Problem problem = ProblemAt(ProblemCode::kSwallowed, site, map);
    if (site.part == Part::kFirstChoice) {
      problem.message = u"the first argument of ONERROR fails in every row: " + *site.other;
    } else {
      problem.message = u"the condition of " + std::u16string(site.function) +
                        u" is never true or false: " + *site.other;
      problem.help = site.fails ? u"" : u"compare something, as in [Mass] > 0";
    }
    return problem;
  }

  Problem DroppedProblem(const Site& site, const SourceMap& map) const {
    Problem problem = ProblemAt(ProblemCode::kSwallowed, site, map);
    problem.message =
        std::u16string(site.function) + u" hides that this fails in some rows: " + *site.dropped;
    problem.help = u"say with a condition, as the third argument, which rows are meant";
    return problem;
  }

  const ObservedForm& form_;
  std::size_t number_;
  const ObservedColumn& column_;
  std::vector<Site> sites_;
  bool shows_error_ = false;
};

bool IsErrorOf(const Problem& problem, const TableProperty& column) {
  return problem.severity == Severity::kError && problem.code != ProblemCode::kFormat &&
         IsSameObject(problem.column.get(), &column);
}

}  // namespace

std::vector<Problem> FindHiddenFailures(const ObservedForm& form, std::span<const Problem> known) {
  std::vector<Problem> problems;
  for (std::size_t number = 0; number < form.Columns().size(); ++number) {
    const ObservedColumn& column = form.At(number);
    if (!column.can_be_watched) continue;
    const bool has_known_error =
        std::any_of(known.begin(), known.end(),
                    [&](const Problem& problem) { return IsErrorOf(problem, *column.column); });
    FormulaStudy(form, number).Find(has_known_error, problems);
  }
  return problems;
}

}  // namespace ktformula
