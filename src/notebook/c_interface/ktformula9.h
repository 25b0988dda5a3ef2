/* KtFormula9 for programs in C, and for languages that call C: tables in memory whose columns
 * compute themselves. The shared library is libktformula9.
 *
 *   #include <ktformula9.h>
 *   #include <stdio.h>
 *
 *   int main(void) {
 *     ktf9_error* error = NULL;
 *     ktf9_notebook* notebook;
 *     ktf9_table* table;
 *     ktf9_column* moles;
 *     const char* row[] = {"1.22", "122.12"};
 *     ktf9_cell cell = {.size = sizeof cell};
 *     ktf9_column_options in_g = {.size = sizeof in_g, .unit = "g"};
 *     ktf9_column_options in_g_mol = {.size = sizeof in_g_mol, .unit = "g/mol"};
 *     ktf9_column_options quotient = {
 *         .size = sizeof quotient, .unit = "mmol", .formula = "[Mass]/[MW]"};
 *     ktf9_notebook_create("Notebook", "C", &notebook, &error);
 *     ktf9_notebook_add_table(notebook, "Reactants", &table, &error);
 *     ktf9_table_add_column(table, "Mass", &in_g, NULL, &error);
 *     ktf9_table_add_column(table, "MW", &in_g_mol, NULL, &error);
 *     ktf9_table_add_column(table, "Moles", &quotient, &moles, &error);
 *     ktf9_table_add_row(table, row, 2, NULL, NULL, &error);
 *     ktf9_notebook_recalculate(notebook, 0, NULL, &error);
 *     ktf9_column_get(moles, 0, &cell, &error);
 *     if (error != NULL)
 *       fprintf(stderr, "%s\n", ktf9_error_message(error));
 *     else
 *       printf("%s\n", cell.text.data);  // 9.99 mmol
 *     ktf9_error_destroy(error);
 *     ktf9_notebook_destroy(notebook, NULL);
 *     return 0;
 *   }
 *
 * A notebook holds tables, a table columns and rows. What somebody types into a cell stays; every
 * other cell of a column with a formula is computed by ktf9_notebook_recalculate. Edits compute
 * nothing by themselves: make as many as you like, then recalculate once.
 *
 * CALLS give KTF9_DONE, or why they can not do it; then they have changed nothing. The last
 * argument, which may be NULL, takes an error object that tells more (but for want of memory).
 * Where it holds one from an earlier call, that stays: so a row of calls can share one `ktf9_error*
 * error = NULL`, looked at behind the last of them, which then holds what failed first. Destroy it
 * then, and put NULL there. Results are put where arguments point to; a failing call puts NULL
 * where a handle was to be, so that later calls with it fail too. A formula that fails is no
 * failure of a call: its cell shows
 * "#Error: " and the reason, and ktf9_notebook_check tells what to do about it.
 *
 * HANDLES are the pointers to ktf9_notebook, ktf9_table and so on. They point to nothing: what they
 * mean is looked up, so that NULL, a handle of another kind and a destroyed handle are errors,
 * which name the argument. A destroyed handle's value is not given again. What a function puts into
 * a `TYPE**` belongs to the program, which destroys it by ktf9_TYPE_destroy; NULL may be destroyed.
 * A table and a column may have several handles, and destroying one does nothing to what it means.
 * With its notebook's handle a notebook ends: handles of its tables and columns are KTF9_GONE then,
 * and still to be destroyed. A handle of a table or column that was removed is KTF9_GONE until undo
 * brings it back.
 *
 * TEXTS are UTF-8. Those given end with a NUL. Those got are a ktf9_text, which points to bytes of
 * the handle that they were asked of, and stays until it is destroyed, or until the same function
 * is called again with the same handle. Lists of texts, in and out, are one run of bytes with a NUL
 * behind each text, and `ends`, the places of these NULs: text i begins behind ends[i - 1], the
 * first at 0. (Texts may contain a NUL of their own only where `ends` are given.)
 *
 * NUMBERS are given and told in the unit of their column; formulas compute in base units (kg, m3,
 * mol, kg/mol, mol/kg, kg/m3, mol/m3, m, s, Pa, K), and so do functions of your own. They are kept
 * in base units: in a column without a unit, or with such a one, a number comes back bit for bit,
 * in any other it may differ in its last bit (of °C by 1e-13). ROWS and other places count from 0.
 *
 * STRUCTS have their size as the first member, to be set by the program before a call: by it a
 * later library knows which members an earlier program has. Set all others of those given to a call
 * to 0 first, as an initializer does: 0 and NULL are the usual choice.
 *
 * THREADS. A notebook and all that belongs to it may be used by one thread at a time, different
 * notebooks by different threads at once. A call that comes while another thread is in the same
 * notebook is KTF9_BUSY. Handles may be destroyed by any thread.
 *
 * ABI. Functions, numbers and members of structs stay as they are as long as ktf9_abi_version gives
 * the same number; new ones are added, members at the end of structs.
 */
