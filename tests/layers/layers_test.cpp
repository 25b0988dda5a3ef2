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
    {"com", {"host", "values", "formula", "functions", "formats", "listener", "notebook", "com"}},
};

// These include headers of other libraries, the Windows side those of Windows too; the engine has
// the standard library.
const Folders kMayIncludeForeign{"notebook", "com"};

bool IsForeign(const std::string& header) {
  return header.find('.') != std::string::npos || header.find('/') != std::string::npos;
}

TEST(Layers, IncludesRunOneWay) {
  const std::regex own(R"re(#include "([^/"]+)/[^"]+")re");
  const std::regex system(R"re(#include <([^>]+)>)re");
  const std::filesystem::path sources = KT_SOURCE_DIR "/src";
  int files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(sources)) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".h" && extension != ".cpp") continue;
    const std::string folder = entry.path().lexically_relative(sources).begin()->string();
    ASSERT_TRUE(kAllowed.contains(folder)) << entry.path();
    ++files;
    std::ifstream stream(entry.path());
    for (std::string line; std::getline(stream, line);) {
      std::smatch match;
      if (std::regex_search(line, match, own)) {
        EXPECT_TRUE(kAllowed.at(folder).contains(match[1])) << entry.path() << ": " << line;
      } else if (std::regex_search(line, match, system)) {
        EXPECT_TRUE(!IsForeign(match[1]) || kMayIncludeForeign.contains(folder))
            << entry.path() << ": " << line;
        EXPECT_TRUE(match[1] != "windows.h" || folder == "com") << entry.path() << ": " << line;
      }
    }
  }
  EXPECT_GT(files, 50);
}

}  // namespace
