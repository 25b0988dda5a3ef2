// Formulas over cells that a program keeps itself: in a grid, in records, in structs.
//
// The program derives a class from OwnTable for each of its tables and gives them to an
// OwnCellsHost, with formulas for some columns. The host is to the engine what a notebook is: it
// finds what references mean, recalculates until nothing changes, and has the cells written that
// do. It holds no cell. Whatever the engine, or a cell's formula, asks is asked of the tables.
//
// Rows and columns count from 0. Texts are UTF-16; numbers are in the base unit of their quantity
// (a mass in kg, whatever unit its column has), as the units in unit_catalogue.h convert them.
//
// Errors: members of OwnCellsHost raise ktformula::RaisedError for what is not there, with a
// description that names it. What a formula comes to is no error of theirs: its cell shows it. What
// the program's own members throw ends the recalculation and reaches the caller, except that a
// RaisedError thrown while a formula reads a cell is that formula's error.
//
// Threads: a host and its tables belong to one thread at a time; different hosts, over different
// tables, may work in different threads at once.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/explanation.h"
#include "analysis/find_problems.h"
#include "analysis/watched_form.h"

#include "functions/function_table.h"
#include "host/notebook_objects.h"
#include "listener/ikt_formula_listener.h"
#include "notebook/tables/column_data.h"
#include "notebook/tables/property.h"
#include "notebook/tables/typed_text.h"
#include "values/cell_value.h"
#include "values/number_text.h"

namespace ktnotebook {

// A column as a program tells of it.
struct OwnColumn {
  // By which references and formulas find it; no other column of the table has it.
  std::u16string name;
  DataType type = DataType::kNumber;
  // The unit in which its numbers are typed and shown, such as u"mg"; "" for none.
  std::u16string unit = {};
  // Whether computed numbers are shown in that unit, with the digits that entered cells or the
  // formula's format ask for; else in general form.
  bool number_formatting = false;

  bool operator==(const OwnColumn&) const = default;
};

// The numbers of a cell: one, or a range.
struct OwnNumbers {
  OwnNumbers(double number = 0) noexcept : min(number), max(number) {}
  OwnNumbers(double lower, double upper) noexcept : min(lower), max(upper) {}

  double min;
  double max;
};

// A table whose cells the program keeps. The host asks for columns, rows and ids at the beginning
// of each of its own calls, so that they may be others than before. Until that call returns all
// members tell the same, but for what Write takes; functions of the program's, too, leave the
// tables alone. Members do not call the host.
class OwnTable {
 public:
  OwnTable() = default;
  OwnTable(const OwnTable&) = delete;
  OwnTable& operator=(const OwnTable&) = delete;
  virtual ~OwnTable() = default;

  // From left to right, the order in which a round computes them. A column is known by its name,
  // wherever it stands.
  virtual std::vector<OwnColumn> Columns() const = 0;
  virtual std::size_t RowCount() const = 0;

  // The numbers of a cell of a column of numbers or dates; not-a-number for a cell of numbers whose
  // text says none, such as "n.d.", which is an error in formulas. 0 for an empty cell.
  virtual OwnNumbers Numbers(std::size_t row, std::size_t column) const = 0;

  // What the cell shows. The general form of its number unless the table says something else; ""
  // where that is not finite.
  virtual std::u16string Text(std::size_t row, std::size_t column) const;

  // Takes the result of a formula, or of its error ("#Error: ..." with not-a-number), which Text
  // and Numbers tell from then on. Called for cells that are to hold something else than they do,
  // and for those with a mark, which a computed cell has not. A table may keep less than it is
  // given; a cell that reads the same afterwards has not changed.
  virtual void Write(std::size_t row, std::size_t column, const CellContent& content) = 0;

  // The state and tag of a cell: kQuantityMark for a quantity that somebody entered, which no
  // formula overwrites, whose digits computed numbers follow and which ISENTERED is true for. Good
  // until the next call.
  virtual TypedMark Mark(std::size_t /*row*/, std::size_t /*column*/) const { return {}; }