#ifndef KTFORMULA9_H
#define KTFORMULA9_H

#include <stddef.h>

#if defined(__GNUC__) && !defined(_WIN32)
#define KTF9_API __attribute__((visibility("default")))
#else
#define KTF9_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the library that the program runs with, such as "0.1.0"; the library's own text.
 */
KTF9_API const char* ktf9_version(void);

/* Of the interface that this header describes, and of the library's. */
#define KTF9_ABI_VERSION 0
KTF9_API int ktf9_abi_version(void);

typedef struct ktf9_error ktf9_error;
typedef struct ktf9_notebook ktf9_notebook;
typedef struct ktf9_table ktf9_table;
typedef struct ktf9_column ktf9_column;
typedef struct ktf9_texts ktf9_texts;
typedef struct ktf9_value ktf9_value;
typedef struct ktf9_functions ktf9_functions;
typedef struct ktf9_recalculation ktf9_recalculation;
typedef struct ktf9_problems ktf9_problems;
typedef struct ktf9_explanation ktf9_explanation;
typedef struct ktf9_step ktf9_step;

/* A text of the library: never NULL, "" for none; behind its length in bytes stands a NUL. */
typedef struct ktf9_text {
  const char* data;
  size_t length;
} ktf9_text;

/* Why a call could not be done. These numbers never change. */
typedef int ktf9_status;
enum {
  KTF9_DONE = 0,
  /* An argument that is no good whatever the notebook: NULL, no UTF-8, an unknown unit. */
  KTF9_ARGUMENT = 1,
  /* Something of this name, or at this place, is not there. */
  KTF9_NOT_FOUND = 2,
  /* A handle that was destroyed, or whose table or column was removed, or whose notebook ended. */
  KTF9_GONE = 3,
  /* An edit that is refused: a name in use, a rename that would change what a formula means. */
  KTF9_REFUSED = 4,
  /* A formula that raised an error where its value was asked for. */
  KTF9_FORMULA = 5,
  /* A pointer that is no handle, or one of another kind. */
  KTF9_NO_HANDLE = 6,
  /* Another thread is in the notebook. */
  KTF9_BUSY = 7,
  KTF9_NO_MEMORY = 8,
  /* A fault of the library. */
  KTF9_INTERNAL = 9
};

/* ---- Errors. These functions give what they tell: for NULL and what is no error's handle,
 * KTF9_DONE and "". Texts stay as long as the error. */
KTF9_API ktf9_status ktf9_error_code(const ktf9_error* error);
/* A sentence for people. */
KTF9_API const char* ktf9_error_message(const ktf9_error* error);
/* The name of the argument at fault, as this header has it, "" for none. */
KTF9_API const char* ktf9_error_argument(const ktf9_error* error);
/* Gives 1, with the place in bytes at which a formula can not be read, when it is known, else 0. */
KTF9_API int ktf9_error_place(const ktf9_error* error, size_t* start, size_t* length);
KTF9_API void ktf9_error_destroy(ktf9_error* error);

/* ---- Lists of texts. */
/* What a list holds: the whole run of bytes, with the places of the NULs; each may be NULL where it
 * is not wanted. The run has length `ends[count - 1] + 1`. */
