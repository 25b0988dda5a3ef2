#include <iostream>
#include <unistd.h>

#include "notebook/command_line.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  return ktnotebook::RunCommandLine(
      arguments,
      {std::cin, std::cout, std::cerr, isatty(STDOUT_FILENO) != 0, isatty(STDERR_FILENO) != 0});
}
