#include "notebook/files/file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <random>
#include <system_error>

#include "notebook/files/notebook_error.h"
#include "notebook/files/operating_system.h"

namespace ktnotebook {

namespace {

// As many as systems follow themselves.
constexpr int kMostLinks = 40;

// Of about so many bytes.
std::string ReadStream(std::istream& stream, std::uintmax_t size) {
  std::string bytes;
  bytes.reserve(static_cast<std::size_t>(size));
  std::array<char, std::size_t{1} << 16U> chunk{};
  do {
    stream.read(chunk.data(), chunk.size());
    if (stream.bad()) FailWithSystemReason();
    bytes.append(chunk.data(), static_cast<std::size_t>(stream.gcount()));
  } while (stream);
  return bytes;
}

std::string ReadFile(const std::string& name) {
  std::ifstream stream(PathOf(name), std::ios::binary);
  if (!stream) FailWithSystemReason();
  std::error_code unknown;
  const std::uintmax_t size = std::filesystem::file_size(PathOf(name), unknown);
  return ReadStream(stream, unknown ? 0 : size);
}

void Write(std::FILE* file, std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() || std::fflush(file) != 0) {
    FailWithSystemReason();
  }
}

// Where the path leads in the end, there or not: a link stays, what it leads to is written. A
// stream of the program's own is not followed to the file behind it, which may have more writers.
std::filesystem::path FollowLinks(std::filesystem::path path) {
  for (int links = 0; links < kMostLinks; ++links) {
    std::error_code unreadable;
    if (NamesOpenStream(path) || !is_symlink(symlink_status(path, unreadable))) return path;
    path = path.parent_path() / std::filesystem::read_symlink(path);
  }
  throw std::system_error(std::make_error_code(std::errc::too_many_symbolic_link_levels));
}

bool IsWrittenThrough(const std::filesystem::path& path) {
  std::error_code unreadable;
  const std::filesystem::file_status status = std::filesystem::status(path, unreadable);
  return NamesOpenStream(path) || (exists(status) && !is_regular_file(status));
}

void WriteFile(const std::string& name, std::string_view bytes) {
  const std::filesystem::path target = FollowLinks(PathOf(name));
  if (IsWrittenThrough(target)) {
    Write(OpenThrough(target).get(), bytes);
    return;
  }
  Replacement replacement(target);
  Write(replacement.Stream(), bytes);
  replacement.TakePlace();
}

}  // namespace

void FailWithSystemReason() {
  throw std::system_error(errno, std::generic_category());
}

Replacement::Replacement(std::filesystem::path target) : target_(std::move(target)) {
  try {
    Create();
  } catch (...) {
    Discard();
    throw;
  }
}

Replacement::~Replacement() {
  Discard();
}

void Replacement::TakePlace() {
  if (!SyncToDisk(stream_.get())) FailWithSystemReason();
  GiveName();
  if (std::fclose(stream_.release()) != 0) FailWithSystemReason();
  std::filesystem::rename(name_, target_);
  name_.clear();
}

void Replacement::Discard() noexcept {
  stream_.reset();
  if (name_.empty()) return;
  std::error_code ignored;
  // Windows removes no file that can not be written.
  std::filesystem::permissions(name_, std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::add, ignored);
  std::filesystem::remove(name_, ignored);
}

std::filesystem::path Replacement::FreshName() const {
  std::random_device random;
  std::filesystem::path name = target_;
  name.replace_filename(".ktnotebook-" + std::to_string(random()) + "-" + std::to_string(random()) +
                        ".part");
  return name;
}

std::filesystem::path PathOf(const std::string& name) {
  return std::u8string(name.begin(), name.end());
}

std::string PathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string ReadWholeFile(const std::string& name) {
  const bool is_standard_input = name == "-";
  try {
    return is_standard_input ? ReadStream(std::cin, 0) : ReadFile(name);
  } catch (const std::system_error& error) {
    throw NotebookError((is_standard_input ? "standard input" : name) + ": " +
                        error.code().message());
  }
}

void WriteWholeFile(const std::string& name, std::string_view bytes) {
  try {
    WriteFile(name, bytes);
  } catch (const std::system_error& error) {
    throw NotebookError(name + ": " + error.code().message());
  }
}

}  // namespace ktnotebook