KTF9_API ktf9_status ktf9_texts_all(const ktf9_texts* texts, const char** bytes, size_t* length,
                                    const size_t** ends, size_t* count, ktf9_error** error);
KTF9_API ktf9_status ktf9_texts_get(const ktf9_texts* texts, size_t index, ktf9_text* text,
                                    ktf9_error** error);
KTF9_API ktf9_status ktf9_texts_destroy(ktf9_texts* texts, ktf9_error** error);

/* ---- Notebooks. */
/* A `name` of NULL is "Notebook". `locale` is how texts and formulas are written: "C", which is
 * also NULL, or a name such as "de_DE". */
KTF9_API ktf9_status ktf9_notebook_create(const char* name, const char* locale,
                                          ktf9_notebook** notebook, ktf9_error** error);
/* Ends the notebook: lets go what it holds, and the contexts of its functions. */
KTF9_API ktf9_status ktf9_notebook_destroy(ktf9_notebook* notebook, ktf9_error** error);
KTF9_API ktf9_status ktf9_notebook_name(ktf9_notebook* notebook, ktf9_text* name,
                                        ktf9_error** error);

/* `table` may be NULL. */
KTF9_API ktf9_status ktf9_notebook_add_table(ktf9_notebook* notebook, const char* name,
                                             ktf9_table** table, ktf9_error** error);
/* KTF9_NOT_FOUND when there is none of this name. */
KTF9_API ktf9_status ktf9_notebook_table(ktf9_notebook* notebook, const char* name,
                                         ktf9_table** table, ktf9_error** error);
/* The names of all, in order. */
KTF9_API ktf9_status ktf9_notebook_tables(ktf9_notebook* notebook, ktf9_texts** names,
                                          ktf9_error** error);

/* Computes every cell that is to be computed, in rounds until none changes; `rounds` limits them, 0
 * for the usual limit. `result` tells what changed, and may be NULL. */
KTF9_API ktf9_status ktf9_notebook_recalculate(ktf9_notebook* notebook, int rounds,
                                               ktf9_recalculation** result, ktf9_error** error);

/* Takes the last edit back, or does it again; `done`, which may be NULL, becomes 0 when there is
 * none, else 1. Recalculate then. */
KTF9_API ktf9_status ktf9_notebook_undo(ktf9_notebook* notebook, int* done, ktf9_error** error);
KTF9_API ktf9_status ktf9_notebook_redo(ktf9_notebook* notebook, int* done, ktf9_error** error);
/* Lets the history go, and the memory that it takes: what was removed can not come back. */
KTF9_API ktf9_status ktf9_notebook_forget_history(ktf9_notebook* notebook, ktf9_error** error);

/* ---- What a recalculation did. */
typedef struct ktf9_recalculation_view {
  size_t size;
  /* 0 when cells still changed in the last round; ktf9_notebook_check then tells which. */
  int settled;
  int rounds;
  /* In how many columns cells changed. */
  size_t columns;
} ktf9_recalculation_view;

/* Cells of a column that changed. */
typedef struct ktf9_changed {
  size_t size;
  ktf9_text table;
  ktf9_text column;
  /* Ascending; they stay as long as the recalculation. */
  const size_t* rows;
  size_t row_count;
} ktf9_changed;

KTF9_API ktf9_status ktf9_recalculation_get(const ktf9_recalculation* recalculation,
                                            ktf9_recalculation_view* view, ktf9_error** error);
/* Columns are in the order of the notebook. */
KTF9_API ktf9_status ktf9_recalculation_changed(const ktf9_recalculation* recalculation,
                                                size_t index, ktf9_changed* changed,
                                                ktf9_error** error);
KTF9_API ktf9_status ktf9_recalculation_destroy(ktf9_recalculation* recalculation,
                                                ktf9_error** error);

/* ---- Tables. */
/* What a column holds: a ktf9_type. */
enum { KTF9_NUMBER = 0, KTF9_STRING = 1, KTF9_DATE = 2, KTF9_BOOLEAN = 3, KTF9_STRUCTURE = 4 };
typedef int ktf9_type;

