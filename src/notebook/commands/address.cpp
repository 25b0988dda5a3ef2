#include "notebook/commands/address.h"

#include <algorithm>
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

std::string Quoted(std::u16string_view text) {
  return "\"" + ToUtf8(text) + "\"";
}

[[noreturn]] void RefuseName(std::string_view kind, std::u16string_view name,
                             const std::string& where, const Names& names) {
  throw NotebookError("there is no " + std::string(kind) + " " + Quoted(name) + where +
                      DidYouMean(name, names));
}

// Goes down an address that denotes nothing, to say which of its parts is not there. Where names
// hold separators themselves it follows the longest that fits.
class MissingPart {
 public:
  MissingPart(std::u16string_view address, std::string_view shape)
      : address_(address), rest_(address), shape_(shape) {}

  // Passes the next part, which ends at the separator, and gives its index among the names. Throws
  // when it is none of them, or when nothing follows it.
  std::size_t Pass(std::string_view kind, const Names& names, char16_t separator) {
    std::size_t found = names.size();
    for (std::size_t i = 0; i < names.size(); ++i) {
      const bool fits = Behind(rest_, names[i], separator).has_value();
      if (fits && (found == names.size() || names[i].size() > names[found].size())) found = i;
    }
    if (found == names.size()) Refuse(kind, names, rest_.substr(0, rest_.find(separator)));
    rest_.remove_prefix(names[found].size() + 1);
    // A row is in a table, not in a column.
    if (kind != "column") where_ = " in " + std::string(kind) + " " + Quoted(names[found]);
    return found;
  }

  bool HasRest(char16_t separator) const { return rest_.find(separator) != rest_.npos; }
  // Passes the separator if it comes next.
  bool Skip(char16_t separator) {
    const bool comes = rest_.starts_with(separator);
    if (comes) rest_.remove_prefix(1);
    return comes;
  }

  // Says that the last part is not there.
  [[noreturn]] void RefuseLast(std::string_view kind, const Names& names) {
    Refuse(kind, names, rest_);
  }

 private:
  [[noreturn]] void Refuse(std::string_view kind, const Names& names, std::u16string_view name) {
    const bool is_incomplete =
        name.empty() || std::find(names.begin(), names.end(), name) != names.end();
    if (!is_incomplete) RefuseName(kind, name, where_, names);
    throw NotebookError(Quoted(address_) + " is incomplete; an address is " + std::string(shape_));
  }

  std::u16string_view address_;
  std::u16string_view rest_;
  std::string_view shape_;
  std::string where_;
};

constexpr std::string_view kCellShape = "FORM/TABLE:COLUMN:ROW";
constexpr std::string_view kColumnShape = "FORM/TABLE:COLUMN";
constexpr std::string_view kDefinitionShape = "FORM/TABLE:NAME";
constexpr std::string_view kPartShape = "FORM, FORM/TABLE, FORM/TABLE:COLUMN or FORM/TABLE::ROW";
constexpr std::string_view kNewPartShape = "FORM/TABLE, FORM/TABLE:COLUMN or FORM/TABLE::ROW";

[[noreturn]] void RefuseMissing(const std::vector<Ref<NotebookForm>>& forms,
                                std::u16string_view address, std::string_view shape) {
  MissingPart part(address, shape);
  const auto name_of = [](const auto& object) { return object->Name(); };
  const NotebookForm& form = *forms[part.Pass("form", NamesOf(forms, name_of), u'/')];
  const auto& tables = form.Tables();
  const NotebookTable& table = *tables[part.Pass("table", NamesOf(tables, name_of), u':')];
  const Names columns =
      NamesOf(table.Columns(), [](const auto& column) { return column->Definition().name; });
  if (shape != kCellShape) part.RefuseLast(shape == kColumnShape ? "column" : "name", columns);
  part.Pass("column", columns, u':');
  part.RefuseLast("row", NamesOf(table.Rows(), [](const auto& row) { return row.ID(); }));
}

