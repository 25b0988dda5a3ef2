#include <unistd.h>

#include "notebook/operating_system.h"

namespace ktnotebook {

std::FILE* OpenForWriting(const std::filesystem::path& path) {
  return std::fopen(path.c_str(), "wb");
}

bool SyncToDisk(std::FILE* file) {
  return fsync(fileno(file)) == 0;
}

std::int64_t ProcessNumber() {
  return getpid();
}

std::filesystem::path ProgramPath() {
  std::error_code unknown;
  return std::filesystem::read_symlink("/proc/self/exe", unknown);
}

}  // namespace ktnotebook
