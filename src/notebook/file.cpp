#include "notebook/file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>

#include "notebook/notebook_error.h"
#include "notebook/operating_system.h"

namespace ktnotebook {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void FailWithSystemReason(const std::string& name) {
  throw NotebookError(name + ": " + std::strerror(errno));  // NOLINT(concurrency-mt-unsafe)
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
bool WriteBytes(const std::filesystem::path& path, std::string_view bytes, bool onto_disk) {
  const std::unique_ptr<std::FILE, CloseFile> file(OpenForWriting(path));
  return file != nullptr &&
         std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
         std::fflush(file.get()) == 0 && (!onto_disk || SyncToDisk(file.get()));
}

// The name is what the user calls the target.
void ReplaceFile(const std::string& name, const std::filesystem::path& target,
                 const std::filesystem::file_status& status, std::string_view bytes) {
  // Two programs that write the same file do not meet in this one.
  std::filesystem::path temporary = target;
  temporary += "." + std::to_string(ProcessNumber()) + ".part";
  std::error_code error;
  if (!WriteBytes(temporary, bytes, true)) {
    error = {errno, std::generic_category()};
  } else {
    if (exists(status)) std::filesystem::permissions(temporary, status.permissions(), error);
    std::filesystem::rename(temporary, target, error);
  }
  if (!error) return;
  std::error_code ignored;
  // Windows removes no file that can not be written.
  std::filesystem::permissions(temporary, std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::add, ignored);
  std::filesystem::remove(temporary, ignored);
  throw NotebookError(name + ": " + error.message());
}

}  // namespace

std::filesystem::path PathOf(const std::string& name) {
  return std::u8string(name.begin(), name.end());
}

std::string PathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string ReadWholeFile(const std::string& name) {
  if (name == "-") return ReadStream(std::cin, "standard input");
  std::ifstream stream(PathOf(name), std::ios::binary);
  if (!stream) FailWithSystemReason(name);
  return ReadStream(stream, name);
}

void WriteWholeFile(const std::string& name, std::string_view bytes) {
  const std::filesystem::path path = PathOf(name);
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (exists(status) && !is_regular_file(status)) {
    // A device or a pipe takes the bytes as they come; it must not be replaced by a file.
    if (!WriteBytes(path, bytes, false)) FailWithSystemReason(name);
    return;
  }
  // Through a link the file that it leads to is replaced, not the link.
  const std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
  ReplaceFile(name, target.empty() ? path : target, status, bytes);
}

}  // namespace ktnotebook
