// Includes run one way: each folder may include only what stands below it; tests too.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <string_view>

namespace {

using Folders = std::set<std::string>;

// `folders` and those that `more` names.
Folders With(Folders folders, const Folders& more) {
  folders.insert(more.begin(), more.end());
  return folders;
}

const Folders kEngine{"host", "values", "formula", "functions", "formats", "listener"};
const Folders kAnalysis = With(kEngine, {"analysis"});
const Folders kTables = With(kAnalysis, {"notebook/tables"});
const Folders kFiles = With(kTables, {"notebook/files"});
const Folders kStore = With(kFiles, {"notebook/store"});
const Folders kCommands = With(kStore, {"notebook/commands"});
const Folders kPage = With(kCommands, {"notebook/page"});

const std::map<std::string, Folders> kAllowed{
    {"host", {"host"}},
    {"values", {"host", "values"}},
    {"formula", {"host", "values", "formula"}},
    {"functions", {"host", "values", "formula", "functions"}},
    {"formats", {"host", "values", "formats"}},
    {"listener", kEngine},
    {"analysis", kAnalysis},
    {"notebook/tables", kTables},
    {"notebook/c_interface", {"notebook/tables", "notebook/c_interface"}},
    {"notebook/files", kFiles},
    {"notebook/store", kStore},
    {"notebook/commands", kCommands},
    {"notebook/page", kPage},
    // The program, and the tests of all of them.
    {"notebook", With(kPage, {"notebook"})},
    // Tests of the engine in tables, without the notebook around them.
    {"random_notebooks", With(kTables, {"random_notebooks"})},
    {"com/base", {"values", "com/base"}},
    {"com/dialog", {"host", "values", "com/base", "com/dialog"}},
    {"com/host", {"host", "values", "formats", "listener", "com/base", "com/dialog", "com/host"}},
    {"com/component", With(kEngine, {"com/base", "com/host", "com/component"})},
    {"com/server",
     {"values", "listener", "com/base", "com/dialog", "com/host", "com/component", "com/server"}},
    {"com/notebook", With(kCommands, {"com/base", "com/host", "com/notebook"})},
};

// Only the notebook may include headers of other libraries and only com/ those of Windows; the
// engine and tables have the standard library.
bool MayIncludeForeign(const std::string& folder) {
  return folder.starts_with("com/") || folder == "notebook" ||
         (folder.starts_with("notebook/") && folder != "notebook/tables" &&
          folder != "notebook/c_interface");
}
bool IsForeign(const std::string& header) {
  // C's standard library.
  if (header == "stddef.h") return false;
  return header.find('.') != std::string::npos || header.find('/') != std::string::npos;
}

// The name by which others include a folder: the engine's rooms go by their own.
std::string NameOf(const std::string& folder) {
  constexpr std::string_view kHouse = "engine/";
  return folder.starts_with(kHouse) ? folder.substr(kHouse.size()) : folder;
}

// Calls `check` with path, folder and header of each line of the tree that includes one; the header
// is as written, with its quotes or brackets.
template <typename Check>
void ForEachInclude(const std::filesystem::path& root, Check&& check) {
  const std::regex include(R"re(^#include ("[^"]+"|<[^>]+>))re");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".h" && extension != ".hpp" && extension != ".cpp") continue;
    const std::string folder =
        NameOf(entry.path().parent_path().lexically_relative(root).generic_string());
    std::ifstream stream(entry.path());
    for (std::string line; std::getline(stream, line);) {
      std::smatch match;
      if (std::regex_search(line, match, include)) check(entry.path(), folder, match[1].str());
    }
  }
}

// The folder in a quoted header, "" for any other.
std::string FolderOf(const std::string& header) {
  const std::size_t slash = header.rfind('/');
  return header.front() == '"' && slash != header.npos ? header.substr(1, slash - 1) : "";
}

TEST(Layers, IncludesRunOneWay) {
  std::set<std::string> seen;
  ForEachInclude(KT_SOURCE_DIR "/src", [&](const auto& path, const auto& folder, auto header) {
    ASSERT_TRUE(kAllowed.contains(folder)) << path;
    seen.insert(path.string());
    if (header.front() == '"') {
      // Headers without a folder are made by the build.
      const std::string included = FolderOf(header);
      EXPECT_TRUE(included.empty() || kAllowed.at(folder).contains(included))
          << path << ": " << header;
      return;
    }
    header = header.substr(1, header.size() - 2);
    EXPECT_TRUE(!IsForeign(header) || MayIncludeForeign(folder)) << path << ": " << header;
    EXPECT_TRUE(header != "windows.h" || folder == "com/base") << path << ": " << header;
  });
  EXPECT_GT(seen.size(), 50U);
}

// The tests of a room see that room, those below it and the test host, which needs values alone.
TEST(Layers, TestsOfARoomSeeNoRoomAboveIt) {
  std::set<std::string> seen;
  ForEachInclude(KT_SOURCE_DIR "/tests", [&](const auto& path, const auto& folder, auto header) {
    const bool is_host = folder == "test_host";
    if (!is_host && (folder.starts_with("com") || !kAllowed.contains(folder))) return;
    seen.insert(folder);
    const std::string included = FolderOf(header);
    EXPECT_TRUE(included.empty() || included == "test_host" ||
                kAllowed.at(is_host ? "values" : folder).contains(included))
        << path << ": " << header;
  });
  EXPECT_EQ(seen, (Folders{"analysis", "formats", "formula", "functions", "listener", "notebook",
                           "random_notebooks", "test_host", "values"}));
}

// Listeners may come from another module, so only the places that create them know their classes.
TEST(Layers, NotebookKnowsListenersByTheirInterfaces) {
  const std::regex classes(R"re("listener/(formula_listener|result_formats)\.h")re");
  std::set<std::string> knowing;
  ForEachInclude(KT_SOURCE_DIR "/src/notebook",
                 [&](const auto& path, const auto&, const auto& header) {
                   if (std::regex_match(header, classes)) knowing.insert(path.filename().string());
                 });
  EXPECT_EQ(knowing, (std::set<std::string>{"embedded_notebook.h", "plain_framework.cpp"}));
}

}  // namespace
