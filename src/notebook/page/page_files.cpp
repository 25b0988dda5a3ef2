#include "notebook/page/page_files.h"

#include <algorithm>

#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"

namespace ktnotebook {

namespace {

// Nothing that leads out of the folder, nor a hidden file.
bool IsPlainName(const std::string& name) {
  return !name.empty() && name.front() != '.' && std::ranges::all_of(name, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' ||
           c == '-' || c == '_';
  });
}

}  // namespace

std::optional<std::string> FolderOfPageFiles::Find(const std::string& name) const {
  const std::filesystem::path path = folder_ / name;
  std::error_code ignored;
  if (!IsPlainName(name) || !std::filesystem::is_regular_file(path, ignored)) return std::nullopt;
  try {
    return ReadWholeFile(PathText(path));
  } catch (const NotebookError&) {
    return std::nullopt;
  }
}

std::string ContentTypeOf(const std::string& name) {
  constexpr struct {
    std::string_view ending;
    const char* type;
  } kTypes[] = {{".html", "text/html; charset=utf-8"},
                {".js", "text/javascript; charset=utf-8"},
                {".css", "text/css; charset=utf-8"},
                {".txt", "text/plain; charset=utf-8"},
                {".svg", "image/svg+xml"},
                {".png", "image/png"},
                {".map", "application/json"},
                {".woff2", "font/woff2"}};
  for (const auto& [ending, type] : kTypes) {
    if (name.ends_with(ending)) return type;
  }
  return "application/octet-stream";
}

}  // namespace ktnotebook
