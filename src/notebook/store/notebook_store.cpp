#include "notebook/store/notebook_store.h"

#include <array>
#include <cmath>
#include <limits>
#include <unordered_map>

#include "notebook/files/listener_face.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

// Version 1 had no locales: its texts and formulas are those of the locale "C".
constexpr std::int64_t kSchemaVersion = 2;
constexpr std::int64_t kVersionWithoutLocales = 1;

// "@key" stands for the database's type of a key that numbers itself.
constexpr std::array<std::string_view, 11> kTables{
    "CREATE TABLE notebook_schema(version INTEGER NOT NULL)",
    "CREATE TABLE notebook_forms(form_key @key, name TEXT NOT NULL UNIQUE, "
    "locale TEXT NOT NULL DEFAULT 'C')",
    // table_key is the key in the notebook file; content is a structure's or text field's text.
    "CREATE TABLE notebook_fields(field_key @key, form_key INTEGER NOT NULL, "
    "position INTEGER NOT NULL, kind TEXT NOT NULL, name TEXT NOT NULL, "
    "table_key INTEGER NOT NULL, content TEXT NOT NULL)",
    "CREATE TABLE notebook_properties(field_key INTEGER NOT NULL, position INTEGER NOT NULL, "
    "property_key INTEGER NOT NULL, name TEXT NOT NULL, type TEXT NOT NULL, unit TEXT NOT NULL, "
    "number_formatting INTEGER NOT NULL, PRIMARY KEY(field_key, position))",
    "CREATE TABLE notebook_rows(field_key INTEGER NOT NULL, position INTEGER NOT NULL, "
    "row_id TEXT NOT NULL, PRIMARY KEY(field_key, position))",
    "CREATE TABLE notebook_tags(field_key INTEGER NOT NULL, row_position INTEGER NOT NULL, "
    "position INTEGER NOT NULL, name TEXT NOT NULL, value TEXT NOT NULL, "
    "PRIMARY KEY(field_key, row_position, position))",
    // A number that is not a number is null.
    "CREATE TABLE notebook_cells(field_key INTEGER NOT NULL, row_position INTEGER NOT NULL, "
    "property_key INTEGER NOT NULL, text TEXT NOT NULL, min_number DOUBLE PRECISION, "
    "max_number DOUBLE PRECISION, unit TEXT NOT NULL, state TEXT NOT NULL, tag TEXT NOT NULL, "
    "PRIMARY KEY(field_key, row_position, property_key))",
    "CREATE TABLE ELN_field_listeners(field_listener_key INTEGER PRIMARY KEY, Name TEXT, prog_id "
    "TEXT, "
    "field_key INTEGER, Position INTEGER, config_xml TEXT)",
    "CREATE TABLE notebook_result_formats(field_listener_key INTEGER NOT NULL PRIMARY KEY, "
    "program_identifier TEXT NOT NULL)",
    // A form and a table find their own among many.
    "CREATE INDEX notebook_fields_of_form ON notebook_fields(form_key)",
    "CREATE INDEX ELN_field_listeners_of_field ON ELN_field_listeners(field_key)",
};

std::string WithKeyType(std::string_view sql, std::string_view key_type) {
  std::string statement(sql);
  constexpr std::string_view kPlaceholder = "@key";
  const std::size_t place = statement.find(kPlaceholder);
  if (place != std::string::npos) statement.replace(place, kPlaceholder.size(), key_type);
  return statement;
}

DbValue Integer(std::int64_t value) {
  return value;
}
DbValue Text(std::u16string_view value) {
  return ToStoredUtf8(value);
}
DbValue Number(double value) {
  if (std::isnan(value)) return nullptr;
  return value;
}

std::int64_t ToInteger(const DbValue& value) {
  const auto* integer = std::get_if<std::int64_t>(&value);
  return integer != nullptr ? *integer : 0;
}

std::u16string ToText(const DbValue& value) {
  const auto* text = std::get_if<std::string>(&value);
  return text != nullptr ? FromStoredUtf8(*text) : std::u16string();
}

