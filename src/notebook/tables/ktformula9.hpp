// KtFormula9: tables in memory whose columns compute themselves.
//
//   #include <iostream>
//   #include <ktformula9.hpp>
//
//   int main() {
//     ktformula9::Notebook notebook;
//     ktformula9::Table table = notebook.AddTable("Reactants");
//     table.AddColumn("Mass", {.unit = "g"});
//     table.AddColumn("MW", {.unit = "g/mol"});
//     table.AddColumn("Moles", {.unit = "mmol", .formula = "[Mass]/[MW]"});
//     table.AddRow({"1.22", "122.12"});
//     notebook.Recalculate();
//     std::cout << table.At("Moles").At(0).text << '\n';  // 9.99 mmol
//   }
//
// A notebook holds tables, a table columns and rows. What somebody types into a cell stays; every
// other cell of a column with a formula is computed by Recalculate. Edits compute nothing by
// themselves: make as many as you like, then recalculate once.
//
// TEXTS are UTF-8. NUMBERS are given and told in the unit of their column; formulas compute in base
// units (kg, m3, mol, kg/mol, mol/kg, kg/m3, mol/m3, m, s, Pa, K), and so do functions of your own.
// They are kept in base units: in a column without a unit, or with such a one, a number comes back
// bit for bit, in any other it may differ in its last bit (of °C by 1e-13).
// ROWS and other places count from 0.
//
// ERRORS. What can not be done throws Error and changes nothing. A formula that fails throws
// nothing: its cell shows "#Error: " and the reason, and Check tells what to do about it.
//
// LIFE AND THREADS. Notebook, Table and Column are handles: copies mean the same thing, and each
// keeps its notebook alive. A handle of something that was removed throws until Undo brings it
// back. A notebook and all that belongs to it may be used by one thread at a time, different
// notebooks by different threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// The classes behind the handles.
namespace ktnotebook {
class EmbeddedNotebook;
class NotebookColumn;
class NotebookTable;
}  // namespace ktnotebook

namespace [[gnu::visibility("default")]] ktformula9 {

// Why something can not be done. what() is a sentence for people.
class Error : public std::runtime_error {
 public:
  enum class Kind {
    // An argument that is no good whatever the notebook: no UTF-8, an unknown unit.
    kArgument,
    // Something of this name, or at this place, is not there.
    kNotFound,
    // It was removed, or its notebook is gone.
    kGone,
    // An edit that is refused: a name in use, a rename that would change what a formula means.
    kRefused,
    // A formula that raised an error where its value was asked for.
    kFormula,
  };

  // In bytes.
  struct Place {
    std::size_t start = 0;
    std::size_t length = 0;
  };

  Error(Kind kind, std::string argument, const std::string& message,
        std::optional<Place> place = {});
  ~Error() override;

  Kind Reason() const noexcept { return kind_; }
  // The name of the argument at fault, "" for none.
  const std::string& Argument() const noexcept { return argument_; }
  // Where a formula can not be understood.
  const std::optional<Place>& InFormula() const noexcept { return place_; }

 private:
  Kind kind_;
  std::string argument_;
  std::optional<Place> place_;
};

// What a column holds.
enum class Type { kNumber, kString, kDate, kBoolean, kStructure };

struct ColumnOptions {
  Type type = Type::kNumber;
  // Of numbers: "g", "mmol", "°C"; "" for none. See docs/units-and-digits.md for all.
  std::string unit = {};
  // What computes the column; "" for nothing.
  std::string formula = {};
  // How computed numbers are shown: a pattern such as "0.00", or "%"; "" for as many digits as the
  // typed numbers have.
  std::string format = {};
  // Whether computed numbers are shown with digits and units so; otherwise bare, in base units.
  bool is_formatted = true;
};

// Where the content of a cell comes from.
enum class Origin {
  kEmpty,
  // Stays until somebody types something else.
  kTyped,
  // Was typed into a column that holds no numbers and had no formula, or stands for a number that
  // is missing: a formula that the column gets computes it anew.
  kNoted,
  kComputed,
};

// What a cell holds.
struct Cell {
  // As it is shown.
  std::string text;
  // Both bounds, in the column's unit: equal unless the number is a range; not-a-number for a text
  // that is no number. 0 where nothing is.
  double min = 0;
  double max = 0;
  // The unit that the text is in, "" for none.
  std::string unit;
  Origin origin = Origin::kEmpty;
  // What a computed cell shows behind "#Error: "; empty where there is no error.
  std::optional<std::string> error;
};

// A value of the formula language.
class Value {
 public:
  enum class Kind { kNothing, kNumber, kText, kBoolean, kDate, kStructure, kError };

  Value() = default;
  // In base units.
  static Value OfNumber(double number) { return OfRange(number, number); }
  static Value OfRange(double min, double max, std::string shown = {});
  // A number that is missing, and why: "n.d.".
  static Value OfMissingNumber(std::string why);
  static Value OfText(std::string text);
  static Value OfBoolean(bool boolean, std::string shown = {});
  // Days since 1899-12-30, with fractions.
  static Value OfDate(double days, std::string shown = {});
  static Value OfStructure(std::string mvr);
  static Value OfError(std::string description);

