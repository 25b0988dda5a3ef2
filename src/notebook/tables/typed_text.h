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
  // Texts are kept in one locale and typed in the same or another. Definition and units are
  // borrowed.
  TypedTexts(const PropertyDefinition& definition, const NotebookUnitCatalogue& units,
             const ktformula::Locale& kept_in, const ktformula::Locale& typed_in)
      : definition_(definition), units_(units), kept_in_(kept_in), typed_in_(typed_in) {}

  // What a kept text says; its numbers are not-a-number where it has to be a number and is none.
  // Good until the next text is read.
  ContentView Read(std::u16string_view text);

  // The same of a text that is typed, less the blanks around it, which becomes one to be kept: its
  // numbers get the separators of that locale. What is no number in the locale that it is typed in
  // has none, whatever the other locale would make of it.
  ContentView ReadTyped(std::u16string_view typed);

  // Puts a typed text into a cell with the numbers that it says and the mark; "" ends state and
  // tag. Tells whether anything of the cell was different.
  bool Enter(std::u16string_view typed, const TypedMark& mark, ColumnData& data, std::size_t row);

 private:
  const PropertyDefinition& definition_;
  const NotebookUnitCatalogue& units_;
  const ktformula::Locale kept_in_;
  const ktformula::Locale typed_in_;
  // Of the text read last.
  std::optional<ParsedNumber> number_;
  std::u16string own_;
  std::u16string kept_;
};

}  // namespace ktnotebook
