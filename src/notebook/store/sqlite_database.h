// SQLite behind the database interface.
#pragma once

#include <memory>
#include <string>

#include "notebook/store/database.h"

namespace ktnotebook {

// Opens a file or ":memory:". Throws NotebookError when it can not be opened, or does not exist
// and is not to be created.
std::shared_ptr<Database> OpenSqliteDatabase(const std::string& path, bool create);

}  // namespace ktnotebook
