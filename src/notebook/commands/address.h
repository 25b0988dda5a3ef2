// Addresses on the command line: FORM/TABLE:COLUMN:ROW and their beginnings.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "notebook/tables/model.h"

namespace ktnotebook {

using Names = std::vector<std::u16string>;

// The names of counted objects, of plain ones, of rows.
template <typename Range, typename NameOf>
Names NamesOf(const Range& objects, NameOf name_of) {
  Names names;
  for (const auto& object : objects)
    names.push_back(name_of(object));
  return names;
}

// Names may contain "/" and ":" themselves; an address that fits several objects is refused, and so
// is one that fits none, with the part of it that is not there and the nearest name. All throw
// NotebookError.

// The names of the forms that an address "FORM/..." may begin with, at least one.
std::vector<std::u16string> FindFormNames(const std::vector<std::u16string>& form_names,
                                          std::u16string_view address);

NotebookCell FindCell(const std::vector<Ref<NotebookForm>>& forms, std::u16string_view address);
NotebookColumn& FindColumn(const std::vector<Ref<NotebookForm>>& forms,
                           std::u16string_view address);

struct DefinitionAddress {
  NotebookTable* table;
  std::u16string name;
};
DefinitionAddress FindDefinition(const std::vector<Ref<NotebookForm>>& forms,
                                 std::u16string_view address);

// FORM, FORM/FIELD, FORM/TABLE:COLUMN or FORM/TABLE::ROW: what is not there is nullptr, or empty.
struct PartAddress {
  NotebookForm* form;
  NotebookField* field = nullptr;
  NotebookColumn* column = nullptr;
  std::optional<NotebookRow> row = std::nullopt;
};
// FORM/TABLE.
NotebookTable& FindTable(const std::vector<Ref<NotebookForm>>& forms, std::u16string_view address);
PartAddress FindPart(const std::vector<Ref<NotebookForm>>& forms, std::u16string_view address);

// The same for something that is not there yet, which has the name.
struct NewPartAddress {
  enum class Kind { kTable, kColumn, kRow };

  NotebookForm* form;
  // nullptr for a new table.
  NotebookTable* table;
  Kind kind;
  std::u16string name;
};
NewPartAddress FindNewPart(const std::vector<Ref<NotebookForm>>& forms,
                           std::u16string_view address);

}  // namespace ktnotebook
