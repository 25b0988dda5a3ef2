// What the documents and examples show is what the program does.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>

#include "formula/token.h"
#include "notebook/commands/command_line.h"
#include "notebook/files/file.h"
#include "notebook/program.h"
#include "values/text.h"

namespace {

struct Output {
  int status;
  std::string out;
  std::string err;
};

Output RunProgram(const std::vector<std::string>& arguments) {
  std::istringstream in;
  std::ostringstream out;
  std::ostringstream err;
  const int status = ktnotebook::RunCommandLine(arguments, {in, out, err});
  return {status, out.str(), err.str()};
}

TEST(Documentation, FormulasShowWhatTheLanguagePageSays) {
  const std::string page = ktnotebook::ReadWholeFile(KT_SOURCE_DIR "/docs/formula-language.md");
  const std::regex row(R"(\n\| `([^\n]*?)` \| `([^\n]*?)` \|(?=\n))");
  int rows = 0;
  for (std::sregex_iterator it(page.begin(), page.end(), row), end; it != end; ++it, ++rows) {
    EXPECT_EQ(RunProgram({"eval", (*it)[1]}).out, (*it)[2].str() + "\n") << (*it)[1];
  }
  EXPECT_GE(rows, 40);
}

TEST(Documentation, OperatorsHaveTheLevelsThatTheLanguagePageSays) {
  using namespace ktformula;
  const std::string page = ktnotebook::ReadWholeFile(KT_SOURCE_DIR "/docs/formula-language.md");
  // The one operator that no formula can use.
  std::set<FormulaWord> told{FormulaWord::kPlusMinus};
  const std::regex row(R"(\n\| (\d) \| ([^|\n]*) \|)");
  const std::regex quoted("`([^`]+)`");
  for (std::sregex_iterator line(page.begin(), page.end(), row), end; line != end; ++line) {
    const std::string operators = (*line)[2];
    for (std::sregex_iterator it(operators.begin(), operators.end(), quoted); it != end; ++it) {
      const std::u16string text = Widen((*it)[1].str());
      const FormulaWord name = FindWord(kFormulaTokenTypeName, text);
      const FormulaWord word =
          name != FormulaWord::kNone ? name : FindWord(kFormulaTokenTypeSymbol, text);
      EXPECT_EQ(std::to_string(PrecedenceLevel(word)), (*line)[1]) << (*it)[1];
      told.insert(word);
    }
  }
  for (auto word = FormulaWord::kNone; word <= FormulaWord::kFalse;
       word = static_cast<FormulaWord>(static_cast<int>(word) + 1)) {
    EXPECT_TRUE(PrecedenceLevel(word) == 0 || told.contains(word)) << static_cast<int>(word);
  }
}

TEST(Documentation, ExamplesSettleWithoutErrors) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(KT_SOURCE_DIR "/examples")) {
    if (entry.path().extension() != ".xml") continue;
    ++files;
    const Output output = RunProgram({"recalculate", "--strict", entry.path().string()});
    EXPECT_EQ(output.status, ktnotebook::kExitDone) << entry.path();
    EXPECT_EQ(output.err, "") << entry.path();
  }
  EXPECT_GE(files, 2);
}

TEST(Documentation, PagesShowExamplesAsTheyAre) {
  struct Row {
    const char* page;
    const char* language;
    const char* file;
  };
  const Row rows[] = {{"embedding.md", "vbs", "examples/embedding/client.vbs"},
                      {"embedding.md", "cpp", "examples/embedding/client.cpp"},
                      {"embedding.md", "cpp", "examples/cpp/own_cells.cpp"},
                      {"embedding.md", "text", "examples/cpp/own_cells.txt"}};
  for (const Row& row : rows) {
    const std::string page =
        ktnotebook::ReadWholeFile(KT_SOURCE_DIR "/docs/" + std::string(row.page));
    const std::string file = ktnotebook::ReadWholeFile(KT_SOURCE_DIR "/" + std::string(row.file));
    EXPECT_NE(page.find("```" + std::string(row.language) + "\n" + file + "```\n"),
              std::string::npos)
        << row.file;
  }
}

// The words of a command line; 'quoted words' are one.
std::vector<std::string> Words(const std::string& line) {
  std::vector<std::string> words;
  const std::regex word(R"('([^']*)'|(\S+))");
  for (std::sregex_iterator it(line.begin(), line.end(), word), end; it != end; ++it)
    words.push_back((*it)[1].matched ? (*it)[1].str() : (*it)[2].str());
  return words;
}

// What a terminal shows of the command, messages and all.
std::string Shown(const std::vector<std::string>& words) {
  std::istringstream in;
  std::ostringstream terminal;
  ktnotebook::RunCommandLine(words, {in, terminal, terminal});
  return terminal.str();
}

// An empty directory with the examples, in which the commands of a page are run.
class PageDirectory {
 public:
  PageDirectory() {
    std::filesystem::create_directory_symlink(KT_SOURCE_DIR "/examples", folder_.File("examples"));
    std::filesystem::current_path(folder_.path);
  }
  PageDirectory(const PageDirectory&) = delete;
  PageDirectory& operator=(const PageDirectory&) = delete;
  ~PageDirectory() { std::filesystem::current_path(before_); }

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
  ktnotebook::TemporaryFolder folder_;
};

// A console example is "$ ./run ARGUMENTS" and the output below it; "..." stands for more of it.
class ConsolePages : public testing::TestWithParam<const char*> {};

TEST_P(ConsolePages, ShowTheRealOutput) {
  const PageDirectory directory;
  std::ifstream stream(KT_SOURCE_DIR "/" + std::string(GetParam()));
  int examples = 0;
  std::string line;
  std::getline(stream, line);
  while (stream) {
    if (!line.starts_with("$ ./run")) {
      std::getline(stream, line);
      continue;
    }
    const std::string command = line;
    std::string shown;
    while (std::getline(stream, line) && !line.starts_with("$ ") && line != "```") {
      shown += line + "\n";
    }
    std::vector<std::string> words =
        Words(command.substr(std::string("$ ./run").size(), command.find("  #") - 7));
    if (words.empty()) words = {"recalculate", "examples/aspirin.xml"};
    if (words.front() == "bench") continue;
    std::string real = Shown(words);
    if (shown.empty()) continue;
    ++examples;
    if (shown.ends_with("...\n")) {
      shown.resize(shown.size() - 4);
      real.resize(std::min(real.size(), shown.size()));
    }
    EXPECT_EQ(shown, real) << command;
  }
  EXPECT_GE(examples, 5);
}

INSTANTIATE_TEST_SUITE_P(Documentation, ConsolePages,
                         testing::Values("README.md", "docs/first-notebook.md", "docs/recipes.md"));

}  // namespace