typedef struct ktf9_column_options {
  size_t size;
  ktf9_type type;
  /* Of numbers: "g", "mmol"; NULL or "" for none. */
  const char* unit;
  /* What computes the column; NULL or "" for nothing. */
  const char* formula;
  /* How computed numbers are shown: a pattern such as "0.00", or "%"; NULL or "" for as many digits
   * as the typed numbers have. */
  const char* format;
  /* 1 for computed numbers that are shown bare, in base units, without digits and units so. */
  int is_unformatted;
} ktf9_column_options;

KTF9_API ktf9_status ktf9_table_destroy(ktf9_table* table, ktf9_error** error);
KTF9_API ktf9_status ktf9_table_name(ktf9_table* table, ktf9_text* name, ktf9_error** error);
/* `options` may be NULL: numbers without a unit. `column` may be NULL. */
KTF9_API ktf9_status ktf9_table_add_column(ktf9_table* table, const char* name,
                                           const ktf9_column_options* options, ktf9_column** column,
                                           ktf9_error** error);
/* KTF9_NOT_FOUND when there is none of this name. */
KTF9_API ktf9_status ktf9_table_column(ktf9_table* table, const char* name, ktf9_column** column,
                                       ktf9_error** error);
/* The names of all, in order. */
KTF9_API ktf9_status ktf9_table_columns(ktf9_table* table, ktf9_texts** names, ktf9_error** error);

KTF9_API ktf9_status ktf9_table_row_count(ktf9_table* table, size_t* count, ktf9_error** error);
/* Types the texts into the cells of a new row, from the first column on; `texts` may be NULL where
 * `count` is 0. `id` is NULL or "" for the row's number, which counts from 1, or the next one that
 * no row has for its id. `row`, which may be NULL, becomes the row's place. */
KTF9_API ktf9_status ktf9_table_add_row(ktf9_table* table, const char* const* texts, size_t count,
                                        const char* id, size_t* row, ktf9_error** error);
/* Empty ones, with ids as of ktf9_table_add_row. */
KTF9_API ktf9_status ktf9_table_add_rows(ktf9_table* table, size_t count, ktf9_error** error);
/* Empty ones with these ids, a list of `count` texts as ktf9_column_set_texts takes it. */
KTF9_API ktf9_status ktf9_table_add_rows_with_ids(ktf9_table* table, size_t count,
                                                  const char* bytes, size_t length,
                                                  const size_t* ends, ktf9_error** error);
KTF9_API ktf9_status ktf9_table_remove_row(ktf9_table* table, size_t row, ktf9_error** error);
/* To the place that it has then; the last one for any beyond. */
KTF9_API ktf9_status ktf9_table_move_row(ktf9_table* table, size_t row, size_t place,
                                         ktf9_error** error);
/* Formulas name rows by their ids: [Reactants:Mass:A]. */
KTF9_API ktf9_status ktf9_table_row_id(ktf9_table* table, size_t row, ktf9_text* id,
                                       ktf9_error** error);
KTF9_API ktf9_status ktf9_table_row_ids(ktf9_table* table, ktf9_texts** ids, ktf9_error** error);
KTF9_API ktf9_status ktf9_table_rename_row(ktf9_table* table, size_t row, const char* id,
                                           ktf9_error** error);
/* KTF9_NOT_FOUND when there is none of this id. */
KTF9_API ktf9_status ktf9_table_find_row(ktf9_table* table, const char* id, size_t* row,
                                         ktf9_error** error);

/* A named formula for all columns, computed once: "total" for "SUM([Mass])". NULL or "" removes it.
 */
KTF9_API ktf9_status ktf9_table_set_definition(ktf9_table* table, const char* name,
                                               const char* formula, ktf9_error** error);
/* "" for a name that is not defined. */
KTF9_API ktf9_status ktf9_table_definition(ktf9_table* table, const char* name, ktf9_text* formula,
                                           ktf9_error** error);
