// Addresses on the command line: FORM/TABLE:COLUMN:ROW and their beginnings.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "notebook/tables/model.h"

namespace ktnotebook {

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

}  // namespace ktnotebook