double ToNumber(const DbValue& value) {
  if (const auto* number = std::get_if<double>(&value)) return *number;
  if (const auto* integer = std::get_if<std::int64_t>(&value)) {
    return static_cast<double>(*integer);
  }
  return std::numeric_limits<double>::quiet_NaN();
}

// The row of a table as the database counts it, from 1.
NotebookRow RowAt(const NotebookTable& table, std::int64_t position) {
  if (position < 1 || position > table.RowCount()) {
    throw NotebookError("the database is damaged: there is no row " + std::to_string(position) +
                        " in the table \"" + ToUtf8(table.Name()) + "\"");
  }
  return table.Rows()[static_cast<std::size_t>(position) - 1];
}

// Runs a listener's call; what it raises ends the work.
template <typename Body>
void Listening(Body body) {
  try {
    body();
  } catch (const ktformula::RaisedError& error) {
    throw NotebookError(ToUtf8(error.Source() + u": " + error.Description()));
  }
}

std::string_view KindOf(const NotebookField& field) {
  if (field.OwnTable()) return "table";
  return field.Structure() ? "structure" : "field";
}

std::u16string ContentOf(const NotebookField& field) {
  if (field.Structure()) return field.Structure()->Data();
  return field.TextField() ? field.TextField()->Text() : std::u16string();
}

bool IsWorthStoring(const NotebookCell& cell) {
  return !cell.Text().empty() || !cell.State().empty() || !cell.Tag().empty();
}

}  // namespace

NotebookStore::NotebookStore(std::shared_ptr<Database> database, bool create)
    : database_(std::move(database)) {
  if (database_->HasTable("notebook_schema")) {
    SchemaVersion();
  } else if (create) {
    CreateTables();
  } else {
    throw NotebookError("the database holds no notebooks; import one first");
  }
}

void NotebookStore::CreateTables() const {
  Transaction transaction(*database_);
  // Another process may have been faster.
  if (database_->HasTable("notebook_schema")) return;
  for (const std::string_view sql : kTables) {
    database_->Run(WithKeyType(sql, database_->KeyType()));
  }
  database_->CreateSequence("KtS_field_listeners");
  database_->Run("INSERT INTO notebook_schema(version) VALUES($1)", {kSchemaVersion});
  transaction.Commit();
}

std::int64_t NotebookStore::SchemaVersion() const {
  const DbResult found = database_->Run("SELECT version FROM notebook_schema");
  const std::int64_t version = found.rows.empty() ? 0 : ToInteger(found.rows[0][0]);
  if (version != kSchemaVersion && version != kVersionWithoutLocales) {
    throw NotebookError("the database was written by another version of this program");
  }
  return version;
}

void NotebookStore::NeedLocales() const {
  if (SchemaVersion() == kSchemaVersion) return;
  database_->Run("ALTER TABLE notebook_forms ADD COLUMN locale TEXT NOT NULL DEFAULT 'C'");
  database_->Run("UPDATE notebook_schema SET version = $1", {kSchemaVersion});
}

std::vector<std::u16string> NotebookStore::FormNames() const {
  std::vector<std::u16string> names;
  for (const auto& row : database_->Run("SELECT name FROM notebook_forms ORDER BY form_key").rows) {
    names.push_back(ToText(row[0]));
  }
  return names;
}

void NotebookStore::Add(Notebook& notebook, NotebookForm& form) {
  const std::array<DbValue, 1> name{Text(form.Name())};
  if (!database_->Run("SELECT 1 FROM notebook_forms WHERE name = $1", name).rows.empty()) {
    throw NotebookError("the database has a form \"" + ToUtf8(form.Name()) + "\" already");
  }
  NeedLocales();
  const DbResult inserted =
      database_->Run("INSERT INTO notebook_forms(name, locale) VALUES($1, $2) RETURNING form_key",
                     {name[0], Text(form.OwnLocale().name)});
  int position = 0;
  for (const Ref<NotebookField>& field : form.Fields()) {
    AddField(notebook, *field, ToInteger(inserted.rows[0][0]), ++position);
  }
}