/* The names of all. */
KTF9_API ktf9_status ktf9_table_definitions(ktf9_table* table, ktf9_texts** names,
                                            ktf9_error** error);
/* How numbers without a format are shown: "KtFormula9.DefaultFormulaFormat", which is also "", or
 * "KtFormula9.MinDigitFormulaFormat". */
KTF9_API ktf9_status ktf9_table_set_result_format(ktf9_table* table, const char* identifier,
                                                  ktf9_error** error);

KTF9_API ktf9_status ktf9_table_rename(ktf9_table* table, const char* name, ktf9_error** error);
/* To the place that it has then; the last one for any beyond. */
KTF9_API ktf9_status ktf9_table_move(ktf9_table* table, size_t place, ktf9_error** error);
/* Removes the table itself, which undo brings back. */
KTF9_API ktf9_status ktf9_table_remove(ktf9_table* table, ktf9_error** error);

/* ---- Columns. */
/* Where the content of a cell comes from: a ktf9_origin. Noted is what was typed into a column that
 * holds no numbers and had no formula, or stands for a number that is missing: a formula that the
 * column gets computes it anew. */
enum { KTF9_EMPTY = 0, KTF9_TYPED = 1, KTF9_NOTED = 2, KTF9_COMPUTED = 3 };
typedef int ktf9_origin;

/* What a cell holds. */
typedef struct ktf9_cell {
  size_t size;
  /* As it is shown. */
  ktf9_text text;
  /* Both bounds, in the column's unit: equal unless the number is a range; not-a-number for a text
   * that is no number. 0 where nothing is. */
  double min;
  double max;
  /* The unit that the text is in, "" for none. */
  ktf9_text unit;
  ktf9_origin origin;
  /* 1 when a computed cell shows an error, else 0; the error is what stands behind "#Error: ". */
  int is_error;
  ktf9_text error;
} ktf9_cell;

KTF9_API ktf9_status ktf9_column_destroy(ktf9_column* column, ktf9_error** error);
KTF9_API ktf9_status ktf9_column_name(ktf9_column* column, ktf9_text* name, ktf9_error** error);
KTF9_API ktf9_status ktf9_column_type(ktf9_column* column, ktf9_type* type, ktf9_error** error);
/* "" for none, as for the next two. */
KTF9_API ktf9_status ktf9_column_unit(ktf9_column* column, ktf9_text* unit, ktf9_error** error);
KTF9_API ktf9_status ktf9_column_formula(ktf9_column* column, ktf9_text* formula,
                                         ktf9_error** error);
KTF9_API ktf9_status ktf9_column_format(ktf9_column* column, ktf9_text* format, ktf9_error** error);

/* NULL or "" as the formula removes it, with what it computed. `format` may be NULL. */
KTF9_API ktf9_status ktf9_column_set_formula(ktf9_column* column, const char* formula,
                                             const char* format, ktf9_error** error);
/* All formulas follow. */
KTF9_API ktf9_status ktf9_column_rename(ktf9_column* column, const char* name, ktf9_error** error);
/* To the place that it has then; the last one for any beyond. */
KTF9_API ktf9_status ktf9_column_move(ktf9_column* column, size_t place, ktf9_error** error);
/* Removes the column itself, which undo brings back. */
KTF9_API ktf9_status ktf9_column_remove(ktf9_column* column, ktf9_error** error);

KTF9_API ktf9_status ktf9_column_get(ktf9_column* column, size_t row, ktf9_cell* cell,
                                     ktf9_error** error);
/* Types a text, "1.22 g", "5 ± 1", "1 .. 2" or "n.d."; "" empties the cell, which is computed
 * again.
 */
KTF9_API ktf9_status ktf9_column_set_text(ktf9_column* column, size_t row, const char* text,
                                          ktf9_error** error);
/* Types the shortest text that reads as the same number. Infinity is typed as "inf", which is no
 * number. */
KTF9_API ktf9_status ktf9_column_set_number(ktf9_column* column, size_t row, double number,
                                            ktf9_error** error);

