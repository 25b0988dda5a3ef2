// Time per formula cell of one recalculation pass, for tables of growing length: a cost per cell
// that grows with the table would show here.
#include <benchmark/benchmark.h>

#include "analysis/find_problems.h"

#include "notebook/files/framework.h"
#include "notebook/files/watched_form.h"
#include "notebook/tables/recalculation.h"

namespace {

using ktformula::Ref;

// A form with one table of masses and molar masses, its other columns computed.
class Bench {
 public:
  explicit Bench(std::int64_t rows)
      : framework_(ktformula::MakeRef<ktnotebook::NotebookFramework>()),
        form_(ktformula::MakeRef<ktnotebook::NotebookForm>(u"Bench", framework_->OwnUnits())),
        table_(form_->AddTable(u"Samples", 1)) {
    AddColumn(u"Mass", ktnotebook::DataType::kNumber, u"g");
    AddColumn(u"MW", ktnotebook::DataType::kNumber, u"g/mol");
    for (std::int64_t i = 1; i <= rows; ++i)
      AddRow(i);
    listener_ = &framework_->AddFormulaListener(*table_);
  }

  void AddTyped(std::u16string_view column, std::u16string_view unit, std::u16string_view text) {
    AddColumn(column, ktnotebook::DataType::kNumber, unit);
    for (const ktnotebook::NotebookRow& row : table_->Rows())
      row.CellAt(static_cast<std::size_t>(table_->ColumnCount()) - 1).Enter(text);
  }
  void AddFormula(std::u16string_view column, ktnotebook::DataType type, std::u16string_view unit,
                  std::u16string_view formula) {
    const std::int32_t key = AddColumn(column, type, unit);
    listener_->SetPropertyFormula(key, formula, u"");
  }
  void AddDefinition(std::u16string_view name, std::u16string_view formula) {
    listener_->SetDefinition(name, formula);
  }

  void Pass() { ktnotebook::RecalculateForm(*form_, 1); }
  void Settle() { ktnotebook::RecalculateForm(*form_, ktnotebook::RoundLimit(*form_)); }
  std::size_t CountProblems() {
    return FindProblems(ktnotebook::WatchForm(*form_, *framework_)).size();
  }
  void TypeMass(std::int64_t row, std::u16string_view text) {
    table_->Rows()[static_cast<std::size_t>(row)].CellAt(0).Enter(text);
  }

 private:
  std::int32_t AddColumn(std::u16string_view name, ktnotebook::DataType type,
                         std::u16string_view unit) {
    ktnotebook::PropertyDefinition definition;
    definition.key = table_->ColumnCount() + 1;
    definition.name = name;
    definition.type = type;
    definition.unit = framework_->OwnUnits()->FindUnit(unit);
    definition.number_formatting = definition.unit != nullptr;
    return table_->AddColumn(definition)->Definition().key;
  }

  void AddRow(std::int64_t number) {
    const std::string id = std::to_string(number);
    const std::u16string text(id.begin(), id.end());
    const ktnotebook::NotebookRow row = *table_->AddRow(text);
    row.CellAt(0).Enter(text + u".25 mg");
    row.CellAt(1).Enter(u"122.12 g/mol");
  }

