/* The C interface as programs in C and C++ use it, and misuse it. The argument names the part. */
#include <ktformula9.h>
#include <malloc.h>
#include <math.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;
static ktf9_error* error = NULL;

#define CHECK(condition) Check((condition) != 0, __LINE__, #condition)
#define DONE(call) CHECK((call) == KTF9_DONE)
#define IS(text, expected) CheckText((text).data, expected, __LINE__)
#define NEAR(number, expected) CHECK(fabs((number) - (expected)) < 1e-9)
/* The call fails so, and its error tells status and argument. */
#define FAILS(call, status, name)                                   \
  CHECK((call) == (status) && ktf9_error_code(error) == (status) && \
        strcmp(ktf9_error_argument(error), name) == 0 && *ktf9_error_message(error) != '\0')

static void ForgetError(void) {
  ktf9_error_destroy(error);
  error = NULL;
}

static void Check(int is_true, int line, const char* what) {
  if (!is_true) {
    ++failures;
    printf("%s:%d: %s; last error: %s\n", __FILE__, line, what, ktf9_error_message(error));
  }
  ForgetError();
}

static void CheckText(const char* text, const char* expected, int line) {
  if (strcmp(text, expected) == 0) return;
  Check(0, line, expected);
  printf("  but it is: %s\n", text);
}

typedef struct Bench {
  ktf9_notebook* notebook;
  ktf9_table* table;
  ktf9_column* mass;
  ktf9_column* moles;
} Bench;

static ktf9_column* AddColumn(ktf9_table* table, const char* name, const char* unit,
                              const char* formula, ktf9_type type) {
  ktf9_column* column;
  ktf9_column_options options;
  memset(&options, 0, sizeof options);
  options.size = sizeof options;
  options.unit = unit;
  options.formula = formula;
  options.type = type;
  DONE(ktf9_table_add_column(table, name, &options, &column, &error));
  return column;
}

/* Two rows of Mass/g, MW/(g/mol) and Moles/mmol. */
static Bench Open(void) {
  static const char* const kFirst[] = {"1.22", "122.12"};
  static const char* const kSecond[] = {"2.00 .. 3.00 g", ""};
  Bench bench;
  DONE(ktf9_notebook_create("Bench", NULL, &bench.notebook, &error));
  DONE(ktf9_notebook_add_table(bench.notebook, "Reactants", &bench.table, &error));
  bench.mass = AddColumn(bench.table, "Mass", "g", NULL, KTF9_NUMBER);
  ktf9_column_destroy(AddColumn(bench.table, "MW", "g/mol", NULL, KTF9_NUMBER), NULL);
  bench.moles = AddColumn(bench.table, "Moles", "mmol", "[Mass]/[MW]", KTF9_NUMBER);
  DONE(ktf9_table_add_row(bench.table, kFirst, 2, NULL, NULL, &error));
  DONE(ktf9_table_add_row(bench.table, kSecond, 2, "B", NULL, &error));
  DONE(ktf9_notebook_recalculate(bench.notebook, 0, NULL, &error));
  return bench;
}

static void Close(Bench* bench) {
  DONE(ktf9_column_destroy(bench->mass, &error));
  DONE(ktf9_column_destroy(bench->moles, &error));
  DONE(ktf9_table_destroy(bench->table, &error));
  DONE(ktf9_notebook_destroy(bench->notebook, &error));
}

static ktf9_cell Get(ktf9_column* column, size_t row) {
  ktf9_cell cell;
  memset(&cell, 0, sizeof cell);
  cell.size = sizeof cell;
  DONE(ktf9_column_get(column, row, &cell, &error));
  return cell;
}

static void TestCells(Bench* bench) {
  ktf9_cell cell = Get(bench->moles, 0);
  IS(cell.text, "9.99 mmol");
  IS(cell.unit, "mmol");
  CHECK(cell.origin == KTF9_COMPUTED && !cell.is_error && cell.error.length == 0);
  NEAR(cell.min, 1.22 / 122.12 * 1000);
  cell = Get(bench->moles, 1);
  CHECK(cell.is_error && isnan(cell.min) && cell.error.length > 0);
  CHECK(strstr(cell.text.data, cell.error.data) == cell.text.data + strlen("#Error: "));
  cell = Get(bench->mass, 1);
  CHECK(cell.origin == KTF9_TYPED && cell.min == 2 && cell.max == 3);
  DONE(ktf9_column_set_number(bench->mass, 1, 0.5, &error));
  IS(Get(bench->mass, 1).text, "0.5");
  DONE(ktf9_column_set_text(bench->mass, 1, "", &error));
  CHECK(Get(bench->mass, 1).origin == KTF9_EMPTY);
}

