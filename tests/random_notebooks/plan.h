// A notebook and what happens to it, as data: what a seed stands for, what several notebooks are
// built from, and what a difference between them is reported with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "notebook/tables/model.h"

namespace random_notebooks {

using ktnotebook::DataType;

struct ColumnPlan {
  std::u16string name;
  DataType type = DataType::kNumber;
  // A unit's name; "" for none.
  std::u16string unit;
  bool number_formatting = false;
  // Whether formulas are made for it.
  bool is_computed = false;
};

struct RowPlan {
  std::u16string id;
  // What is typed into each cell; "" for nothing.
  std::vector<std::u16string> texts;
};

struct FormulaPlan {
  std::size_t column = 0;
  std::u16string formula;
  std::u16string format;
};

struct DefinitionPlan {
  std::u16string name;
  std::u16string formula;
};

struct ListenerPlan {
  std::int16_t position = 1;
  std::u16string result_format;
  std::vector<FormulaPlan> formulas;
  std::vector<DefinitionPlan> definitions;
};

struct TablePlan {
  std::u16string name;
  std::vector<ColumnPlan> columns;
  std::vector<RowPlan> rows;
  std::vector<ListenerPlan> listeners;
};

enum class EditKind {
  // Type `text` into a cell; "" empties it.
  kType,
  // Set a cell's state to `text` and its tag to `more`.
  kState,
  // Write `text` through the table's control, as listeners do.
  kWrite,
  // Give `column` of `listener` the formula `text` with the format `more`.
  kFormula,
  // Give `listener` the definition `more` with the formula `text`.
  kDefinition,
  // Give `listener` the result format `text`.
  kResultFormat,
  // Add a row with the id `text`, whose cells all get `more` typed in.
  kAddRow,
  // Notify the table's listeners.
  kNotify,
  // End `listener`.
  kTerminate,
};

// Places that are not there are passed over.
struct Edit {
  EditKind kind = EditKind::kType;
  std::size_t table = 0;
  std::size_t row = 0;
  std::size_t column = 0;
  std::size_t listener = 0;
  std::u16string text;
  std::u16string more;
};

// Edits and the recalculation that follows.
struct Step {
  std::vector<Edit> edits;
  // Whether the user's numbers have a decimal comma from here on.
  bool comma = false;
  std::optional<std::size_t> first_table;
  int maximum_rounds = 8;
  // Whether the cells are looked at after each round; else after the last one, or not at all: what
  // is made when it is read shall not always be read at once.
  bool look_at_rounds = true;
  bool look_at_end = true;
};

struct NotebookPlan {
  std::uint64_t seed = 0;
  std::vector<TablePlan> tables;
  // The first one stands for the recalculation of the notebook as it was built.
  std::vector<Step> steps;
  // What the host's function POKE does, one after the other, at each `poke_interval`-th call.
  std::vector<Edit> pokes;
  std::size_t poke_interval = 1;
};

// Names of fields that are no tables, and of functions of the host.
inline constexpr std::u16string_view kStructureField = u"Product";
inline constexpr std::u16string_view kTextField = u"Remark";
// The value of its argument, twice.
inline constexpr std::u16string_view kTwiceFunction = u"TWICE";
// How often it was called.
inline constexpr std::u16string_view kCallsFunction = u"CALLS";
// The value of its argument, after it did what is planned.
inline constexpr std::u16string_view kPokeFunction = u"POKE";

// For people, one line for each thing.
std::string Describe(const NotebookPlan& plan);
std::string Describe(const Edit& edit, const NotebookPlan& plan);

// For people: characters beyond ASCII as \uXXXX.
std::string Printable(std::u16string_view text);

}  // namespace random_notebooks
