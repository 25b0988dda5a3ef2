#include "notebook/store/database.h"

#include "notebook/files/notebook_error.h"
#include "notebook/store/postgres_database.h"
#include "notebook/store/sqlite_database.h"

namespace ktnotebook {

Transaction::~Transaction() {
  if (!open_) return;
  try {
    database_.Rollback();
  } catch (const NotebookError&) {  // NOLINT(bugprone-empty-catch)
    // The database has ended the transaction itself; nothing was committed.
  }
}

void Transaction::Commit() {
  database_.Commit();
  open_ = false;
}

std::shared_ptr<Database> OpenDatabase(const std::string& locator, bool create) {
  if (locator.starts_with("postgresql://") || locator.starts_with("postgres://")) {
    return OpenPostgresDatabase(locator);
  }
  return OpenSqliteDatabase(locator, create);
}

}  // namespace ktnotebook
