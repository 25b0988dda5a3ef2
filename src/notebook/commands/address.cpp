#include "notebook/commands/address.h"

#include <optional>

#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

// What is left of the address behind the name and the separator.
std::optional<std::u16string_view> Behind(std::u16string_view address, std::u16string_view name,
                                          char16_t separator) {
  if (!address.starts_with(name) || address.size() <= name.size()) return std::nullopt;
  if (address[name.size()] != separator) return std::nullopt;
  return address.substr(name.size() + 1);
}

template <typename T>
T Only(const std::vector<T>& found, std::u16string_view address, std::string_view shape) {
  if (found.size() == 1) return found.front();
  throw NotebookError("\"" + ToUtf8(address) + "\" " +
                      (found.empty() ? "is not found; an address is "
                                     : "fits more than one place; an address is ") +
                      std::string(shape));
}

// Calls `visit` with each table that the address may begin with, and with the rest.
template <typename Visit>
void ForEachTable(const std::vector<Ref<NotebookForm>>& forms, std::u16string_view address,
                  Visit visit) {
  for (const Ref<NotebookForm>& form : forms) {
    const auto behind_form = Behind(address, form->Name(), u'/');
    if (!behind_form) continue;
    for (NotebookTable* table : form->Tables()) {
      if (const auto rest = Behind(*behind_form, table->Name(), u':')) visit(*table, *rest);
    }
  }
}

}  // namespace

std::vector<std::u16string> FindFormNames(const std::vector<std::u16string>& form_names,
                                          std::u16string_view address) {
  std::vector<std::u16string> found;
  for (const std::u16string& name : form_names) {
    if (Behind(address, name, u'/')) found.push_back(name);
  }
  return found;
}

NotebookCell FindCell(const std::vector<Ref<NotebookForm>>& forms, std::u16string_view address) {
  std::vector<NotebookCell> found;
  ForEachTable(forms, address, [&](const NotebookTable& table, std::u16string_view rest) {
    for (const Ref<NotebookColumn>& column : table.Columns()) {
      const auto row_id = Behind(rest, column->Definition().name, u':');
      const auto row = row_id ? table.FindRow(*row_id) : std::nullopt;
      if (row) found.push_back(row->CellAt(column->Index()));
    }
  });
  return Only(found, address, "FORM/TABLE:COLUMN:ROW");
}

NotebookColumn& FindColumn(const std::vector<Ref<NotebookForm>>& forms,
                           std::u16string_view address) {
  std::vector<NotebookColumn*> found;
  ForEachTable(forms, address, [&](const NotebookTable& table, std::u16string_view rest) {
    if (NotebookColumn* column = table.FindColumn(rest)) found.push_back(column);
  });
  return *Only(found, address, "FORM/TABLE:COLUMN");
}

DefinitionAddress FindDefinition(const std::vector<Ref<NotebookForm>>& forms,
                                 std::u16string_view address) {
  std::vector<DefinitionAddress> found;
  ForEachTable(forms, address, [&](NotebookTable& table, std::u16string_view rest) {
    if (!rest.empty()) found.push_back({&table, std::u16string(rest)});
  });
  return Only(found, address, "FORM/TABLE:NAME");
}

}  // namespace ktnotebook