  Kind What() const noexcept { return kind_; }
  // The bounds of a number, or a date; not-a-number for anything else, and for a missing number.
  double Min() const noexcept { return min_; }
  double Max() const noexcept { return max_; }
  bool Boolean() const noexcept { return boolean_; }
  // The text, the structure, the description of the error, why a number is missing; of any other
  // value that came from a formula, how a cell would show it.
  const std::string& Text() const noexcept { return text_; }

 private:
  Kind kind_ = Kind::kNothing;
  double min_ = std::numeric_limits<double>::quiet_NaN();
  double max_ = min_;
  bool boolean_ = false;
  std::string text_;
};

// For a function that takes as many arguments as there are.
inline constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();

// A function of your own, for formulas: a name of letters from A to Z, digits and "_", in any
// letter case, and the numbers of arguments that it takes.
struct Function {
  std::string name;
  std::size_t least = 0;
  std::size_t most = kAnyNumber;
  // For people, such as "HALF(number): half of the number".
  std::string help = {};
  // Is called with the values of the arguments, and gives the function's. What it throws becomes
  // the error of the cell: the what() of a std::exception. It must not edit or recalculate the
  // notebook, which is refused with an Error, nor give a date. It may read the notebook, but should
  // keep no handle of it for that, only a pointer to one: the notebook, which keeps the function,
  // would keep itself.
  std::function<Value(std::span<const Value>)> compute;
  // Whether it is called with errors and missing numbers too. Otherwise a call with one of them
  // comes to the error.
  bool takes_errors = false;
  // Whether the value follows from the arguments alone, so that it need not be computed again until
  // they change. Otherwise every round of every recalculation calls the function.
  bool is_pure = false;
};

// What is known of a function, the language's own included.
struct FunctionHelp {
  std::string name;
  std::size_t least = 0;
  std::size_t most = 0;
  std::string help;
};

// Cells of a column, by their rows.
struct CellsOfColumn {
  std::string table;
  std::string column;
  // Ascending.
  std::vector<std::size_t> rows;
};

struct Recalculation {
  // False when cells still changed in the last round; Check then tells which.
  bool settled = false;
  int rounds = 0;
  // Which cells it changed, column by column in the order of the notebook.
  std::vector<CellsOfColumn> changed;
};

enum class Severity { kError, kWarning, kNote };

// What is wrong, or odd, and what may help.
struct Problem {
  // "unknown-name", "units", ...: see docs/errors.md.
  std::string code;
  Severity severity = Severity::kError;
  // Where it is; "" for what does not apply. A definition has no column.
  std::string table;
  std::string column;
  std::string definition;
  // The first row concerned, and how many are; empty when it does not depend on rows.
  std::optional<std::size_t> row;
  std::optional<std::size_t> rows;
  // The formula, or the format, and the place in it, in bytes; empty where the problem has none.
  std::string formula;
  std::optional<std::size_t> start;
  std::optional<std::size_t> length;
  // What is wrong, in a sentence without a full stop; a likely mend, or "".
  std::string message;
  std::string help;
};

// An operand of a formula, or a call, with what it came to.
struct Step {
  // As the formula of the cell above has it.
  std::string source;
  Value value;
  // "typed", "noted", "computed", "empty", "definition", "column" or "constant"; "" for a name that
  // nothing answers.
  std::string origin;
  // "TABLE:COLUMN:ROW" and what the cell shows; "" for what is no cell.
  std::string cell;
  std::string text;
  // Of a computed cell or a definition.
  std::string formula;
  // The cell in which its error arose, "" for no error.
  std::string error_from;
  std::vector<Step> steps;
  // How many more rows have such steps.
  std::size_t more_rows = 0;
};

// Why a cell shows what it shows.
struct Explanation {
  std::string cell;
  std::string text;
  std::string origin;
  std::string formula;
  Value value;
  // The cell in which its error arose, "" for no error.
  std::string error_from;
  std::vector<Step> steps;
  // How the number is shown: the pattern, and the cells that decided on digits and unit; "" for
  // what does not apply.
  std::string pattern;
  std::string digits_from;
  std::string unit;
  std::string unit_from;
  // All of it told to people, in lines.
  std::string story;
};

class Table;

// A column of a table.
class Column {
 public:
  std::string Name() const;
  Type HoldsType() const;
  // "" for none.
  std::string Unit() const;
  std::string Formula() const;
  std::string Format() const;

  // An empty formula removes it, with what it computed.
  void SetFormula(std::string_view formula, std::string_view format = "");
  // All formulas follow.
  void Rename(std::string_view name);
  // To the place that it has then; the last one for any beyond.
  void Move(std::size_t place);
  void Remove();

  // What the row's cell holds.
  Cell At(std::size_t row) const;
  // Types a text, "1.22 g", "5 ± 1", "1 .. 2" or "n.d."; "" empties the cell, which is computed
  // again. Numbers are typed as the shortest text that reads as the same number; infinity as "inf",
  // which is no number.
  void Set(std::size_t row, std::string_view text);
  void Set(std::size_t row, double number);

