// What the notebook asks of the operating system beyond the standard library. Each system has its
// own file of answers.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>

namespace ktnotebook {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

// Throws std::system_error with the reason in errno.
[[noreturn]] void FailWithSystemReason();

// Whether the path names a stream that this program was started with, such as "/dev/stdout".
bool NamesOpenStream(const std::filesystem::path& path);

// Opens what is there, a stream of the program's own, a device or a pipe, for writing bytes behind
// what it has. Throws std::system_error.
FilePtr OpenThrough(const std::filesystem::path& path);

// A file that is written beside the one whose place it takes in the end. Nothing else has its name,
// and unless it took the place nothing of it stays. All throw std::system_error.
class Replacement {
 public:
  // The target is no link. A target that is there gives its mode, owner and group before the first
  // byte is written.
  explicit Replacement(std::filesystem::path target);
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement();

  std::FILE* Stream() const noexcept { return stream_.get(); }
  // Returns when the disk has what was written and the target's name leads to it.
  void TakePlace();

 private:
  // These two are the system's own. A file may do without a name until it is complete: then
  // whatever stops the program leaves nothing.
  void Create();
  void GiveName();
  void Discard() noexcept;
  // A name of its own beside the target, short enough wherever the target's is.
  std::filesystem::path FreshName() const;

  std::filesystem::path target_;
  // Empty while the file has none.
  std::filesystem::path name_;
  FilePtr stream_;
};

// Returns when the disk has what was flushed to the file. False, with the reason in errno, when it
// has not.
bool SyncToDisk(std::FILE* file);

// From now on a reader that goes away ends the writing, not the program.
void OutliveReaders();

// The columns of the terminal behind the standard output; 0 when there is none.
int TerminalWidth();

// The file of the running program; empty when it is not known.
std::filesystem::path ProgramPath();

}  // namespace ktnotebook
