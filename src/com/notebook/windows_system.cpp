#include <array>
#include <io.h>

#include "com/base/windows_headers.h"
#include "notebook/operating_system.h"

namespace ktnotebook {

std::FILE* OpenForWriting(const std::filesystem::path& path) {
  return _wfopen(path.c_str(), L"wb");
}

bool SyncToDisk(std::FILE* file) {
  return _commit(_fileno(file)) == 0;
}

std::int64_t ProcessNumber() {
  return GetCurrentProcessId();
}

std::filesystem::path ProgramPath() {
  // The longest path that Windows has.
  static std::array<wchar_t, 32768> buffer;
  const DWORD size = GetModuleFileNameW(nullptr, buffer.data(), buffer.size());
  return std::filesystem::path(buffer.data(), buffer.data() + size);
}

}  // namespace ktnotebook
