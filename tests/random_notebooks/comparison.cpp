#include "random_notebooks/comparison.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include "random_notebooks/generator.h"
#include "random_notebooks/smaller_plans.h"

#include "values/platform.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace random_notebooks {

using ktnotebook::NotebookCell;
using ktnotebook::NotebookColumn;
using ktnotebook::NotebookForm;
using ktnotebook::NotebookTable;

namespace {

const std::array<Mode, 5> kModes{{
    {"asked", {.binding = false, .columns = false, .changes = false}},
    {"bound", {.binding = true, .columns = false, .changes = false}},
    {"bound, columns", {.binding = true, .columns = true, .changes = false}},
    {"bound, columns, changes", {.binding = true, .columns = true, .changes = true}},
    {"all promises, nothing known before",
     {.binding = true, .columns = true, .changes = true},
     /*fresh=*/true},
}};

ktnotebook::NamedLocale LocaleOf(const Step& step) {
  return step.comma ? ktnotebook::NamedLocale{u"de_DE", {u',', u'.'}} : ktnotebook::NamedLocale();
}

std::string NumberText(double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", number);
  return text;
}

bool IsSameNumber(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right) ||
         (std::isnan(left) && std::isnan(right));
}

bool ShowsTheSame(const NotebookCell& left, const NotebookCell& right) {
  return left.Text() == right.Text() && IsSameNumber(left.MinNumber(), right.MinNumber()) &&
         IsSameNumber(left.MaxNumber(), right.MaxNumber()) &&
         left.Content().unit == right.Content().unit && left.State() == right.State() &&
         left.Tag() == right.Tag();
}

std::string Describe(const NotebookCell& cell) {
  return "\"" + Printable(cell.Text()) + "\" " + NumberText(cell.MinNumber()) + " .. " +
         NumberText(cell.MaxNumber()) + " unit \"" + Printable(cell.Content().unit) +
         "\" state \"" + Printable(cell.State()) + "\" tag \"" + Printable(cell.Tag()) + "\"";
}

std::string AddressOf(const NotebookCell& cell) {
  return Printable(cell.OwningColumn().Parent().Name()) + ":" + Printable(cell.Definition().name) +
         ":" + std::to_string(cell.OwningRow().Position());
}

std::string Describe(const Rounds& rounds) {
  return std::to_string(rounds.count) + (rounds.settled ? " rounds, settled" : " rounds") +
         (rounds.raised.empty() ? "" : ", raised " + Printable(rounds.raised));
}

std::string BothSides(const std::string& where, const std::string& reference,
                      const std::string& other) {
  return where + "\n  asked: " + reference + "\n  here:  " + other;
}

// All cells of the tables.
void ForEachCell(const NotebookForm& form, const std::function<void(const NotebookCell&)>& visit) {
  for (const NotebookTable* table : form.Tables()) {
    for (const auto row : table->Rows()) {
      for (std::size_t column = 0; column < table->Columns().size(); ++column)
        visit(row.CellAt(column));
    }
  }
}

// "" when the cells of both show the same.
std::string DifferenceOfCells(const LiveNotebook& reference, const LiveNotebook& other,
                              Totals& totals) {
  std::vector<NotebookCell> cells;
  ForEachCell(other.Form(), [&](const NotebookCell& cell) { cells.push_back(cell); });
  std::size_t count = 0;
  std::string difference;
  ForEachCell(reference.Form(), [&](const NotebookCell& cell) {
    const std::size_t index = count++;
    if (index >= cells.size() || !difference.empty() || ShowsTheSame(cell, cells[index])) return;
    difference =
        BothSides(AddressOf(cell) + " " + Printable(reference.FormulaOf(cell.OwningColumn())),
                  Describe(cell), Describe(cells[index]));
  });
  totals.cells += count;
  if (difference.empty() && count != cells.size()) {
    difference = BothSides("cells", std::to_string(count), std::to_string(cells.size()));
  }
  return difference;
}

bool IsSamePlace(const NotebookCell& left, const NotebookCell& right) {
  return left.Definition().key == right.Definition().key && left.RowIndex() == right.RowIndex();
}

// Which cells changed, and in what order.
std::string DifferenceOfChanges(const LiveNotebook& reference, const LiveNotebook& other) {
  const std::vector<NotebookCell>& left = reference.Form().Log().cells;
  const std::vector<NotebookCell>& right = other.Form().Log().cells;
  const auto [in_left, in_right] =
      std::mismatch(left.begin(), left.end(), right.begin(), right.end(), IsSamePlace);
  if (in_left == left.end() && in_right == right.end()) return {};
  return BothSides("changed cell " + std::to_string(in_left - left.begin() + 1),
                   in_left != left.end() ? AddressOf(*in_left) : "no more",
                   in_right != right.end() ? AddressOf(*in_right) : "no more");
}

// One plan in all modes.
class Lockstep {
 public:
  Lockstep(const NotebookPlan& plan, std::span<const Mode> modes, Totals& totals)
      : plan_(plan),
        totals_(totals),
        has_one_locale_(std::all_of(plan.steps.begin(), plan.steps.end(), [&](const Step& step) {
          return step.comma == plan.steps.front().comma;
        })) {
    for (const Mode& mode : modes)
      notebooks_.push_back(std::make_unique<LiveNotebook>(plan, mode));
  }

  std::optional<Difference> Run() {
    for (const Step& step : plan_.steps) {
      ++step_;
      RunStep(step);
      if (difference_) return difference_;
    }
    Look(true);
    CountFormulaCells();
    return difference_;
  }