void NotebookStore::AddField(Notebook& notebook, NotebookField& field, std::int64_t form_key,
                             int position) const {
  const std::int64_t table_key = field.OwnTable() ? field.OwnTable()->FileKey() : 0;
  const DbResult inserted = database_->Run(
      "INSERT INTO notebook_fields(form_key, position, kind, name, table_key, content) "
      "VALUES($1, $2, $3, $4, $5, $6) RETURNING field_key",
      {Integer(form_key), Integer(position), std::string(KindOf(field)), Text(field.Name()),
       Integer(table_key), Text(ContentOf(field))});
  field.SetKey(static_cast<std::int32_t>(ToInteger(inserted.rows[0][0])));
  if (field.OwnTable()) AddTable(notebook, field);
}

void NotebookStore::AddTable(Notebook& notebook, const NotebookField& field) const {
  const NotebookTable& table = *field.OwnTable();
  const DbValue key = Integer(field.Key());
  std::int64_t position = 0;
  for (const Ref<NotebookColumn>& column : table.Columns()) {
    const PropertyDefinition& definition = column->Definition();
    database_->Run(
        "INSERT INTO notebook_properties(field_key, position, property_key, name, type, unit, "
        "number_formatting) VALUES($1, $2, $3, $4, $5, $6, $7)",
        {key, Integer(++position), Integer(definition.key), Text(definition.name),
         Text(DataTypeText(definition.type)),
         Text(definition.unit != nullptr ? definition.unit->UnitText() : u""),
         Integer(definition.number_formatting ? 1 : 0)});
  }
  std::vector<NotebookCell> cells;
  for (const NotebookRow row : table.Rows()) {
    const DbValue row_position = Integer(row.Position());
    database_->Run("INSERT INTO notebook_rows(field_key, position, row_id) VALUES($1, $2, $3)",
                   {key, row_position, Text(row.ID())});
    std::int64_t tag_position = 0;
    for (const auto& [name, value] : row.Tags()) {
      database_->Run(
          "INSERT INTO notebook_tags(field_key, row_position, position, name, value) "
          "VALUES($1, $2, $3, $4, $5)",
          {key, row_position, Integer(++tag_position), Text(name), Text(value)});
    }
    for (const Ref<NotebookColumn>& column : table.Columns()) {
      const NotebookCell cell = row.CellAt(column->Index());
      if (IsWorthStoring(cell)) cells.push_back(cell);
    }
  }
  SaveCells(cells);
  for (const auto& listener : table.Listeners())
    SaveListener(notebook, table, *listener);
}

void NotebookStore::SaveCells(std::span<const NotebookCell> cells) const {
  for (const NotebookCell& cell : cells) {
    const NotebookTable& table = cell.OwningRow().Parent();
    const CellContent content = cell.Content();
    database_->Run(
        "INSERT INTO notebook_cells(field_key, row_position, property_key, text, min_number, "
        "max_number, unit, state, tag) VALUES($1, $2, $3, $4, $5, $6, $7, $8, $9) "
        "ON CONFLICT(field_key, row_position, property_key) DO UPDATE SET text = excluded.text, "
        "min_number = excluded.min_number, max_number = excluded.max_number, "
        "unit = excluded.unit, state = excluded.state, tag = excluded.tag",
        {Integer(table.OwnField().Key()), Integer(cell.OwningRow().Position()),
         Integer(cell.Definition().key), Text(content.text), Number(content.min),
         Number(content.max), Text(content.unit), Text(cell.State()), Text(cell.Tag())});
  }
}

