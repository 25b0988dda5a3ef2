// SQLite behind the database interface.
#include "notebook/store/sqlite_database.h"

#include <chrono>
#include <sqlite3.h>
#include <thread>
#include <unordered_map>

#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/store/sql_helper.h"

namespace ktnotebook {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kBusyTimeout{10};
// Whoever waits asks so often; whoever works for long pauses for a little more.
constexpr std::chrono::milliseconds kBetweenAttempts{1};
constexpr std::chrono::milliseconds kPause{3};

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using StatementPtr = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

class SqliteDatabase final : public Database {
 public:
  explicit SqliteDatabase(const std::string& path, bool create) : path_(path) {
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0);
    const int result = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
    database_.reset(opened);
    if (result != SQLITE_OK) Fail();
    sqlite3_busy_handler(opened, &WaitForOthers, this);
    Run("PRAGMA foreign_keys = ON", {});
    Run("PRAGMA synchronous = FULL", {});
  }

  using Database::Run;
  DbResult Run(std::string_view sql, std::span<const DbValue> parameters) override {
    sqlite3_stmt* const statement = Prepare(sql);
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      Bind(statement, static_cast<int>(i) + 1, parameters[i]);
    }
    DbResult result = Fetch(statement);
    return result;
  }

  bool HasTable(std::string_view name) override {
    return !Run("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = $1",
                {std::string(name)})
                .rows.empty();
  }

  std::string_view KeyType() const noexcept override { return "INTEGER PRIMARY KEY"; }

  void CreateSequence(std::string_view) override {}

  ktformula::Ref<ktformula::DatabaseHelper> Helper() override {
    return MakeDatabaseHelper(KeySource::kRowNumber);
  }

  void Begin(TransactionKind kind) override {
    Run(kind == TransactionKind::kReading ? "BEGIN" : "BEGIN IMMEDIATE", {});
  }

  void GiveWay() override { std::this_thread::sleep_for(kPause); }

 private:
  // Whether to ask again for a lock that others hold. SQLite's own way of waiting asks ten times a
  // second, and would hardly ever meet the pauses of a long work.
  static int WaitForOthers(void* database, int attempts) {
    auto& self = *static_cast<SqliteDatabase*>(database);
    if (attempts == 0) self.waiting_since_ = Clock::now();
    if (Clock::now() - self.waiting_since_ > kBusyTimeout) return 0;
    std::this_thread::sleep_for(kBetweenAttempts);
    return 1;
  }

  [[noreturn]] void Fail() const {
    if (database_ && sqlite3_errcode(database_.get()) == SQLITE_BUSY) {
      throw DatabaseBusy(path_ + ": somebody else is changing the database; try again later");
    }
    throw NotebookError(path_ + ": " +
                        (database_ ? sqlite3_errmsg(database_.get()) : "out of memory"));
  }

  // Statements are kept: an import runs a few of them many times.
  sqlite3_stmt* Prepare(std::string_view sql) {
    const auto known = statements_.find(std::string(sql));
    if (known != statements_.end()) {
      sqlite3_reset(known->second.get());
      sqlite3_clear_bindings(known->second.get());
      return known->second.get();
    }
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database_.get(), sql.data(), static_cast<int>(sql.size()), &prepared,
                           nullptr) != SQLITE_OK) {
      Fail();
    }
    return statements_.emplace(std::string(sql), StatementPtr(prepared)).first->second.get();
  }

  void Bind(sqlite3_stmt* statement, int index, const DbValue& value) const {
    int result = SQLITE_OK;
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
      result = sqlite3_bind_int64(statement, index, *integer);
    } else if (const auto* number = std::get_if<double>(&value)) {
      result = sqlite3_bind_double(statement, index, *number);
    } else if (const auto* text = std::get_if<std::string>(&value)) {
      // SQLite reads the text only while the statement runs.
      result = sqlite3_bind_text64(statement, index, text->data(), text->size(), SQLITE_STATIC,
                                   SQLITE_UTF8);
    } else {
      result = sqlite3_bind_null(statement, index);
    }
    if (result != SQLITE_OK) Fail();
  }

  DbResult Fetch(sqlite3_stmt* statement) const {
    DbResult result;
    const int count = sqlite3_column_count(statement);
    for (int i = 0; i < count; ++i)
      result.columns.emplace_back(sqlite3_column_name(statement, i));
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
      std::vector<DbValue>& row = result.rows.emplace_back();
      for (int i = 0; i < count; ++i)
        row.push_back(Column(statement, i));
    }
    sqlite3_reset(statement);
    if (step != SQLITE_DONE) Fail();
    return result;
  }

  static DbValue Column(sqlite3_stmt* statement, int index) {
    switch (sqlite3_column_type(statement, index)) {
      case SQLITE_INTEGER: return std::int64_t{sqlite3_column_int64(statement, index)};
      case SQLITE_FLOAT: return sqlite3_column_double(statement, index);
      case SQLITE_NULL: return nullptr;
      default: break;
    }
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, index));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, index));
    return size == 0 ? std::string() : std::string(bytes, size);
  }

  std::string path_;
  Clock::time_point waiting_since_;
  std::unique_ptr<sqlite3, CloseDatabase> database_;
  std::unordered_map<std::string, StatementPtr> statements_;
};

}  // namespace

std::shared_ptr<Database> OpenSqliteDatabase(const std::string& path, bool create) {
  // SQLite would keep a nameless database in a file that is gone at the end.
  if (path.empty()) throw NotebookError("the database needs a name");
  std::error_code ignored;
  if (!create && path != ":memory:" && !std::filesystem::exists(PathOf(path), ignored)) {
    throw NotebookError(path + ": there is no such database; import a notebook first");
  }
  return std::make_shared<SqliteDatabase>(path, create);
}

}  // namespace ktnotebook
