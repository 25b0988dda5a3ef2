// Problems: what is wrong, or odd, with a formula, a definition, a format or a cell, in words for
// the person in front of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "formula/source_map.h"
#include "host/notebook_objects.h"

namespace ktformula {

enum class Severity : std::uint8_t { kError, kWarning, kNote };

// "error", "warning", "note".
std::u16string_view SeverityText(Severity severity) noexcept;

enum class ProblemCode : std::uint8_t {
  kSyntax,
  kUnknownName,
  kUnknownFunction,
  kLeftover,
  kCircular,
  kNotSettled,
  kFormat,
  kNoNumber,
  kUnusableDefinition,
  kFailing,
  kSwallowed,
  kTextAsNumber,
  kUnits,
  kUnitMissing,
  kRangeLost,
  kDigits,
  kUnread,
};

// What is told of each code, in the order of the enumeration.
struct ProblemKind {
  ProblemCode code;
  // As programs read it: "unknown-name".
  std::u16string_view text;
  // Which most problems of the code have.
  Severity severity;
  // What it means, and what to do about it: a sentence each, for documents.
  std::u16string_view cause;
  std::u16string_view mend;
};
std::span<const ProblemKind> ProblemKinds() noexcept;
const ProblemKind& KindOf(ProblemCode code) noexcept;

// What puts it right: a text for a part of the formula.
struct Mend {
  TextRange place;
  std::u16string text;
};

struct Problem {
  explicit Problem(ProblemCode problem_code) noexcept
      : code(problem_code), severity(KindOf(problem_code).severity) {}

  ProblemCode code;
  Severity severity;
  // Where it is: the table, the column whose formula it is, or the name of the definition.
  Ref<Table> table;
  Ref<TableProperty> column;
  std::optional<std::u16string> definition;
  // The first row concerned, counted from 0; empty when it does not depend on rows.
  std::optional<std::size_t> row;
  // In how many rows it shows; empty when it does not depend on rows.
  std::optional<std::size_t> rows;
  // The formula, or the format, and the place in it; empty where the problem has none.
  std::u16string formula;
  std::optional<TextRange> place;
  // What is wrong, in a sentence without a full stop.
  std::u16string message;
  // A likely mend; may be empty.
  std::u16string help;
  // The same where nothing is left to choose: exactly what the help says. May be empty.
  std::optional<Mend> mend;
};

}  // namespace ktformula
