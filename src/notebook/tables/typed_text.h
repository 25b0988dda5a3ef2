// Texts that a user types into the cells of a column.
#pragma once

#include <optional>
#include <string_view>

#include "listener/entered_values.h"
#include "notebook/tables/cell_text.h"
#include "notebook/tables/column_data.h"
#include "notebook/tables/property.h"

namespace ktnotebook {

// The state and tag of a cell that somebody typed into.
struct TypedMark {
  std::u16string_view state;
  std::u16string_view tag;
};

// Where a number belongs, or a formula would compute; and elsewhere.
inline constexpr TypedMark kQuantityMark{ktformula::kEnteredState, ktformula::kEnteredState};
inline constexpr TypedMark kNotedMark{u"noted", ktformula::kEnteredState};

// A text that says nothing else. It has no number: a formula must not go on as if it were 0.
ContentView MereText(DataType type, std::u16string_view text) noexcept;

// A text that says the number.
ContentView NumberContent(std::u16string_view text, const ParsedNumber& number) noexcept;

class TypedTexts {
 public:
  // Both are borrowed.
  TypedTexts(const PropertyDefinition& definition, const NotebookUnitCatalogue& units)
      : definition_(definition), units_(units) {}

  // What a text says; its numbers are not-a-number where it has to be a number and is none. Good
  // until the next text is read.
  ContentView Read(std::u16string_view text);

  // Puts a text into a cell, less the blanks around it, with the numbers that it says and the mark;
  // "" ends state and tag. Tells whether anything of the cell was different.
  bool Enter(std::u16string_view typed, const TypedMark& mark, ColumnData& data, std::size_t row);

 private:
  const PropertyDefinition& definition_;
  const NotebookUnitCatalogue& units_;
  // The number read last.
  std::optional<ParsedNumber> number_;
};

}  // namespace ktnotebook
