// What people see: nothing that a foreign text does to a terminal, tables that fit, units.
#include <gtest/gtest.h>
#include <pty.h>
#include <regex>
#include <sys/wait.h>

#include "notebook/files/file.h"
#include "notebook/files/utf.h"
#include "notebook/program.h"

namespace ktnotebook {
namespace {

// What no message, no table and no JSON contains as it is: clearing the screen, a line break, a
// control sequence in one character, a deletion, and marks that turn the line around.
constexpr std::string_view kHostile =
    "a\x1B[2J\n\xC2\x9B\x7F\xE2\x80\xAE\xD8\x9C\xE2\x80\x8F\xE2\x81\xA6z\xE2\x81\xA9\xE2\x80\xAC";
// The same without the one character that XML can not hold.
constexpr std::string_view kHostileInXml =
    "a\xC2\x9B\x7F\xE2\x80\xAE\xD8\x9C\xE2\x80\x8F\xE2\x81\xA6z\xE2\x81\xA9\xE2\x80\xAC";

bool IsHarmless(const std::string& bytes) {
  const std::u16string text = FromStoredUtf8(bytes);
  return std::none_of(text.begin(), text.end(),
                      [](char16_t unit) { return unit != u'\n' && IsActive(unit); });
}

struct TerminalTest : ::testing::Test {
  // A notebook with the name in every place.
  std::string NotebookNamed(const std::string& name) const {
    WriteWholeFile(folder.File("n.xml"),
                   "<notebook><form name='" + name + "'><table name='" + name +
                       "' key='1'><property key='1' name='" + name +
                       "' type='string'/><property key='2' name='x' type='number'/><row id='" +
                       name + "'><cell property='" + name + "' state='noted'>" + name +
                       "</cell></row><fieldListener progID='KtFormula9.FormulaListener' name='" +
                       name +
                       "' position='1'><propertyFormula name='x' format=''>[x]+1</propertyFormula>"
                       "<propertyFormula name='" +
                       name + "' format='\"" + name + "\"'>\"" + name + "\" &amp; [" + name +
                       "]</propertyFormula><definition name='" + name + "'>\"" + name +
                       "\"</definition></fieldListener></table><field name='f" + name + "'>" +
                       name + "</field></form></notebook>");
    return folder.File("n.xml");
  }
  TemporaryFolder folder;
};

TEST_F(TerminalTest, ForeignTextsAreEscapedWhereverTheyAreShown) {
  const std::string hostile(kHostile);
  const std::string name(kHostileInXml);
  const std::string file = NotebookNamed(name);
  const std::string db = "--db=" + folder.File("n.db");
  const std::string table = name + "/" + name + ":";
  const std::string csv = folder.File("t.csv");
  WriteWholeFile(csv, "\"" + hostile + " (g)\"\n\"" + hostile + "\"\n");
  const std::string bad = folder.File("bad.xml");
  WriteWholeFile(bad, "<notebook><form name='F'><table name='T' key='1'><property key='" + name +
                          "' name='p' type='" + name + "'/></table></form></notebook>");
  const struct {
    int status;
    Arguments arguments;
  } cases[] = {
      {0, {"import", file, db}},
      {0, {"list", db}},
      {0, {"show", name, db}},
      {0, {"formula", table + name, db}},
      {0, {"definition", table + name, db}},
      {0, {"set", table + name + ":" + name, hostile, db}},
      {1, {"formula", table + name, "\"" + hostile + "\"", db}},
      {0, {"recalculate", file}},
      {0, {"recalculate", file, "--json"}},
      {0, {"recalculate", csv}},
      {0, {"recalculate", csv, "--json"}},
      {1, {"recalculate", csv, "--unit=x=" + hostile}},
      {2, {"recalculate", csv, "--format=" + hostile}},
      {1, {"recalculate", csv, "-o", folder.path + "/none/" + hostile}},
      {1, {"recalculate", bad}},
      {1, {"recalculate", hostile}},
      {1, {"import", hostile, db}},
      {1, {"list", "--db", folder.File(hostile)}},
      {1, {"list", "--db", "postgresql://" + hostile + "/x"}},
      {1, {"show", hostile, db}},
      {1, {"set", hostile, hostile, db}},
      {1, {"set", table + "x", hostile, db}},
      {2, {hostile}},
      {2, {"--" + hostile}},
      {2, {"eval", "-1", "--x" + hostile}},
      {2, {"eval", "1", "--locale", hostile}},
      {0, {"eval", hostile}},
      {0, {"eval", "--json", hostile, "\"" + hostile + "\"", "\"" + name}},
      {0, {"eval", "\"" + hostile + "\"", "[" + hostile + "]"}},
      {0, {"tokens", "\"" + hostile + "\""}},
      {0, {"tokens", "\"" + hostile + "\"", "--json"}},
      {0, {"tree", "\"" + hostile + "\"", "--json"}},
      {0, {"tree", "\"" + hostile + "\""}},
      {1, {"tree", hostile}},
      {1, {"functions", hostile}},
      {1, {"eval", "a\xFF\x9B"}},
  };
  for (const auto& [status, arguments] : cases) {
    const Program program(arguments);
    const std::string shown = program.out.str() + program.err.str();
    EXPECT_EQ(program.status, status) << testing::PrintToString(arguments) << shown;
    EXPECT_TRUE(IsHarmless(shown)) << testing::PrintToString(arguments) << shown;
  }
  EXPECT_EQ(
      Program({"eval", "--json", "\"\x7F\xC2\x85\xE2\x80\x8E\xC2\xA0\xE2\x80\xA6\""}).out.str(),
      "{\"kind\":\"string\",\"text\":\"\\u007f\\u0085\\u200e\xC2\xA0\xE2\x80\xA6\"}\n");
  EXPECT_EQ(Program({"show", "\x1B]", db}).err.str(),
            "ktnotebook: the database has no form \"\\u001b]\"\n");
  // The parser's own marks of arguments stay inside.
  EXPECT_EQ(Program({"list", "-5"}).err.str(),
            "The following argument was not expected: -5\nRun with --help for more information.\n");
}

TEST_F(TerminalTest, FilesKeepWhatMessagesEscape) {
  const std::string file = NotebookNamed(std::string(kHostileInXml));
  const Program exported({"recalculate", file, "-o", "-"});
  EXPECT_NE(exported.out.str().find("<form name=\"" + std::string(kHostileInXml) + "\">"),
            std::string::npos)
      << exported.out.str();
}

TEST_F(TerminalTest, NumbersAreShownWithTheirUnits) {
  const std::string file = folder.File("u.xml");
  WriteWholeFile(file, R"(<notebook><form name="F"><table name="T" key="1">
    <property key="1" name="Mass" type="number" unit="g"/>
    <property key="2" name="Plain" type="number" unit="g"/>
    <property key="3" name="Shown" type="number" unit="g" numberFormatting="true"/>
    <property key="4" name="Temperature" type="number" unit="°C"/>
    <property key="5" name="Count" type="number"/>
    <row id="A"><cell property="Mass" state="entered">1.22</cell>
      <cell property="Temperature" state="entered">20</cell></row>
    <row id="B"><cell property="Mass" state="entered">1.22 mg</cell>
      <cell property="Plain" state="entered">3</cell></row>
    <row id="C"><cell property="Mass" state="entered">#Error: x</cell></row>
    <row id="D"><cell property="Mass" state="entered">1 .. 2</cell></row>
    <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
      <propertyFormula name="Plain">2*[Mass]</propertyFormula>
      <propertyFormula name="Shown">2*[Mass]</propertyFormula>
      <propertyFormula name="Temperature">300</propertyFormula>
      <propertyFormula name="Count">COUNT([T])</propertyFormula>
    </fieldListener></table></form></notebook>)");
  EXPECT_EQ(Program({"recalculate", file}).out.str(),
            "F\n=\n\nT\n"
            "ID       Mass       Plain      Shown  Temperature  Count\n"
            "--  ---------  ----------  ---------  -----------  -----\n"
            "A      1.22 g  0.00244 kg    2440 mg        20 °C      4\n"
            "B     1.22 mg         3 g       2 mg        300 K      4\n"
            "C   #Error: x   #Error: x  #Error: x        300 K      4\n"
            "D    1 .. 2 g    0.002 kg    2000 mg        300 K      4\n");
  const std::string written = Program({"recalculate", file, "-o", "-"}).out.str();
  EXPECT_NE(written.find("<cell property=\"Plain\">0.00244</cell>"), std::string::npos) << written;
  const std::string db = "--db=" + folder.File("n.db");
  ASSERT_EQ(Program({"import", file, db}).status, 0);
  EXPECT_EQ(Program({"set", "F/T:Mass:A", "2", db}).out.str(),
            "cell         shows\n"
            "-----------  --------\n"
            "F/T:Mass:A   2 g\n"
            "F/T:Plain:A  0.004 kg\n"
            "F/T:Shown:A  4000 mg\n");
}

TEST_F(TerminalTest, LongTablesAndTextsCostTheirOwnSize) {
  const std::string file = folder.File("t.csv");
  std::string csv = "n,text,m\n";
  for (int row = 1; row <= 1000; ++row) {
    const std::string text = row == 10 ? std::string(1'000'000, 'x') : "short";
    csv += std::to_string(row) + "," + text + ",1\n";
  }
  WriteWholeFile(file, csv);
  const std::string shown = Program({"recalculate", file}).out.str();
  EXPECT_LT(shown.size(), 4'000U);
  EXPECT_NE(shown.find("… 960 more rows; --all shows them\n981 "), std::string::npos) << shown;
  EXPECT_EQ(shown.find("\n500 "), std::string::npos);
  const std::string all = Program({"recalculate", file, "--all"}).out.str();
  EXPECT_NE(all.find("\n500 "), std::string::npos);
  EXPECT_LT(all.size(), 70'000U);
  // Files and JSON are not for people.
  EXPECT_NE(Program({"recalculate", file, "--json"}).out.str().find(std::string(1'000'000, 'x')),
            std::string::npos);
  const std::string formula = "1" + std::string(200, '!');
  EXPECT_NE(Program({"tokens", formula}).out.str().find("more rows"), std::string::npos);
  EXPECT_EQ(Program({"tokens", formula, "--all"}).out.str().find("more rows"), std::string::npos);
}

// The program on a terminal of so many columns.
class Terminal {
 public:
  explicit Terminal(const std::vector<const char*>& arguments, unsigned short columns = 80,
                    const char* no_colour = "") {
    const winsize size{24, columns, 0, 0};
    child_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (child_ == 0) {
      setenv("NO_COLOR", no_colour, 1);
      std::vector<char*> words{const_cast<char*>(KT_NOTEBOOK_PROGRAM)};
      for (const char* argument : arguments)
        words.push_back(const_cast<char*>(argument));
      words.push_back(nullptr);
      execv(KT_NOTEBOOK_PROGRAM, words.data());
      _exit(127);
    }
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal() { close(terminal_); }

  // Waits until the program has printed something like that.
  void WaitFor(const std::regex& text) {
    while (!std::regex_search(shown_, text) && Read()) {
    }
  }
  void Type(char character) const { EXPECT_EQ(write(terminal_, &character, 1), 1); }
  // Waits for the program's end; what waitpid tells of it.
  int Status() {
    while (Read()) {
    }
    int status = 0;
    waitpid(child_, &status, 0);
    return status;
  }
  // What the program printed up to now.
  const std::string& Shown() const { return shown_; }

 private:
  bool Read() {
    char buffer[4096];
    const ssize_t size = read(terminal_, buffer, sizeof buffer);
    if (size > 0) shown_.append(buffer, static_cast<std::size_t>(size));
    return size > 0;
  }

  int terminal_ = -1;
  pid_t child_ = -1;
  std::string shown_;
};

// What the program prints on a terminal of so many columns.
std::string ShownOnTerminal(const std::vector<const char*>& arguments, unsigned short columns,
                            const char* no_colour = "") {
  Terminal terminal(arguments, columns, no_colour);
  EXPECT_EQ(terminal.Status(), 0);
  return terminal.Shown();
}

TEST_F(TerminalTest, TablesFitTheTerminal) {
  const std::string file = NotebookNamed(std::string(kHostileInXml));
  for (const char* path : {KT_SOURCE_DIR "/examples/aspirin.xml", file.c_str()}) {
    const std::string shown = ShownOnTerminal({"recalculate", path}, 80);
    // The program's own sequences, and the terminal's line ends.
    const std::regex own("\x1B\\[(K|[0-9]+m)|\r");
    const std::string plain = std::regex_replace(shown, own, "");
    EXPECT_TRUE(IsHarmless(plain)) << plain;
    EXPECT_NE(plain.find("…"), std::string::npos) << plain;
    std::istringstream lines(plain);
    bool is_table = false;
    for (std::string line; std::getline(lines, line);) {
      is_table = !line.empty() && (is_table || line.starts_with("ID"));
      if (is_table) {
        EXPECT_LE(DisplayWidth(FromStoredUtf8(line)), 80) << line;
      }
    }
  }
}

// A number that was cut, or its unit, would be another one.
TEST_F(TerminalTest, NumbersAreNeverCut) {
  for (const unsigned short columns : std::initializer_list<unsigned short>{80, 40, 5}) {
    const std::string shown =
        ShownOnTerminal({"recalculate", KT_SOURCE_DIR "/examples/aspirin.xml"}, columns);
    for (const char* number : {"138.12 g/mol", "1.082 g/ml", "14.3 mmol", "m0.255"})
      EXPECT_NE(shown.find(number), std::string::npos) << columns << "\n" << shown;
  }
}

TEST_F(TerminalTest, NobodyHasToSeeColours) {
  const std::string file = folder.File("t.csv");
  WriteWholeFile(file, "n\n1\n");
  const std::vector<const char*> arguments{"recalculate", file.c_str(), "--formula=e=1/0"};
  EXPECT_NE(ShownOnTerminal(arguments, 80).find('\x1B'), std::string::npos);
  EXPECT_EQ(ShownOnTerminal(arguments, 80, "1").find('\x1B'), std::string::npos);
}

// The formulas never settle.
TEST_F(TerminalTest, LongWorkShowsItsShareAndCanBeInterrupted) {
  const std::string file = folder.File("t.csv");
  std::string csv = "n\n";
  for (int row = 1; row <= 20'000; ++row)
    csv += std::to_string(row) + "\n";
  WriteWholeFile(file, csv);
  const std::string out = folder.File("out.csv");
  WriteWholeFile(out, "as before");
  Terminal terminal({"recalculate", file.c_str(), "-o", out.c_str(), "--formula=x=[y]+1",
                     "--formula=y=[x]+1", "--rounds=1000000"});
  const std::regex line("recalculating, round [0-9]+: [0-9]+ %");
  terminal.WaitFor(line);
  terminal.Type('\x03');
  const int status = terminal.Status();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << status;
  EXPECT_TRUE(std::regex_search(terminal.Shown(), line)) << terminal.Shown();
  EXPECT_TRUE(terminal.Shown().ends_with("ktnotebook: interrupted, nothing was written\r\n"))
      << terminal.Shown();
  EXPECT_EQ(ReadWholeFile(out), "as before");
}

}  // namespace
}  // namespace ktnotebook
