// Running the notebook's program, for tests of what its commands do.
#pragma once

#include <filesystem>
#include <sstream>
#include <unistd.h>

#include "notebook/commands/command_line.h"
#include "notebook/page/page_commands.h"

namespace ktnotebook {

using Arguments = std::vector<std::string>;

struct Program {
  explicit Program(const Arguments& arguments)
      : status(RunCommandLine(arguments, {in, out, err}, families)) {}
  static constexpr CommandFamily families[] = {&AddPageCommands};
  std::istringstream in;
  std::ostringstream out, err;
  int status;
};

// A folder that is gone at the end.
struct TemporaryFolder {
  TemporaryFolder() { path = mkdtemp(path.data()); }
  ~TemporaryFolder() { std::filesystem::remove_all(path); }
  std::string File(const std::string& name) const { return path + "/" + name; }
  std::string path = (std::filesystem::temp_directory_path() / "notebook_XXXXXX").string();
};

}  // namespace ktnotebook