static void TestRecalculation(Bench* bench) {
  ktf9_recalculation* done;
  ktf9_recalculation_view view;
  ktf9_changed changed;
  view.size = sizeof view;
  changed.size = sizeof changed;
  DONE(ktf9_column_set_text(bench->mass, 0, "2.44 g", &error));
  DONE(ktf9_notebook_recalculate(bench->notebook, 0, &done, &error));
  DONE(ktf9_recalculation_get(done, &view, &error));
  CHECK(view.settled && view.rounds > 0 && view.columns == 1);
  DONE(ktf9_recalculation_changed(done, 0, &changed, &error));
  IS(changed.table, "Reactants");
  IS(changed.column, "Moles");
  CHECK(changed.row_count >= 1 && changed.rows[0] == 0);
  FAILS(ktf9_recalculation_changed(done, 1, &changed, &error), KTF9_NOT_FOUND, "index");
  DONE(ktf9_recalculation_destroy(done, &error));
}

static void TestNamesAndPlaces(Bench* bench) {
  ktf9_texts* names;
  ktf9_text text;
  size_t row;
  ktf9_type type;
  int done;
  DONE(ktf9_column_rename(bench->mass, "m", &error));
  DONE(ktf9_column_formula(bench->moles, &text, &error));
  IS(text, "[m]/[MW]");
  DONE(ktf9_column_move(bench->moles, 0, &error));
  DONE(ktf9_table_columns(bench->table, &names, &error));
  DONE(ktf9_texts_get(names, 1, &text, &error));
  IS(text, "m");
  DONE(ktf9_texts_destroy(names, &error));
  DONE(ktf9_table_find_row(bench->table, "B", &row, &error));
  CHECK(row == 1);
  DONE(ktf9_table_move_row(bench->table, 1, 0, &error));
  DONE(ktf9_table_row_id(bench->table, 0, &text, &error));
  IS(text, "B");
  DONE(ktf9_table_set_definition(bench->table, "total", "SUM([m])", &error));
  DONE(ktf9_table_definition(bench->table, "total", &text, &error));
  IS(text, "SUM([m])");
  DONE(ktf9_table_definitions(bench->table, &names, &error));
  DONE(ktf9_texts_get(names, 0, &text, &error));
  IS(text, "total");
  DONE(ktf9_texts_destroy(names, &error));
  DONE(ktf9_table_rename_row(bench->table, 1, "A", &error));
  DONE(ktf9_table_find_row(bench->table, "A", &row, &error));
  CHECK(row == 1);
  DONE(ktf9_table_row_count(bench->table, &row, &error));
  CHECK(row == 2);
  DONE(ktf9_notebook_add_table(bench->notebook, "Z", NULL, &error));
  DONE(ktf9_table_move(bench->table, 1, &error));
  DONE(ktf9_notebook_tables(bench->notebook, &names, &error));
  DONE(ktf9_texts_get(names, 0, &text, &error));
  IS(text, "Z");
  DONE(ktf9_texts_destroy(names, &error));
  DONE(ktf9_column_set_formula(bench->moles, "[m]/[MW]", "0.0", &error));
  DONE(ktf9_column_format(bench->moles, &text, &error));
  IS(text, "0.0");
  DONE(ktf9_column_unit(bench->moles, &text, &error));
  IS(text, "mmol");
  DONE(ktf9_column_type(bench->moles, &type, &error));
  CHECK(type == KTF9_NUMBER);
  DONE(ktf9_column_remove(bench->mass, &error));
  FAILS(ktf9_column_name(bench->mass, &text, &error), KTF9_GONE, "column");
  DONE(ktf9_notebook_undo(bench->notebook, &done, &error));
  DONE(ktf9_column_name(bench->mass, &text, &error));
  CHECK(done == 1);
  DONE(ktf9_notebook_forget_history(bench->notebook, &error));
  DONE(ktf9_notebook_undo(bench->notebook, &done, &error));
  CHECK(done == 0);
}

