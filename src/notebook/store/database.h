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
#include "notebook/files/notebook_error.h"

namespace ktnotebook {

using DbValue = std::variant<std::nullptr_t, std::int64_t, double, std::string>;

struct DbResult {
  std::vector<std::string> columns;
  std::vector<std::vector<DbValue>> rows;
};

// Whoever takes several locks takes them in this order, so that nobody waits in a ring: the
// transaction's own, then forms by rising keys (Locking), then the names (LockNames).
enum class TransactionKind {
  // Sees one state of the database, whatever others write meanwhile.
  kReading,
  // Changes forms that it locks, or adds some. Several may be under way at once where the database
  // can lock rows; elsewhere one waits for the other.
  kChangingForms,
  // No other writer can come between: for what all forms have in common.
  kAlone,
};

// What to do about rows that another transaction has locked.
enum class RowLock { kWait, kSkip };

// A lock that others held for too long. Nothing has changed.
class DatabaseBusy final : public NotebookError {
 public:
  using NotebookError::NotebookError;
};

// One connection. Statements are UTF-8 and number their parameters $1, $2, ... in the order in
// which they first occur. What fails throws NotebookError with the database's own message, and
// DatabaseBusy when others hold a lock for more than 10 seconds. A connection that was lost is
// opened anew, but never within a transaction.
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
  // The end of a SELECT that locks its rows until the transaction ends; "" where a transaction that
  // writes is the only one.
  virtual std::string_view Locking(RowLock) const noexcept { return ""; }
  // Until the transaction ends nobody else takes a name of a form or a new key.
  virtual void LockNames() {}
  // Between two transactions of a long work: lets those who wait have their turn.
  virtual void GiveWay() {}
  virtual void Commit() { Run("COMMIT"); }
  virtual void Rollback() { Run("ROLLBACK"); }
};

// A transaction; what is not committed when it goes out of scope never happened.
class Transaction {
 public:
  Transaction(Database& database, TransactionKind kind) : database_(database) {
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
