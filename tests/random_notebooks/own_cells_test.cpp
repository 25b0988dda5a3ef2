// Random notebooks show the same when a program keeps their cells itself.
#include "notebook/tables/own_cells.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "random_notebooks/comparison.h"
#include "random_notebooks/generator.h"
#include "random_notebooks/live_notebook.h"

#include "values/raised_error.h"

namespace random_notebooks {
namespace {

using ktnotebook::NotebookCell;
using ktnotebook::NotebookTable;
using ktnotebook::OwnPlace;

// What a program of its own would keep of a cell.
struct Kept {
  ktnotebook::CellContent content;
  std::u16string state;
  std::u16string tag;
};

// A table with the columns, rows and cells that the notebook's table had when it was copied.
class KeptTable final : public ktnotebook::OwnTable {
 public:
  void Copy(const NotebookTable& table) {
    columns_.clear();
    for (const auto& column : table.Columns()) {
      const ktnotebook::PropertyDefinition& known = column->Definition();
      columns_.push_back({known.name, known.type,
                          known.unit != nullptr ? known.unit->UnitText() : std::u16string(),
                          known.number_formatting});
    }
    ids_.clear();
    rows_.clear();
    for (const auto row : table.Rows()) {
      ids_.push_back(row.ID());
      std::vector<Kept>& cells = rows_.emplace_back();
      for (std::size_t column = 0; column < columns_.size(); ++column) {
        const NotebookCell cell = row.CellAt(column);
        cells.push_back({cell.Content(), cell.State(), cell.Tag()});
      }
    }
  }

  const Kept& At(std::size_t row, std::size_t column) const { return rows_[row][column]; }

  std::vector<ktnotebook::OwnColumn> Columns() const override { return columns_; }
  std::size_t RowCount() const override { return rows_.size(); }
  ktnotebook::OwnNumbers Numbers(std::size_t row, std::size_t column) const override {
    return {At(row, column).content.min, At(row, column).content.max};
  }
  std::u16string Text(std::size_t row, std::size_t column) const override {
    return At(row, column).content.text;
  }
  void Write(std::size_t row, std::size_t column, const ktnotebook::CellContent& content) override {
    rows_[row][column] = {content, u"", u""};
  }
  ktnotebook::TypedMark Mark(std::size_t row, std::size_t column) const override {
    return {At(row, column).state, At(row, column).tag};
  }
  std::u16string RowId(std::size_t row) const override { return ids_[row]; }

 private:
  std::vector<ktnotebook::OwnColumn> columns_;
  std::vector<std::u16string> ids_;
  std::vector<std::vector<Kept>> rows_;
};

bool IsSameNumber(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right) ||
         (std::isnan(left) && std::isnan(right));
}

std::string Describe(const ktnotebook::CellContent& content) {
  return '"' + Printable(content.text) + "\" " + std::to_string(content.min) + " .. " +
         std::to_string(content.max) + " unit \"" + Printable(content.unit) + '"';
}

std::string Describe(const ktformula::Problem& problem) {
  return Printable(ktformula::KindOf(problem.code).text) + " in " + Printable(problem.formula) +
         ": " + Printable(problem.message) + " (" + Printable(problem.help) + ") in rows " +
         std::to_string(problem.rows.value_or(0));
}

std::vector<std::string> Describe(const std::vector<ktformula::Problem>& problems) {
  std::vector<std::string> texts;
  for (const ktformula::Problem& problem : problems)
    texts.push_back(Describe(problem));
  return texts;
}

// What both sides have: tables with one listener, and one locale all along. What a function of the
// host does to a notebook, it can not do to a copy of it.
NotebookPlan Reduced(NotebookPlan plan) {
  for (TablePlan& table : plan.tables)
    table.listeners.resize(std::min<std::size_t>(table.listeners.size(), 1));
  plan.pokes.clear();
  for (Step& step : plan.steps) {
    step.comma = plan.steps.front().comma;
    std::erase_if(step.edits, [](const Edit& edit) { return edit.kind == EditKind::kTerminate; });
  }
  return plan;
}

const Mode kNotebook{"notebook", {}};

// A notebook, and a host of own cells that is given the notebook's before each recalculation.
class BothSides {
 public:
  explicit BothSides(const NotebookPlan& plan)
      : notebook_(plan, kNotebook),
        functions_(plan, kNotebook),
        locale_(plan.steps.front().comma ? ktformula::Locale{u',', u'.'} : ktformula::Locale{}),
        host_(functions_.Functions(), locale_) {
    const ktnotebook::NotebookForm& form = notebook_.Form();
    notebook_.Form().SetLocale({u"", locale_});
    for (const auto& field : form.Fields()) {
      if (!field->OwnTable()) host_.AddField(field->Name(), field->Content());
    }
    for (const NotebookTable* table : form.Tables())
      host_.Add(table->Name(), *tables_.emplace_back(std::make_unique<KeptTable>()));
  }

