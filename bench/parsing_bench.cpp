// Time per character of making a token tree: it should not depend on the formula's length.
#include <benchmark/benchmark.h>

#include "formula/token_tree.h"

namespace {

void LongSum(benchmark::State& state) {
  std::u16string formula = u"1";
  while (static_cast<std::int64_t>(formula.size()) < state.range(0))
    formula += u"+[Mass]*2";
  const ktformula::FunctionRegistry no_functions;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ktformula::MakeTokenTree(formula, no_functions));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(formula.size()));
}

void LongNumeral(benchmark::State& state) {
  const std::u16string formula(static_cast<std::size_t>(state.range(0)), u'0');
  const ktformula::FunctionRegistry no_functions;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ktformula::MakeTokenTree(formula, no_functions));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(LongSum)->RangeMultiplier(10)->Range(1'000, 1'000'000);
BENCHMARK(LongNumeral)->RangeMultiplier(10)->Range(1'000, 1'000'000);

}  // namespace
