// What references mean at a place of a formula, and which names are in reach there.
//
// Asks what the host promises (formula/binding.h); where it promises nothing, the first cell or row
// stands for all of them, and a table without rows says nothing.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/watched_form.h"

#include "formula/binding.h"
#include "formula/reference.h"

namespace ktformula {

// From where references start: a cell of a column, a row of a table, or a table. Without a table
// nothing is known.
struct Spot {
  Ref<Table> table;
  ReferenceStart start = ReferenceStart::kCell;
  // Of a cell.
  Ref<TableProperty> column;
};

// Where a part of a formula is evaluated.
struct Standing {
  Spot anchor;
  Spot this_spot;

  // Within the argument of a function, "this" is the anchor.
  static Standing At(const Spot& spot) { return {spot, spot}; }
};

// What a reference denotes.
struct Meaning {
  enum class Kind { kUnknown, kNothing, kCell, kRow, kTable, kColumn, kStructure, kOther };

  Kind kind = Kind::kUnknown;
  // Of a cell or column.
  Ref<ELNProperty> property;
  // The table itself, or the column's.
  Ref<Table> table;
};

// What is wrong with a name, and what may have been meant.
struct NameAdvice {
  std::u16string message;
  std::u16string help;
  // What the help would write in its place; "" for nothing.
  std::u16string meant;
};

class Reach {
 public:
  explicit Reach(const WatchedForm& form) : form_(form) {}

  Meaning Resolve(const ReferencePath& reference, const Standing& at) const;

  // Advice on a reference that means nothing; `definitions` are in reach too.
  NameAdvice AdviseOn(const ReferencePath& reference, const Standing& at,
                      std::span<const std::u16string> definitions) const;
  // The same for a name that stands without brackets.
  NameAdvice AdviseOnBareName(std::u16string_view name, const Standing& at,
                              std::span<const std::u16string> definitions) const;

 private:
  std::vector<std::u16string> NamesAt(const Spot& spot,
                                      std::span<const std::u16string> definitions) const;
  const WatchedTable* FindTable(std::u16string_view name) const;
  std::optional<NameAdvice> AdviseOnPath(const ReferencePath& reference) const;

  const WatchedForm& form_;
};

// The names of the table's columns.
std::vector<std::u16string> ColumnNames(const Table& table);

}  // namespace ktformula
