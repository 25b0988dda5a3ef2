// Stands in for PostgreSQL where the program is built without it.
#include "notebook/files/notebook_error.h"
#include "notebook/store/postgres_database.h"

namespace ktnotebook {

std::shared_ptr<Database> OpenPostgresDatabase(const std::string&) {
  throw NotebookError("postgresql: this program was built without PostgreSQL");
}

}  // namespace ktnotebook
