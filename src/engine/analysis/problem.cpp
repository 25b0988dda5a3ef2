#include "analysis/problem.h"

#include <array>

namespace ktformula {

namespace {

constexpr std::array<ProblemKind, 17> kKinds{{
    {ProblemCode::kSyntax, u"syntax", Severity::kError,
     u"The formula can not be read: a parenthesis, a bracket, a quote or an operand is missing, or "
     u"two operators stand side by side.",
     u"Complete the marked place."},
    {ProblemCode::kUnknownName, u"unknown-name", Severity::kError,
     u"Nothing in reach has this name: no column, table, field or definition.",
     u"Correct the name; names of columns and definitions stand in brackets."},
    {ProblemCode::kUnknownFunction, u"unknown-function", Severity::kError,
     u"The language has no function of this name.",
     u"Correct the name; `ktnotebook functions` lists them all."},
    {ProblemCode::kLeftover, u"leftover", Severity::kError,
     u"Something stands where an operator should, or an operator where a value should.",
     u"Put an operator between the two, or take the marked part away; units belong to columns, not "
     u"to formulas."},
    {ProblemCode::kCircular, u"circular", Severity::kError,
     u"Cells, or definitions, need each other, so that none of them can be computed first.",
     u"Type one of the cells in, or change one of the formulas."},
    {ProblemCode::kNotSettled, u"not-settled", Severity::kError,
     u"The cell still changed in the last round of recalculation.",
     u"Allow more rounds, or look for a formula whose value depends on its own last one."},
    {ProblemCode::kFormat, u"format", Severity::kError,
     u"The number format has a character that formats do not know.",
     u"Use 0 # . , % E + - and blanks; other text stands in double quotes."},
    {ProblemCode::kNoNumber, u"no-number", Severity::kError,
     u"The formula reads a number cell that holds a text.",
     u"Type a number in, empty the cell, or say with ONERROR what is to be shown."},
    {ProblemCode::kUnusableDefinition, u"unusable-definition", Severity::kError,
     u"The definition's value is of a kind that formulas can not take over: a date, a structure or "
     u"a text without a truth value.",
     u"Write the expression where it is needed instead of the definition's name."},
    {ProblemCode::kFailing, u"failing", Severity::kError, u"The formula fails in some rows.",
     u"Ask `explain` for one of the rows."},
    {ProblemCode::kSwallowed, u"swallowed", Severity::kWarning,
     u"Errors are passed over without a trace.",
     u"Correct the expression that fails, or say so with a condition."},
    {ProblemCode::kTextAsNumber, u"text-as-number", Severity::kWarning,
     u"An operator took a text, a date or a truth value for a number.",
     u"Use a number there, or compare texts with texts."},
    {ProblemCode::kUnits, u"units", Severity::kWarning,
     u"Quantities of different kinds are added or compared, or the result is none of the column's.",
     u"Check the formula, or the unit of the column."},
    {ProblemCode::kUnitMissing, u"unit-missing", Severity::kWarning,
     u"The result has a unit, but the column has none and shows it in base units.",
     u"Give the column a unit and number formatting."},
    {ProblemCode::kRangeLost, u"range-lost", Severity::kWarning,
     u"The result is a range, of which the cell shows the lower bound.",
     u"Compute the bounds in columns of their own, or type single numbers in."},
    {ProblemCode::kDigits, u"digits", Severity::kNote,
     u"One typed value has fewer digits than all others, and decides how computed values are "
     u"shown.",
     u"Type it with all the digits that were measured."},
    {ProblemCode::kUnread, u"unread", Severity::kNote,
     u"Values of a column of the CSV file are not what the others are.",
     u"Correct the file, or say which delimiter and locale it has."},
}};

}  // namespace

std::u16string_view SeverityText(Severity severity) noexcept {
  switch (severity) {
    case Severity::kError: return u"error";
    case Severity::kWarning: return u"warning";
    default: return u"note";
  }
}

std::span<const ProblemKind> ProblemKinds() noexcept {
  return kKinds;
}

const ProblemKind& KindOf(ProblemCode code) noexcept {
  return kKinds[static_cast<std::size_t>(code)];
}

}  // namespace ktformula