 private:
  const LiveNotebook& Reference() const { return *notebooks_.front(); }

  void RunStep(const Step& step) {
    round_ = 0;
    ++totals_.recalculations;
    // What the edits do, they do in it too.
    const ktformula::LocaleScope kept_in(LocaleOf(step).separators);
    for (const auto& notebook : notebooks_) {
      notebook->Form().SetLocale(LocaleOf(step));
      for (const Edit& edit : step.edits)
        notebook->Apply(edit);
      if (has_one_locale_) notebook->Renew();
    }
    if (!step.look_at_rounds) {
      RunRounds(step, step.maximum_rounds, step.look_at_end);
      return;
    }
    for (bool goes_on = true; goes_on && round_ < step.maximum_rounds && !difference_;)
      goes_on = RunRounds(step, 1, true);
  }

  // Whether there is more to do.
  bool RunRounds(const Step& step, int maximum_rounds, bool look) {
    std::vector<Rounds> results;
    for (const auto& notebook : notebooks_)
      results.push_back(notebook->Recalculate(maximum_rounds, step));
    const Rounds& expected = results.front();
    round_ += maximum_rounds;
    totals_.rounds += static_cast<std::uint64_t>(expected.count);
    for (std::size_t i = 1; i < results.size(); ++i) {
      if (results[i] != expected) {
        Report(i, BothSides("rounds", Describe(expected), Describe(results[i])));
      }
    }
    Look(look);
    return !expected.settled && expected.raised.empty();
  }

  // Compares, with or without a look at the cells.
  void Look(bool at_cells) {
    for (std::size_t i = 1; i < notebooks_.size(); ++i) {
      const LiveNotebook& other = *notebooks_[i];
      if (at_cells) Report(i, DifferenceOfCells(Reference(), other, totals_));
      Report(i, DifferenceOfChanges(Reference(), other));
      if (other.Calls() != Reference().Calls()) {
        Report(i, BothSides("calls of the host's functions", std::to_string(Reference().Calls()),
                            std::to_string(other.Calls())));
      }
    }
  }

  // The first one counts.
  void Report(std::size_t mode, std::string what) {
    if (difference_ || what.empty()) return;
    difference_ = {notebooks_[mode]->OwnMode().name, step_, round_, std::move(what)};
  }

  void CountFormulaCells() {
    totals_.calls += Reference().Calls();
    ForEachCell(Reference().Form(), [&](const NotebookCell& cell) {
      const NotebookColumn& column = cell.OwningColumn();
      if (!column.Parent().HasFormula(column) || !cell.State().empty()) return;
      const std::u16string text = cell.Text();
      ++totals_.formula_cells;
      if (text.empty()) {
        ++totals_.empty;
      } else if (text.starts_with(ktformula::kErrorPrefix)) {
        ++totals_.errors;
      } else if (ktformula::IsDigit(text.front()) || text.front() == u'-') {
        ++totals_.numbers;
      } else {
        ++totals_.texts;
      }
    });
  }

  const NotebookPlan& plan_;
  Totals& totals_;
  std::vector<std::unique_ptr<LiveNotebook>> notebooks_;
  // Otherwise nothing is made anew: a formula keeps the numerals that it was parsed with.
  bool has_one_locale_;
  std::size_t step_ = 0;
  int round_ = 0;
  std::optional<Difference> difference_;
};

// The members of Totals with what they are called.
struct TotalsRow {
  std::uint64_t Totals::*member;
  std::string_view words;
};
constexpr TotalsRow kTotalsRows[] = {
    {&Totals::notebooks, "notebooks"},
    {&Totals::recalculations, "recalculations"},
    {&Totals::rounds, "rounds"},
    {&Totals::cells, "cells compared"},
    {&Totals::calls, "calls of host functions"},
    {&Totals::formula_cells, "formula cells at the ends"},
    {&Totals::errors, "errors"},
    {&Totals::numbers, "numbers"},
    {&Totals::texts, "texts"},
    {&Totals::empty, "empty"},
};

std::string Describe(const Difference& difference) {
  return "mode \"" + std::string(difference.mode) + "\", step " + std::to_string(difference.step) +
         ", round " + std::to_string(difference.round) + ": " + difference.what;
}

}  // namespace

void Totals::Add(const Totals& other) {
  for (const TotalsRow& row : kTotalsRows)
    this->*row.member += other.*row.member;
}

std::string Describe(const Totals& totals) {
  std::string line;
  for (const TotalsRow& row : kTotalsRows) {
    if (!line.empty()) line += ", ";
    line += std::to_string(totals.*row.member) + " " + std::string(row.words);
  }
  return line;
}

std::span<const Mode> AllModes() {
  return kModes;
}

std::optional<Difference> Compare(const NotebookPlan& plan, std::span<const Mode> modes,
                                  Totals& totals) {
  ++totals.notebooks;
  return Lockstep(plan, modes, totals).Run();
}

std::string Examine(std::uint64_t seed, std::span<const Mode> modes, Totals& totals) {
  NotebookPlan plan = MakePlan(seed);
  std::optional<Difference> difference = Compare(plan, modes, totals);
  if (!difference) return {};
  const std::string first = Describe(*difference);
  Totals unused;
  plan = Smallest(std::move(plan), [&](const NotebookPlan& candidate) {
    const std::optional<Difference> found = Compare(candidate, modes, unused);
    if (found) difference = found;
    return found.has_value();
  });
  return "seed " + std::to_string(seed) + ", " + first +
         "\nthe smallest notebook with one: " + Describe(*difference) + "\n" + Describe(plan);
}

}  // namespace random_notebooks