  // Many cells at once, from row `first` on: one step for Undo, and fast.
  void SetTexts(std::span<const std::string_view> texts, std::size_t first = 0);
  // Not-a-number becomes `missing`: a text that is no number, so that nothing is computed with it,
  // and that is noted, so that no digits are counted; or "" for an empty cell, which counts as 0.
  void SetNumbers(std::span<const double> numbers, std::size_t first = 0,
                  std::string_view missing = "nan");
  // A range whose lower bound is above the upper one becomes a text that is no number.
  void SetRanges(std::span<const double> min, std::span<const double> max, std::size_t first = 0,
                 std::string_view missing = "nan");
  // What all cells hold, as At tells it.
  std::vector<std::string> Texts() const;
  std::vector<double> MinNumbers() const;
  std::vector<double> MaxNumbers() const;
  std::vector<Origin> Origins() const;
  // Whether cells show errors.
  std::vector<bool> Errors() const;

  // The value of a formula as if it stood in the cell. Throws Error where the formula raises one.
  Value Evaluate(std::size_t row, std::string_view formula) const;
  // After Recalculate. `depth` is how far to follow what cells are computed from.
  Explanation Explain(std::size_t row, int depth = 3) const;

 private:
  friend class Table;
  Column(std::shared_ptr<ktnotebook::EmbeddedNotebook> notebook,
         ktnotebook::NotebookColumn& column);
  ktnotebook::NotebookColumn& Own() const;
  void SetBounds(std::span<const double> min, std::span<const double> max, std::size_t first,
                 std::string_view missing, std::string_view argument);

  std::shared_ptr<ktnotebook::EmbeddedNotebook> notebook_;
  ktnotebook::NotebookColumn* column_;
};

// A table of a notebook.
class Table {
 public:
  std::string Name() const;
  std::size_t RowCount() const;
  std::vector<Column> Columns() const;
  // Throws when there is none of this name.
  Column At(std::string_view column) const;

  Column AddColumn(std::string_view name, const ColumnOptions& options = {});
  // Types the texts into the cells of a new row, from the first column on; `id` is "" for the
  // row's number, which counts from 1, or the next one that no row has for its id. Gives the row's
  // place.
  std::size_t AddRow(std::initializer_list<std::string_view> texts, std::string_view id = "");
  std::size_t AddRow(std::span<const std::string_view> texts = {}, std::string_view id = "");
  // Empty ones, with ids as of AddRow, or with these.
  void AddRows(std::size_t count);
  void AddRows(std::span<const std::string_view> ids);
  void RemoveRow(std::size_t row);
  void MoveRow(std::size_t row, std::size_t place);
  // Formulas name rows by their ids: [Reactants:Mass:A].
  std::string RowId(std::size_t row) const;
  void RenameRow(std::size_t row, std::string_view id);
  std::optional<std::size_t> FindRow(std::string_view id) const;

  // A named formula for all columns, computed once: SetDefinition("total", "SUM([Mass])"). An empty
  // one removes it.
  void SetDefinition(std::string_view name, std::string_view formula);
  std::string Definition(std::string_view name) const;
  std::vector<std::string> Definitions() const;
  // How numbers without a format are shown: "KtFormula9.DefaultFormulaFormat", which is also "", or
  // "KtFormula9.MinDigitFormulaFormat".
  void SetResultFormat(std::string_view identifier);

  void Rename(std::string_view name);
  void Move(std::size_t place);
  void Remove();

 private:
  friend class Notebook;
  Table(std::shared_ptr<ktnotebook::EmbeddedNotebook> notebook, ktnotebook::NotebookTable& table);
  ktnotebook::NotebookTable& Own() const;

  std::shared_ptr<ktnotebook::EmbeddedNotebook> notebook_;
  ktnotebook::NotebookTable* table_;
};

class Notebook {
 public:
  // `locale` is how texts and formulas are written: "C", or a name such as "de_DE".
  explicit Notebook(std::string_view name = "Notebook", std::string_view locale = "C");

  std::string Name() const;
  std::vector<Table> Tables() const;
  // Throws when there is none of this name.
  Table At(std::string_view table) const;
  Table AddTable(std::string_view name);

  // Refused when a function of this name is there.
  void AddFunction(Function function);
  std::vector<FunctionHelp> Functions() const;

  // Computes every cell that is to be computed, in rounds until none changes; `rounds` limits them,
  // 0 for the usual limit.
  Recalculation Recalculate(int rounds = 0);
  // Recalculates, and gives all problems in the order of the notebook.
  std::vector<Problem> Check();
  // Of the cell "TABLE:COLUMN:ROW", with the row's id.
  Explanation Explain(std::string_view cell, int depth = 3) const;

  // Takes the last edit back, or does it again; false when there is none. Recalculate then.
  bool Undo();
  bool Redo();
  // Lets the history go, and the memory that it takes: what was removed can not come back.
  void ForgetHistory();

 private:
  std::shared_ptr<ktnotebook::EmbeddedNotebook> notebook_;
};

// "0.1.0".
std::string_view Version() noexcept;

// clang-format off
}  // namespace ktformula9
