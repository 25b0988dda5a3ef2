// Problems as the command line tells them.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "analysis/problem.h"

#include "notebook/commands/console.h"
#include "notebook/files/notebook_file.h"
#include "notebook/tables/model.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {

using ProblemTest = std::function<bool(const ktformula::Problem&)>;

struct FormProblems {
  NotebookForm* form = nullptr;
  std::vector<ktformula::Problem> problems;
};

// Of the form as it was recalculated last, with this result.
FormProblems ProblemsOf(NotebookForm& form, NotebookFramework& framework,
                        const RecalculationResult& result);

// Adds what the notebook's notes tell of values that were not read, in the notebook's only table.
void AddUnread(std::vector<FormProblems>& forms, const Notebook& notebook);

std::size_t CountProblems(const std::vector<FormProblems>& forms);
// Whether one has the severity error.
bool HaveErrors(const std::vector<FormProblems>& forms);

// Whether the problem is one of the cell, or of the formula that computes it.
bool Concerns(const ktformula::Problem& problem, const NotebookCell& cell);

// "FORM/TABLE:COLUMN:ROW" or what of it the problem has; a definition stands for the column.
std::u16string AddressOf(const ktformula::Problem& problem, const NotebookForm& form);
// The ID of the row that it names; empty when it names none.
std::optional<std::u16string> RowIdOf(const ktformula::Problem& problem);

// Each with its place, the line of the formula and a likely mend; at the end how many there are.
std::string ProblemsText(const std::vector<FormProblems>& forms, const TableStyle& style);

// How many problems there are, and the first few, a line for each, of forms that need not be in
// memory together.
class ProblemSummary {
 public:
  void Add(const FormProblems& form);
  // Whether one has the severity error.
  bool HasErrors() const;
  // On the message side; nothing when there are none.
  void Say(const Console& console) const;

 private:
  // By severity.
  std::array<std::size_t, 3> counts_{};
  std::vector<std::string> first_few_;
};

// On the message side: how many there are, and the first few, a line for each. Values that were not
// read are told by the notebook's notes. Problems of what was edited come first, and when there
// is an error among them it is said that they are saved.
void SayProblems(std::vector<FormProblems> forms, const Console& console,
                 const ProblemTest& is_edited = {});

}  // namespace ktnotebook