static void TestProblemsAndExplanations(Bench* bench) {
  ktf9_problems* problems;
  ktf9_problem problem;
  size_t index = 0, count = 0;
  ktf9_explanation* explanation;
  ktf9_explanation_view view;
  const ktf9_step* step;
  const ktf9_step* again;
  ktf9_step_view step_view;
  ktf9_value_view value;
  problem.size = sizeof problem;
  view.size = sizeof view;
  step_view.size = sizeof step_view;
  value.size = sizeof value;
  DONE(ktf9_column_set_formula(bench->moles, "[Mass]/[None]", NULL, &error));
  DONE(ktf9_notebook_check(bench->notebook, &problems, &error));
  DONE(ktf9_problems_count(problems, &count, &error));
  do {
    DONE(ktf9_problems_get(problems, index++, &problem, &error));
  } while (index < count && strcmp(problem.code.data, "unknown-name") != 0);
  IS(problem.column, "Moles");
  CHECK(problem.severity == KTF9_SEVERITY_ERROR && problem.start == 7 && problem.length == 6);
  DONE(ktf9_problems_destroy(problems, &error));
  DONE(ktf9_column_set_formula(bench->moles, "[Mass]/[MW]", NULL, &error));
  DONE(ktf9_notebook_recalculate(bench->notebook, 0, NULL, &error));

  DONE(ktf9_notebook_explain(bench->notebook, "Reactants:Moles:1", 3, &explanation, &error));
  DONE(ktf9_explanation_get(explanation, &view, &error));
  IS(view.text, "9.99 mmol");
  CHECK(view.steps == 2 && view.story.length > 0);
  DONE(ktf9_explanation_value(explanation, &value, &error));
  NEAR(value.min, 1.22 / 122.12);
  DONE(ktf9_explanation_step(explanation, 0, &step, &error));
  DONE(ktf9_explanation_step(explanation, 0, &again, &error));
  CHECK(step == again);
  DONE(ktf9_step_get(step, &step_view, &error));
  IS(step_view.cell, "Reactants:Mass:1");
  DONE(ktf9_step_value(step, &value, &error));
  NEAR(value.min, 1.22e-3);
  FAILS(ktf9_step_step(step, 0, &again, &error), KTF9_NOT_FOUND, "index");
  DONE(ktf9_explanation_destroy(explanation, &error));
  FAILS(ktf9_step_get(step, &step_view, &error), KTF9_GONE, "step");
}

static void TestEvaluate(Bench* bench) {
  ktf9_value* value;
  ktf9_value_view view;
  size_t start, length;
  view.size = sizeof view;
  DONE(ktf9_column_evaluate(bench->mass, 0, "\"<\" & [Mass]", &value, &error));
  DONE(ktf9_value_get(value, &view, &error));
  CHECK(view.kind == KTF9_VALUE_TEXT && isnan(view.min));
  IS(view.text, "<1.22");
  FAILS(ktf9_value_set_number(value, 1, &error), KTF9_REFUSED, "value");
  DONE(ktf9_value_destroy(value, &error));
  FAILS(ktf9_column_evaluate(bench->mass, 0, "1/0", &value, &error), KTF9_FORMULA, "formula");
  CHECK(ktf9_column_evaluate(bench->mass, 0, "\"\xC2\xB5\" + (1", NULL, &error) == KTF9_ARGUMENT);
  CHECK(ktf9_column_evaluate(bench->mass, 0, "\"\xC2\xB5\" + (1", &value, &error) == KTF9_FORMULA &&
        ktf9_error_place(error, &start, &length) && start == 7 && length == 1);
}

static void TestCalls(void) {
  void (*const parts[])(Bench*) = {TestCells, TestRecalculation, TestNamesAndPlaces,
                                   TestProblemsAndExplanations, TestEvaluate};
  size_t i;
  for (i = 0; i < sizeof parts / sizeof *parts; ++i) {
    Bench bench = Open();
    parts[i](&bench);
    Close(&bench);
  }
}

enum { kRows = 100000 };

static void CheckTexts(ktf9_column* column) {
  ktf9_texts* texts;
  const char* bytes;
  size_t length, count, end = 0;
  const size_t* ends;
  DONE(ktf9_column_texts(column, &texts, &error));
  DONE(ktf9_texts_all(texts, &bytes, &length, &ends, &count, &error));
  CHECK(count == kRows && length == ends[kRows - 1] + 1);
  CHECK(strcmp(bytes, "0 .. 1") == 0 && strcmp(bytes + ends[0] + 1, "n.d.") == 0);
  /* What came out goes in, with and without the places. */
  DONE(ktf9_column_set_texts(column, 0, count, bytes, length, ends, &error));
  DONE(ktf9_column_set_texts(column, 0, count, bytes, length, NULL, &error));
  IS(Get(column, 2).text, "2 .. 3");
  FAILS(ktf9_column_set_texts(column, 1, count, bytes, length, ends, &error), KTF9_NOT_FOUND,
        "first");
  FAILS(ktf9_column_set_texts(column, 0, count, bytes, length - 1, NULL, &error), KTF9_ARGUMENT,
        "bytes");
  FAILS(ktf9_column_set_texts(column, 0, count, bytes, length - 1, ends, &error), KTF9_ARGUMENT,
        "ends");
  FAILS(ktf9_column_set_texts(column, 0, 1, bytes, length, NULL, &error), KTF9_ARGUMENT, "length");
  FAILS(ktf9_column_set_texts(column, 0, 1, bytes, 3, &end, &error), KTF9_ARGUMENT, "ends");
  FAILS(ktf9_column_set_texts(column, 0, 1, "\xC3", 2, NULL, &error), KTF9_ARGUMENT, "bytes");
  DONE(ktf9_texts_destroy(texts, &error));
}