  // By which references such as [Reagents:Mass:acid] find the row; "" for none but its number.
  virtual std::u16string RowId(std::size_t /*row*/) const { return {}; }

  // The tag of the row under the name, for ROWTAG; "" for none.
  virtual std::u16string RowTag(std::size_t /*row*/, std::u16string_view /*name*/) const {
    return {};
  }
};

// Where a cell is. The name is the host's, good as long as the host.
struct OwnPlace {
  std::u16string_view table;
  std::size_t row = 0;
  std::size_t column = 0;

  bool operator==(const OwnPlace&) const = default;
};

struct OwnRecalculation {
  // Rounds that were run, the last one included, which changes nothing when the form is settled.
  int rounds = 0;
  bool settled = false;
  // The cells that were given another content, each once, in the order of their first change.
  std::vector<OwnPlace> changed;
  // When it is not settled: the cells that changed in the last round.
  std::vector<OwnPlace> unsettled;
};

class OwnForm;

class OwnCellsHost {
 public:
  // The functions that formulas may call, of which each table gets its own; borrowed. Numbers of
  // cells are read and written with the separators of the locale.
  explicit OwnCellsHost(
      std::span<const ktformula::FunctionClass> functions = ktformula::StandardFunctions(),
      const ktformula::Locale& locale = {});
  OwnCellsHost(const OwnCellsHost&) = delete;
  OwnCellsHost& operator=(const OwnCellsHost&) = delete;
  ~OwnCellsHost();

  // Names the table for references of all tables. The table is borrowed until the host's end and
  // may have no columns yet. Names are unique among tables and fields.
  void Add(std::u16string_view name, OwnTable& table);

  // Any other object that references may name, such as a NotebookStructure.
  void AddField(std::u16string_view name, ktformula::Ref<ktformula::NotebookObject> object);

  // Gives the column a formula, with the pattern that shows its numbers or "%"; "" for none. An
  // empty formula takes it away.
  void SetFormula(std::u16string_view table, std::u16string_view column,
                  std::u16string_view formula, std::u16string_view format = {});

  // A value with a name, for all formulas of the table.
  void SetDefinition(std::u16string_view table, std::u16string_view name,
                     std::u16string_view formula);

  // The table's listener, which has all of this and more: its formulas, its result format.
  ktformula::IKtFormulaListener& Listener(std::u16string_view table);

  // Brings all tables up to date: in the order in which they were added, except that `first`,
  // unless it is "", comes before the others; round after round until one changes no cell, or so
  // many were run. 0 stands for as many as the formula cells may need one after the other. To be
  // called after every change of the program's; whatever happened meanwhile is found.
  OwnRecalculation Recalculate(int maximum_rounds = 0, std::u16string_view first = {});

  // The value of a formula as if it stood in the cell, which keeps what it has. Raises what the
  // formula raises.
  ktformula::CellValue Evaluate(const OwnPlace& place, std::u16string_view formula);

  // What somebody means who types a text into a cell of the column: the text without the blanks
  // around it, its numbers in base units and its unit.
  CellContent ReadTyped(std::u16string_view table, std::size_t column, std::u16string_view typed);

  // All problems of formulas and cells as they are now, and why a cell shows what it shows; see
  // analysis/. To be called when the tables were recalculated. What is returned refers to the
  // host's objects and is good until the program changes columns or rows.
  std::vector<ktformula::Problem> Check(const OwnRecalculation& last = {});
  ktformula::Explanation Explain(const OwnPlace& place,
                                 int depth = ktformula::kDefaultExplanationDepth);

  // For other analyses, which hold a ktformula::LocaleScope with the host's locale: the tables with
  // their formulas, and a cell.
  ktformula::WatchedForm Watched();
  ktformula::Ref<ktformula::TableCell> Cell(const OwnPlace& place);
  // Where a cell of these is.
  OwnPlace PlaceOf(const ktformula::TableCell& cell) const;

 private:
  ktformula::Ref<OwnForm> form_;
};

}  // namespace ktnotebook
