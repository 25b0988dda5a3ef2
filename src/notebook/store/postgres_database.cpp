// PostgreSQL behind the database interface.
#include "notebook/store/postgres_database.h"

#include <array>
#include <charconv>
#include <libpq-fe.h>
#include <map>
#include <optional>

#include "notebook/files/notebook_error.h"
#include "notebook/store/sql_helper.h"

namespace ktnotebook {

namespace {

struct CloseConnection {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};
struct ClearResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using ResultPtr = std::unique_ptr<PGresult, ClearResult>;

// The server's own numbers of the column types that the notebook uses.
enum ColumnType : Oid { kInt8 = 20, kInt2 = 21, kInt4 = 23, kFloat8 = 701 };

// Locks of the database that a transaction holds to its end. Whoever changes forms shares the first
// one with others who do; earlier versions of the program take it alone.
constexpr std::string_view kShareDatabase = "SELECT pg_advisory_xact_lock_shared(20190417)";
constexpr std::string_view kTakeDatabase = "SELECT pg_advisory_xact_lock(20190417)";
constexpr std::string_view kTakeNames = "SELECT pg_advisory_xact_lock(20190418)";

// The server's code for a lock that was not to be had in time.
constexpr std::string_view kLockNotAvailable = "55P03";

template <typename Number>
DbValue ParseNumber(std::string_view text) {
  Number number{};
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

DbValue ParseValue(Oid type, std::string_view text) {
  switch (type) {
    case kInt2:
    case kInt4:
    case kInt8: return ParseNumber<std::int64_t>(text);
    case kFloat8: return ParseNumber<double>(text);
    default: return std::string(text);
  }
}

std::optional<std::string> ParameterText(const DbValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) {
    // It would end there.
    if (text->find('\0') != std::string::npos) {
      throw NotebookError("postgresql: a text with the character 0 can not be kept");
    }
    return *text;
  }
  if (const auto* integer = std::get_if<std::int64_t>(&value)) return std::to_string(*integer);
  if (const auto* number = std::get_if<double>(&value)) {
    std::array<char, 32> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), *number);
    return std::string(buffer.data(), end);
  }
  return std::nullopt;
}

// What stands before the URL is a default that it may change; what stands behind it holds anyhow.
// That the server's machine is gone is noticed within a minute.
PGconn* Connect(const std::string& url) {
  const std::array<const char*, 7> keywords{"connect_timeout",
                                            "keepalives_idle",
                                            "keepalives_interval",
                                            "keepalives_count",
                                            "dbname",
                                            "client_encoding",
                                            nullptr};
  const std::array<const char*, 7> values{"10", "30", "10", "3", url.c_str(), "UTF8", nullptr};
  return PQconnectdbParams(keywords.data(), values.data(), 1);
}

class PostgresDatabase final : public Database {
 public:
  explicit PostgresDatabase(const std::string& url) : url_(url) { Open(); }

  using Database::Run;
  DbResult Run(std::string_view sql, std::span<const DbValue> parameters) override {
    if (!IsConnected() && !is_in_transaction_) Open();
    const std::string& name = Prepare(sql, parameters.size());
    std::vector<std::optional<std::string>> texts;
    std::vector<const char*> values;
    texts.reserve(parameters.size());
    for (const DbValue& parameter : parameters) {
      const auto& text = texts.emplace_back(ParameterText(parameter));
      values.push_back(text ? text->c_str() : nullptr);
    }
    const ResultPtr result(PQexecPrepared(connection_.get(), name.c_str(),
                                          static_cast<int>(values.size()), values.data(), nullptr,
                                          nullptr, 0));
    return Fetch(result.get());
  }

  bool HasTable(std::string_view name) override {
    return !Run("SELECT 1 FROM pg_tables WHERE tablename = lower($1) "
                "AND schemaname = ANY(current_schemas(false))",
                {std::string(name)})
                .rows.empty();
  }

  std::string_view KeyType() const noexcept override { return "SERIAL PRIMARY KEY"; }
  void CreateSequence(std::string_view name) override {
    Run("CREATE SEQUENCE " + std::string(name), {});
  }
  ktformula::Ref<ktformula::DatabaseHelper> Helper() override {
    return MakeDatabaseHelper(KeySource::kSequence);
  }

