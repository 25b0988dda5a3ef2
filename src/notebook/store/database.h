// The database behind stored notebooks: SQLite, in a file or in memory, or PostgreSQL.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/database.h"

namespace ktnotebook {

using DbValue = std::variant<std::nullptr_t, std::int64_t, double, std::string>;

struct DbResult {
  std::vector<std::string> columns;
  std::vector<std::vector<DbValue>> rows;
};

enum class TransactionKind {
  // Sees one state of the database, whatever others write meanwhile.
  kReading,
  // No other writer can come between.
  kWriting,
};

// One connection. Statements are UTF-8 and number their parameters $1, $2, ... in the order in
// which they first occur. What fails throws NotebookError with the database's own message.
class Database {
 public:
  virtual ~Database() = default;

  virtual DbResult Run(std::string_view sql, std::span<const DbValue> parameters) = 0;
  DbResult Run(std::string_view sql, std::initializer_list<DbValue> parameters = {}) {
    return Run(sql, std::span<const DbValue>(parameters.begin(), parameters.size()));
  }

  virtual bool HasTable(std::string_view name) = 0;
  // The column type of a key that numbers itself.
  virtual std::string_view KeyType() const noexcept = 0;
  // Makes a sequence for keys, where keys come from sequences.
  virtual void CreateSequence(std::string_view name) = 0;
  virtual ktformula::Ref<ktformula::DatabaseHelper> Helper() = 0;
  virtual void Begin(TransactionKind kind) = 0;
  void Commit() { Run("COMMIT"); }
  void Rollback() { Run("ROLLBACK"); }
};

// A transaction; what is not committed when it goes out of scope never happened.
class Transaction {
 public:
  explicit Transaction(Database& database, TransactionKind kind = TransactionKind::kWriting)
      : database_(database) {
    database_.Begin(kind);
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  void Commit();

 private:
  Database& database_;
  bool open_ = true;
};

// Opens the database at a path, ":memory:" or "postgresql://...". A file that does not exist is
// created only when asked for. Throws NotebookError when it can not be opened.
std::shared_ptr<Database> OpenDatabase(const std::string& locator, bool create);

// The database as listeners see it.
ktformula::Ref<ktformula::DatabaseAccess> MakeDatabaseAccess(std::shared_ptr<Database> database);

}  // namespace ktnotebook
