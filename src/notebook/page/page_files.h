// The files that make up the page in a browser.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace ktnotebook {

class PageFiles {
 public:
  virtual ~PageFiles() = default;
  // The bytes of the file of that name; nothing when there is none.
  virtual std::optional<std::string> Find(const std::string& name) const = 0;
};

// Those that were built into the program; none when it was built without them.
class BuiltInPageFiles final : public PageFiles {
 public:
  std::optional<std::string> Find(const std::string& name) const override;
};

// Those in a folder, read anew each time: for work on the page.
class FolderOfPageFiles final : public PageFiles {
 public:
  explicit FolderOfPageFiles(std::filesystem::path folder) : folder_(std::move(folder)) {}
  std::optional<std::string> Find(const std::string& name) const override;

 private:
  std::filesystem::path folder_;
};

// "text/css; charset=utf-8" for "page.css".
std::string ContentTypeOf(const std::string& name);

}  // namespace ktnotebook