[[noreturn]] void RefuseMissingPart(const std::vector<Ref<NotebookForm>>& forms,
                                    std::u16string_view address) {
  MissingPart part(address, kPartShape);
  const auto name_of = [](const auto& object) { return object->Name(); };
  if (!part.HasRest(u'/')) part.RefuseLast("form", NamesOf(forms, name_of));
  const NotebookForm& form = *forms[part.Pass("form", NamesOf(forms, name_of), u'/')];
  if (!part.HasRest(u':')) part.RefuseLast("field", NamesOf(form.Fields(), name_of));
  const auto& tables = form.Tables();
  const NotebookTable& table = *tables[part.Pass("table", NamesOf(tables, name_of), u':')];
  if (part.Skip(u':')) {
    part.RefuseLast("row", NamesOf(table.Rows(), [](const auto& row) { return row.ID(); }));
  }
  part.RefuseLast("column", NamesOf(table.Columns(),
                                    [](const auto& column) { return column->Definition().name; }));
}

template <typename T>
T Only(const std::vector<T>& found, const std::vector<Ref<NotebookForm>>& forms,
       std::u16string_view address, std::string_view shape) {
  if (found.empty() && shape == kPartShape) RefuseMissingPart(forms, address);
  if (found.empty()) RefuseMissing(forms, address, shape);
  if (found.size() == 1) return found.front();
  throw NotebookError(Quoted(address) + " fits more than one place; an address is " +
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
    if (name == address || Behind(address, name, u'/')) found.push_back(name);
  }
  if (found.empty()) RefuseName("form", address.substr(0, address.find(u'/')), "", form_names);
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
  return Only(found, forms, address, kCellShape);
}

NotebookColumn& FindColumn(const std::vector<Ref<NotebookForm>>& forms,
                           std::u16string_view address) {
  std::vector<NotebookColumn*> found;
  ForEachTable(forms, address, [&](const NotebookTable& table, std::u16string_view rest) {
    if (NotebookColumn* column = table.FindColumn(rest)) found.push_back(column);
  });
  return *Only(found, forms, address, kColumnShape);
}

DefinitionAddress FindDefinition(const std::vector<Ref<NotebookForm>>& forms,
                                 std::u16string_view address) {
  std::vector<DefinitionAddress> found;
  ForEachTable(forms, address, [&](NotebookTable& table, std::u16string_view rest) {
    if (!rest.empty()) found.push_back({&table, std::u16string(rest)});
  });
  return Only(found, forms, address, kDefinitionShape);
}

PartAddress FindPart(const std::vector<Ref<NotebookForm>>& forms, std::u16string_view address) {
  std::vector<PartAddress> found;
  for (const Ref<NotebookForm>& form : forms) {
    if (form->Name() == address) found.push_back({form.get()});
    const auto rest = Behind(address, form->Name(), u'/');
    NotebookField* const field = rest ? form->FindField(*rest) : nullptr;
    if (field != nullptr) found.push_back({form.get(), field});
  }
  ForEachTable(forms, address, [&](NotebookTable& table, std::u16string_view rest) {
    NotebookColumn* const column = table.FindColumn(rest);
    if (column != nullptr) found.push_back({&table.Parent(), &table.OwnField(), column});
    const auto row = rest.starts_with(u':') ? table.FindRow(rest.substr(1)) : std::nullopt;
    if (row) found.push_back({&table.Parent(), &table.OwnField(), nullptr, row});
  });
  return Only(found, forms, address, kPartShape);
}

NotebookTable& FindTable(const std::vector<Ref<NotebookForm>>& forms, std::u16string_view address) {
  const PartAddress part = FindPart(forms, address);
  const bool is_field = part.field != nullptr && part.column == nullptr && !part.row;
  if (is_field && part.field->OwnTable()) return *part.field->OwnTable();
  throw NotebookError(Quoted(address) + " is no table");
}

NewPartAddress FindNewPart(const std::vector<Ref<NotebookForm>>& forms,
                           std::u16string_view address) {
  using Kind = NewPartAddress::Kind;
  std::vector<NewPartAddress> found;
  ForEachTable(forms, address, [&](NotebookTable& table, std::u16string_view rest) {
    const bool is_row = rest.starts_with(u':');
    found.push_back({&table.Parent(), &table, is_row ? Kind::kRow : Kind::kColumn,
                     std::u16string(is_row ? rest.substr(1) : rest)});
  });
  for (const Ref<NotebookForm>& form : forms) {
    const auto rest = Behind(address, form->Name(), u'/');
    // A colon would belong to a table that is not there.
    if (rest && rest->find(u':') == rest->npos) {
      found.push_back({form.get(), nullptr, Kind::kTable, std::u16string(*rest)});
    }
  }
  if (found.empty()) RefuseMissingPart(forms, address);
  return Only(found, forms, address, kNewPartShape);
}

}  // namespace ktnotebook
