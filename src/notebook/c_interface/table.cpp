// Tables for C.
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "notebook/c_interface/call.h"
#include "notebook/c_interface/results.h"
#include "notebook/c_interface/session.h"

using namespace ktnotebook;
using UsedTable = InUse<TableObject>;

namespace {

static_assert(static_cast<int>(ktformula9::Type::kNumber) == KTF9_NUMBER);
static_assert(static_cast<int>(ktformula9::Type::kString) == KTF9_STRING);
static_assert(static_cast<int>(ktformula9::Type::kDate) == KTF9_DATE);
static_assert(static_cast<int>(ktformula9::Type::kBoolean) == KTF9_BOOLEAN);
static_assert(static_cast<int>(ktformula9::Type::kStructure) == KTF9_STRUCTURE);

ktformula9::ColumnOptions ToOptions(const ktf9_column_options* options) {
  ktformula9::ColumnOptions own;
  if (options == nullptr) return own;
  const ktf9_column_options& given = NeedStruct(options, "options");
  own.type = static_cast<ktformula9::Type>(given.type);
  own.unit = TextOr(given.unit, "");
  own.formula = TextOr(given.formula, "");
  own.format = TextOr(given.format, "");
  own.is_formatted = given.is_unformatted == 0;
  return own;
}

std::string_view AsItIs(std::string_view text) {
  return text;
}

}  // namespace

ktf9_status ktf9_table_destroy(ktf9_table* table, ktf9_error** error) {
  return Call(error, [&] { Destroy<TableObject>(table, "table"); });
}

ktf9_status ktf9_table_name(ktf9_table* table, ktf9_text* name, ktf9_error** error) {
  return Call(error, [&] {
    const UsedTable own(table, "table");
    ktf9_text& place = NeedPlace(name, "name");
    place = ViewOf(own.Own().name = own->Name());
  });
}

ktf9_status ktf9_table_add_column(ktf9_table* table, const char* name,
                                  const ktf9_column_options* options, ktf9_column** column,
                                  ktf9_error** error) {
  Clear(column);
  return Call(error, [&] {
    const UsedTable own(table, "table");
    const std::string_view text = NeedText(name, "name");
    GivePart<ColumnObject>(own.OwnSession(), own->AddColumn(text, ToOptions(options)), column);
  });
}

ktf9_status ktf9_table_column(ktf9_table* table, const char* name, ktf9_column** column,
                              ktf9_error** error) {
  Clear(column);
  return Call(error, [&] {
    const UsedTable own(table, "table");
    const std::string_view text = NeedText(name, "name");
    NeedPlace(column, "column");
    Renaming("column", "name",
             [&] { GivePart<ColumnObject>(own.OwnSession(), own->At(text), column); });
  });
}

ktf9_status ktf9_table_columns(ktf9_table* table, ktf9_texts** names, ktf9_error** error) {
  Clear(names);
  return Call(error, [&] {
    const UsedTable own(table, "table");
    ktf9_texts*& place = NeedPlace(names, "names");
    GiveTexts(
        own->Columns(), [](const ktformula9::Column& column) { return column.Name(); }, place);
  });
}

ktf9_status ktf9_table_row_count(ktf9_table* table, size_t* count, ktf9_error** error) {
  return Call(error, [&] {
    const UsedTable own(table, "table");
    NeedPlace(count, "count") = own->RowCount();
  });
}

ktf9_status ktf9_table_add_row(ktf9_table* table, const char* const* texts, size_t count,
                               const char* id, size_t* row, ktf9_error** error) {
  return Call(error, [&] {
    const UsedTable own(table, "table");
    std::vector<std::string_view> views;
    for (const char* const text : NeedArray(texts, count, "texts"))
      views.push_back(NeedText(text, "texts"));
    const std::size_t added = own->AddRow(std::span(std::as_const(views)), TextOr(id, ""));
    if (row != nullptr) *row = added;
  });
}

ktf9_status ktf9_table_add_rows(ktf9_table* table, size_t count, ktf9_error** error) {
  return Call(error, [&] { UsedTable(table, "table")->AddRows(count); });
}

