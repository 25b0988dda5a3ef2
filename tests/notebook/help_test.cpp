// What the program tells about itself: help with examples that work, the manual page, completion.
#include <cstdio>
#include <gtest/gtest.h>
#include <regex>

#include "notebook/files/file.h"
#include "notebook/program.h"

namespace ktnotebook {
namespace {

struct Shell {
  int status;
  std::string output;
};

// A folder in which the program and the examples are where the help says, and a shell in it.
struct HelpTest : ::testing::Test {
  HelpTest() {
    std::filesystem::create_directory(folder.File("bin"));
    std::filesystem::create_symlink(KT_NOTEBOOK_PROGRAM, folder.File("bin/ktnotebook"));
    std::filesystem::create_symlink(KT_SOURCE_DIR "/examples", folder.File("examples"));
  }
  // Runs lines in bash until one fails; gives what they print.
  Shell Run(const std::string& lines) const {
    WriteWholeFile(folder.File("lines"), lines);
    const std::string call =
        "cd '" + folder.path + "' && PATH=\"$PWD/bin:$PATH\" bash -e -o pipefail lines 2>&1";
    FILE* const pipe = popen(call.c_str(), "r");
    Shell shell{-1, ""};
    for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe))
      shell.output.push_back(static_cast<char>(byte));
    shell.status = pclose(pipe);
    return shell;
  }
  TemporaryFolder folder;
};

std::string HelpOn(const std::string& command) {
  return Program({"help", command}).out.str();
}

// The first of the words behind two blanks at the beginning of lines.
std::vector<std::string> Entries(const std::string& text) {
  std::vector<std::string> entries;
  const std::regex entry("\n  (-., )?([-a-zA-Z]+)");
  for (std::sregex_iterator it(text.begin(), text.end(), entry), end; it != end; ++it)
    entries.push_back((*it)[2]);
  return entries;
}

std::vector<std::string> Commands() {
  const std::string help = Program({"help"}).out.str();
  return Entries(help.substr(0, help.find("\nOptions:")));
}

// In bash: what serves is ended as soon as it says where.
constexpr const char* kServeShortly =
    "ktnotebook() {\n"
    "  [[ $1 == serve ]] || { command ktnotebook \"$@\"; return; }\n"
    "  coproc exec ktnotebook \"$@\"\n"
    "  local program=$COPROC_PID; read -ru ${COPROC[0]}; kill $program; wait $program\n"
    "}\n";

TEST_F(HelpTest, EveryExampleWorks) {
  EXPECT_GE(Commands().size(), 14U);
  for (const std::string& command : Commands()) {
    const std::string help = HelpOn(command);
    EXPECT_EQ(Program({command, "--help"}).out.str(), help);
    EXPECT_FALSE(std::regex_search(help, std::regex("[^\n]{81}"))) << help;
    const std::size_t examples = help.find("\nExamples:\n");
    ASSERT_NE(examples, std::string::npos) << command;
    // Without the lines that say what an example does.
    const std::string lines =
        std::regex_replace(help.substr(examples + 11), std::regex("\n      [^\n]*"), "");
    EXPECT_NE(lines.find("ktnotebook " + command), std::string::npos) << lines;
    const Shell shell = Run(kServeShortly + lines);
    EXPECT_EQ(shell.status, 0) << command << '\n' << lines << shell.output;
    std::filesystem::remove(folder.File("notebook.db"));
  }
}

TEST_F(HelpTest, TheManualTellsTheSame) {
  const std::string page = Program({"help", "--man"}).out.str();
  const std::string text = std::regex_replace(page, std::regex("\\\\-"), "-");
  for (const std::string& command : Commands()) {
    const std::size_t section = text.find("\n.SS " + command + "\n");
    ASSERT_NE(section, std::string::npos) << command;
    const std::string help = HelpOn(command);
    for (const std::string& option : Entries(help.substr(0, help.find("\nCommon options:"))))
      EXPECT_NE(text.find((option[0] == '-' ? "\\fB" : "\\fI") + option, section),
                std::string::npos)
          << option;
  }
  WriteWholeFile(folder.File("page.1"), page);
  if (Run("command -v groff").status != 0) GTEST_SKIP() << "no groff to read the page";
  const Shell shell = Run("groff -man -ww -z page.1");
  EXPECT_EQ(shell.status, 0);
  EXPECT_EQ(shell.output, "");
}

TEST_F(HelpTest, BashCompletesWhatItCan) {
  WriteWholeFile(folder.File("n.xml"),
                 "<notebook><form name='Amide coupling'/><form name='$(touch broken)`id`'/>"
                 "<form name='Aspirin'/></notebook>");
  const struct {
    std::string line;  // "" at its end for a word that is not begun
    std::string completions;
  } cases[] = {
      {"rec", "recalculate"},
      {"--ver", "--version --verbose"},
      {"help def", "definition"},
      {"functions S", "SELECT SUM"},
      {"completion ''", "bash"},
      {"recalculate examples/as", "examples/aspirin.xml"},
      {"recalculate n.xml -o exa", "examples"},
      {"recalculate --st", "--strict"},
      {"recalculate --rounds ''", ""},
      {"show A", "Amide\\ coupling Aspirin"},
      {"show 'Amide\\ c'", "Amide\\ coupling"},
      {"show \\'Amide", "Amide coupling"},
      {"show \\$", "\\$\\(touch\\ broken\\)\\`id\\`"},
      {"set --json Asp", "Aspirin/"},
      {"set Aspirin/T:A:1 A", ""},
      {"show --db other.db ''", "Other"},
      {"show --db = other.db ''", "Other"},
      {"show --db other.d", "other.db"},
      {"list --db=x --js", "--json"},
      {"nonsense ''", ""},
  };
  std::string lines =
      "ktnotebook import n.xml >/dev/null\n"
      "sed 's/Aspirin/Other/' examples/aspirin.xml > other.xml\n"
      "ktnotebook import other.xml --db other.db >/dev/null 2>&1\n"
      "source <(ktnotebook completion bash)\n"
      "completed() { COMP_WORDS=(ktnotebook \"$@\"); COMP_CWORD=$#; _ktnotebook || true;"
      " echo \"${COMPREPLY[*]}\"; }\n";
  std::string expected;
  for (const auto& row : cases) {
    lines += "completed " + row.line + "\n";
    expected += row.completions + "\n";
  }
  EXPECT_EQ(Run(lines).output, expected);
  EXPECT_FALSE(std::filesystem::exists(folder.File("broken")));
}

}  // namespace
}  // namespace ktnotebook
