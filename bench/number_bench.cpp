// Numbers as texts and texts as numbers, beside the standard library's ways. Each turn takes 1,024
// of them: results as they are computed, inputs as they are typed.
#include <array>
#include <benchmark/benchmark.h>
#include <charconv>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "notebook/tables/cell_text.h"
#include "values/number_text.h"
#include "values/text.h"

namespace {

constexpr std::size_t kCount = 1024;
constexpr int kSeed = 1;

std::vector<double> Results() {
  std::mt19937_64 random(kSeed);
  std::uniform_real_distribution<double> mass(0.1, 9.9);
  std::vector<double> numbers(kCount);
  for (double& number : numbers)
    number = mass(random) / mass(random) * 1000;
  return numbers;
}

// "1.2345", as its number.
std::vector<double> Inputs() {
  std::mt19937_64 random(kSeed);
  std::vector<double> numbers(kCount);
  for (double& number : numbers)
    number = static_cast<double>(10000 + random() % 90000) / 1e4;
  return numbers;
}

std::vector<std::u16string> Texts(std::u16string_view unit) {
  std::vector<std::u16string> texts;
  for (const double number : Inputs())
    texts.push_back(ktformula::NumberToText(number).append(unit));
  return texts;
}

template <typename Items, typename Function>
void ForEach(benchmark::State& state, const Items& items, Function function) {
  for (auto _ : state) {
    for (const auto& item : items)
      benchmark::DoNotOptimize(function(item));
  }
  state.counters["each"] = benchmark::Counter(
      static_cast<double>(kCount),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

const char* StandardText(double number, std::array<char, 32>& buffer) {
  return std::to_chars(buffer.data(), buffer.data() + buffer.size(), number,
                       std::chars_format::general, 15)
      .ptr;
}

void TextByStandard(benchmark::State& state) {
  std::array<char, 32> buffer{};
  ForEach(state, Results(), [&](double number) { return StandardText(number, buffer); });
}

void Text(benchmark::State& state) {
  ForEach(state, Results(), ktformula::NumberToText);
}

void AppendedText(benchmark::State& state) {
  std::u16string text;
  ForEach(state, Results(), [&](double number) {
    text.clear();
    ktformula::AppendNumberText(number, text);
    return text.size();
  });
}

void WrittenText(benchmark::State& state) {
  std::array<char16_t, ktformula::kNumberTextRoom> buffer{};
  ForEach(state, Results(),
          [&](double number) { return ktformula::WriteNumberText(number, buffer.data()); });
}

void ShortText(benchmark::State& state) {
  ForEach(state, Inputs(), ktformula::NumberToText);
}

void RoundedByStandard(benchmark::State& state) {
  std::array<char, 32> buffer{};
  ForEach(state, Results(), [&](double number) {
    double rounded = 0;
    std::from_chars(buffer.data(), StandardText(number, buffer), rounded);
    return rounded;
  });
}

void Rounded(benchmark::State& state) {
  ForEach(state, Results(), ktformula::RoundedToText);
}

void NumberByStandard(benchmark::State& state) {
  std::vector<std::string> texts;
  for (const std::u16string& text : Texts(u""))
    texts.emplace_back(text.begin(), text.end());
  ForEach(state, texts, [](const std::string& text) {
    double number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
  });
}

void Number(benchmark::State& state) {
  ForEach(state, Texts(u""),
          [](const std::u16string& text) { return ktformula::NumericValue(text).value(); });
}

void TypedNumber(benchmark::State& state) {
  const ktnotebook::NotebookUnitCatalogue units;
  ForEach(state, Texts(u""), [&](const std::u16string& text) {
    return ktnotebook::ParseNumberText(text, nullptr, units);
  });
}

void TypedNumberWithUnit(benchmark::State& state) {
  const ktnotebook::NotebookUnitCatalogue units;
  const ktnotebook::NotebookUnit* gram = units.FindUnit(u"g");
  ForEach(state, Texts(u" g"), [&](const std::u16string& text) {
    return ktnotebook::ParseNumberText(text, gram, units);
  });
}

BENCHMARK(TextByStandard);
BENCHMARK(Text);
BENCHMARK(AppendedText);
BENCHMARK(WrittenText);
BENCHMARK(ShortText);
BENCHMARK(RoundedByStandard);
BENCHMARK(Rounded);
BENCHMARK(NumberByStandard);
BENCHMARK(Number);
BENCHMARK(TypedNumber);
BENCHMARK(TypedNumberWithUnit);

}  // namespace
