// The main program of ktnotebook on Windows.
#include <fcntl.h>
#include <io.h>
#include <iostream>
#include <string>
#include <vector>

#include "com/base/text.h"
#include "com/base/windows_headers.h"
#include "com/notebook/component_session.h"
#include "notebook/commands/command_line.h"
#include "notebook/files/operating_system.h"
#include "notebook/files/utf.h"

// Read by the C library when it starts: arguments stay as they are, "2*3" is no pattern of file
// names.
extern "C" int _dowildcard;
int _dowildcard = 0;

namespace {

// While it lives, text on the console is UTF-8.
class Utf8Console {
 public:
  Utf8Console() { SetConsoleOutputCP(CP_UTF8); }
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;
  ~Utf8Console() { SetConsoleOutputCP(former_); }

 private:
  UINT former_ = GetConsoleOutputCP();
};

// Whether the stream is a console that obeys the control sequences of terminals; older ones do not.
bool IsTerminal(DWORD standard_handle) {
  const HANDLE handle = GetStdHandle(standard_handle);
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0 &&
         SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

// UTF-8, except that half of a surrogate pair stays what it is: no text.
std::vector<std::string> Utf8Arguments(int count, wchar_t** arguments) {
  std::vector<std::string> texts;
  for (int i = 1; i < count; ++i) {
    texts.push_back(ktnotebook::ToStoredUtf8(ktcom::Narrow(arguments[i])));
  }
  return texts;
}

}  // namespace

int wmain(int argument_count, wchar_t** arguments) {
  std::ios::sync_with_stdio(false);
  // The same bytes as on every other system.
  for (std::FILE* stream : {stdin, stdout, stderr})
    _setmode(_fileno(stream), _O_BINARY);
  const Utf8Console console;
  const ktcom::ComponentSession component;
  const bool shows_progress = IsTerminal(STD_ERROR_HANDLE);
  const ktnotebook::TableStyle style{IsTerminal(STD_OUTPUT_HANDLE), ktnotebook::TerminalWidth()};
  return ktnotebook::RunCommandLine(Utf8Arguments(argument_count, arguments),
                                    {std::cin, std::cout, std::cerr, style, shows_progress});
}