/* ---- Many cells at once, from row `first` on: one step for undo, and fast. */
/* Not-a-number becomes `missing`: a text that is no number, so that nothing is computed with it,
 * and that is noted, so that no digits are counted; or "" for an empty cell, which counts as 0.
 * NULL is "nan". A range whose lower bound is above the upper one is a text that is no number. */
KTF9_API ktf9_status ktf9_column_set_numbers(ktf9_column* column, size_t first, size_t count,
                                             const double* numbers, const char* missing,
                                             ktf9_error** error);
KTF9_API ktf9_status ktf9_column_set_ranges(ktf9_column* column, size_t first, size_t count,
                                            const double* min, const double* max,
                                            const char* missing, ktf9_error** error);
/* A list of `count` texts. Without `ends` (NULL) a text ends at each NUL of the `length` bytes. */
KTF9_API ktf9_status ktf9_column_set_texts(ktf9_column* column, size_t first, size_t count,
                                           const char* bytes, size_t length, const size_t* ends,
                                           ktf9_error** error);
/* What ktf9_cell calls min and max, of `count` rows into arrays of the program; either may be NULL
 * where it is not wanted. */
KTF9_API ktf9_status ktf9_column_numbers(ktf9_column* column, size_t first, size_t count,
                                         double* min, double* max, ktf9_error** error);
/* The texts of all rows. */
KTF9_API ktf9_status ktf9_column_texts(ktf9_column* column, ktf9_texts** texts, ktf9_error** error);
/* A ktf9_origin of each row, as a byte. */
KTF9_API ktf9_status ktf9_column_origins(ktf9_column* column, size_t first, size_t count,
                                         unsigned char* origins, ktf9_error** error);
/* For each row 1 when the cell shows an error, else 0. */
KTF9_API ktf9_status ktf9_column_errors(ktf9_column* column, size_t first, size_t count,
                                        unsigned char* is_error, ktf9_error** error);

/* ---- Values of the formula language. */
/* A ktf9_value_kind. */
enum {
  KTF9_VALUE_NOTHING = 0,
  KTF9_VALUE_NUMBER = 1,
  KTF9_VALUE_TEXT = 2,
  KTF9_VALUE_BOOLEAN = 3,
  KTF9_VALUE_DATE = 4,
  KTF9_VALUE_STRUCTURE = 5,
  KTF9_VALUE_ERROR = 6
};
typedef int ktf9_value_kind;

typedef struct ktf9_value_view {
  size_t size;
  ktf9_value_kind kind;
  /* The bounds of a number, in base units, or a date, in days since 1899-12-30; not-a-number for
   * anything else, and for a number that is missing. */
  double min;
  double max;
  int boolean;
  /* The text, the structure, the description of the error, why a number is missing; of any other
   * value that came from a formula, how a cell would show it. */
  ktf9_text text;
} ktf9_value_view;

/* The value of a formula as if it stood in the cell; KTF9_FORMULA where the formula raises an
 * error.
 */
KTF9_API ktf9_status ktf9_column_evaluate(ktf9_column* column, size_t row, const char* formula,
                                          ktf9_value** value, ktf9_error** error);
KTF9_API ktf9_status ktf9_value_get(const ktf9_value* value, ktf9_value_view* view,
                                    ktf9_error** error);
/* Not for arguments and results of functions, which come and go with the call. */
KTF9_API ktf9_status ktf9_value_destroy(ktf9_value* value, ktf9_error** error);

/* What a function of your own gives as its result; nothing else can be set. */
KTF9_API ktf9_status ktf9_value_set_nothing(ktf9_value* value, ktf9_error** error);
/* In base units. */
KTF9_API ktf9_status ktf9_value_set_number(ktf9_value* value, double number, ktf9_error** error);
KTF9_API ktf9_status ktf9_value_set_range(ktf9_value* value, double min, double max,
                                          ktf9_error** error);
