// Serving a notebook as a page until somebody ends it.
#pragma once

#include <optional>
#include <string>

#include "notebook/commands/console.h"
#include "notebook/page/request_log.h"

namespace ktnotebook {

struct ServeOptions {
  std::string database = "notebook.db";
  // A notebook file in place of the database; "" for none.
  std::string file;
  std::string address = "127.0.0.1";
  // 0 for a free one.
  int port = 0;
  // Where the secret is kept; "" for a new one each time.
  std::string key_file;
  // Where the page's files are; "" for those of the program.
  std::string page;
  LogLevel log = LogLevel::kAll;
};

// Prints the page's address and returns when SIGINT or SIGTERM has ended it. Throws NotebookError.
int Serve(const ServeOptions& options, Console& console);

}  // namespace ktnotebook
