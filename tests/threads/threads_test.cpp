// Listeners in several threads at once, each with a notebook of its own. Built with the preset
// "threads" it also finds races in what a process has only once.
#include <gtest/gtest.h>
#include <latch>
#include <thread>

#include "functions/function_table.h"
#include "listener/formula_listener.h"
#include "listener/result_formats.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/leak_check.h"
#include "values/platform.h"

namespace ktformula {
namespace {

constexpr int kThreads = 4;
constexpr int kPasses = 40;

constexpr std::string_view kForm =
    "table Compounds\n"
    "1 Name string | 2 MW number g/mol\n"
    "salt          | entered 58.44 g/mol\n"
    "water         | entered 18.02 g/mol\n"
    "table Reactants\n"
    "11 Name string | 12 Mass number g | 13 Moles number mmol formatted"
    "                                  | 14 Share number formatted | 15 Note string\n"
    "salt           | entered 5.84 g\n"
    "water          | entered 9.01 g\n"
    "tea            | noted 1 g        | entered 7.0 mmol";

// A column's key, its formula and its format.
struct Formula {
  std::int32_t column;
  std::u16string_view formula;
  std::u16string_view format;
};
constexpr Formula kFormulas[] = {
    {13, u"[Mass]/SELECT([MW],[Compounds],[Name]=[this:parent:Name])", u""},
    {14, u"[Mass]/[total]", u"0.0%"},
    {15, u"IF([Mass]>[small],TAG([Mass]),1/0)", u""},
};

// All that the thread's formulas write, in every pass.
std::string Recalculate(std::u16string_view result_format) {
  SetUserLocale({});
  const auto framework = MakeRef<TestFramework>();
  framework->create_listener = [](auto) { return MakeRef<MinDigitFormulaFormat>(); };
  const auto form = MakeRef<TestForm>(kForm);
  const auto listener = MakeRef<FormulaListener>(StandardFunctions());
  listener->Initialize(framework, form->OwnerOf(u"Reactants"), nullptr);
  listener->SetResultFormat(result_format);
  listener->SetDefinition(u"total", u"SUM([Mass],[Reactants])");
  listener->SetDefinition(u"small", u"[total]/10");
  for (const Formula& formula : kFormulas)
    listener->SetPropertyFormula(formula.column, formula.formula, formula.format);
  std::string texts;
  for (int pass = 0; pass < kPasses; ++pass) {
    listener->TableNotification(*form->Notification(), nullptr);
    for (const auto* column : {u"Moles", u"Share", u"Note"})
      texts += form->TableOf(u"Reactants").Texts(column) + "\n";
    // Hosts may ask at any time.
    KtLeakCheck::Report();
  }
  listener->Terminate();
  return texts;
}

TEST(Threads, RecalculateAtTheSameTime) {
  std::vector<std::string> texts(kThreads);
  {
    std::latch start(kThreads);
    std::vector<std::jthread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] {
        start.arrive_and_wait();
        texts[std::size_t(i)] = Recalculate(i % 2 == 0 ? u"" : u"MinDigit");
      });
    }
  }
  EXPECT_EQ(KtLeakCheck::Report(), "");

  // Only now, so that what is made on first use was made by the threads.
  const std::string alone = Recalculate(u"");
  const std::string alone_with_few_digits = Recalculate(u"MinDigit");
  EXPECT_TRUE(
      alone.starts_with("100 mmol|500 mmol|7.0 mmol\n"
                        "36.8%|56.8%|6.3%\n"
                        "entered|entered|#Error: Division by zero\n"))
      << alone;
  for (int i = 0; i < kThreads; ++i)
    EXPECT_EQ(texts[std::size_t(i)], i % 2 == 0 ? alone : alone_with_few_digits) << i;
}

}  // namespace
}  // namespace ktformula