/* A number that is missing, and why: "n.d.". */
KTF9_API ktf9_status ktf9_value_set_missing(ktf9_value* value, const char* why, ktf9_error** error);
KTF9_API ktf9_status ktf9_value_set_text(ktf9_value* value, const char* text, ktf9_error** error);
KTF9_API ktf9_status ktf9_value_set_boolean(ktf9_value* value, int boolean, ktf9_error** error);
KTF9_API ktf9_status ktf9_value_set_structure(ktf9_value* value, const char* mvr,
                                              ktf9_error** error);
/* The cell shows the message behind "#Error: ". */
KTF9_API ktf9_status ktf9_value_set_error(ktf9_value* value, const char* message,
                                          ktf9_error** error);

/* ---- Functions of your own, for formulas. */
/* Is called with the values of the arguments, and sets the result, which is nothing at first. It
 * fails with ktf9_value_set_error, or by giving anything but KTF9_DONE: then the cell shows the
 * error that it has set, or else that the function has failed. It must not edit, recalculate or
 * destroy the notebook (KTF9_REFUSED), nor throw or jump out. */
typedef ktf9_status (*ktf9_compute)(void* context, const ktf9_value* const* arguments, size_t count,
                                    ktf9_value* result);

/* As `most`: as many arguments as there are. */
#define KTF9_ANY_NUMBER ((size_t)-1)

typedef struct ktf9_function {
  size_t size;
  /* Letters from A to Z, digits and "_", in any letter case. */
  const char* name;
  /* The numbers of arguments that it takes. */
  size_t least;
  size_t most;
  /* For people, such as "HALF(number): half of the number"; may be NULL. */
  const char* help;
  ktf9_compute compute;
  /* For `compute` and `destroy`. */
  void* context;
  /* Is called once with the context, when the notebook ends; may be NULL. Not called when the
   * function is not added. */
  void (*destroy)(void* context);
  /* 1 for a function that is called with errors and missing numbers too. Otherwise a call with one
   * of them comes to the error. */
  int takes_errors;
  /* 1 when the value follows from the arguments alone, so that it need not be computed again until
   * they change. Otherwise every round of every recalculation calls the function. */
  int is_pure;
} ktf9_function;

/* KTF9_REFUSED when a function of this name is there. What the struct points to is copied, but for
 * the context. */
KTF9_API ktf9_status ktf9_notebook_add_function(ktf9_notebook* notebook,
                                                const ktf9_function* function, ktf9_error** error);

/* What is known of a function, the language's own included. */
typedef struct ktf9_function_help {
  size_t size;
  ktf9_text name;
  size_t least;
  size_t most;
  ktf9_text help;
} ktf9_function_help;

KTF9_API ktf9_status ktf9_notebook_functions(ktf9_notebook* notebook, ktf9_functions** functions,
                                             ktf9_error** error);
KTF9_API ktf9_status ktf9_functions_count(const ktf9_functions* functions, size_t* count,
                                          ktf9_error** error);
KTF9_API ktf9_status ktf9_functions_get(const ktf9_functions* functions, size_t index,
                                        ktf9_function_help* help, ktf9_error** error);
KTF9_API ktf9_status ktf9_functions_destroy(ktf9_functions* functions, ktf9_error** error);

/* ---- What is wrong, or odd, and what may help. */
/* A ktf9_severity. */
enum { KTF9_SEVERITY_ERROR = 0, KTF9_SEVERITY_WARNING = 1, KTF9_SEVERITY_NOTE = 2 };
typedef int ktf9_severity;

/* For members of ktf9_problem that do not apply. */
#define KTF9_NONE ((size_t)-1)

typedef struct ktf9_problem {
  size_t size;
  /* "unknown-name", "units", ...: see docs/errors.md. */
  ktf9_text code;
  ktf9_severity severity;
  /* Where it is; "" for what does not apply. A definition has no column. */
  ktf9_text table;
  ktf9_text column;
  ktf9_text definition;
  /* The first row concerned, and how many are; KTF9_NONE when it does not depend on rows. */
  size_t row;
  size_t rows;
  /* The formula, or the format, and the place in it, in bytes; "" and KTF9_NONE where the problem
   * has none. */
  ktf9_text formula;
  size_t start;
  size_t length;
  /* What is wrong, in a sentence without a full stop; a likely mend, or "". */
  ktf9_text message;
  ktf9_text help;
} ktf9_problem;

