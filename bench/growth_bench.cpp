// Work that grows in one direction: its time should grow with it, and no faster.
#include <benchmark/benchmark.h>
#include <string>

#include "listener/ikt_formula_listener.h"
#include "notebook/commands/text_output.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/recalculation.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace {

using ktformula::CellValue;
using ktnotebook::Notebook;
using ktnotebook::NotebookCell;
using ktnotebook::NotebookTable;

// Keys of tables and columns are derived from `number`. A is a typed column, B a computed one.
std::string TableXml(std::int64_t number, std::int64_t rows, const std::string& listener) {
  const std::string name = std::to_string(number);
  std::string xml = "<table name='T" + name + "' key='" + name + "'><property key='" + name +
                    "1' name='A' type='number' unit='g'/><property key='" + name +
                    "2' name='B' type='number' unit='g' numberFormatting='true'/>";
  for (std::int64_t row = 1; row <= rows; ++row) {
    xml += "<row id='" + std::to_string(row) +
           "'><cell property='A' state='entered'>1.25 g</cell></row>";
  }
  return xml + "<fieldListener progID='KtFormula9.FormulaListener' name='L' position='1'>" +
         listener + "</fieldListener></table>";
}

std::string FormXml(const std::string& name, const std::string& content) {
  return "<form name='" + name + "'>" + content + "</form>";
}

Notebook Read(const std::string& forms) {
  return ktnotebook::ReadNotebook("<notebook>" + forms + "</notebook>", "bench.xml");
}

constexpr const char* kDouble = "<propertyFormula name='B'>[A]*2</propertyFormula>";

Notebook FormOfTables(std::int64_t count) {
  std::string tables;
  for (std::int64_t i = 1; i <= count; ++i)
    tables += TableXml(i, 4, kDouble);
  return Read(FormXml("F", tables));
}

// A cell is typed, then every table of the form is computed and shows formatted numbers.
void FormattedTables(benchmark::State& state) {
  const Notebook notebook = FormOfTables(state.range(0));
  ktnotebook::NotebookForm& form = *notebook.forms[0];
  for (auto _ : state) {
    form.Tables().front()->Rows()[0]->CellAt(0).Enter(u"1.50 g");
    ktnotebook::RecalculateForm(form, 1);
  }
  state.SetComplexityN(state.range(0));
}

// A file of many small forms is read, computed and written.
void Forms(benchmark::State& state) {
  std::string forms;
  for (std::int64_t i = 1; i <= state.range(0); ++i)
    forms += FormXml("Form " + std::to_string(i), TableXml(i, 1, kDouble));
  for (auto _ : state) {
    const Notebook notebook = Read(forms);
    for (const auto& form : notebook.forms)
      ktnotebook::RecalculateForm(*form, 8);
    benchmark::DoNotOptimize(ktnotebook::WriteNotebook(notebook.forms));
  }
  state.SetComplexityN(state.range(0));
}

// A form of many tables comes from the database, and its cells are listed by their addresses.
void StoredTables(benchmark::State& state) {
  Notebook notebook = FormOfTables(state.range(0));
  ktnotebook::NotebookStore store(ktnotebook::OpenDatabase(":memory:", true), true);
  store.Add(notebook, *notebook.forms[0]);
  for (auto _ : state) {
    const Notebook loaded = store.Load(u"F");
    std::vector<NotebookCell*> cells;
    for (const NotebookTable* table : loaded.forms[0]->Tables())
      cells.push_back(&table->Rows()[0]->CellAt(0));
    benchmark::DoNotOptimize(ktnotebook::CellsText(cells, {}));
  }
  state.SetComplexityN(state.range(0));
}

// A table with definitions, and formulas that are evaluated in its first cell.
class Bench {
 public:
  Bench(std::int64_t rows, const std::string& definitions)
      : notebook_(Read(FormXml("F", TableXml(1, rows, definitions)))),
        table_(*notebook_.forms[0]->Tables().front()),
        listener_(dynamic_cast<ktformula::IKtFormulaListener&>(*table_.Listeners().front())) {}

  // Evaluates the formula over and over; one that fails fails the benchmark.
  void Evaluate(benchmark::State& state, std::u16string_view formula) {
    for (auto _ : state) {
      CellValue value;
      try {
        listener_.EvaluateInCell(formula, table_.Rows()[0]->CellAt(0), value);
      } catch (const ktformula::RaisedError& error) {
        value.SetError(error.Number(), error.Source(), error.Description());
      }
      if (value.CellValueType() == ktformula::kCellValueTypeError) {
        state.SkipWithError(ktnotebook::ToUtf8(value.ErrorDescription()).c_str());
        break;
      }
    }
    state.SetComplexityN(state.range(0));
  }

 private:
  Notebook notebook_;
  const NotebookTable& table_;
  ktformula::IKtFormulaListener& listener_;
};

// As many operands as the range says, all the same.
std::u16string Chain(std::int64_t length, std::u16string_view operand, char16_t symbol) {
  std::u16string formula(operand);
  for (std::int64_t i = 1; i < length; ++i)
    (formula += symbol) += operand;
  return formula;
}

void SumOfOnes(benchmark::State& state) {
  Bench(1, "").Evaluate(state, Chain(state.range(0), u"1", u'+'));
}

void JoinedTexts(benchmark::State& state) {
  Bench(1, "").Evaluate(state, Chain(state.range(0), u"\"abcdefgh\"", u'&'));
}

// Nothing in the conditions depends on the row of the aggregate around them.
void NestedConditions(benchmark::State& state) {
  Bench(state.range(0), "")
      .Evaluate(state, u"SUM([A], [T1], SUM([A], [T1], SUM([A], [T1], [A] > 0) > 0) > 0)");
}

// Each definition but the last stands on the next one.
void DefinitionChain(benchmark::State& state) {
  std::string definitions;
  for (std::int64_t i = 1; i < state.range(0); ++i) {
    definitions += "<definition name='d" + std::to_string(i) + "'>[d" + std::to_string(i + 1) +
                   "]+1</definition>";
  }
  definitions += "<definition name='d" + std::to_string(state.range(0)) + "'>1</definition>";
  Bench(1, definitions).Evaluate(state, u"[d1]");
}

void Growing(benchmark::internal::Benchmark* bench, std::int64_t from, std::int64_t to) {
  bench->RangeMultiplier(4)->Range(from, to)->Complexity()->Unit(benchmark::kMillisecond);
}

BENCHMARK(FormattedTables)->Apply([](auto* bench) { Growing(bench, 256, 65536); });
BENCHMARK(StoredTables)->Apply([](auto* bench) { Growing(bench, 64, 4096); });
BENCHMARK(Forms)->Apply([](auto* bench) { Growing(bench, 1024, 65536); });
BENCHMARK(SumOfOnes)->Apply([](auto* bench) { Growing(bench, 1024, 1048576); });
BENCHMARK(JoinedTexts)->Apply([](auto* bench) { Growing(bench, 1024, 65536); });
BENCHMARK(NestedConditions)->Apply([](auto* bench) { Growing(bench, 256, 65536); });
BENCHMARK(DefinitionChain)->Apply([](auto* bench) { Growing(bench, 16, 16384); });

}  // namespace