  void Begin(TransactionKind kind) override {
    // Whatever the server's default is: behind a lock a writer sees what the one before it left.
    const bool is_reading = kind == TransactionKind::kReading;
    Run(is_reading ? "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY"
                   : "BEGIN ISOLATION LEVEL READ COMMITTED READ WRITE",
        {});
    is_in_transaction_ = true;
    if (is_reading) return;
    try {
      Run(kind == TransactionKind::kAlone ? kTakeDatabase : kShareDatabase, {});
    } catch (const NotebookError&) {
      Rollback();
      throw;
    }
  }

  std::string_view Locking(RowLock lock) const noexcept override {
    return lock == RowLock::kSkip ? " FOR UPDATE SKIP LOCKED" : " FOR UPDATE";
  }

  void Commit() override {
    Run("COMMIT", {});
    is_in_transaction_ = false;
  }
  // With the connection the transaction is lost, too.
  void Rollback() override {
    if (IsConnected()) Run("ROLLBACK", {});
    is_in_transaction_ = false;
  }

  void LockNames() override { Run(kTakeNames, {}); }

 private:
  bool IsConnected() const { return PQstatus(connection_.get()) == CONNECTION_OK; }

  void Open() {
    statements_.clear();
    connection_.reset(Connect(url_));
    if (!IsConnected()) Fail();
    PQsetNoticeProcessor(
        connection_.get(), [](void*, const char*) {}, nullptr);
    // A server may be set up otherwise: numbers come with all their digits, and a backslash in a
    // listener's statement is a backslash.
    Run("SET extra_float_digits = 3", {});
    Run("SET standard_conforming_strings = on", {});
    Run("SET lock_timeout = '10s'", {});
    // The server notices within a minute that a machine is gone, and lets go of what it held.
    Run("SELECT set_config('tcp_keepalives_idle', '30', false), "
        "set_config('tcp_keepalives_interval', '10', false), "
        "set_config('tcp_keepalives_count', '3', false)",
        {});
  }

  // The server's message, its first line.
  [[noreturn]] void Fail() const {
    const std::string_view message = PQerrorMessage(connection_.get());
    throw NotebookError("postgresql: " + std::string(message.substr(0, message.find('\n'))));
  }

  // Statements are kept: an import runs a few of them many times.
  const std::string& Prepare(std::string_view sql, std::size_t parameters) {
    const auto known = statements_.find(sql);
    if (known != statements_.end()) return known->second;
    std::string name = "s" + std::to_string(statements_.size());
    const ResultPtr result(PQprepare(connection_.get(), name.c_str(), std::string(sql).c_str(),
                                     static_cast<int>(parameters), nullptr));
    if (PQresultStatus(result.get()) != PGRES_COMMAND_OK) Fail();
    return statements_.emplace(std::string(sql), std::move(name)).first->second;
  }

  DbResult Fetch(const PGresult* result) const {
    const ExecStatusType status = PQresultStatus(result);
    const char* const code = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    if (code != nullptr && code == kLockNotAvailable) {
      throw DatabaseBusy("postgresql: somebody else is changing the database; try again later");
    }
    if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) Fail();
    DbResult fetched;
    const int columns = PQnfields(result);
    for (int c = 0; c < columns; ++c)
      fetched.columns.emplace_back(PQfname(result, c));
    for (int r = 0; r < PQntuples(result); ++r) {
      std::vector<DbValue>& row = fetched.rows.emplace_back();
      for (int c = 0; c < columns; ++c)
        row.push_back(ValueAt(result, r, c));
    }
    return fetched;
  }

  static DbValue ValueAt(const PGresult* result, int row, int column) {
    if (PQgetisnull(result, row, column) != 0) return nullptr;
    const auto size = static_cast<std::size_t>(PQgetlength(result, row, column));
    return ParseValue(PQftype(result, column), {PQgetvalue(result, row, column), size});
  }

  std::string url_;
  std::unique_ptr<PGconn, CloseConnection> connection_;
  bool is_in_transaction_ = false;
  std::map<std::string, std::string, std::less<>> statements_;
};

}  // namespace

std::shared_ptr<Database> OpenPostgresDatabase(const std::string& url) {
  return std::make_shared<PostgresDatabase>(url);
}

}  // namespace ktnotebook