void NotebookStore::SaveListener(Notebook& notebook, const NotebookTable& table,
                                 ktformula::IKtFieldListener& listener) const {
  const Ref<ktformula::DatabaseAccess> access = MakeDatabaseAccess(database_);
  notebook.framework->UseDatabase(access, database_->Helper());
  const NotebookField& field = table.OwnField();
  Listening([&] {
    if (listener.Key() == 0) {
      listener.Create(field, *access, listener.Name(), listener.ProgramIdentifier(),
                      listener.Position());
      const DbResult created = database_->Run(
          "SELECT MAX(field_listener_key) FROM ELN_field_listeners WHERE field_key = $1",
          {Integer(field.Key())});
      listener.SetKey(static_cast<std::int32_t>(ToInteger(created.rows[0][0])));
    }
    FaceOf<ktformula::IKtObject>(listener).Save(*access);
  });
  const auto* formulas = dynamic_cast<const ktformula::IKtFormulaListener*>(&listener);
  const std::u16string result_format = formulas != nullptr ? formulas->ResultFormat() : u"";
  database_->Run("DELETE FROM notebook_result_formats WHERE field_listener_key = $1",
                 {Integer(listener.Key())});
  if (!result_format.empty()) {
    database_->Run(
        "INSERT INTO notebook_result_formats(field_listener_key, program_identifier) "
        "VALUES($1, $2)",
        {Integer(listener.Key()), Text(result_format)});
  }
}

Notebook NotebookStore::Load(std::u16string_view form_name) const {
  const std::u16string name(form_name);
  return Load(std::span(&name, 1));
}

Notebook NotebookStore::Load(std::span<const std::u16string> form_names) const {
  Notebook notebook;
  notebook.framework->UseDatabase(MakeDatabaseAccess(database_), database_->Helper());
  for (const std::u16string& name : form_names)
    LoadForm(notebook, name);
  return notebook;
}

void NotebookStore::LoadForm(Notebook& notebook, std::u16string_view form_name) const {
  const std::string locale = SchemaVersion() == kVersionWithoutLocales ? "'C'" : "locale";
  const DbResult found = database_->Run(
      "SELECT form_key, " + locale + " FROM notebook_forms WHERE name = $1", {Text(form_name)});
  if (found.rows.empty()) {
    throw NotebookError("the database has no form \"" + ToUtf8(form_name) + "\"" +
                        DidYouMean(form_name, FormNames()));
  }
  const std::u16string locale_name = ToText(found.rows[0][1]);
  const std::optional<NamedLocale> known = FindNamedLocale(locale_name);
  if (!known) throw NotebookError("the locale \"" + ToUtf8(locale_name) + "\" is not known");
  notebook.locale = *known;
  const ktformula::LocaleScope kept_in(known->separators);
  NotebookForm& form = notebook.AddForm(form_name);
  const DbResult fields = database_->Run(
      "SELECT field_key, kind, name, table_key, content FROM notebook_fields "
      "WHERE form_key = $1 ORDER BY position",
      {found.rows[0][0]});
  for (const auto& row : fields.rows)
    LoadField(notebook, form, row);
}

void NotebookStore::LoadField(Notebook& notebook, NotebookForm& form,
                              std::span<const DbValue> row) const {
  const std::u16string kind = ToText(row[1]);
  const std::u16string name = ToText(row[2]);
  if (kind == u"structure") {
    form.AddStructure(name, ToText(row[4]));
  } else if (kind == u"field") {
    form.AddTextField(name, ToText(row[4]));
  } else {
    NotebookTable* const table = form.AddTable(name, static_cast<std::int32_t>(ToInteger(row[3])));
    if (table == nullptr) throw NotebookError("the database has a field name twice");
    table->OwnField().SetKey(static_cast<std::int32_t>(ToInteger(row[0])));
    LoadTable(notebook, *table, ToInteger(row[0]));
  }
}