static void TestBulk(void) {
  static double min[kRows], max[kRows], shares[kRows];
  static unsigned char origins[kRows], errors[kRows];
  ktf9_notebook* notebook;
  ktf9_table* table;
  ktf9_column *given, *share;
  size_t i;
  for (i = 0; i < kRows; ++i) {
    min[i] = i == 1 ? NAN : (double)i;
    max[i] = min[i] + 1;
  }
  DONE(ktf9_notebook_create(NULL, "C", &notebook, &error));
  DONE(ktf9_notebook_add_table(notebook, "T", &table, &error));
  given = AddColumn(table, "given", NULL, NULL, KTF9_NUMBER);
  share = AddColumn(table, "share", NULL, "[given]*2", KTF9_NUMBER);
  DONE(ktf9_table_add_rows(table, kRows, &error));
  DONE(ktf9_column_set_ranges(given, 0, kRows, min, max, "n.d.", &error));
  CheckTexts(given);
  DONE(ktf9_notebook_recalculate(notebook, 0, NULL, &error));
  DONE(ktf9_column_numbers(share, 1, kRows - 1, shares, NULL, &error));
  CHECK(isnan(shares[0]));
  for (i = 2; i < kRows; ++i)
    CHECK(shares[i - 1] == 2 * min[i]);
  DONE(ktf9_column_origins(given, 0, kRows, origins, &error));
  DONE(ktf9_column_errors(share, 0, kRows, errors, &error));
  CHECK(origins[0] == KTF9_TYPED && !errors[0] && errors[1] && !errors[kRows - 1]);
  FAILS(ktf9_column_numbers(share, 1, kRows, shares, NULL, &error), KTF9_NOT_FOUND, "count");
  FAILS(ktf9_column_numbers(share, 1, (size_t)-1, shares, NULL, &error), KTF9_NOT_FOUND, "count");
  FAILS(ktf9_column_numbers(share, (size_t)-1, 2, shares, NULL, &error), KTF9_NOT_FOUND, "first");
  DONE(ktf9_notebook_destroy(notebook, &error));
  ktf9_column_destroy(given, NULL);
  ktf9_column_destroy(share, NULL);
  ktf9_table_destroy(table, NULL);
}

typedef struct Callee {
  Bench* bench;
  const ktf9_value* kept;
  ktf9_status from_thread;
  int ended;
} Callee;

static void EndCallee(void* context) {
  ++((Callee*)context)->ended;
}

static void* UseElsewhere(void* context) {
  Callee* const callee = (Callee*)context;
  ktf9_text name;
  callee->from_thread = ktf9_table_name(callee->bench->table, &name, NULL);
  return NULL;
}

/* TRY(what, number). */
static ktf9_status Try(void* context, const ktf9_value* const* arguments, size_t count,
                       ktf9_value* result) {
  Callee* const callee = (Callee*)context;
  Bench* const bench = callee->bench;
  ktf9_value_view what, number;
  pthread_t thread;
  what.size = number.size = sizeof what;
  CHECK(count == 2);
  DONE(ktf9_value_get(arguments[0], &what, &error));
  DONE(ktf9_value_get(arguments[1], &number, &error));
  callee->kept = arguments[1];
  switch (what.text.data[0]) {
    case 'h': return ktf9_value_set_number(result, number.min / 2, NULL);
    case 'e': return ktf9_value_set_error(result, "no luck \xC2\xB5", NULL);
    case 'f': return KTF9_NOT_FOUND;
    case 'u': return ktf9_value_set_text(result, "\xFF", NULL);
    case 'm': return ktf9_value_set_missing(result, "n.d.", NULL);
    case 'b': return ktf9_value_set_boolean(result, 1, NULL);
    case 't':
      CHECK(pthread_create(&thread, NULL, UseElsewhere, callee) == 0);
      pthread_join(thread, NULL);
      break;
    default:
      FAILS(ktf9_notebook_recalculate(bench->notebook, 0, NULL, &error), KTF9_REFUSED, "");
      FAILS(ktf9_column_set_number(bench->mass, 0, 1, &error), KTF9_REFUSED, "");
      FAILS(ktf9_notebook_destroy(bench->notebook, &error), KTF9_REFUSED, "notebook");
      FAILS(ktf9_value_destroy(result, &error), KTF9_REFUSED, "value");
      FAILS(ktf9_value_set_number((ktf9_value*)arguments[0], 1, &error), KTF9_REFUSED, "value");
      IS(Get(bench->mass, 0).text, "1.22");
  }
  return ktf9_value_set_range(result, number.min, number.max, NULL);
}

