// The command line of ktnotebook.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace ktnotebook {

// Where a command reads and writes: data on `out`, messages on `err`.
struct Console {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  // Whether `out` shows colours, and `err` the progress of long work.
  bool coloured = false;
  bool shows_progress = false;
};

// The program's exit statuses.
enum ExitStatus : int {
  kExitDone = 0,
  // The input was refused or the work failed.
  kExitFailed = 1,
  kExitWrongUsage = 2,
  // With --strict: a cell shows an error.
  kExitErrorsShown = 3,
};

// Runs one command; `arguments` are the program's, without its name. Returns the exit status.
int RunCommandLine(const std::vector<std::string>& arguments, const Console& console);

}  // namespace ktnotebook
