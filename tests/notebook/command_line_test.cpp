// The command line: what each command prints, where, and its exit status.
#include "notebook/commands/command_line.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"

namespace ktnotebook {
namespace {

struct Output {
  int status;
  std::string out;
  std::string err;
};

Output RunProgram(const std::vector<std::string>& arguments, const std::string& input = "") {
  std::istringstream in(input);
  std::ostringstream out;
  std::ostringstream err;
  const int status = RunCommandLine(arguments, {in, out, err});
  return {status, out.str(), err.str()};
}

constexpr std::string_view kNotebook = R"(<notebook><form name="F">
  <table name="T" key="1">
    <property key="1" name="Mass" type="number" unit="g" numberFormatting="true"/>
    <property key="2" name="Half" type="number" unit="g" numberFormatting="true"/>
    <property key="3" name="Note" type="string"/>
    <row id="A"><cell property="Mass" state="entered">1.20 g</cell></row>
    <row id="B"><cell property="Mass" state="entered">n.d.</cell></row>
    <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
      <propertyFormula format="" name="Half">[Mass]/[two]</propertyFormula>
      <propertyFormula format="" name="Note">"\" &amp; [Mass]</propertyFormula>
      <definition name="two">2</definition>
    </fieldListener>
  </table></form><form name="Ring">
  <table name="T" key="2">
    <property key="11" name="x" type="number"/><property key="12" name="y" type="number"/><row id="1"/>
    <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
      <propertyFormula name="x">[y]+1</propertyFormula><propertyFormula name="y">[x]</propertyFormula>
    </fieldListener>
  </table></form></notebook>)";

class CommandLineTest : public ::testing::Test {
 protected:
  CommandLineTest() {
    std::string name = (std::filesystem::temp_directory_path() / "command_line_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw NotebookError("no temporary folder");
    folder_ = name + "/";
    WriteWholeFile(folder_ + "n.xml", kNotebook);
  }
  ~CommandLineTest() override { std::filesystem::remove_all(folder_); }

  std::string folder_;
};

TEST_F(CommandLineTest, EvalPrintsWhatACellWouldShow) {
  const struct {
    std::string formula;
    std::string out;
    std::string err;
  } cases[] = {
      {"1+2*3", "7", ""},
      {"8-3-2", "3", ""},
      {"-5", "-5", ""},
      {"=5", "5", ""},
      {"\"a\" & \"b\"", "ab", ""},
      {"1 <> 2", "true", ""},
      {"[1]", "#Error: the object of type \"Nothing\" can not be converted into a value",
       "error -2147220991 from CellValue.ReferenceValue"},
      {"--5", "#Error: the symbol \"-\" can not follow another symbol",
       "error -2147220991 from CellValue.EvaluateNextToken"},
      {"(1", "#Error: the specified formula has an unbalanced left parenthesis",
       "error -2147220991 from FormulaListener.MakeTokenTreeLayer"},
      {"#",
       "#Error: the character \"#\" is not recognized as the first character of a formula token",
       "error -2147220991 from FormulaPListener.StartTokenType"},
      {"2 +/- 0.1", "#Error: the symbol \"+/-\" is not a valid token",
       "error -2147220991 from CellValue.EvaluateTokenTreeLayer"},
      {"1/0", "#Error: Division by zero", "error 11 from KtFormula9"},
  };
  for (const auto& row : cases) {
    const Output output = RunProgram({"eval", row.formula});
    EXPECT_EQ(output.status, 0) << row.formula;
    EXPECT_EQ(output.out, row.out + "\n") << row.formula;
    EXPECT_EQ(output.err, "") << row.formula;
    const Output verbose = RunProgram({"eval", "--verbose", row.formula});
    EXPECT_EQ(verbose.out, output.out) << row.formula;
    EXPECT_EQ(verbose.err, row.err.empty() ? "" : row.err + "\n") << row.formula;
  }
}

// A recalculation's answer without the problems, which have tests of their own.
std::string WithoutProblems(const std::string& json) {
  const std::size_t problems = json.find(",\"problems\":");
  return problems == std::string::npos ? json : json.substr(0, problems) + "}\n";
}

TEST_F(CommandLineTest, JsonHasExactlyTheStatedForms) {
  const std::string file = folder_ + "n.xml";
  const std::string half = "F/T:Half:A";
  const std::string raised =
      R"({"raised":{"number":-2147220991,"source":"FormulaPListener.StartTokenType","description":)"
      R"("the character \"#\" is not recognized as the first character of a formula token"}})";
  const struct {
    std::vector<std::string> arguments;
    std::string out;
  } cases[] = {
      {{"eval", "--json", "-5", "100000000000000000000", "0.00001", "541.6483928231399", "1/4"},
       "{\"kind\":\"number\",\"min\":-5.0,\"max\":-"
       "5.0}\n"
       "{\"kind\":\"number\",\"min\":1e+20,\"max\":1e+20}\n"
       "{\"kind\":\"number\",\"min\":1e-05,\"max\":1e-05}\n"
       "{\"kind\":\"number\",\"min\":541.64839282314,\"max\":541.64839282314}\n"
       "{\"kind\":\"number\",\"min\":0.25,\"max\":0.25}"},
      {{"eval", "--json", "\"\xC2\xB5 \" & \"1\""},
       "{\"kind\":\"string\",\"text\":\"\xC2\xB5 1\"}"},
      {{"eval", "--json", "1=1"}, R"({"kind":"boolean","value":true})"},
      {{"eval", "--json", "\"a\"+1"},
       R"({"kind":"error","number":-2147220991,"source":"CellValue.ConvertToNumber",)"
       R"("description":"a value could not be converted into a number"})"},
      {{"eval", "--json", "#"}, raised},
      {{"eval", "--json", "--file", file, "--cell", half, "[Mass]*[two]"},
       R"({"kind":"number","min":0.0024,"max":0.0024})"},
      {{"tokens", "--json", "1+[Yield (g)]"},
       R"json([{"type":4,"text":"1"},{"type":5,"text":"+"},{"type":3,"text":"Yield (g)"}])json"},
      {{"tokens", "--json", "#"}, raised},
      {{"tree", "--json", "#"}, raised},
      {{"tree", "--json", "1+2*3"},
       R"([{"type":4,"text":"1"},{"type":5,"text":"+"},[{"type":4,"text":"2"},)"
       R"({"type":5,"text":"*"},{"type":4,"text":"3"}]])"},
      {{"recalculate", "--json", file},
       R"({"forms":[{"name":"F","settled":true,"rounds":2,"tables":[{"name":"T","columns":)"
       R"(["Mass","Half","Note"],"rows":[{"id":"A","cells":{"Mass":{"text":"1.20 g","state":)"
       R"("entered","min":0.0012,"max":0.0012,"unit":"g"},"Half":{"text":"0.6 g","state":"",)"
       R"("min":0.0006,"max":0.0006,"unit":"g"},"Note":{"text":"\\1.20 g","state":"","min":0.0,)"
       R"("max":0.0,"unit":""}}},{"id":"B","cells":{"Mass":{"text":"n.d.","state":"entered",)"
       R"("min":null,"max":null,"unit":""},"Half":{"text":"#Error: the value \"n.d.\" )"
       R"(is not a number","state":"","min":null,"max":null,"unit":""},"Note":{"text":"\\n.d.","state":"","min":0.0,"max":0.0,"unit":""}}}]}]},)"
       R"({"name":"Ring","settled":false,"rounds":8,"tables":[{"name":"T","columns":["x","y"],"rows":)"
       R"([{"id":"1","cells":{"x":{"text":"8","state":"","min":8.0,"max":8.0,"unit":""},)"
       R"("y":{"text":"8","state":"","min":8.0,"max":8.0,"unit":""}}}]}]}]})"},
  };
  for (const auto& row : cases) {
    const Output output = RunProgram(row.arguments);
    EXPECT_EQ(output.status, 0) << row.arguments[2];
    EXPECT_EQ(WithoutProblems(output.out), row.out + "\n") << row.arguments[2];
  }
}