static void TestFunctions(void) {
  static const struct {
    const char* formula;
    const char* shown;
  } kCases[] = {
      {"TRY(\"half\", 5)", "2.5"},
      {"TRY(\"error\", 5)", "#Error: no luck \xC2\xB5"},
      {"TRY(\"fail\", 5)", "#Error: the function TRY has failed"},
      {"TRY(\"utf\", 5)", "#Error: the function TRY has failed"},
      {"IF(TRY(\"bool\", 5), 1, 2)", "1.0"},
      {"TRY(\"half\")", "#Error: the number of arguments for TRY function (1) is not 2"},
      {"TRY(\"self\", 5)", "5.0"},
      {"TRY(\"thread\", 5)", "5.0"},
  };
  Bench bench = Open();
  Callee callee = {NULL, NULL, KTF9_DONE, 0};
  ktf9_function function;
  ktf9_functions* functions;
  ktf9_function_help help;
  ktf9_value_view view;
  ktf9_column* result;
  size_t i, count;
  callee.bench = &bench;
  result = AddColumn(bench.table, "Result", NULL, NULL, KTF9_NUMBER);
  view.size = sizeof view;
  memset(&function, 0, sizeof function);
  FAILS(ktf9_notebook_add_function(bench.notebook, &function, &error), KTF9_ARGUMENT, "function");
  function.size = sizeof function;
  function.name = "try";
  FAILS(ktf9_notebook_add_function(bench.notebook, &function, &error), KTF9_ARGUMENT, "compute");
  function.least = function.most = 2;
  function.help = "TRY(what, number)";
  function.compute = Try;
  function.context = &callee;
  function.destroy = EndCallee;
  DONE(ktf9_notebook_add_function(bench.notebook, &function, &error));
  FAILS(ktf9_notebook_add_function(bench.notebook, &function, &error), KTF9_REFUSED, "name");
  CHECK(callee.ended == 0);
  for (i = 0; i < sizeof kCases / sizeof *kCases; ++i) {
    DONE(ktf9_column_set_formula(result, kCases[i].formula, "0.0", &error));
    DONE(ktf9_notebook_recalculate(bench.notebook, 0, NULL, &error));
    IS(Get(result, 0).text, kCases[i].shown);
  }
  CHECK(callee.from_thread == KTF9_BUSY);
  FAILS(ktf9_value_get(callee.kept, &view, &error), KTF9_GONE, "value");
  DONE(ktf9_notebook_functions(bench.notebook, &functions, &error));
  DONE(ktf9_functions_count(functions, &count, &error));
  help.size = sizeof help;
  DONE(ktf9_functions_get(functions, count - 1, &help, &error));
  IS(help.name, "TRY");
  IS(help.help, "TRY(what, number)");
  DONE(ktf9_functions_destroy(functions, &error));
  DONE(ktf9_notebook_destroy(bench.notebook, &error));
  CHECK(callee.ended == 1);
  ktf9_column_destroy(result, NULL);
  bench.notebook = NULL;
  Close(&bench);
}