void NotebookStore::LoadTable(Notebook& notebook, NotebookTable& table,
                              std::int64_t field_key) const {
  const DbResult properties = database_->Run(
      "SELECT property_key, name, type, unit, number_formatting FROM notebook_properties "
      "WHERE field_key = $1 ORDER BY position",
      {Integer(field_key)});
  for (const auto& row : properties.rows) {
    PropertyDefinition definition;
    definition.key = static_cast<std::int32_t>(ToInteger(row[0]));
    definition.name = ToText(row[1]);
    definition.type = FindDataType(ToText(row[2])).value_or(DataType::kString);
    definition.unit = notebook.framework->OwnUnits()->FindUnit(ToText(row[3]));
    definition.number_formatting = ToInteger(row[4]) != 0;
    table.AddColumn(std::move(definition));
  }
  LoadRows(table, field_key);
  LoadCells(table, field_key);
  LoadListeners(notebook, table, field_key);
}

void NotebookStore::LoadRows(NotebookTable& table, std::int64_t field_key) const {
  const DbResult rows =
      database_->Run("SELECT row_id FROM notebook_rows WHERE field_key = $1 ORDER BY position",
                     {Integer(field_key)});
  for (const auto& row : rows.rows)
    table.AddRow(ToText(row[0]));
  const DbResult tags = database_->Run(
      "SELECT row_position, name, value FROM notebook_tags WHERE field_key = $1 "
      "ORDER BY row_position, position",
      {Integer(field_key)});
  for (const auto& tag : tags.rows) {
    RowAt(table, ToInteger(tag[0])).AddTag(ToText(tag[1]), ToText(tag[2]));
  }
}

void NotebookStore::LoadCells(NotebookTable& table, std::int64_t field_key) const {
  std::unordered_map<std::int64_t, std::size_t> index_of_key;
  for (const Ref<NotebookColumn>& column : table.Columns()) {
    index_of_key.emplace(column->Definition().key, column->Index());
  }
  const DbResult cells = database_->Run(
      "SELECT row_position, property_key, text, min_number, max_number, unit, state, tag "
      "FROM notebook_cells WHERE field_key = $1",
      {Integer(field_key)});
  for (const auto& row : cells.rows) {
    const auto index = index_of_key.find(ToInteger(row[1]));
    if (index == index_of_key.end()) {
      throw NotebookError("the database is damaged: a cell of the table \"" + ToUtf8(table.Name()) +
                          "\" has no column");
    }
    const NotebookCell cell = RowAt(table, ToInteger(row[0])).CellAt(index->second);
    cell.SetContent(
        CellContent{ToText(row[2]), ToNumber(row[3]), ToNumber(row[4]), ToText(row[5])});
    cell.SetState(ToText(row[6]), ToText(row[7]));
  }
}

void NotebookStore::LoadListeners(Notebook& notebook, NotebookTable& table,
                                  std::int64_t field_key) const {
  const Ref<ktformula::DatabaseAccess> access = MakeDatabaseAccess(database_);
  const DbResult listeners = database_->Run(
      "SELECT l.field_listener_key, l.prog_id, f.program_identifier FROM ELN_field_listeners l "
      "LEFT JOIN notebook_result_formats f ON f.field_listener_key = l.field_listener_key "
      "WHERE l.field_key = $1 ORDER BY l.field_listener_key",
      {Integer(field_key)});
  for (const auto& row : listeners.rows) {
    const std::u16string identifier = ToText(row[1]);
    Ref<ktformula::IKtFieldListener> listener = notebook.framework->NeedListener(identifier);
    Listening([&] {
      listener->Initialize(notebook.framework, table.Parent().OwnerOf(table.OwnField()), nullptr);
      FaceOf<ktformula::IKtListenerData>(*listener).SetData(
          u"", access
                   ->OpenRow(u"SELECT * FROM ELN_field_listeners WHERE field_listener_key = " +
                             ktformula::ToDecimalText(ToInteger(row[0])))
                   .get());
    });
    if (auto* formulas = dynamic_cast<ktformula::IKtFormulaListener*>(listener.get())) {
      formulas->SetResultFormat(ToText(row[2]));
    }
    table.AddListener(std::move(listener));
  }
}

}  // namespace ktnotebook
