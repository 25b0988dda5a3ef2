#include "notebook/page/secret.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kBytes = 20;
// Whoever writes such a file by hand shall not make the secret easy to guess.
constexpr std::size_t kFewestCharacters = 32;

bool IsSecretCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
         c == '_';
}

// Makes the file with a new secret; "" when there is a file already.
std::string MakeKept(const std::filesystem::path& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0 && errno == EEXIST) return "";
  std::string secret = MakeSecret();
  const std::string line = secret + "\n";
  const bool is_written =
      file >= 0 && write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  const int reason = errno;
  if (file >= 0) close(file);
  if (is_written) return secret;
  throw NotebookError("can not write " + path.string() + ": " +
                      std::generic_category().message(reason));
}

}  // namespace

std::string MakeSecret() {
  std::array<unsigned char, kBytes> bytes{};
  if (getentropy(bytes.data(), bytes.size()) != 0)
    throw std::system_error(errno, std::generic_category(), "no secret");
  std::string secret;
  for (const unsigned char byte : bytes) {
    secret += "0123456789abcdef"[byte >> 4];
    secret += "0123456789abcdef"[byte & 15];
  }
  return secret;
}

std::string KeptSecret(const std::filesystem::path& path) {
  if (std::string made = MakeKept(path); !made.empty()) return made;
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    throw NotebookError(path.string() + " can be used by others than its owner; try: chmod 600 " +
                        path.string());
  }
  std::string secret = ReadWholeFile(path);
  while (!secret.empty() && (secret.back() == '\n' || secret.back() == '\r'))
    secret.pop_back();
  if (secret.size() < kFewestCharacters || !std::ranges::all_of(secret, &IsSecretCharacter)) {
    throw NotebookError(path.string() + " holds no key: at least " +
                        std::to_string(kFewestCharacters) + " letters, digits, \"-\" and \"_\"");
  }
  return secret;
}

bool AreSameSecret(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) return false;
  volatile unsigned char differences = 0;
  for (std::size_t i = 0; i < left.size(); ++i)
    differences =
        static_cast<unsigned char>(differences | static_cast<unsigned char>(left[i] ^ right[i]));
  return differences == 0;
}

}  // namespace ktnotebook