static void TestHandles(void) {
  Bench bench = Open();
  Bench gone = Open();
  int number = 0;
  ktf9_text text;
  ktf9_table* table = bench.table;
  ktf9_column* column;
  ktf9_cell cell;
  const char* const no_text[] = {"1", NULL};
  double numbers[2] = {1, NAN};
  memset(&cell, 0, sizeof cell);
  DONE(ktf9_table_destroy(gone.table, &error));
  DONE(ktf9_notebook_destroy(gone.notebook, &error));
  FAILS(ktf9_notebook_name(NULL, &text, &error), KTF9_ARGUMENT, "notebook");
  FAILS(ktf9_notebook_name(gone.notebook, &text, &error), KTF9_GONE, "notebook");
  FAILS(ktf9_notebook_destroy(gone.notebook, &error), KTF9_GONE, "notebook");
  FAILS(ktf9_notebook_name((ktf9_notebook*)table, &text, &error), KTF9_NO_HANDLE, "notebook");
  FAILS(ktf9_notebook_destroy((ktf9_notebook*)table, &error), KTF9_NO_HANDLE, "notebook");
  FAILS(ktf9_table_destroy(gone.table, &error), KTF9_GONE, "table");
  FAILS(ktf9_table_name((ktf9_table*)&number, &text, &error), KTF9_NO_HANDLE, "table");
  FAILS(ktf9_table_name((ktf9_table*)&text, &text, &error), KTF9_NO_HANDLE, "table");
  FAILS(ktf9_column_name(gone.mass, &text, &error), KTF9_GONE, "column");
  DONE(ktf9_column_destroy(gone.mass, &error));
  FAILS(ktf9_column_destroy(gone.mass, &error), KTF9_GONE, "column");
  DONE(ktf9_column_destroy(gone.moles, &error));
  FAILS(ktf9_notebook_name(bench.notebook, NULL, &error), KTF9_ARGUMENT, "name");
  FAILS(ktf9_notebook_create("\xFF", NULL, &gone.notebook, &error), KTF9_ARGUMENT, "name");
  FAILS(ktf9_notebook_create(NULL, "xx", &gone.notebook, &error), KTF9_ARGUMENT, "locale");
  FAILS(ktf9_notebook_create(NULL, NULL, NULL, &error), KTF9_ARGUMENT, "notebook");
  FAILS(ktf9_notebook_add_table(bench.notebook, NULL, NULL, &error), KTF9_ARGUMENT, "name");
  FAILS(ktf9_notebook_add_table(bench.notebook, "Reactants", NULL, &error), KTF9_REFUSED, "name");
  FAILS(ktf9_notebook_table(bench.notebook, "None", &table, &error), KTF9_NOT_FOUND, "name");
  CHECK(table == NULL);
  FAILS(ktf9_table_column(bench.table, "None", &column, &error), KTF9_NOT_FOUND, "name");
  FAILS(ktf9_table_add_row(bench.table, no_text, 2, NULL, NULL, &error), KTF9_ARGUMENT, "texts");
  FAILS(ktf9_table_add_row(bench.table, NULL, 2, NULL, NULL, &error), KTF9_ARGUMENT, "texts");
  FAILS(ktf9_table_add_row(bench.table, NULL, 0, "B", NULL, &error), KTF9_REFUSED, "id");
  FAILS(ktf9_table_add_rows(bench.table, (size_t)-1, &error), KTF9_ARGUMENT, "count");
  FAILS(ktf9_table_remove_row(bench.table, 2, &error), KTF9_NOT_FOUND, "row");
  FAILS(ktf9_column_get(bench.mass, 0, &cell, &error), KTF9_ARGUMENT, "cell");
  cell.size = sizeof cell;
  FAILS(ktf9_column_get(bench.mass, 2, &cell, &error), KTF9_NOT_FOUND, "row");
  FAILS(ktf9_column_set_text(bench.mass, 0, "\xC3(", &error), KTF9_ARGUMENT, "text");
  FAILS(ktf9_column_set_numbers(bench.mass, 1, 2, numbers, NULL, &error), KTF9_NOT_FOUND, "first");
  FAILS(ktf9_column_set_numbers(bench.mass, 0, 2, NULL, NULL, &error), KTF9_ARGUMENT, "numbers");
  column = AddColumn(bench.table, "Flag", NULL, NULL, KTF9_BOOLEAN);
  FAILS(ktf9_column_set_number(column, 0, NAN, &error), KTF9_ARGUMENT, "number");
  FAILS(ktf9_column_set_numbers(column, 0, 2, numbers, NULL, &error), KTF9_ARGUMENT, "missing");
  DONE(ktf9_column_destroy(column, &error));
  FAILS(ktf9_notebook_explain(bench.notebook, "Reactants:Mass:C", 3, NULL, &error), KTF9_ARGUMENT,
        "explanation");
  /* The first of several errors stays; a destroyed one in its place is none. */
  ktf9_column_name(NULL, &text, &error);
  ktf9_table_name(NULL, &text, &error);
  CHECK(strcmp(ktf9_error_argument(error), "column") == 0);
  {
    ktf9_error* left;
    ktf9_table_name(NULL, &text, &error);
    left = error;
    ForgetError();
    ktf9_column_name(NULL, &text, &left);
    CHECK(strcmp(ktf9_error_argument(left), "column") == 0);
    ktf9_error_destroy(left);
    CHECK(ktf9_error_code(left) == KTF9_DONE && *ktf9_error_message(left) == '\0');
  }
  Close(&bench);
}

/* Numbers that look random, the same ones in every run. */
static unsigned Random(unsigned below) {
  static uint64_t state = 20;
  state = state * 6364136223846793005u + 1442695040888963407u;
  return (unsigned)(state >> 33) % below;
}

enum { kPool = 64 };
static void* pool[kPool];

static void* AnyHandle(void) {
  static int no_handle;
  switch (Random(10)) {
    case 0: return NULL;
    case 1: return &no_handle;
    case 2: return (void*)(uintptr_t)Random(1000000);
    default: return pool[Random(kPool)];
  }
}

static const char* AnyText(void) {
  static const char* const kTexts[] = {"",  "A",    "B",     "g",     "[A]+1", "SUM([B])", "1 .. 2",
                                       "(", "\xFF", "1e308", "A:B:1", NULL,    "C",        "#"};
  return kTexts[Random(sizeof kTexts / sizeof *kTexts)];
}