// One after the other, on the same database.
TEST_F(CommandLineTest, JsonOfADatabaseHasExactlyTheStatedForms) {
  const std::string changed =
      R"({"forms":[{"name":"F","settled":true,"rounds":2,"tables":[{"name":"T","columns":)"
      R"(["Mass","Half","Note"],"rows":[{"id":"A","cells":{)";
  const std::string mass =
      R"("Mass":{"text":"2 g","state":"entered","min":0.002,"max":0.002,"unit":"g"},)";
  const std::string half =
      R"("Half":{"text":"1 g","state":"","min":0.001,"max":0.001,"unit":"g"},)";
  const std::string note = R"("Note":{"text":"\\2 g","state":"","min":0.0,"max":0.0,"unit":""})";
  const struct {
    std::vector<std::string> arguments;
    std::string out;
  } cases[] = {
      {{"import", folder_ + "n.xml"}, R"(["F","Ring"])"},
      {{"list"}, R"(["F","Ring"])"},
      {{"set", "F/T:Mass:A", "2 g"}, changed + mass + half + note + "}}]}]}]}"},
      {{"formula", "Ring/T:x"},
       R"({"form":"Ring","table":"T","column":"x","formula":"[y]+1","format":""})"},
      {{"formula", "F/T:Mass"},
       R"({"form":"F","table":"T","column":"Mass","formula":null,"format":null})"},
      {{"formula", "F/T:Half", "[Mass]/[two]"},
       R"({"forms":[{"name":"F","settled":true,"rounds":1,"tables":[]}]})"},
      {{"definition", "F/T:two"}, R"({"form":"F","table":"T","definition":"two","formula":"2"})"},
      {{"export", "F", "-o", folder_ + "F.xml"},
       R"({"form":"F","written":")" + folder_ + "F.xml\"}"},
  };
  const auto run = [this](std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--json", "--db", folder_ + "n.db"});
    return WithoutProblems(RunProgram(arguments).out);
  };
  for (const auto& row : cases) {
    EXPECT_EQ(run(row.arguments), row.out + "\n") << row.arguments[0];
  }
  const std::string recalculated =
      WithoutProblems(RunProgram({"recalculate", "--json", folder_ + "F.xml"}).out);
  const std::string tables = recalculated.substr(recalculated.find("\"tables\""));
  EXPECT_EQ(run({"show", "F"}), R"({"forms":[{"name":"F",)" + tables);
  EXPECT_TRUE(run({"export", "F"}).starts_with(R"({"form":"F","notebook":"<?xml version=\"1.0\")"));
  EXPECT_TRUE(
      RunProgram({"functions", "max", "--json"})
          .out.starts_with(R"([{"name":"MAX","summary":"finds the largest value","forms":)"));
}

