// Columns written and read as a whole; items are cells.
#include <benchmark/benchmark.h>

#include "notebook/files/framework.h"
#include "notebook/tables/model.h"

namespace {

using ktformula::Ref;

constexpr std::size_t kRows = 1'000'000;

class Bench {
 public:
  explicit Bench(ktnotebook::DataType type)
      : framework_(ktformula::MakeRef<ktnotebook::NotebookFramework>()),
        form_(ktformula::MakeRef<ktnotebook::NotebookForm>(u"Bench", framework_->OwnUnits())) {
    ktnotebook::NotebookTable& table = *form_->AddTable(u"T", 1);
    cells_ = table.AddColumn({1, u"C", type, nullptr, false})->Cells();
    table.AddNumberedRows(kRows);
  }

  ktformula::ColumnCells& Cells() const { return *cells_; }

 private:
  Ref<ktnotebook::NotebookFramework> framework_;
  Ref<ktnotebook::NotebookForm> form_;
  ktformula::ColumnCells* cells_;
};

// Numbers of few digits.
std::vector<double> Numbers(double first) {
  std::vector<double> numbers;
  for (std::size_t i = 0; i < kRows; ++i)
    numbers.push_back((first + static_cast<double>(i)) / 8);
  return numbers;
}

void Done(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRows));
}

void RoundNumbers(benchmark::State& state) {
  const std::vector<double> numbers = Numbers(1);
  for (auto _ : state) {
    for (const double number : numbers)
      benchmark::DoNotOptimize(ktnotebook::RoundedToGeneralForm(number));
  }
  Done(state);
}

// All of them others than before, or none.
void WriteNumbers(benchmark::State& state, bool are_others) {
  const Bench bench(ktnotebook::DataType::kNumber);
  const std::vector<double> numbers[] = {Numbers(1), Numbers(are_others ? 2 : 1)};
  std::size_t round = 0;
  for (auto _ : state)
    bench.Cells().WriteNumbers(0, numbers[++round % 2]);
  Done(state);
}

void ReadTexts(benchmark::State& state) {
  const Bench bench(ktnotebook::DataType::kNumber);
  bench.Cells().WriteNumbers(0, Numbers(1));
  std::u16string buffer;
  for (auto _ : state) {
    for (std::size_t row = 0; row < kRows; ++row)
      benchmark::DoNotOptimize(bench.Cells().Text(row, buffer));
  }
  Done(state);
}

void WriteTexts(benchmark::State& state, bool are_others) {
  const Bench bench(ktnotebook::DataType::kString);
  const std::u16string_view texts[] = {u"high", u"low"};
  std::vector<std::uint32_t> which[2];
  for (std::uint32_t i = 0; i < kRows; ++i) {
    which[0].push_back(i / 3 % 2);
    which[1].push_back(are_others ? 1 - which[0].back() : which[0].back());
  }
  std::size_t round = 0;
  for (auto _ : state)
    bench.Cells().WriteTexts(0, which[++round % 2], texts, false);
  Done(state);
}

BENCHMARK(RoundNumbers)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WriteNumbers, same, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WriteNumbers, others, true)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadTexts)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WriteTexts, same, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WriteTexts, others, true)->Unit(benchmark::kMillisecond);

}  // namespace
