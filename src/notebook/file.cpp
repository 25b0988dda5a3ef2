#include "notebook/file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <unistd.h>

#include "notebook/notebook_error.h"

namespace ktnotebook {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void FailWithSystemReason(const std::string& path) {
  throw NotebookError(path + ": " + std::strerror(errno));  // NOLINT(concurrency-mt-unsafe)
}

std::string ReadStream(std::istream& stream, const std::string& name) {
  std::string bytes;
  std::array<char, std::size_t{1} << 16U> chunk{};
  do {
    stream.read(chunk.data(), chunk.size());
    if (stream.bad()) FailWithSystemReason(name);
    bytes.append(chunk.data(), static_cast<std::size_t>(stream.gcount()));
  } while (stream);
  return bytes;
}

// False, with the reason in errno, when not everything has arrived.
bool WriteBytes(const std::string& path, std::string_view bytes, bool onto_disk) {
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "wb"));
  return file != nullptr &&
         std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
         std::fflush(file.get()) == 0 && (!onto_disk || fsync(fileno(file.get())) == 0);
}

void ReplaceFile(const std::filesystem::path& target, const std::filesystem::file_status& status,
                 std::string_view bytes) {
  // Two programs that write the same file do not meet in this one.
  const std::string temporary = target.string() + "." + std::to_string(getpid()) + ".part";
  std::error_code error;
  if (!WriteBytes(temporary, bytes, true)) {
    error = {errno, std::generic_category()};
  } else {
    if (exists(status)) std::filesystem::permissions(temporary, status.permissions(), error);
    std::filesystem::rename(temporary, target, error);
  }
  if (!error) return;
  std::error_code ignored;
  std::filesystem::remove(temporary, ignored);
  throw NotebookError(target.string() + ": " + error.message());
}

}  // namespace

std::string ReadWholeFile(const std::string& path) {
  if (path == "-") return ReadStream(std::cin, "standard input");
  std::ifstream stream(path, std::ios::binary);
  if (!stream) FailWithSystemReason(path);
  return ReadStream(stream, path);
}

void WriteWholeFile(const std::string& path, std::string_view bytes) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (exists(status) && !is_regular_file(status)) {
    // A device or a pipe takes the bytes as they come; it must not be replaced by a file.
    if (!WriteBytes(path, bytes, false)) FailWithSystemReason(path);
    return;
  }
  // Through a link the file that it leads to is replaced, not the link.
  const std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
  ReplaceFile(target.empty() ? std::filesystem::path(path) : target, status, bytes);
}

}  // namespace ktnotebook