  void Run(const Step& step) {
    const ktformula::LocaleScope scope(locale_);
    for (const Edit& edit : step.edits)
      notebook_.Apply(edit);
    CopyAll();
    const Rounds rounds = notebook_.Recalculate(step.maximum_rounds, step);
    ktnotebook::OwnRecalculation own;
    Rounds own_rounds;
    try {
      const auto first = step.first_table ? FormTables()[*step.first_table]->Name() : u"";
      own = host_.Recalculate(step.maximum_rounds, first);
      own_rounds = {own.rounds, own.settled, u""};
    } catch (const ktformula::RaisedError& error) {
      own_rounds.raised = error.Source() + u": " + error.Description();
    }
    ASSERT_EQ(own_rounds, rounds) << Printable(own_rounds.raised) << own_rounds.count;
    if (rounds.raised.empty()) ExpectSameChanges(own);
    ExpectSameCells();
  }

  void CompareAnalysis() {
    const ktformula::LocaleScope scope(locale_);
    EXPECT_EQ(Describe(host_.Check()), Describe(FindProblems(notebook_.Watched())));
    for (const NotebookTable* table : FormTables()) {
      if (table->Rows().size() == 0) continue;
      for (const auto& column : table->Columns()) {
        const OwnPlace place{table->Name(), table->Rows().size() - 1, column->Index()};
        const auto own = host_.Explain(place);
        const auto theirs =
            ExplainCell(notebook_.Watched(), *column->Cell(table->RowCount()).get());
        EXPECT_EQ(own.steps.size(), theirs.steps.size());
        EXPECT_EQ(own.value.value.Text(), theirs.value.value.Text());
        EXPECT_EQ(own.shown ? own.shown->pattern + own.shown->unit : u"",
                  theirs.shown ? theirs.shown->pattern + theirs.shown->unit : u"");
      }
    }
  }

  std::size_t Cells() const noexcept { return cells_; }

 private:
  std::vector<NotebookTable*> FormTables() const { return notebook_.Form().Tables(); }

  void CopyAll() {
    for (std::size_t i = 0; i < tables_.size(); ++i) {
      const NotebookTable& table = *FormTables()[i];
      tables_[i]->Copy(table);
      if (table.Listeners().empty()) continue;
      const auto& theirs = dynamic_cast<ktformula::IKtFormulaListener&>(*table.Listeners().front());
      ktformula::IKtFormulaListener& own = host_.Listener(table.Name());
      if (own.ResultFormat() != theirs.ResultFormat()) own.SetResultFormat(theirs.ResultFormat());
      own.ReplaceFormulas({}, theirs.Definitions());
      for (const auto& column : table.Columns()) {
        if (const auto entry = theirs.FormulaOf(column->Definition().key)) {
          host_.SetFormula(table.Name(), column->Definition().name, entry->formula,
                           entry->string_format);
        }
      }
    }
  }

  void ExpectSameChanges(const ktnotebook::OwnRecalculation& own) {
    std::vector<OwnPlace> places;
    for (const NotebookCell& cell : notebook_.Form().Log().cells) {
      const OwnPlace place{cell.OwningRow().Parent().Name(), cell.RowIndex(),
                           cell.OwningColumn().Index()};
      if (std::find(places.begin(), places.end(), place) == places.end()) places.push_back(place);
    }
    EXPECT_EQ(own.changed, places);
  }

  void ExpectSameCells() {
    for (std::size_t i = 0; i < tables_.size(); ++i) {
      const NotebookTable& table = *FormTables()[i];
      for (const auto row : table.Rows()) {
        for (std::size_t column = 0; column < table.Columns().size(); ++column) {
          ++cells_;
          const NotebookCell cell = row.CellAt(column);
          const Kept& kept = tables_[i]->At(row.Index(), column);
          const ktnotebook::CellContent content = cell.Content();
          EXPECT_TRUE(content.text == kept.content.text && content.unit == kept.content.unit &&
                      IsSameNumber(content.min, kept.content.min) &&
                      IsSameNumber(content.max, kept.content.max) && cell.State() == kept.state &&
                      cell.Tag() == kept.tag)
              << Printable(notebook_.FormulaOf(cell.OwningColumn()))
              << "\n  notebook: " << Describe(content)
              << "\n  own:      " << Describe(kept.content);
        }
      }
    }
  }

  LiveNotebook notebook_;
  // Counts the calls of the other side's functions.
  LiveNotebook functions_;
  ktformula::Locale locale_;
  std::vector<std::unique_ptr<KeptTable>> tables_;
  ktnotebook::OwnCellsHost host_;
  std::size_t cells_ = 0;
};

TEST(OwnCells, ShowWhatNotebooksShow) {
  constexpr std::uint64_t kSeeds = 300;
  std::size_t cells = 0;
  for (std::uint64_t seed = 0; seed < kSeeds && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const NotebookPlan plan = Reduced(MakePlan(seed));
    BothSides both(plan);
    for (const Step& step : plan.steps) {
      both.Run(step);
      if (HasFailure()) return;
    }
    if (seed % 10 == 0) both.CompareAnalysis();
    cells += both.Cells();
  }
  EXPECT_GT(cells, 10'000U);
}

}  // namespace
}  // namespace random_notebooks
