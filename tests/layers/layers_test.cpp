// Includes run one way: each folder may include only what stands below it.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace {

using Folders = std::set<std::string>;

const std::map<std::string, Folders> kAllowed{
    {"host", {"host"}},
    {"values", {"host", "values"}},
    {"formula", {"host", "values", "formula"}},
    {"functions", {"host", "values", "formula", "functions"}},
    {"formats", {"host", "values", "formula", "formats"}},
    {"listener", {"host", "values", "formula", "functions", "formats", "listener"}},
    {"notebook", {"host", "values", "formula", "functions", "formats", "listener", "notebook"}},
    {"com/base", {"values", "com/base"}},
    {"com/dialog", {"host", "values", "com/base", "com/dialog"}},
    {"com/host", {"host", "values", "formats", "listener", "com/base", "com/dialog", "com/host"}},
    {"com/component",
     {"host", "values", "formula", "functions", "formats", "listener", "com/base", "com/host",
      "com/component"}},
    {"com/server", {"com/base", "com/host", "com/component", "com/server", "values"}},
    {"com/notebook",
     {"host", "values", "listener", "notebook", "com/base", "com/host", "com/notebook"}},
};

// Only the notebook may include headers of other libraries and only com/ those of Windows; the
// engine has the standard library.
bool MayIncludeForeign(const std::string& folder) {
  return folder == "notebook" || folder.starts_with("com/");
}
bool IsForeign(const std::string& header) {
  return header.find('.') != std::string::npos || header.find('/') != std::string::npos;
}

TEST(Layers, IncludesRunOneWay) {
  const std::filesystem::path root = KT_SOURCE_DIR "/src";
  const std::regex own(R"re(#include "([^"]+)/[^/"]+")re");
  const std::regex system(R"re(#include <([^>]+)>)re");
  int files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".h" && extension != ".cpp") continue;
    const std::string folder = entry.path().parent_path().lexically_relative(root).generic_string();
    ASSERT_TRUE(kAllowed.contains(folder)) << entry.path();
    ++files;
    std::ifstream stream(entry.path());
    for (std::string line; std::getline(stream, line);) {
      std::smatch match;
      if (std::regex_search(line, match, own)) {
        EXPECT_TRUE(kAllowed.at(folder).contains(match[1])) << entry.path() << ": " << line;
      } else if (std::regex_search(line, match, system)) {
        EXPECT_TRUE(!IsForeign(match[1]) || MayIncludeForeign(folder))
            << entry.path() << ": " << line;
        EXPECT_TRUE(match[1] != "windows.h" || folder == "com/base")
            << entry.path() << ": " << line;
      }
    }
  }
  EXPECT_GT(files, 50);
}

// Listeners may come from another module, so only the place that creates them knows their classes.
TEST(Layers, NotebookKnowsListenersByTheirInterfaces) {
  const std::regex classes(R"re(#include "(listener/formula_listener|formats/.*_?listener)\.h")re");
  std::set<std::string> knowing;
  for (const auto& entry : std::filesystem::directory_iterator(KT_SOURCE_DIR "/src/notebook")) {
    std::ifstream stream(entry.path());
    for (std::string line; std::getline(stream, line);) {
      if (std::regex_search(line, classes)) knowing.insert(entry.path().filename().string());
    }
  }
  EXPECT_EQ(knowing, std::set<std::string>{"framework.cpp"});
}

}  // namespace
