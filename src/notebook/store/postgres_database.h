// PostgreSQL behind the database interface.
#pragma once

#include <memory>
#include <string>

#include "notebook/store/database.h"

namespace ktnotebook {

// Connects to "postgresql://...". Throws NotebookError when the server can not be reached.
std::shared_ptr<Database> OpenPostgresDatabase(const std::string& url);

}  // namespace ktnotebook