static size_t AnySize(void) {
  static const size_t kSizes[] = {0, 0, 1, 2, 3, 5, 1 << 20, (size_t)-1};
  return kSizes[Random(sizeof kSizes / sizeof *kSizes)];
}

static ktf9_status AnyCall(void** made) {
  double numbers[8] = {1, 2, NAN, 4, 5, 6, 7, INFINITY};
  unsigned char bytes[8];
  size_t size = AnySize();
  ktf9_text text;
  ktf9_cell cell;
  ktf9_problem problem;
  ktf9_step_view step;
  ktf9_value_view value;
  const char* texts[8] = {AnyText(), AnyText(), AnyText(), "", "", "", "", ""};
  ktf9_column_options options;
  void* const handle = AnyHandle();
  memset(&options, 0, sizeof options);
  options.size = sizeof options + Random(20) / 19;
  options.type = (ktf9_type)Random(8) - 1;
  options.unit = options.type == KTF9_NUMBER ? AnyText() : NULL;
  options.formula = AnyText();
  cell.size = sizeof cell;
  problem.size = sizeof problem;
  step.size = sizeof step;
  value.size = sizeof value;
#define AS(kind) ((ktf9_##kind*)handle)
#define MADE(kind) ((ktf9_##kind**)made)
  switch (Random(40)) {
    case 0:
    case 1: return ktf9_notebook_create(AnyText(), NULL, MADE(notebook), &error);
    case 2: return ktf9_notebook_destroy(AS(notebook), &error);
    case 3:
    case 4: return ktf9_notebook_add_table(AS(notebook), AnyText(), MADE(table), &error);
    case 5: return ktf9_notebook_table(AS(notebook), AnyText(), MADE(table), &error);
    case 6: return ktf9_notebook_tables(AS(notebook), MADE(texts), &error);
    case 7: return ktf9_notebook_recalculate(AS(notebook), (int)size, MADE(recalculation), &error);
    case 8: return ktf9_notebook_check(AS(notebook), MADE(problems), &error);
    case 9: return ktf9_notebook_undo(AS(notebook), NULL, &error);
    case 10: return ktf9_notebook_redo(AS(notebook), NULL, &error);
    case 11: return ktf9_notebook_explain(AS(notebook), AnyText(), 3, MADE(explanation), &error);
    case 12: return ktf9_table_destroy(AS(table), &error);
    case 13:
    case 14:
    case 15: return ktf9_table_add_column(AS(table), AnyText(), &options, MADE(column), &error);
    case 16: return ktf9_table_column(AS(table), AnyText(), MADE(column), &error);
    case 17: return ktf9_table_add_row(AS(table), texts, size % 8, AnyText(), NULL, &error);
    case 18: return ktf9_table_add_rows(AS(table), size == 1 << 20 ? 3 : size, &error);
    case 19: return ktf9_table_remove_row(AS(table), size, &error);
    case 20: return ktf9_table_move_row(AS(table), size, AnySize(), &error);
    case 21: return ktf9_table_rename(AS(table), AnyText(), &error);
    case 22: return ktf9_table_remove(AS(table), &error);
    case 23: return ktf9_table_set_definition(AS(table), AnyText(), AnyText(), &error);
    case 24: return ktf9_table_row_ids(AS(table), MADE(texts), &error);
    case 25: return ktf9_column_destroy(AS(column), &error);
    case 26: return ktf9_column_set_formula(AS(column), AnyText(), AnyText(), &error);
    case 27: return ktf9_column_remove(AS(column), &error);
    case 28: return ktf9_column_move(AS(column), size, &error);
    case 29: return ktf9_column_get(AS(column), size, &cell, &error);
    case 30: return ktf9_column_set_text(AS(column), size, AnyText(), &error);
    case 31: return ktf9_column_set_numbers(AS(column), AnySize(), size, numbers, NULL, &error);
    case 32: return ktf9_column_errors(AS(column), AnySize(), size, bytes, &error);
    case 33: return ktf9_column_texts(AS(column), MADE(texts), &error);
    case 34: return ktf9_column_explain(AS(column), size, 9, MADE(explanation), &error);
    case 35: return ktf9_column_evaluate(AS(column), size, AnyText(), MADE(value), &error);
    case 36: return ktf9_texts_get(AS(texts), size, &text, &error);
    case 37: return ktf9_problems_get(AS(problems), size, &problem, &error);
    case 38: return ktf9_explanation_step(AS(explanation), size, (const ktf9_step**)made, &error);
    default: return ktf9_step_get(AS(step), &step, &error);
  }
}

