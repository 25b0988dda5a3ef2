#include <array>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include "com/base/windows_headers.h"
#include "notebook/files/operating_system.h"

namespace ktnotebook {

bool NamesOpenStream(const std::filesystem::path& /*path*/) {
  return false;
}

FilePtr OpenThrough(const std::filesystem::path& path) {
  FilePtr stream(_wfopen(path.c_str(), L"wb"));
  if (stream == nullptr) FailWithSystemReason();
  return stream;
}

void Replacement::Create() {
  const std::filesystem::path name = FreshName();
  const int descriptor =
      _wopen(name.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
  if (descriptor < 0) FailWithSystemReason();
  name_ = name;
  stream_.reset(_fdopen(descriptor, "wb"));
  if (stream_ == nullptr) FailWithSystemReason();
  if (exists(target_)) permissions(name_, status(target_).permissions());
}

void Replacement::GiveName() {}

bool SyncToDisk(std::FILE* file) {
  return _commit(_fileno(file)) == 0;
}

void OutliveReaders() {}

int TerminalWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  const bool is_console = GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) != 0;
  return is_console ? info.srWindow.Right - info.srWindow.Left + 1 : 0;
}

std::filesystem::path ProgramPath() {
  // The longest path that Windows has.
  static std::array<wchar_t, 32768> buffer;
  const DWORD size = GetModuleFileNameW(nullptr, buffer.data(), buffer.size());
  return std::filesystem::path(buffer.data(), buffer.data() + size);
}

}  // namespace ktnotebook
