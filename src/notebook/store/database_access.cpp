// The database as listeners see it: statements as text, one row at a time.
#include <algorithm>
#include <cmath>
#include <map>

#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/store/database.h"
#include "values/platform.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

// Runs a database call; what fails is raised to the listener.
template <typename Body>
auto Raising(Body body) {
  try {
    return body();
  } catch (const NotebookError& error) {
    ktformula::Raise(u"Database", FromStoredUtf8(error.what()));
  }
}

std::string LowerColumn(std::u16string_view column) {
  return ToStoredUtf8(ktformula::LowerCase(column));
}

// The row of "SELECT * FROM table WHERE condition"; it is updated under the same condition.
class SelectedRow final : public ktformula::RowSet {
 public:
  SelectedRow(std::shared_ptr<Database> database, std::string from_clause, DbResult result)
      : database_(std::move(database)), from_clause_(std::move(from_clause)) {
    for (std::size_t i = 0; i < result.columns.size(); ++i) {
      fields_.emplace(LowerColumn(FromStoredUtf8(result.columns[i])),
                      std::move(result.rows.front()[i]));
    }
  }

  std::u16string TypeName() const override { return u"Recordset"; }

  std::u16string TextField(std::u16string_view column) const override {
    const DbValue& value = FieldOf(column);
    if (const auto* text = std::get_if<std::string>(&value)) return FromStoredUtf8(*text);
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
      return ktformula::ToDecimalText(*integer);
    }
    return {};
  }

  std::int32_t IntegerField(std::u16string_view column) const override {
    const DbValue& value = FieldOf(column);
    const auto* integer = std::get_if<std::int64_t>(&value);
    return integer == nullptr ? 0 : ktformula::RoundToInteger(static_cast<double>(*integer));
  }

  void SetTextField(std::u16string_view column, std::u16string_view value) override {
    Set(column, ToStoredUtf8(value));
  }

  void SetIntegerField(std::u16string_view column, std::int32_t value) override {
    Set(column, std::int64_t{value});
  }

  void Update() override {
    if (changed_.empty()) return;
    const std::size_t where = from_clause_.find(" WHERE ");
    std::string sql = "UPDATE " + from_clause_.substr(0, where) + " SET ";
    std::vector<DbValue> values;
    for (const std::string& column : changed_) {
      if (!values.empty()) sql += ", ";
      values.push_back(fields_.at(column));
      sql += column + " = $" + std::to_string(values.size());
    }
    sql += from_clause_.substr(where);
    Raising([&] { database_->Run(sql, values); });
    changed_.clear();
  }

 private:
  const DbValue& FieldOf(std::u16string_view column) const {
    const auto found = fields_.find(LowerColumn(column));
    if (found == fields_.end()) {
      ktformula::Raise(u"Recordset", u"there is no column \"" + std::u16string(column) + u"\"");
    }
    return found->second;
  }

  void Set(std::u16string_view column, DbValue value) {
    FieldOf(column);
    const std::string name = LowerColumn(column);
    fields_[name] = std::move(value);
    if (std::find(changed_.begin(), changed_.end(), name) == changed_.end()) {
      changed_.push_back(name);
    }
  }

  std::shared_ptr<Database> database_;
  std::string from_clause_;
  std::map<std::string, DbValue> fields_;
  std::vector<std::string> changed_;
};

class NotebookDatabaseAccess final : public ktformula::DatabaseAccess {
 public:
  explicit NotebookDatabaseAccess(std::shared_ptr<Database> database)
      : database_(std::move(database)) {}

  std::u16string TypeName() const override { return u"DatabaseAccess"; }

  void Execute(std::u16string_view sql) override {
    Raising([&] { database_->Run(ToStoredUtf8(sql)); });
  }

  ktformula::Ref<ktformula::RowSet> OpenRow(std::u16string_view sql) override {
    constexpr std::string_view kSelect = "SELECT * FROM ";
    const std::string statement = ToStoredUtf8(sql);
    if (!statement.starts_with(kSelect) || statement.find(" WHERE ") == std::string::npos) {
      ktformula::Raise(u"Database", u"a row can be opened by SELECT * FROM ... WHERE ... only");
    }
    DbResult result = Raising([&] { return database_->Run(statement); });
    if (result.rows.empty()) ktformula::Raise(u"Database", u"the row does not exist");
    return ktformula::MakeRef<SelectedRow>(database_, statement.substr(kSelect.size()),
                                           std::move(result));
  }

 private:
  std::shared_ptr<Database> database_;
};

}  // namespace

ktformula::Ref<ktformula::DatabaseAccess> MakeDatabaseAccess(std::shared_ptr<Database> database) {
  return ktformula::MakeRef<NotebookDatabaseAccess>(std::move(database));
}

}  // namespace ktnotebook
