#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "notebook/files/operating_system.h"

namespace ktnotebook {

namespace {

constexpr std::array kStreamFolders = {"/proc/self/fd", "/dev/fd"};
constexpr std::size_t kLongestDescriptor = 9;
constexpr mode_t kModeOfNewFiles = 0666;
constexpr mode_t kPermissions = 07777;

FilePtr StreamOf(int descriptor) {
  if (descriptor < 0) FailWithSystemReason();
  FilePtr stream(fdopen(descriptor, "wb"));
  if (stream == nullptr) {
    const int reason = errno;
    close(descriptor);
    errno = reason;
    FailWithSystemReason();
  }
  return stream;
}

// A file that is gone when it is closed, unless it is given a name; -1 where the file system or a
// missing /proc does not allow this.
int CreateUnnamed(const std::filesystem::path& folder, mode_t mode) {
#ifdef O_TMPFILE
  if (access(kStreamFolders[0], X_OK) == 0) {
    return open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
  }
#endif
  static_cast<void>(folder), static_cast<void>(mode);
  return -1;
}

// Gives the file the mode, owner and group of another one.
void MakeLike(const struct stat& other, int descriptor) {
  struct stat own {};
  if (fstat(descriptor, &own) != 0) FailWithSystemReason();
  const bool changes_hands = own.st_uid != other.st_uid || own.st_gid != other.st_gid;
  if (changes_hands && fchown(descriptor, other.st_uid, other.st_gid) != 0) FailWithSystemReason();
  if (fchmod(descriptor, other.st_mode & kPermissions) != 0) FailWithSystemReason();
}

}  // namespace

bool NamesOpenStream(const std::filesystem::path& path) {
  const std::string name = path.filename();
  if (name.empty() || name.size() > kLongestDescriptor) return false;
  if (name.find_first_not_of("0123456789") != std::string::npos) return false;
  return std::any_of(kStreamFolders.begin(), kStreamFolders.end(), [&](auto* folder) {
    std::error_code missing;
    return std::filesystem::equivalent(path.parent_path(), folder, missing);
  });
}

FilePtr OpenThrough(const std::filesystem::path& path) {
  if (NamesOpenStream(path)) return StreamOf(dup(std::stoi(path.filename())));
  return StreamOf(open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
}

void Replacement::Create() {
  struct stat old {};
  const bool replaces = stat(target_.c_str(), &old) == 0;
  // Until it belongs to whom the old file does, it is its creator's alone.
  const mode_t mode = replaces ? old.st_mode & S_IRWXU : kModeOfNewFiles;
  int descriptor = CreateUnnamed(target_.has_parent_path() ? target_.parent_path() : ".", mode);
  if (descriptor < 0) {
    std::filesystem::path name = FreshName();
    descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (descriptor >= 0) name_ = std::move(name);
  }
  stream_ = StreamOf(descriptor);
  if (replaces) MakeLike(old, descriptor);
}

void Replacement::GiveName() {
  if (!name_.empty()) return;
  std::filesystem::path name = FreshName();
  const std::string file = std::string(kStreamFolders[0]) + "/" + std::to_string(fileno(Stream()));
  if (linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
    FailWithSystemReason();
  }
  name_ = std::move(name);
}

bool SyncToDisk(std::FILE* file) {
  return fsync(fileno(file)) == 0;
}

void OutliveReaders() {
  std::signal(SIGPIPE, SIG_IGN);
}

int TerminalWidth() {
  constexpr int kUsualWidth = 80;
  if (isatty(STDOUT_FILENO) == 0) return 0;
  winsize size{};
  const bool is_known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return is_known ? size.ws_col : kUsualWidth;
}

std::filesystem::path ProgramPath() {
  std::error_code unknown;
  return std::filesystem::read_symlink("/proc/self/exe", unknown);
}

}  // namespace ktnotebook