TEST_F(CommandLineTest, EvalReadsJsonLines) {
  const Output output =
      RunProgram({"eval", "-"}, "\"1+1\"\n\"-5\"\r\n\"\\u0031\"\n\"(\"\n\"\\u0001-1\"");
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(std::count(output.out.begin(), output.out.end(), '\n'), 5);
  EXPECT_TRUE(
      output.out.starts_with("{\"kind\":\"number\",\"min\":2.0,\"max\":2.0}\n{\"kind\":\"number\","
                             "\"min\":-5.0,\"max\":-5.0}\n{\"kind\":\"number\",\"min\":1.0,"));
  EXPECT_NE(output.out.find("the character \\\"\\u0001\\\" is not recognized"), std::string::npos);
  const Output refused = RunProgram({"eval", "-"}, "\"1\"\n1\n\"2\"\n");
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err, "ktnotebook: standard input:2: not a JSON string\n");
  EXPECT_EQ(
      RunProgram({"eval", "-"}, "\"" + std::string(100'000, '(') + "\"").out.find("{\"raised\""),
      0U);
}

TEST_F(CommandLineTest, ExitStatusTellsWhatHappened) {
  const std::string file = folder_ + "n.xml";
  const std::string db = folder_ + "n.db";
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::string err;
  } cases[] = {
      {{}, 2, "a command is required"},
      {{"frobnicate"}, 2, "there is no command \"frobnicate\"\n"},
      {{"help", "shwo"}, 2, "there is no command \"shwo\"; did you mean \"show\"?"},
      {{"completion", "csh"}, 2, "there is no completion for csh"},
      {{"shwo"}, 2, "there is no command \"shwo\"; did you mean \"show\"?"},
      {{"recalculate", "x.xml", "-o", ""}, 2, "--output: the name is empty"},
      {{"eval"}, 2, "FORMULA is required"},
      {{"recalculate", "--all"}, 2, "FILE, or --db with --all, is required"},
      {{"recalculate", "--db", "n.db"}, 2, "--db requires --all"},
      {{"recalculate", "n.xml", "--db", "n.db", "--all"}, 2, "FILE excludes --db"},
      {{"recalculate", "--db", "n.db", "--all", "--rounds", "9"}, 2, "--rounds excludes --db"},
      {{"eval", "1", "--jason=x"}, 2, "no option \"--jason\"; did you mean \"--json\"?"},
      {{"functions", "summ"}, 1, "no function \"summ\"; did you mean \"SUM\"?"},
      {{"eval", "1", "--locale", "xx"}, 2, "unknown locale xx"},
      {{"eval", "1", "--cell", "F/T:Half:A"}, 2, "--file"},
      {{"eval", "1", "--file", file, "--cell", "F/T:Half:Z"},
       1,
       "there is no row \"Z\" in table \"T\""},
      {{"eval", "\xFF"}, 1, "not UTF-8"},
      {{"tree", "(1"}, 1, "unbalanced left parenthesis"},
      {{"tokens", "#"}, 1, "is not recognized"},
      {{"recalculate", file, "--rounds", "0"}, 2, "--rounds"},
      {{"recalculate", file, "--rounds", "3"}, 0, "\"Ring\" has not settled after 3 rounds"},
      {{"recalculate", file}, 0, "1 cell shows an error"},
      {{"recalculate", file, "--strict"}, 3, "1 cell shows an error"},
      {{"recalculate", file, "-o", "/no/such/folder/o.xml"}, 1, "/no/such/folder/o.xml"},
      {{"recalculate", file, "-o", folder_}, 1, "Is a directory"},
      {{"recalculate", folder_}, 1, "Is a directory"},
      {{"recalculate", folder_ + "gone.xml"}, 1, "gone.xml: No such file"},
      {{"recalculate", std::string(5000, 'a')}, 1, "File name too long"},
      {{"recalculate", "/proc/self/mem"}, 1, "/proc/self/mem: "},
      {{"recalculate", "-x.xml"}, 1, "ktnotebook: -x.xml: No such file"},
      {{"import", "/no/such/plate.csv"}, 1, "plate.csv: a CSV file holds no notebook"},
      {{"new", "G", "--file", folder_ + "new.tsv"}, 1, "new.tsv: a CSV file holds no notebook"},
      {{"list", "--db", file}, 1, "not a database"},
      {{"list", "--db", db}, 1, "there is no such database"},
      {{"list", "--db", folder_ + std::string(5000, 'a')}, 1, "ktnotebook: "},
      {{"list", "--db", "postgresql://localhost/none"}, 1, "ktnotebook: "},
      {{"import", file, "--db", ""}, 1, "needs a name"},
      {{"import", file, "--db", db}, 0, "has not settled"},
      {{"import", file, "--db", db}, 1, "has a form \"F\" already"},
      {{"show", "f", "--db", db}, 1, "no form \"f\"; did you mean \"F\"?"},
      {{"set", "F/T:Mass:A", "--db", db}, 2, "TEXT is required"},
  };
  for (const auto& row : cases) {
    const Output output = RunProgram(row.arguments);
    EXPECT_EQ(output.status, row.status) << testing::PrintToString(row.arguments);
    EXPECT_NE(output.err.find(row.err), std::string::npos) << row.err << '\n' << output.err;
  }
}

TEST_F(CommandLineTest, WhatIsDoneCountsThoughItsReportFails) {
  const std::string file = folder_ + "n.xml";
  const std::string db = "--db=" + folder_ + "n.db";
  const std::string changed = "note: the form \"F\" is changed all the same\n";
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::string note;
  } cases[] = {
      {{"import", file, db}, 0, "n.xml is imported all the same\n"},
      {{"set", "F/T:Mass:A", "2 g", db}, 0, changed},
      {{"formula", "F/T:Half", "[Mass]/4", db}, 0, changed},
      {{"definition", "F/T:two", "3", db}, 0, changed},
      {{"export", "F", "-o", folder_ + "e.xml", db}, 0, "e.xml is written all the same\n"},
      {{"recalculate", file, "--json", "-o", folder_ + "r.xml"},
       0,
       "r.xml is written all the same\n"},
      {{"recalculate", file, "--json", "--strict", "-o", folder_ + "s.xml"}, 3, "all the same\n"},
      {{"export", "F", db}, 1, ""},
      {{"recalculate", file, "-o", "-"}, 1, ""},
      {{"formula", "F/T:Half", db}, 1, ""},
      {{"show", "F", db}, 1, ""},
      {{"eval", "1"}, 1, ""},
      {{"--help"}, 1, ""},
  };
  for (const auto& row : cases) {
    std::istringstream in;
    std::ostringstream err;
    std::ostream nowhere(nullptr);
    EXPECT_EQ(RunCommandLine(row.arguments, {in, nowhere, err}), row.status)
        << testing::PrintToString(row.arguments);
    const std::string failure = "ktnotebook: the output can not be written\n";
    EXPECT_TRUE(err.str().ends_with(row.note.empty() ? failure : row.note)) << err.str();
    EXPECT_NE(err.str().find(failure), std::string::npos) << err.str();
  }
}

