// Random formulas for the columns of a notebook.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "random_notebooks/plan.h"
#include "random_notebooks/random.h"

namespace random_notebooks {

// How a notebook's formulas come out.
struct Taste {
  // Percentage of operands and formulas that are odd: of another kind than is wanted, unknown,
  // hard to parse or no formulas at all.
  std::size_t oddness = 0;
  // Whether formulas call functions of the host.
  bool is_hostile = false;
  // Of one formula in a pass, aggregates included.
  std::size_t maximum_evaluations = 500;
};

// Makes formulas for the tables and columns of a plan, whose rows are there; formulas need not be.
//
// What a date column holds is never on the left of a comparison with a layer on its right: dates of
// cells are the time of their evaluation there, which differs from one notebook to the next.
class FormulaMaker {
 public:
  FormulaMaker(Random& random, const NotebookPlan& plan, const Taste& taste)
      : random_(random), plan_(plan), taste_(taste) {}

  // For a cell of the column; mostly of the column's type.
  std::u16string ForColumn(std::size_t table, std::size_t column);
  // For a definition of a listener of the table.
  std::u16string ForDefinition(std::size_t table);

 private:
  enum class Kind { kNumber, kText, kTruth };
  // Where an operand stands.
  struct Place {
    // The table of the row that references start from, and of the cell that is computed.
    std::size_t row_table = 0;
    std::size_t cell_table = 0;
    // How often it is evaluated in a pass.
    std::size_t evaluations = 1;
    // How many levels may follow below.
    int depth = 3;
    // Within an aggregate, where references start from a row.
    bool is_in_fold = false;
    // No computed columns: within what joins texts, which would grow with every round.
    bool is_of_inputs = false;

    Place Below() const {
      Place place = *this;
      --place.depth;
      return place;
    }
    Place OfInputs() const {
      Place place = *this;
      place.is_of_inputs = true;
      return place;
    }
  };

  std::u16string Simple(Kind kind, const Place& place);
  std::u16string Make(Kind kind, const Place& place);
  std::u16string Number(const Place& place);
  std::u16string Text(const Place& place);
  std::u16string Truth(const Place& place);
  std::u16string DateFormula(const Place& place);
  std::u16string Odd(const Place& place);
  std::u16string Comparison(const Place& place);
  std::u16string Aggregate(const Place& place);
  std::u16string Lookup(Kind kind, const Place& place);
  std::u16string HostCall(const Place& place);
  std::u16string Call(std::u16string_view function, const std::vector<std::u16string>& arguments);
  std::u16string Numeral();
  std::u16string Literal();

  // A name of a column of the type, any when there is none; dates only when asked for.
  std::u16string ColumnName(std::size_t table, DataType type, bool is_of_inputs = false);
  // A reference to a column of the type, in one of the shapes that reach it.
  std::u16string Reference(DataType type, const Place& place);
  std::u16string Bracketed(std::u16string_view path);
  // A table whose rows may be walked through in this place; none when it would take too long.
  std::optional<std::size_t> TableToWalk(const Place& place);
  Place InFold(std::size_t table, const Place& place) const;
  std::size_t RowsOf(std::size_t table) const { return plan_.tables[table].rows.size(); }

  Random& random_;
  const NotebookPlan& plan_;
  const Taste& taste_;
};

// Names that definitions have.
inline constexpr std::u16string_view kDefinitionNames[] = {u"total", u"limit", u"factor", u"Mass"};

}  // namespace random_notebooks