ktf9_status ktf9_table_add_rows_with_ids(ktf9_table* table, size_t count, const char* bytes,
                                         size_t length, const size_t* ends, ktf9_error** error) {
  return Call(error, [&] {
    const UsedTable own(table, "table");
    const std::span<const char> given = NeedArray(bytes, length, "bytes");
    const auto ids = ReadTexts({given.data(), given.size()}, count, ends);
    Renaming("ids", "bytes", [&] { own->AddRows(std::span(ids)); });
  });
}

ktf9_status ktf9_table_remove_row(ktf9_table* table, size_t row, ktf9_error** error) {
  return Call(error, [&] { UsedTable(table, "table")->RemoveRow(row); });
}

ktf9_status ktf9_table_move_row(ktf9_table* table, size_t row, size_t place, ktf9_error** error) {
  return Call(error, [&] { UsedTable(table, "table")->MoveRow(row, place); });
}

ktf9_status ktf9_table_row_id(ktf9_table* table, size_t row, ktf9_text* id, ktf9_error** error) {
  return Call(error, [&] {
    const UsedTable own(table, "table");
    ktf9_text& place = NeedPlace(id, "id");
    place = ViewOf(own.Own().row_id = own->RowId(row));
  });
}

ktf9_status ktf9_table_row_ids(ktf9_table* table, ktf9_texts** ids, ktf9_error** error) {
  Clear(ids);
  return Call(error, [&] {
    const UsedTable own(table, "table");
    ktf9_texts*& place = NeedPlace(ids, "ids");
    const auto rows = std::make_shared<TextsObject>();
    for (std::size_t row = 0; row < own->RowCount(); ++row)
      rows->Add(own->RowId(row));
    Give(rows, place);
  });
}

ktf9_status ktf9_table_rename_row(ktf9_table* table, size_t row, const char* id,
                                  ktf9_error** error) {
  return Call(error, [&] { UsedTable(table, "table")->RenameRow(row, NeedText(id, "id")); });
}

ktf9_status ktf9_table_find_row(ktf9_table* table, const char* id, size_t* row,
                                ktf9_error** error) {
  return Call(error, [&] {
    const UsedTable own(table, "table");
    size_t& place = NeedPlace(row, "row");
    const std::string_view text = NeedText(id, "id");
    const std::optional<std::size_t> found = own->FindRow(text);
    if (!found)
      throw CallFailure(KTF9_NOT_FOUND, "id", "there is no row \"" + std::string(text) + "\"");
    place = *found;
  });
}

ktf9_status ktf9_table_set_definition(ktf9_table* table, const char* name, const char* formula,
                                      ktf9_error** error) {
  return Call(error, [&] {
    UsedTable(table, "table")->SetDefinition(NeedText(name, "name"), TextOr(formula, ""));
  });
}

ktf9_status ktf9_table_definition(ktf9_table* table, const char* name, ktf9_text* formula,
                                  ktf9_error** error) {
  return Call(error, [&] {
    const UsedTable own(table, "table");
    ktf9_text& place = NeedPlace(formula, "formula");
    place = ViewOf(own.Own().definition = own->Definition(NeedText(name, "name")));
  });
}

ktf9_status ktf9_table_definitions(ktf9_table* table, ktf9_texts** names, ktf9_error** error) {
  Clear(names);
  return Call(error, [&] {
    const UsedTable own(table, "table");
    ktf9_texts*& place = NeedPlace(names, "names");
    GiveTexts(own->Definitions(), AsItIs, place);
  });
}

ktf9_status ktf9_table_set_result_format(ktf9_table* table, const char* identifier,
                                         ktf9_error** error) {
  return Call(error, [&] { UsedTable(table, "table")->SetResultFormat(TextOr(identifier, "")); });
}

ktf9_status ktf9_table_rename(ktf9_table* table, const char* name, ktf9_error** error) {
  return Call(error, [&] { UsedTable(table, "table")->Rename(NeedText(name, "name")); });
}

ktf9_status ktf9_table_move(ktf9_table* table, size_t place, ktf9_error** error) {
  return Call(error, [&] { UsedTable(table, "table")->Move(place); });
}

ktf9_status ktf9_table_remove(ktf9_table* table, ktf9_error** error) {
  return Call(error, [&] { UsedTable(table, "table")->Remove(); });
}