TEST_F(CommandLineTest, ARewrittenFileTellsWhatItLost) {
  const std::string file = folder_ + "c.xml";
  WriteWholeFile(file, "<!-- a --><notebook><?b?><form name='F'/></notebook>");
  const std::string note = "note: " + file + ": 1 comment and 1 processing instruction left out\n";
  EXPECT_EQ(RunProgram({"recalculate", file, "-o", "-"}).err, note);
  EXPECT_EQ(RunProgram({"import", file, "--db", folder_ + "n.db"}).err, note);
  EXPECT_EQ(RunProgram({"recalculate", file}).err, "");
}

TEST_F(CommandLineTest, HelpAndVersionEverywhere) {
  EXPECT_NE(RunProgram({"--help"}).out.find("definition"), std::string::npos);
  for (const std::string command : {"recalculate", "eval", "tokens", "tree", "import", "export",
                                    "list", "show", "set", "formula", "definition"}) {
    const Output help = RunProgram({command, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("Usage: ktnotebook " + command), std::string::npos);
    const Output version = RunProgram({command, "--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, RunProgram({"--version"}).out);
    EXPECT_TRUE(version.out.starts_with("ktnotebook ")) << version.out;
  }
}

TEST_F(CommandLineTest, ArgumentsAreTakenAsTheyAre) {
  const std::string db = folder_ + "n.db";
  RunProgram({"import", folder_ + "n.xml", "--db", db});
  for (const std::string text : {"-5 g", "--5", "-", "[x]", "[a,b]", "{}", "%%", "list", "\"q\"",
                                 "'q'", "a=b", "\x01-1", ""}) {
    EXPECT_EQ(RunProgram({"set", "--db", db, "F/T:Note:A", text}).status, 0) << text;
    const std::string shown = RunProgram({"export", "F", "--db", db}).out;
    if (text.starts_with('\x01')) continue;
    EXPECT_EQ(
        shown.find("<cell property=\"Note\" state=\"entered\">" + text + "<") == std::string::npos,
        text.empty())
        << shown;
  }
  EXPECT_EQ(RunProgram({"eval", "1,5", "--locale", "de_DE"}).status, 0);
  EXPECT_EQ(RunProgram({"eval", "3/2", "--locale", "de_DE"}).out, "1,5\n");
  EXPECT_EQ(RunProgram({"eval", "3/2"}).out, "1.5\n");
}

TEST_F(CommandLineTest, OutputFilesAreReplacedWholeOrNotAtAll) {
  const std::string target = folder_ + "out.xml";
  const std::string link = folder_ + "link.xml";
  WriteWholeFile(target, "old");
  chmod(target.c_str(), 0640);
  std::filesystem::create_symlink(target, link);
  const Output output = RunProgram({"recalculate", folder_ + "n.xml", "-o", link});
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(ReadWholeFile(target).find("<?xml"), 0U);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms(0640));
  EXPECT_EQ(RunProgram({"recalculate", target, "-o", "/dev/null"}).status, 0);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));

  // A text that the file can not hold: the old file stays, and nothing beside it.
  const std::string db = folder_ + "n.db";
  RunProgram({"import", folder_ + "n.xml", "--db", db});
  RunProgram({"set", "F/T:Note:B", "a\x07", "--db", db});
  const std::string before = ReadWholeFile(target);
  const Output refused = RunProgram({"export", "F", "--db", db, "-o", target});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("table \"T\", row \"B\", column \"Note\""), std::string::npos);
  EXPECT_EQ(ReadWholeFile(target), before);
  for (const auto& entry : std::filesystem::directory_iterator(folder_))
    EXPECT_NE(entry.path().extension(), ".part");
}

}  // namespace
}  // namespace ktnotebook
