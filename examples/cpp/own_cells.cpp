// A program with cells of its own, in grids of numbers, lets formulas compute some of them.
#include "notebook/tables/own_cells.h"

#include <iostream>
#include <vector>

struct Grid final : ktnotebook::OwnTable {
  std::vector<ktnotebook::OwnColumn> columns;
  std::vector<std::vector<double>> cells;

  std::vector<ktnotebook::OwnColumn> Columns() const override { return columns; }
  std::size_t RowCount() const override { return cells.size(); }
  ktnotebook::OwnNumbers Numbers(std::size_t row, std::size_t column) const override {
    return cells[row][column];
  }
  void Write(std::size_t row, std::size_t column, const ktnotebook::CellContent& result) override {
    cells[row][column] = result.min;
  }
};

int main() {
  Grid reagents, batch;
  reagents.columns = {{u"Mass"}, {u"MW"}, {u"Moles"}, {u"Share"}};
  reagents.cells = {{1.22, 122.12, 0, 0}, {1.18, 107.15, 0, 0}, {2.3, 191.7, 0, 0}};
  batch.columns = {{u"Total"}};
  batch.cells = {{0}};
  ktnotebook::OwnCellsHost host;
  host.Add(u"Reagents", reagents);
  host.Add(u"Batch", batch);
  host.SetFormula(u"Reagents", u"Moles", u"[Mass]/[MW]");
  host.SetFormula(u"Reagents", u"Share", u"[Moles]/[Batch:Total:1]");
  host.SetFormula(u"Batch", u"Total", u"SUM([Reagents:Moles])");
  for (const double mass : {1.22, 2.44}) {
    reagents.cells[0][0] = mass;
    std::cout << host.Recalculate().changed.size() << " cells changed:\n";
    for (const std::vector<double>& row : reagents.cells)
      std::cout << row[0] << " g of " << row[2] << " mol are " << 100 * row[3] << " %\n";
  }
}
