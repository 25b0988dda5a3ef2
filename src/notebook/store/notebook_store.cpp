#include "notebook/store/notebook_store.h"

#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <unordered_map>

#include "notebook/files/listener_face.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/store/computed_with.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

// Version 1 had no locales: its texts and formulas are those of the locale "C". Version 2 did not
// tell what results were computed with, version 3 not how often a form was changed.
constexpr std::int64_t kVersionWithoutLocales = 1;
constexpr std::array<std::string_view, 3> kSteps{
    "ALTER TABLE notebook_forms ADD COLUMN locale TEXT NOT NULL DEFAULT 'C'",
    "ALTER TABLE notebook_forms ADD COLUMN computed_with TEXT",
    "ALTER TABLE notebook_forms ADD COLUMN version BIGINT NOT NULL DEFAULT 1",
};
constexpr std::int64_t kSchemaVersion = kVersionWithoutLocales + kSteps.size();

// "@key" stands for the database's type of a key that numbers itself.
constexpr std::array<std::string_view, 11> kTables{
    "CREATE TABLE notebook_schema(version INTEGER NOT NULL)",
    "CREATE TABLE notebook_forms(form_key @key, name TEXT NOT NULL UNIQUE, "
    "locale TEXT NOT NULL DEFAULT 'C', computed_with TEXT, "
    "version BIGINT NOT NULL DEFAULT 1)",
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

// Whether a form's results are not known to be what this program, $1, computes.
constexpr std::string_view kIsOutdated = "(computed_with IS NULL OR computed_with <> $1)";

// Cells are written many at a time: each statement is a message to the server and back.
constexpr std::size_t kCellsTogether = 50;
constexpr std::size_t kCellColumns = 9;

// Writes so many cells, whether they are there already or not.
std::string CellsStatement(std::size_t count) {
  std::string rows;
  for (std::size_t value = 0; value < count * kCellColumns; ++value) {
    const bool is_first = value % kCellColumns == 0;
    if (is_first) rows += rows.empty() ? "(" : "), (";
    rows += (is_first ? "$" : ", $") + std::to_string(value + 1);
  }
  return "INSERT INTO notebook_cells(field_key, row_position, property_key, text, min_number, "
         "max_number, unit, state, tag) VALUES" +
         rows +
         ") ON CONFLICT(field_key, row_position, property_key) DO UPDATE SET text = excluded.text, "
         "min_number = excluded.min_number, max_number = excluded.max_number, "
         "unit = excluded.unit, state = excluded.state, tag = excluded.tag";
}

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

// The values of a cell's row, in the order of the statement's columns.
void AppendCell(std::vector<DbValue>& values, const NotebookCell& cell) {
  const NotebookRow row = cell.OwningRow();
  const CellContent content = cell.Content();
  values.insert(values.end(),
                {Integer(row.Parent().OwnField().Key()), Integer(row.Position()),
                 Integer(cell.Definition().key), Text(content.text), Number(content.min),
                 Number(content.max), Text(content.unit), Text(cell.State()), Text(cell.Tag())});
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
  Transaction transaction(*database_, TransactionKind::kAlone);
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
  if (version < kVersionWithoutLocales || version > kSchemaVersion) {
    throw NotebookError("the database was written by another version of this program");
  }
  return version;
}

bool NotebookStore::IsUpToDate() const {
  return SchemaVersion() == kSchemaVersion;
}

void NotebookStore::BringUpToDate() const {
  for (std::int64_t version = SchemaVersion(); version < kSchemaVersion; ++version) {
    database_->Run(kSteps[static_cast<std::size_t>(version - kVersionWithoutLocales)]);
    database_->Run("UPDATE notebook_schema SET version = $1", {version + 1});
  }
}

TransactionKind NotebookStore::KindOfAdding() const {
  return IsUpToDate() ? TransactionKind::kChangingForms : TransactionKind::kAlone;
}

std::vector<std::u16string> NotebookStore::FormNames() const {
  std::vector<std::u16string> names;
  for (const auto& row : database_->Run("SELECT name FROM notebook_forms ORDER BY form_key").rows) {
    names.push_back(ToText(row[0]));
  }
  return names;
}

NotebookStore::Keys NotebookStore::LargestKeys() const {
  database_->LockNames();
  return {
      ToInteger(database_->Run("SELECT MAX(table_key) FROM notebook_fields").rows[0][0]),
      ToInteger(database_->Run("SELECT MAX(property_key) FROM notebook_properties").rows[0][0])};
}

void NotebookStore::RefuseTaken(std::u16string_view form_name) const {
  if (!database_->Run("SELECT 1 FROM notebook_forms WHERE name = $1", {Text(form_name)})
           .rows.empty()) {
    throw NotebookError("the database has a form \"" + ToUtf8(form_name) + "\" already");
  }
}

void NotebookStore::Add(Notebook& notebook, NotebookForm& form) const {
  database_->LockNames();
  RefuseTaken(form.Name());
  BringUpToDate();
  const DbResult inserted =
      database_->Run("INSERT INTO notebook_forms(name, locale) VALUES($1, $2) RETURNING form_key",
                     {Text(form.Name()), Text(form.OwnLocale().name)});
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
  AddProperties(field);
  AddRows(field, 0);
  SaveListeners(notebook, *field.OwnTable());
}

void NotebookStore::AddProperties(const NotebookField& field) const {
  std::int64_t position = 0;
  for (const Ref<NotebookColumn>& column : field.OwnTable()->Columns()) {
    const PropertyDefinition& definition = column->Definition();
    database_->Run(
        "INSERT INTO notebook_properties(field_key, position, property_key, name, type, unit, "
        "number_formatting) VALUES($1, $2, $3, $4, $5, $6, $7)",
        {Integer(field.Key()), Integer(++position), Integer(definition.key), Text(definition.name),
         Text(DataTypeText(definition.type)),
         Text(definition.unit != nullptr ? definition.unit->UnitText() : u""),
         Integer(definition.number_formatting ? 1 : 0)});
  }
}

void NotebookStore::AddRows(const NotebookField& field, std::size_t first) const {
  const NotebookTable& table = *field.OwnTable();
  const DbValue key = Integer(field.Key());
  std::vector<NotebookCell> cells;
  for (std::size_t index = first; index < table.Rows().size(); ++index) {
    const NotebookRow row = table.Rows()[index];
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
}

void NotebookStore::SaveListeners(Notebook& notebook, const NotebookTable& table) const {
  for (const auto& listener : table.Listeners())
    SaveListener(notebook, table, *listener);
}

void NotebookStore::SaveStructure(Notebook& notebook, NotebookForm& form,
                                  std::u16string_view stored_name) const {
  const std::int64_t form_key = FormKey(stored_name);
  SetComputedWith(nullptr, "form_key = $2", Integer(form_key));
  SaveName(form, stored_name, form_key);
  std::set<std::int64_t> kept;
  for (const Ref<NotebookField>& field : form.Fields()) {
    if (field->IsStored()) kept.insert(field->Key());
  }
  for (const auto& row :
       database_
           ->Run("SELECT field_key FROM notebook_fields WHERE form_key = $1", {Integer(form_key)})
           .rows) {
    if (!kept.contains(ToInteger(row[0]))) RemoveField(ToInteger(row[0]));
  }
  for (const Ref<NotebookField>& field : form.Fields()) {
    if (!field->IsStored()) {
      AddField(notebook, *field, form_key, field->Position());
      continue;
    }
    database_->Run("UPDATE notebook_fields SET position = $1, name = $2 WHERE field_key = $3",
                   {Integer(field->Position()), Text(field->Name()), Integer(field->Key())});
    if (field->OwnTable()) SaveTable(notebook, *field);
  }
}

void NotebookStore::SaveName(const NotebookForm& form, std::u16string_view stored_name,
                             std::int64_t form_key) const {
  if (form.Name() == stored_name) return;
  database_->LockNames();
  RefuseTaken(form.Name());
  database_->Run("UPDATE notebook_forms SET name = $1 WHERE form_key = $2",
                 {Text(form.Name()), Integer(form_key)});
}

void NotebookStore::Rewrite(Notebook& notebook, NotebookForm& form,
                            std::u16string_view stored_name) const {
  const std::int64_t form_key = FormKey(stored_name);
  SetComputedWith(nullptr, "form_key = $2", Integer(form_key));
  SaveName(form, stored_name, form_key);
  RemoveFields(form_key);
  int position = 0;
  for (const Ref<NotebookField>& field : form.Fields()) {
    if (field->OwnTable()) {
      for (const auto& listener : field->OwnTable()->Listeners())
        listener->SetKey(0);
    }
    AddField(notebook, *field, form_key, ++position);
  }
}

void NotebookStore::SaveTable(Notebook& notebook, const NotebookField& field) const {
  const DbValue key = Integer(field.Key());
  database_->Run("DELETE FROM notebook_properties WHERE field_key = $1", {key});
  AddProperties(field);
  database_->Run(
      "DELETE FROM notebook_cells WHERE field_key = $1 AND property_key NOT IN "
      "(SELECT property_key FROM notebook_properties WHERE field_key = $1)",
      {key});
  // Rows stay up to the first that is another one.
  const NotebookTable& table = *field.OwnTable();
  std::size_t same = 0;
  for (const auto& row :
       database_
           ->Run("SELECT row_id FROM notebook_rows WHERE field_key = $1 ORDER BY position", {key})
           .rows) {
    if (same == table.Rows().size() || table.IdOf(same) != ToText(row[0])) break;
    ++same;
  }
  for (const std::string_view rows :
       {"notebook_cells WHERE row_position", "notebook_tags WHERE row_position",
        "notebook_rows WHERE position"}) {
    database_->Run("DELETE FROM " + std::string(rows) + " > $1 AND field_key = $2",
                   {Integer(static_cast<std::int64_t>(same)), key});
  }
  AddRows(field, same);
  SaveListeners(notebook, table);
}

void NotebookStore::RemoveField(std::int64_t field_key) const {
  for (const std::string_view what :
       {"notebook_result_formats WHERE field_listener_key IN "
        "(SELECT field_listener_key FROM ELN_field_listeners WHERE field_key = $1)",
        "ELN_field_listeners WHERE field_key = $1", "notebook_cells WHERE field_key = $1",
        "notebook_tags WHERE field_key = $1", "notebook_rows WHERE field_key = $1",
        "notebook_properties WHERE field_key = $1", "notebook_fields WHERE field_key = $1"}) {
    database_->Run("DELETE FROM " + std::string(what), {Integer(field_key)});
  }
}

void NotebookStore::Remove(std::u16string_view form_name) const {
  const std::int64_t form_key = FormKey(form_name);
  RemoveFields(form_key);
  database_->Run("DELETE FROM notebook_forms WHERE form_key = $1", {Integer(form_key)});
}

void NotebookStore::RemoveFields(std::int64_t form_key) const {
  for (const auto& row :
       database_
           ->Run("SELECT field_key FROM notebook_fields WHERE form_key = $1", {Integer(form_key)})
           .rows) {
    RemoveField(ToInteger(row[0]));
  }
}

std::vector<NotebookStore::FormVersion> NotebookStore::VersionsWhere(
    const std::string& condition, std::initializer_list<DbValue> parameters) const {
  std::vector<DbValue> values{ComputedWith()};
  values.insert(values.end(), parameters);
  const DbResult found =
      database_->Run("SELECT form_key, name, version, CASE WHEN " + std::string(kIsOutdated) +
                         " THEN 0 ELSE 1 END FROM notebook_forms " + condition,
                     std::span<const DbValue>(values));
  std::vector<FormVersion> versions;
  for (const auto& row : found.rows)
    versions.push_back(
        {ToInteger(row[0]), ToText(row[1]), ToInteger(row[2]), ToInteger(row[3]) != 0});
  return versions;
}

std::vector<NotebookStore::FormVersion> NotebookStore::Versions() const {
  return VersionsWhere("ORDER BY form_key", {});
}

std::optional<NotebookStore::FormVersion> NotebookStore::LockVersion(std::int64_t key) const {
  std::vector<FormVersion> found = VersionsWhere(
      "WHERE form_key = $2" + std::string(database_->Locking(RowLock::kWait)), {Integer(key)});
  if (found.empty()) return std::nullopt;
  return std::move(found.front());
}

void NotebookStore::SaveTyped(const NotebookForm& form, std::span<const NotebookCell> cells) const {
  SaveCells(cells);
  SetComputedWith(nullptr, "name = $2", Text(form.Name()));
}

void NotebookStore::SaveRecalculated(const NotebookForm& form,
                                     std::span<const NotebookCell> cells) const {
  SaveCells(cells);
  SetComputedWith(ComputedWith(), "name = $2", Text(form.Name()));
}

void NotebookStore::SetComputedWith(const DbValue& what, const std::string& form_condition,
                                    const DbValue& value) const {
  if (!IsUpToDate()) return;
  database_->Run(
      "UPDATE notebook_forms SET computed_with = $1, version = version + 1 WHERE " + form_condition,
      {what, value});
}

void NotebookStore::SaveCells(std::span<const NotebookCell> cells) const {
  static const std::string one = CellsStatement(1);
  static const std::string many = CellsStatement(kCellsTogether);
  while (!cells.empty()) {
    const bool are_many = cells.size() >= kCellsTogether;
    const std::size_t count = are_many ? kCellsTogether : 1;
    std::vector<DbValue> values;
    values.reserve(count * kCellColumns);
    for (const NotebookCell& cell : cells.first(count))
      AppendCell(values, cell);
    database_->Run(are_many ? many : one, values);
    cells = cells.subspan(count);
  }
}

void NotebookStore::SaveListener(Notebook& notebook, const NotebookTable& table,
                                 ktformula::IKtFieldListener& listener) const {
  const Ref<ktformula::DatabaseAccess> access = MakeDatabaseAccess(database_);
  notebook.framework->UseDatabase(access, database_->Helper());
  const NotebookField& field = table.OwnField();
  SetComputedWith(nullptr, "form_key = (SELECT form_key FROM notebook_fields WHERE field_key = $2)",
                  Integer(field.Key()));
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

Notebook NotebookStore::LoadForChange(std::span<const std::u16string> form_names) const {
  for (const std::u16string& name : form_names)
    LockForm(name);
  return Load(form_names);
}

void NotebookStore::LockForm(std::u16string_view form_name) const {
  try {
    FormRow(form_name, "form_key", database_->Locking(RowLock::kWait));
  } catch (const DatabaseBusy&) {
    throw DatabaseBusy("the form \"" + ToUtf8(form_name) +
                       "\" is being recalculated, or changed by somebody else; try again later");
  }
}

std::optional<NotebookStore::StoredForm> NotebookStore::LockOutdated(std::int64_t behind) const {
  const DbResult found =
      database_->Run("SELECT form_key, name FROM notebook_forms WHERE " + std::string(kIsOutdated) +
                         " AND form_key > $2 ORDER BY form_key LIMIT 1" +
                         std::string(database_->Locking(RowLock::kSkip)),
                     {ComputedWith(), Integer(behind)});
  if (found.rows.empty()) return std::nullopt;
  return StoredForm{ToInteger(found.rows[0][0]), ToText(found.rows[0][1])};
}

std::vector<NotebookStore::StoredForm> NotebookStore::OutdatedForms() const {
  const std::string select = "SELECT form_key, name FROM notebook_forms ";
  const std::string order = " ORDER BY form_key";
  const DbResult found =
      IsUpToDate()
          ? database_->Run(select + "WHERE " + std::string(kIsOutdated) + order, {ComputedWith()})
          : database_->Run(select + order);
  std::vector<StoredForm> forms;
  for (const auto& row : found.rows)
    forms.push_back({ToInteger(row[0]), ToText(row[1])});
  return forms;
}

NotebookStore::FormCounts NotebookStore::CountForms() const {
  const DbResult found = database_->Run(
      "SELECT COUNT(*), COUNT(CASE WHEN computed_with = $1 THEN 1 END) FROM notebook_forms",
      {ComputedWith()});
  return {ToInteger(found.rows[0][0]), ToInteger(found.rows[0][1])};
}

std::vector<DbValue> NotebookStore::FormRow(std::u16string_view form_name,
                                            const std::string& columns,
                                            std::string_view locking) const {
  DbResult found = database_->Run(
      "SELECT " + columns + " FROM notebook_forms WHERE name = $1" + std::string(locking),
      {Text(form_name)});
  if (found.rows.empty()) {
    throw NotebookError("the database has no form \"" + ToUtf8(form_name) + "\"" +
                        DidYouMean(form_name, FormNames()));
  }
  return std::move(found.rows[0]);
}

std::int64_t NotebookStore::FormKey(std::u16string_view form_name) const {
  return ToInteger(FormRow(form_name, "form_key")[0]);
}

void NotebookStore::LoadForm(Notebook& notebook, std::u16string_view form_name) const {
  const std::string locale = SchemaVersion() == kVersionWithoutLocales ? "'C'" : "locale";
  const std::vector<DbValue> found = FormRow(form_name, "form_key, " + locale);
  const std::u16string locale_name = ToText(found[1]);
  const std::optional<NamedLocale> known = FindNamedLocale(locale_name);
  if (!known) throw NotebookError("the locale \"" + ToUtf8(locale_name) + "\" is not known");
  notebook.locale = *known;
  const ktformula::LocaleScope kept_in(known->separators);
  NotebookForm& form = notebook.AddForm(form_name);
  const DbResult fields = database_->Run(
      "SELECT field_key, kind, name, table_key, content FROM notebook_fields "
      "WHERE form_key = $1 ORDER BY position",
      {found[0]});
  for (const auto& row : fields.rows)
    LoadField(notebook, form, row);
}

void NotebookStore::LoadField(Notebook& notebook, NotebookForm& form,
                              std::span<const DbValue> row) const {
  const std::u16string kind = ToText(row[1]);
  const std::u16string name = ToText(row[2]);
  NotebookTable* table = nullptr;
  if (kind == u"structure") {
    form.AddStructure(name, ToText(row[4]));
  } else if (kind == u"field") {
    form.AddTextField(name, ToText(row[4]));
  } else {
    table = form.AddTable(name, static_cast<std::int32_t>(ToInteger(row[3])));
    if (table == nullptr) throw NotebookError("the database has a field name twice");
  }
  form.FindField(name)->SetKey(static_cast<std::int32_t>(ToInteger(row[0])));
  if (table != nullptr) LoadTable(notebook, *table, ToInteger(row[0]));
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
