// The rates of an enzymatic reaction against the concentration of its substrate, as Lineweaver and
// Burk drew them: 1/rate over 1/conc is a line. Formulas fit it for treated and untreated cells.
//
//   lineweaver_burk examples/data/puromycin.csv
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <ktformula9.hpp>
#include <sstream>
#include <string>

using ktformula9::Table;

namespace {

// Of measurements in the columns conc and rate.
void FitLine(Table& table) {
  const std::string own = "[" + table.Name() + "]";
  table.AddColumn("x", {.formula = "1/[conc]", .format = "0.00"});
  table.AddColumn("y", {.formula = "1/[rate]", .format = "0.00000"});
  // Least squares: the sums are computed once for all rows.
  table.SetDefinition("n", "COUNT(" + own + ")");
  table.SetDefinition("sx", "SUM([x])");
  table.SetDefinition("sy", "SUM([y])");
  table.SetDefinition("sxx", "SUM([x]*[x], " + own + ")");
  table.SetDefinition("sxy", "SUM([x]*[y], " + own + ")");
  table.SetDefinition("slope", "([n]*[sxy] - [sx]*[sy]) / ([n]*[sxx] - [sx]*[sx])");
  table.SetDefinition("intercept", "([sy] - [slope]*[sx]) / [n]");
  table.AddColumn("line", {.formula = "[intercept] + [slope]*[x]", .format = "0.00000"});
  table.AddColumn("deviation", {.formula = "([y]-[line])/[line]", .format = "0.0%"});
  table.AddColumn("Vmax", {.formula = "1/[intercept]", .format = "0.0"});
  table.AddColumn("Km", {.formula = "[slope]/[intercept]", .format = "0.0000"});
}

// Lines such as: 0.02,76,"treated".
void ReadMeasurements(std::istream& file, ktformula9::Notebook& notebook) {
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::string conc, rate, state;
    std::getline(fields, conc, ',');
    std::getline(fields, rate, ',');
    fields >> std::quoted(state);
    notebook.At(state).AddRow({conc, rate});
  }
}

void Print(const Table& table) {
  std::cout << table.Name() << ": Vmax " << table.At("Vmax").At(0).text << ", Km "
            << table.At("Km").At(0).text << '\n';
  const auto names = {"conc", "rate", "x", "y", "line", "deviation"};
  for (const char* const name : names)
    std::cout << std::setw(11) << name;
  std::cout << '\n';
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    for (const char* const name : names)
      std::cout << std::setw(11) << table.At(name).At(row).text;
    std::cout << '\n';
  }
}

}  // namespace

int main(int count, char** arguments) {
  std::ifstream file(count > 1 ? arguments[1] : "../data/puromycin.csv");
  ktformula9::Notebook notebook("Puromycin");
  for (const char* const state : {"treated", "untreated"}) {
    Table table = notebook.AddTable(state);
    table.AddColumn("conc");
    table.AddColumn("rate");
    FitLine(table);
  }
  ReadMeasurements(file, notebook);
  if (!notebook.Recalculate().settled || notebook.At("treated").RowCount() == 0) {
    std::cerr << "there are no measurements\n";
    return EXIT_FAILURE;
  }
  for (const Table& table : notebook.Tables())
    Print(table);
  return EXIT_SUCCESS;
}