/* Recalculates, and gives all problems in the order of the notebook. */
KTF9_API ktf9_status ktf9_notebook_check(ktf9_notebook* notebook, ktf9_problems** problems,
                                         ktf9_error** error);
KTF9_API ktf9_status ktf9_problems_count(const ktf9_problems* problems, size_t* count,
                                         ktf9_error** error);
KTF9_API ktf9_status ktf9_problems_get(const ktf9_problems* problems, size_t index,
                                       ktf9_problem* problem, ktf9_error** error);
KTF9_API ktf9_status ktf9_problems_destroy(ktf9_problems* problems, ktf9_error** error);

/* ---- Why a cell shows what it shows. */
typedef struct ktf9_explanation_view {
  size_t size;
  /* "TABLE:COLUMN:ROW", what the cell shows, where that comes from ("typed", "noted", "computed" or
   * "empty"), and its formula. */
  ktf9_text cell;
  ktf9_text text;
  ktf9_text origin;
  ktf9_text formula;
  /* The cell in which its error arose, "" for no error. */
  ktf9_text error_from;
  size_t steps;
  /* How the number is shown: the pattern, and the cells that decided on digits and unit; "" for
   * what does not apply. */
  ktf9_text pattern;
  ktf9_text digits_from;
  ktf9_text unit;
  ktf9_text unit_from;
  /* All of it told to people, in lines. */
  ktf9_text story;
} ktf9_explanation_view;

/* An operand of a formula, or a call. */
typedef struct ktf9_step_view {
  size_t size;
  /* As the formula of the cell above has it. */
  ktf9_text source;
  /* "typed", "noted", "computed", "empty", "definition", "column" or "constant"; "" for a name that
   * nothing answers. */
  ktf9_text origin;
  /* "TABLE:COLUMN:ROW" and what the cell shows; "" for what is no cell. */
  ktf9_text cell;
  ktf9_text text;
  /* Of a computed cell or a definition. */
  ktf9_text formula;
  /* The cell in which its error arose, "" for no error. */
  ktf9_text error_from;
  size_t steps;
  /* How many more rows have such steps. */
  size_t more_rows;
} ktf9_step_view;

/* To be called after ktf9_notebook_recalculate. `depth` is how far to follow what cells are
 * computed from: 3 is usual. */
KTF9_API ktf9_status ktf9_column_explain(ktf9_column* column, size_t row, int depth,
                                         ktf9_explanation** explanation, ktf9_error** error);
/* Of the cell "TABLE:COLUMN:ROW", with the row's id. */
KTF9_API ktf9_status ktf9_notebook_explain(ktf9_notebook* notebook, const char* cell, int depth,
                                           ktf9_explanation** explanation, ktf9_error** error);
KTF9_API ktf9_status ktf9_explanation_get(const ktf9_explanation* explanation,
                                          ktf9_explanation_view* view, ktf9_error** error);
KTF9_API ktf9_status ktf9_explanation_value(const ktf9_explanation* explanation,
                                            ktf9_value_view* view, ktf9_error** error);
/* Steps belong to the explanation: they are not destroyed, and go with it. */
KTF9_API ktf9_status ktf9_explanation_step(const ktf9_explanation* explanation, size_t index,
                                           const ktf9_step** step, ktf9_error** error);
KTF9_API ktf9_status ktf9_step_get(const ktf9_step* step, ktf9_step_view* view, ktf9_error** error);
/* What the operand came to: KTF9_VALUE_NOTHING for a column. */
KTF9_API ktf9_status ktf9_step_value(const ktf9_step* step, ktf9_value_view* view,
                                     ktf9_error** error);
KTF9_API ktf9_status ktf9_step_step(const ktf9_step* step, size_t index, const ktf9_step** below,
                                    ktf9_error** error);
KTF9_API ktf9_status ktf9_explanation_destroy(ktf9_explanation* explanation, ktf9_error** error);

#ifdef __cplusplus
}
#endif

#endif
