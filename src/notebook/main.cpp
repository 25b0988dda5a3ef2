#include <fcntl.h>
#include <iostream>
#include <unistd.h>

#include "notebook/commands/command_line.h"
#include "notebook/files/operating_system.h"
#include "notebook/page/page_commands.h"

namespace {

// A standard stream that is closed stays of no use: no database gets its number and, with it, what
// is printed.
void OccupyClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) != -1) continue;
    if (open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream)
      _exit(ktnotebook::kExitFailed);
  }
}

}  // namespace

int main(int argc, char** argv) {
  OccupyClosedStreams();
  std::ios::sync_with_stdio(false);
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const bool shows_progress = isatty(STDERR_FILENO) != 0;
  const ktnotebook::TableStyle style{isatty(STDOUT_FILENO) != 0, ktnotebook::TerminalWidth()};
  constexpr ktnotebook::CommandFamily kFamilies[] = {&ktnotebook::AddPageCommands};
  return ktnotebook::RunCommandLine(
      arguments, {std::cin, std::cout, std::cerr, style, shows_progress}, kFamilies);
}
