// A notebook file as the database of a notebook that is served.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "notebook/store/database.h"

namespace ktnotebook {

// Reads the notebook file into a database in memory. What changes it is committed when the file is
// written anew and on the disk: each change costs as much as the whole file. What can not be
// written, or would overwrite what another program wrote meanwhile, never happened.
// `say` gets what a person should know about the file. Throws NotebookError.
std::shared_ptr<Database> OpenFileAsDatabase(const std::string& path,
                                             const std::function<void(const std::string&)>& say);

}  // namespace ktnotebook