  Ref<ktnotebook::NotebookFramework> framework_;
  Ref<ktnotebook::NotebookForm> form_;
  ktnotebook::NotebookTable* table_;
  ktformula::IKtFormulaListener* listener_ = nullptr;
};

// One pass over the table for each iteration; items are formula cells.
void RunPasses(benchmark::State& state, Bench& bench, std::int64_t columns) {
  for (auto _ : state)
    bench.Pass();
  state.SetItemsProcessed(state.iterations() * state.range(0) * columns);
}

void Product(benchmark::State& state) {
  Bench bench(state.range(0));
  bench.AddFormula(u"Result", ktnotebook::DataType::kNumber, u"", u"[Mass]*[MW]");
  RunPasses(state, bench, 1);
}

void FormattedQuotient(benchmark::State& state) {
  Bench bench(state.range(0));
  bench.AddFormula(u"Moles", ktnotebook::DataType::kNumber, u"mmol", u"[Mass]/[MW]");
  RunPasses(state, bench, 1);
}

void ComparisonAsText(benchmark::State& state) {
  Bench bench(state.range(0));
  bench.AddFormula(u"Heavy", ktnotebook::DataType::kString, u"", u"[Mass] > 0.5");
  RunPasses(state, bench, 1);
}

void Definition(benchmark::State& state) {
  Bench bench(state.range(0));
  bench.AddDefinition(u"factor", u"2*3.5");
  bench.AddFormula(u"Scaled", ktnotebook::DataType::kNumber, u"", u"[Mass]*[factor]");
  RunPasses(state, bench, 1);
}

void ThreeColumns(benchmark::State& state) {
  Bench bench(state.range(0));
  bench.AddDefinition(u"factor", u"2*3.5");
  bench.AddFormula(u"Moles", ktnotebook::DataType::kNumber, u"mmol", u"[Mass]/[MW]");
  bench.AddFormula(u"Heavy", ktnotebook::DataType::kString, u"", u"[Mass] > 0.5");
  bench.AddFormula(u"Scaled", ktnotebook::DataType::kNumber, u"", u"[Mass]*[factor]");
  RunPasses(state, bench, 3);
}

// One mass is typed, with as many digits and the same unit as before, and shown in all that depends
// on it.
void TypedCell(benchmark::State& state) {
  Bench bench(state.range(0));
  bench.AddTyped(u"Volume", u"ml", u"2.50 ml");
  bench.AddFormula(u"Moles", ktnotebook::DataType::kNumber, u"mmol", u"[Mass]/[MW]");
  bench.AddFormula(u"Concentration", ktnotebook::DataType::kNumber, u"mol/L", u"[Moles]/[Volume]");
  bench.Settle();
  constexpr std::u16string_view kMasses[] = {u"3.25 mg", u"4.25 mg"};
  std::size_t edits = 0;
  for (auto _ : state) {
    bench.TypeMass(state.range(0) / 2, kMasses[++edits % 2]);
    bench.Settle();
  }
}

// All problems of a form that was recalculated, once for each iteration: of simple formulas, of
// those that have to be evaluated once more, and of cells that need each other.
void FindProblemsOf(benchmark::State& state, Bench& bench) {
  bench.Pass();
  for (auto _ : state)
    benchmark::DoNotOptimize(bench.CountProblems());
}

void ProblemsOfSimpleFormulas(benchmark::State& state) {
  Bench bench(state.range(0));
  bench.AddDefinition(u"factor", u"2*3.5");
  bench.AddFormula(u"Moles", ktnotebook::DataType::kNumber, u"mmol", u"[Mass]/[MW]");
  bench.AddFormula(u"Heavy", ktnotebook::DataType::kString, u"", u"[Mass] > 0.5");
  bench.AddFormula(u"Scaled", ktnotebook::DataType::kNumber, u"", u"[Mass]*[factor]");
  FindProblemsOf(state, bench);
}

void ProblemsOfChoices(benchmark::State& state) {
  Bench bench(state.range(0));
  bench.AddFormula(u"Some", ktnotebook::DataType::kNumber, u"",
                   u"IF([Mass] > 1000, IF([MW] > 0, 1, 2), SUM([Mass]*2, [Samples]))");
  bench.AddFormula(u"Safe", ktnotebook::DataType::kNumber, u"", u"ONERROR([Mass]/0, [MW])");
  FindProblemsOf(state, bench);
}

void ProblemsOfRings(benchmark::State& state) {
  Bench bench(state.range(0));
  bench.AddFormula(u"One", ktnotebook::DataType::kNumber, u"", u"[Other]+1");
  bench.AddFormula(u"Other", ktnotebook::DataType::kNumber, u"", u"[One]+1");
  FindProblemsOf(state, bench);
}

// An aggregate in the column's formula walks the table again for every cell: the time for a pass
// grows with the square of the table's length. The same aggregate in a definition is computed once.
constexpr std::u16string_view kSum = u"SUM([Mass])";
constexpr std::u16string_view kFilteredSum = u"SUM([Mass], [Samples], [Mass] > 0.001)";

void ShareOf(benchmark::State& state, std::u16string_view aggregate) {
  Bench bench(state.range(0));
  bench.AddFormula(u"Share", ktnotebook::DataType::kNumber, u"",
                   u"[Mass]/" + std::u16string(aggregate));
  RunPasses(state, bench, 1);
  state.SetComplexityN(state.range(0));
}

void ShareOfDefinition(benchmark::State& state, std::u16string_view aggregate) {
  Bench bench(state.range(0));
  bench.AddDefinition(u"total", aggregate);
  bench.AddFormula(u"Share", ktnotebook::DataType::kNumber, u"", u"[Mass]/[total]");
  RunPasses(state, bench, 1);
  state.SetComplexityN(state.range(0));
}

// One pass each: the longest of them takes more than six minutes.
void SquareLengths(benchmark::internal::Benchmark* bench) {
  bench->RangeMultiplier(10)->Range(1'000, 100'000)->Iterations(1)->Complexity();
  bench->Unit(benchmark::kMillisecond);
}

void TableLengths(benchmark::internal::Benchmark* bench) {
  bench->RangeMultiplier(10)->Range(1'000, 100'000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(Product)->Apply(TableLengths);
BENCHMARK(FormattedQuotient)->Apply(TableLengths);
BENCHMARK(ComparisonAsText)->Apply(TableLengths);
BENCHMARK(Definition)->Apply(TableLengths);
BENCHMARK(ThreeColumns)->Apply(TableLengths);
BENCHMARK(TypedCell)->Apply(TableLengths)->Unit(benchmark::kMicrosecond);
BENCHMARK(ProblemsOfSimpleFormulas)->Apply(TableLengths);
BENCHMARK(ProblemsOfChoices)->Apply(TableLengths);
BENCHMARK(ProblemsOfRings)->Apply(TableLengths);
BENCHMARK_CAPTURE(ShareOfDefinition, sum, kSum)->Apply(TableLengths)->Complexity();
BENCHMARK_CAPTURE(ShareOfDefinition, filtered_sum, kFilteredSum)->Apply(TableLengths)->Complexity();
BENCHMARK_CAPTURE(ShareOf, sum, kSum)->Apply(SquareLengths);
BENCHMARK_CAPTURE(ShareOf, filtered_sum, kFilteredSum)->Apply(SquareLengths);

}  // namespace
