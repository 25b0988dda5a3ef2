#include <values/cell_value.h>

int main() {
  ktformula::CellValue value;
  value.SetNumber(10, 20);
  value.Divide(ktformula::PlainValue(4.0));
  return value.MinNumber() == 2.5 && value.MaxNumber() == 5 ? 0 : 1;
}
