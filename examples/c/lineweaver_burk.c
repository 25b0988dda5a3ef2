/* The rates of an enzymatic reaction against the concentration of its substrate, as Lineweaver and
 * Burk drew them: 1/rate over 1/conc is a line. Formulas fit it for treated and untreated cells.
 *
 *   lineweaver_burk examples/data/puromycin.csv
 */
#include <ktformula9.h>
#include <stdio.h>
#include <stdlib.h>

static ktf9_error* error = NULL;

static void AddColumn(ktf9_table* table, const char* name, const char* formula,
                      const char* format) {
  const ktf9_column_options options = {
      .size = sizeof options, .formula = formula, .format = format};
  ktf9_table_add_column(table, name, &options, NULL, &error);
}

/* A table for measurements in the columns conc and rate, and the line through them. */
static ktf9_table* AddFit(ktf9_notebook* notebook, const char* state) {
  ktf9_table* table;
  char formula[100];
  ktf9_notebook_add_table(notebook, state, &table, &error);
  AddColumn(table, "conc", NULL, NULL);
  AddColumn(table, "rate", NULL, NULL);
  AddColumn(table, "x", "1/[conc]", "0.00");
  AddColumn(table, "y", "1/[rate]", "0.00000");
  /* Least squares: the sums are computed once for all rows. */
  snprintf(formula, sizeof formula, "COUNT([%s])", state);
  ktf9_table_set_definition(table, "n", formula, &error);
  ktf9_table_set_definition(table, "sx", "SUM([x])", &error);
  ktf9_table_set_definition(table, "sy", "SUM([y])", &error);
  snprintf(formula, sizeof formula, "SUM([x]*[x], [%s])", state);
  ktf9_table_set_definition(table, "sxx", formula, &error);
  snprintf(formula, sizeof formula, "SUM([x]*[y], [%s])", state);
  ktf9_table_set_definition(table, "sxy", formula, &error);
  ktf9_table_set_definition(table, "slope", "([n]*[sxy] - [sx]*[sy]) / ([n]*[sxx] - [sx]*[sx])",
                            &error);
  ktf9_table_set_definition(table, "intercept", "([sy] - [slope]*[sx]) / [n]", &error);
  AddColumn(table, "line", "[intercept] + [slope]*[x]", "0.00000");
  AddColumn(table, "deviation", "([y]-[line])/[line]", "0.0%");
  AddColumn(table, "Vmax", "1/[intercept]", "0.0");
  AddColumn(table, "Km", "[slope]/[intercept]", "0.0000");
  return table;
}

/* Lines such as: 0.02,76,"treated". */
static void ReadMeasurements(FILE* file, ktf9_notebook* notebook) {
  char line[100], conc[20], rate[20], state[20];
  while (fgets(line, sizeof line, file) != NULL) {
    const char* const texts[] = {conc, rate};
    ktf9_table* table;
    if (sscanf(line, "%19[0-9.],%19[0-9.],\"%19[a-z]\"", conc, rate, state) != 3) continue;
    ktf9_notebook_table(notebook, state, &table, &error);
    ktf9_table_add_row(table, texts, 2, NULL, NULL, &error);
    ktf9_table_destroy(table, NULL);
  }
}

/* Stays until the next call. */
static const char* Shown(ktf9_table* table, const char* column, size_t row) {
  static char shown[100];
  ktf9_cell cell = {.size = sizeof cell, .text = {"", 0}};
  ktf9_column* own;
  ktf9_table_column(table, column, &own, &error);
  ktf9_column_get(own, row, &cell, &error);
  snprintf(shown, sizeof shown, "%s", cell.text.data);
  ktf9_column_destroy(own, NULL);
  return shown;
}

static void Print(const char* state, ktf9_table* table) {
  static const char* const kColumns[] = {"conc", "rate", "x", "y", "line", "deviation"};
  size_t rows = 0, row, i;
  printf("%s: Vmax %s", state, Shown(table, "Vmax", 0));
  printf(", Km %s\n", Shown(table, "Km", 0));
  for (i = 0; i < 6; ++i)
    printf("%11s", kColumns[i]);
  printf("\n");
  ktf9_table_row_count(table, &rows, &error);
  for (row = 0; row < rows; ++row) {
    for (i = 0; i < 6; ++i)
      printf("%11s", Shown(table, kColumns[i], row));
    printf("\n");
  }
}

int main(int count, char** arguments) {
  static const char* const kStates[] = {"treated", "untreated"};
  FILE* const file = fopen(count > 1 ? arguments[1] : "../data/puromycin.csv", "r");
  ktf9_notebook* notebook;
  ktf9_table* tables[2];
  int i;
  if (file == NULL) {
    fprintf(stderr, "there are no measurements\n");
    return EXIT_FAILURE;
  }
  ktf9_notebook_create("Puromycin", "C", &notebook, &error);
  for (i = 0; i < 2; ++i)
    tables[i] = AddFit(notebook, kStates[i]);
  ReadMeasurements(file, notebook);
  fclose(file);
  ktf9_notebook_recalculate(notebook, 0, NULL, &error);
  for (i = 0; i < 2; ++i) {
    Print(kStates[i], tables[i]);
    ktf9_table_destroy(tables[i], NULL);
  }
  ktf9_notebook_destroy(notebook, NULL);
  if (error == NULL) return EXIT_SUCCESS;
  fprintf(stderr, "%s\n", ktf9_error_message(error));
  ktf9_error_destroy(error);
  return EXIT_FAILURE;
}
