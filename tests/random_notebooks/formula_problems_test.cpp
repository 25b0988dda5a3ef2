// Problems of random notebooks' formulas: no alarm over what computes, and the same whatever the
// host promises.
#include "analysis/formula_problems.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "analysis/error_messages.h"
#include "random_notebooks/comparison.h"
#include "random_notebooks/generator.h"
#include "random_notebooks/live_notebook.h"

namespace random_notebooks {
namespace {

using ktformula::Problem;
using ktformula::Severity;

std::string Described(const Problem& problem) {
  const std::string place = problem.place ? std::to_string(problem.place->start) : "-";
  return Printable(ktformula::KindOf(problem.code).text) + " in " + Printable(problem.formula) +
         " at " + place + ": " + Printable(problem.message) + " (" + Printable(problem.help) + ")";
}

std::string Described(const std::vector<Problem>& problems) {
  std::string text;
  for (const Problem& problem : problems)
    text += Described(problem) + "\n";
  return text;
}

// Whether the problem ends the evaluation of its formula in every row.
bool AlwaysFails(const Problem& problem) {
  return problem.severity == Severity::kError && problem.column &&
         problem.code != ktformula::ProblemCode::kFormat &&
         // The tree closes what is not closed, and drops what "!" is put behind.
         problem.message.find(u"closed") == std::u16string::npos &&
         problem.message.find(u'!') == std::u16string::npos &&
         // Functions may not come to it, or pass it over.
         problem.formula.find(u'(') == std::u16string::npos;
}

bool ShowsValue(const ktnotebook::NotebookCell& cell) {
  return cell.State() != u"entered" && !cell.Text().starts_with(u"#Error: ");
}

// The page about errors leaves none out that formulas come to.
TEST(RandomNotebooks, ShowErrorsThatAreExplained) {
  constexpr std::u16string_view kPrefix = u"#Error: ";
  std::size_t errors = 0;
  for (std::uint64_t seed = 0; seed < 150; ++seed) {
    const NotebookPlan plan = MakePlan(seed);
    const Mode mode{"promising", {}};
    LiveNotebook notebook(plan, mode);
    notebook.Recalculate(8, Step());
    for (const ktnotebook::NotebookTable* table : notebook.Form().Tables()) {
      for (const auto& column : table->Columns()) {
        // Texts may look like errors.
        if (column->Definition().type != ktnotebook::DataType::kNumber) continue;
        for (const auto row : table->Rows()) {
          const ktnotebook::NotebookCell cell = row.CellAt(column->Index());
          const std::u16string text = cell.Text();
          if (!cell.State().empty() || !text.starts_with(kPrefix)) continue;
          ++errors;
          EXPECT_NE(ktformula::FindErrorMessage(text.substr(kPrefix.size())), nullptr)
              << seed << ": " << Printable(text);
        }
      }
    }
  }
  EXPECT_GT(errors, 300U);
}

TEST(RandomNotebooks, ProblemsOfFormulas) {
  std::size_t failing = 0;
  std::size_t all = 0;
  for (std::uint64_t seed = 0; seed < 150; ++seed) {
    const NotebookPlan plan = MakePlan(seed);
    // Without promises nothing is known of rows that are not there.
    const auto is_empty = [](const TablePlan& table) { return table.rows.empty(); };
    if (std::any_of(plan.tables.begin(), plan.tables.end(), is_empty)) continue;
    const Mode promising{"promising", {}};
    const Mode plain{"plain", {false, false, false}};
    LiveNotebook notebook(plan, promising);
    LiveNotebook other(plan, plain);
    notebook.Recalculate(8, Step());
    other.Recalculate(8, Step());
    const std::vector<Problem> problems = FindFormulaProblems(notebook.Watched());
    const std::vector<Problem> others = FindFormulaProblems(other.Watched());
    ASSERT_EQ(Described(problems), Described(others)) << seed;
    all += problems.size();
    for (const Problem& problem : problems) {
      if (!AlwaysFails(problem)) continue;
      ++failing;
      const auto& column = static_cast<const ktnotebook::NotebookColumn&>(*problem.column);
      for (const auto row : column.Parent().Rows())
        EXPECT_FALSE(ShowsValue(row.CellAt(column.Index()))) << seed << ' ' << Described(problem);
    }
  }
  EXPECT_GT(all, 100U);
  EXPECT_GT(failing, 10U);
}

}  // namespace
}  // namespace random_notebooks
