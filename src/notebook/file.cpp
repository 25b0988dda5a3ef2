#include "notebook/file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "notebook/notebook_error.h"

namespace ktnotebook {

namespace {

std::string SystemReason() {
  return std::strerror(errno);
}  // NOLINT(concurrency-mt-unsafe)

}  // namespace

std::string ReadWholeFile(const std::string& path) {
  if (path == "-") return {std::istreambuf_iterator<char>(std::cin), {}};
  if (std::filesystem::is_directory(path)) throw NotebookError(path + ": is a directory");
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw NotebookError(path + ": " + SystemReason());
  std::string bytes(std::istreambuf_iterator<char>(stream), {});
  if (stream.bad()) throw NotebookError(path + ": can not be read");
  return bytes;
}

void WriteWholeFile(const std::string& path, std::string_view bytes) {
  // Through a link the file that it leads to is replaced, not the link.
  std::error_code ignored;
  const std::filesystem::path target = std::filesystem::weakly_canonical(path, ignored);
  const std::string temporary = (target.empty() ? path : target.string()) + ".part";
  {
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    if (!stream) throw NotebookError(path + ": " + SystemReason());
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.flush();
    if (!stream) {
      const std::string reason = SystemReason();
      stream.close();
      std::filesystem::remove(temporary, ignored);
      throw NotebookError(path + ": " + reason);
    }
  }
  std::error_code error;
  std::filesystem::rename(temporary, target.empty() ? std::filesystem::path(path) : target, error);
  if (error) {
    std::filesystem::remove(temporary, ignored);
    throw NotebookError(path + ": " + error.message());
  }
}

}  // namespace ktnotebook
