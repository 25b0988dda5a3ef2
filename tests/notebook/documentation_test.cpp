// What the documents and examples show is what the program does.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>

#include "notebook/command_line.h"
#include "notebook/file.h"

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

// A console example is a line "$ ./run ARGUMENTS" and the output below it, to the end of the block.
TEST(Documentation, ReadmeShowsTheRealOutput) {
  const std::string page = ktnotebook::ReadWholeFile(KT_SOURCE_DIR "/README.md");
  const std::string aspirin =
      RunProgram({"recalculate", KT_SOURCE_DIR "/examples/aspirin.xml"}).out;
  EXPECT_NE(page.find("$ ./run\n" + aspirin + "```"), std::string::npos) << aspirin;
}

}  // namespace
