// Programs in several threads, each with notebooks of its own.
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "notebook/tables/ktformula9.hpp"

namespace ktformula9 {
namespace {

std::string WorkOn(const std::string& locale) {
  std::string shown;
  for (int i = 0; i < 20; ++i) {
    Notebook notebook("N", locale);
    notebook.AddFunction(
        {.name = "HALF", .least = 1, .most = 1, .compute = [](std::span<const Value> values) {
           return Value::OfNumber(values[0].Min() / 2);
         }});
    Table table = notebook.AddTable("T");
    table.AddColumn("a", {.unit = "g"});
    table.AddColumn("b", {.unit = "mg", .formula = "HALF([a])+SUM([a])"});
    table.AddRow();
    table.At("a").Set(0, 1.25);
    notebook.Recalculate();
    shown = table.At("b").At(0).text + notebook.Explain("T:b:1").story +
            std::to_string(notebook.Check().size());
    table.At("a").Rename("c");
    notebook.Undo();
  }
  return shown;
}

TEST(Threads, HaveNotebooksOfTheirOwn) {
  const std::vector<std::string> locales{"C", "de_DE", "C", "sv_SE"};
  std::vector<std::string> shown(locales.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < locales.size(); ++i)
    threads.emplace_back([&, i] { shown[i] = WorkOn(locales[i]); });
  for (std::thread& thread : threads)
    thread.join();
  for (std::size_t i = 0; i < locales.size(); ++i)
    EXPECT_EQ(shown[i], WorkOn(locales[i]));
  EXPECT_NE(shown[0], shown[1]);
}

}  // namespace
}  // namespace ktformula9