/* Whatever kind it is: only one of these takes it. */
static int DestroyAny(void* handle) {
  return (ktf9_notebook_destroy(AS(notebook), NULL) == KTF9_DONE) +
         (ktf9_table_destroy(AS(table), NULL) == KTF9_DONE) +
         (ktf9_column_destroy(AS(column), NULL) == KTF9_DONE) +
         (ktf9_texts_destroy(AS(texts), NULL) == KTF9_DONE) +
         (ktf9_value_destroy(AS(value), NULL) == KTF9_DONE) +
         (ktf9_recalculation_destroy(AS(recalculation), NULL) == KTF9_DONE) +
         (ktf9_problems_destroy(AS(problems), NULL) == KTF9_DONE) +
         (ktf9_explanation_destroy(AS(explanation), NULL) == KTF9_DONE);
}

static void TestAbuse(void) {
  int i, good = 0;
  for (i = 0; i < 30000; ++i) {
    void* made = NULL;
    const ktf9_status status = AnyCall(&made);
    good += status == KTF9_DONE;
    CHECK(status == ktf9_error_code(error) && status != KTF9_INTERNAL);
    if (made != NULL) {
      void** const place = &pool[Random(kPool)];
      /* A notebook seldom goes, so that others have something to work with. */
      if (*place != NULL) CHECK(DestroyAny(*place) <= 1);
      *place = made;
    }
  }
  CHECK(good > 3000);
  for (i = 0; i < kPool; ++i)
    if (pool[i] != NULL) DestroyAny(pool[i]);
}

/* Works with notebooks of its own, and with one that all threads want. */
static void* Work(void* context) {
  Bench* const shared = (Bench*)context;
  ktf9_error* own_error = NULL;
  int i, wrong = 0;
  for (i = 0; i < 300; ++i) {
    ktf9_notebook* notebook;
    ktf9_table* table;
    ktf9_column* column;
    ktf9_status status;
    ktf9_text text;
    ktf9_notebook_create(NULL, NULL, &notebook, &own_error);
    ktf9_notebook_add_table(notebook, "T", &table, &own_error);
    ktf9_table_add_column(table, "A", NULL, &column, &own_error);
    ktf9_table_add_rows(table, 2, &own_error);
    ktf9_column_set_formula(column, "1+1", NULL, &own_error);
    ktf9_notebook_recalculate(notebook, 0, NULL, &own_error);
    ktf9_notebook_destroy(notebook, &own_error);
    ktf9_column_destroy(column, &own_error);
    ktf9_table_destroy(table, &own_error);
    status = ktf9_table_column(shared->table, "Mass", &column, NULL);
    wrong += status != KTF9_DONE && status != KTF9_BUSY;
    status = ktf9_column_name(column, &text, NULL);
    wrong += status != KTF9_DONE && status != KTF9_BUSY && column != NULL;
    ktf9_column_destroy(column, &own_error);
  }
  wrong += own_error != NULL;
  ktf9_error_destroy(own_error);
  return wrong == 0 ? context : NULL;
}

static void TestThreads(void) {
  pthread_t threads[4];
  Bench bench = Open();
  size_t i;
  for (i = 0; i < 4; ++i)
    CHECK(pthread_create(&threads[i], NULL, Work, &bench) == 0);
  for (i = 0; i < 4; ++i) {
    void* done = NULL;
    pthread_join(threads[i], &done);
    CHECK(done == &bench);
  }
  Close(&bench);
}

static void OpenAndClose(int times) {
  for (; times > 0; --times) {
    Bench bench = Open();
    ktf9_column_name(NULL, NULL, &error);
    ForgetError();
    Close(&bench);
  }
}

/* Bytes that the program has; a sanitizer, which has a heap of its own, looks for leaks itself. */
static long Growth(int times) {
  const size_t before = mallinfo2().uordblks;
  OpenAndClose(times);
  return (long)mallinfo2().uordblks - (long)before;
}

static void TestGrowth(void) {
  long growth;
  OpenAndClose(100);
  growth = Growth(10000);
  printf("10000 notebooks: %ld bytes more\n", growth);
  CHECK(growth < 1000);
}

int main(int count, char** arguments) {
  static const struct {
    const char* name;
    void (*run)(void);
  } kParts[] = {{"calls", TestCalls},     {"bulk", TestBulk},   {"functions", TestFunctions},
                {"handles", TestHandles}, {"abuse", TestAbuse}, {"threads", TestThreads},
                {"growth", TestGrowth}};
  size_t i, run = 0;
  CHECK(ktf9_abi_version() == KTF9_ABI_VERSION);
  for (i = 0; i < sizeof kParts / sizeof *kParts; ++i) {
    if (count > 1 && strcmp(arguments[1], kParts[i].name) != 0) continue;
    kParts[i].run();
    ++run;
  }
  return run == 0 || failures > 0;
}
