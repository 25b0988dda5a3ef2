// A program's own cells against the same in the notebook's tables; items are computed cells.
#include <benchmark/benchmark.h>
#include <vector>

#include "notebook/tables/model.h"
#include "notebook/tables/own_cells.h"
#include "notebook/tables/plain_framework.h"
#include "notebook/tables/recalculation.h"

namespace {

constexpr std::size_t kRows = 100'000;
constexpr std::u16string_view kNames[] = {u"Mass", u"MW", u"Moles", u"Share"};

// Two columns of numbers in structs, and two that formulas compute.
class OwnRows final : public ktnotebook::OwnTable {
 public:
  struct Row {
    double cells[std::size(kNames)];
  };

  std::vector<ktnotebook::OwnColumn> Columns() const override {
    std::vector<ktnotebook::OwnColumn> columns;
    for (const std::u16string_view name : kNames)
      columns.push_back({std::u16string(name)});
    return columns;
  }
  std::size_t RowCount() const override { return rows.size(); }
  ktnotebook::OwnNumbers Numbers(std::size_t row, std::size_t column) const override {
    return rows[row].cells[column];
  }
  void Write(std::size_t row, std::size_t column, const ktnotebook::CellContent& content) override {
    rows[row].cells[column] = content.min;
  }

  std::vector<Row> rows{kRows};
};

double Mass(std::size_t row, std::size_t round) {
  return static_cast<double>(row % 1000 + 1 + round) / 8;
}
double MolarMass(std::size_t row) {
  return static_cast<double>(row % 300 + 18);
}

void Done(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(2 * kRows));
}

// `changed` is how many masses are others than before.
void RecalculateOwnCells(benchmark::State& state, std::size_t changed) {
  OwnRows table;
  for (std::size_t row = 0; row < kRows; ++row)
    table.rows[row] = {{Mass(row, 0), MolarMass(row), 0, 0}};
  ktnotebook::OwnCellsHost host;
  host.Add(u"T", table);
  host.SetFormula(u"T", u"Moles", u"[Mass]/[MW]");
  host.SetFormula(u"T", u"Share", u"[Moles]*100/[MW]");
  host.Recalculate();
  std::size_t round = 0;
  for (auto _ : state) {
    ++round;
    for (std::size_t row = 0; row < changed; ++row)
      table.rows[row].cells[0] = Mass(row, round % 2);
    if (!host.Recalculate().settled) state.SkipWithError("not settled");
  }
  Done(state);
}

void RecalculateNotebook(benchmark::State& state, std::size_t changed) {
  using ktformula::MakeRef;
  const auto units = MakeRef<ktnotebook::NotebookUnitCatalogue>();
  const auto framework = MakeRef<ktnotebook::PlainFramework>(units);
  const auto form = MakeRef<ktnotebook::NotebookForm>(u"Bench", units);
  ktnotebook::NotebookTable& table = *form->AddTable(u"T", 1);
  for (std::int32_t key = 1; key <= static_cast<std::int32_t>(std::size(kNames)); ++key) {
    table.AddColumn(
        {key, std::u16string(kNames[key - 1]), ktnotebook::DataType::kNumber, nullptr, false});
  }
  table.AddNumberedRows(kRows);
  const auto write = [&](std::size_t column, std::size_t count, auto number) {
    std::vector<double> numbers;
    for (std::size_t row = 0; row < count; ++row)
      numbers.push_back(number(row));
    table.Columns()[column]->Cells()->WriteNumbers(0, numbers);
  };
  write(0, kRows, [](std::size_t row) { return Mass(row, 0); });
  write(1, kRows, MolarMass);
  const auto listener = ktnotebook::CreateOwnListener(ktformula::kFormulaListenerIdentifier);
  listener->Initialize(framework, form->OwnerOf(table.OwnField()), nullptr);
  table.AddListener(listener);
  auto& formulas = dynamic_cast<ktformula::IKtFormulaListener&>(*listener);
  formulas.SetPropertyFormula(3, u"[Mass]/[MW]", u"");
  formulas.SetPropertyFormula(4, u"[Moles]*100/[MW]", u"");
  ktnotebook::RecalculateForm(*form, RoundLimit(*form));
  std::size_t round = 0;
  for (auto _ : state) {
    ++round;
    write(0, changed, [round](std::size_t row) { return Mass(row, round % 2); });
    if (!ktnotebook::RecalculateForm(*form, RoundLimit(*form)).settled)
      state.SkipWithError("not settled");
  }
  Done(state);
}

BENCHMARK_CAPTURE(RecalculateOwnCells, all_rows_changed, kRows)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RecalculateNotebook, all_rows_changed, kRows)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RecalculateOwnCells, one_row_changed, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RecalculateNotebook, one_row_changed, 1)->Unit(benchmark::kMillisecond);

}  // namespace
