// Notebooks in a database: what comes back, and what others and sudden ends do to it.
#include "notebook/store/notebook_store.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "notebook/commands/command_line.h"
#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {
namespace {

constexpr std::string_view kNotebook = R"(<notebook>
  <form name="F'; DROP TABLE notebook_forms; --">
    <table name="T&quot;1" key="1">
      <property key="11" name="A" type="number" unit="g" numberFormatting="true"/>
      <property key="12" name="B" type="number" unit="g"/>
      <property key="13" name="C" type="string"/>
      <row id="x"><tag name="t']]&gt;">1</tag><cell property="A" state="entered">2 g</cell></row>
      <row id="y"><cell property="A" state="entered" tag="t">n.d.</cell></row>
      <row id="z"/>
      <fieldListener progID="KtFormula9.FormulaListener" name="second'" position="2">
        <propertyFormula format="" name="C"><![CDATA["<" & [A] & "]]]]><![CDATA[>"]]></propertyFormula>
      </fieldListener>
      <fieldListener progID="KtFormula9.FormulaListener" name="first" position="1" resultFormat="X">
        <propertyFormula format="" name="B"><![CDATA[[A]*f]]></propertyFormula>
        <definition name="f'"><![CDATA[2]]></definition>
      </fieldListener>
    </table>
    <field name="'"> a&#13; </field><structure name="S">CO</structure>
  </form>
  <form name="G">
    <table name="T" key="2">
      <property key="21" name="A" type="number"/><property key="22" name="B" type="number"/>
      <property key="23" name="C" type="number"/>
      <row id="1"/><row id="2"/><row id="3"/>
      <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
        <propertyFormula name="B">[A]*2</propertyFormula></fieldListener>
    </table>
    <table name="U" key="3"><property key="31" name="A" type="number"/><row id="1"/>
      <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
        <propertyFormula name="A">[T:B:1]+1</propertyFormula></fieldListener></table>
  </form>
</notebook>)";

class NotebookStoreTest : public ::testing::Test {
 protected:
  NotebookStoreTest() { WriteWholeFile(File("n.xml"), kNotebook); }
  ~NotebookStoreTest() override { std::filesystem::remove_all(folder_); }

  std::string File(const std::string& name) const { return (folder_ / name).string(); }

  // Runs the command over the test's database and gives what it printed, messages behind.
  std::string Command(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--db", File("n.db")});
    std::istringstream in;
    std::ostringstream out;
    RunCommandLine(arguments, {in, out, out});
    return out.str();
  }

  Notebook Load(std::u16string_view form) const {
    return NotebookStore(OpenDatabase(File("n.db"), false), false).Load(form);
  }

  std::string Text(const std::string& table, std::u16string_view column, std::size_t row) const {
    const Notebook notebook = Load(u"G");
    const NotebookTable& found = *notebook.forms[0]->FindTable(FromStoredUtf8(table));
    return ToUtf8(found.Rows()[row].CellAt(found.FindColumn(column)->Index()).Text());
  }

 private:
  static std::filesystem::path MakeFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "notebook_store_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw NotebookError("no temporary folder");
    return name;
  }

  std::filesystem::path folder_ = MakeFolder();
};

TEST_F(NotebookStoreTest, AnExportOfAnImportIsTheSameNotebook) {
  ASSERT_NE(Command({"import", File("n.xml")}).find("imported \"G\""), std::string::npos);
  const Notebook original = ReadNotebook(kNotebook, "n.xml");
  for (const Ref<NotebookForm>& form : original.forms) {
    RecalculateForm(*form, 8);
    const std::string text = WriteNotebook({form});
    EXPECT_EQ(Command({"export", ToUtf8(form->Name())}), text);
    const Notebook loaded = Load(form->Name());
    EXPECT_EQ(RecalculateForm(*loaded.forms[0], 8).rounds, 1);
    EXPECT_EQ(WriteNotebook(loaded.forms), text);
  }
  EXPECT_EQ(Command({"list"}), "F'; DROP TABLE notebook_forms; --\nG\n");
}

// Tables as they were before notebooks had a locale: read as they are, brought up to date as a
// whole by the first import.
TEST_F(NotebookStoreTest, TablesWithoutLocalesMeanCAndAreBroughtUpToDate) {
  Command({"import", File("n.xml")});
  const std::string exported = Command({"export", "G"});
  const auto database = OpenDatabase(File("n.db"), false);
  for (const std::string column : {"locale", "computed_with", "version"})
    database->Run("ALTER TABLE notebook_forms DROP COLUMN " + column);
  database->Run("UPDATE notebook_schema SET version = 1");
  const auto has_locale = [&] {
    return !database->Run("SELECT 1 FROM pragma_table_info('notebook_forms') WHERE name = 'locale'")
                .rows.empty();
  };
  EXPECT_EQ(Command({"export", "G"}), exported);
  EXPECT_NE(Command({"set", "G/T:A:2", "2.5"}).find("G/T:B:2  5"), std::string::npos);
  // Refused, so nothing of it happened.
  EXPECT_NE(Command({"import", File("n.xml")}).find("has a form"), std::string::npos);
  EXPECT_FALSE(has_locale());
  WriteWholeFile(File("de.xml"), "<notebook locale=\"de_DE\"><form name=\"H\"/></notebook>");
  EXPECT_EQ(Command({"import", File("de.xml")}), "imported \"H\"\n");
  EXPECT_TRUE(has_locale());
  EXPECT_EQ(Load(u"H").locale.name, u"de_DE");
  EXPECT_EQ(Load(u"G").locale.name, u"C");
  database->Run("UPDATE notebook_schema SET version = 9");
  EXPECT_NE(Command({"list"}).find("another version of this program"), std::string::npos);
}

TEST_F(NotebookStoreTest, SetChangesOnlyWhatDependsOnTheCell) {
  Command({"import", File("n.xml")});
  EXPECT_EQ(Command({"set", "G/T:A:2", "5"}),
            "cell     shows\n-------  -----\nG/T:A:2  5\nG/T:B:2  10\n");
  EXPECT_EQ(Command({"set", "G/T:A:1", "-4"}),
            "cell     shows\n-------  -----\nG/T:A:1  -4\nG/T:B:1  -8\nG/U:A:1  -7\n");
  EXPECT_EQ(Command({"set", "G/T:B:1", "1"}),
            "cell     shows\n-------  -----\nG/T:B:1  1\nG/U:A:1  2\n");
  EXPECT_EQ(Command({"set", "G/T:B:1", ""}),
            "cell     shows\n-------  -----\nG/T:B:1  -8\nG/U:A:1  -7\n");
  EXPECT_EQ(Command({"formula", "G/T:C", "[B]+[A]"}),
            "cell     shows\n-------  -----\nG/T:C:1  -12\nG/T:C:2  15\nG/T:C:3  0\n");
  EXPECT_EQ(Command({"formula", "G/T:C"}), "[B]+[A]\n");
  EXPECT_EQ(Command({"formula", "G/T:A", "--format", "0"}),
            "ktnotebook: the column has no formula that the format could be of\n");
  // The column's own listener is changed, not the table's first.
  const std::string column = "F'; DROP TABLE notebook_forms; --/T\"1:C";
  EXPECT_EQ(Command({"formula", column}), "\"<\" & [A] & \"]]>\"\n");
  Command({"formula", column, "\"]]>\""});
  EXPECT_EQ(Command({"formula", column}), "\"]]>\"\n");
  EXPECT_EQ(Command({"definition", "G/T:f"}), "ktnotebook: there is no definition \"f\"\n");
  Command({"definition", "G/T:f", "[T:A:2]"});
  EXPECT_EQ(Command({"definition", "G/T:f"}), "[T:A:2]\n");
}

TEST_F(NotebookStoreTest, AFailedCommandLeavesEverythingAsItWas) {
  Command({"import", File("n.xml")});
  const std::string before = ReadWholeFile(File("n.db"));
  // The second form of the file is there already; so the first must not arrive either.
  WriteWholeFile(File("m.xml"), "<notebook><form name='New'/><form name='G'/></notebook>");
  WriteWholeFile(File("bad.xml"), "<notebook><form name='New'/><form/></notebook>");
  const std::vector<std::vector<std::string>> commands{
      {"import", File("m.xml")},      {"import", File("bad.xml")},    {"import", File("no.xml")},
      {"set", "G/T:A:9", "1"},        {"set", "G/T:A:1", "\xFF"},     {"formula", "G/T:Z", "1"},
      {"formula", "G/T:A", "\"\x01"}, {"definition", "G/V:f", "1"},   {"export", "H"},
      {"export", "G", "-o", "/"},     {"definition", "G/T:\x01", "1"}};
  for (const auto& command : commands) {
    EXPECT_TRUE(Command(command).starts_with("ktnotebook: ")) << command[0] << " " << command[1];
    EXPECT_EQ(ReadWholeFile(File("n.db")), before) << command[0] << " " << command[1];
  }
  const auto database = OpenDatabase(File("n.db"), false);
  database->Run("UPDATE notebook_cells SET row_position = 77 WHERE text = 'n.d.'");
  EXPECT_THROW(Load(u"F'; DROP TABLE notebook_forms; --"), NotebookError);
  EXPECT_THROW(OpenDatabase("", true), NotebookError);
}

// Runs `ktnotebook set` in a process of its own; false when it could not.
bool SetInProcess(const std::string& database, const std::string& cell, int value) {
  const pid_t child = fork();
  if (child == 0) {
    freopen("/dev/null", "w", stdout);
    const std::string text = std::to_string(value);
    execl(KT_NOTEBOOK_PROGRAM, KT_NOTEBOOK_PROGRAM, "set", cell.c_str(), text.c_str(), "--db",
          database.c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(NotebookStoreTest, ProcessesThatSetCellsAtOnceLoseNothing) {
  Command({"import", File("n.xml")});
  std::vector<pid_t> children;
  for (const std::string row : {"1", "2", "3"}) {
    const pid_t child = fork();
    if (child == 0) {
      bool done = true;
      for (int i = 1; i <= 8; ++i)
        done = SetInProcess(File("n.db"), "G/T:A:" + row, i) && done;
      _exit(done ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  for (std::size_t row = 0; row < 3; ++row)
    EXPECT_EQ(Text("T", u"A", row) + " " + Text("T", u"B", row), "8 16") << row;
  EXPECT_EQ(Text("U", u"A", 0), "17");
}

// A child sets one cell to 1, 2, 3, ... and acknowledges each; it is killed at any moment.
TEST_F(NotebookStoreTest, AKilledProcessLeavesTheStateBeforeOrAfter) {
  Command({"import", File("n.xml")});
  const auto seed = std::random_device()();
  std::mt19937 random(seed);
  int last = 0;
  for (int trial = 0; trial < 20; ++trial) {
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    const pid_t child = fork();
    if (child == 0) {
      for (int value = last + 1;; ++value) {
        Command({"set", "G/T:A:1", std::to_string(value)});
        if (write(pipe_ends[1], &value, sizeof value) != sizeof value) _exit(1);
      }
    }
    close(pipe_ends[1]);
    // Wait for the first acknowledgement, so that the kill meets the middle of the work.
    int acknowledged = 0;
    ASSERT_EQ(read(pipe_ends[0], &acknowledged, sizeof acknowledged), int{sizeof acknowledged});
    usleep(static_cast<useconds_t>(random() % 20'000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    while (read(pipe_ends[0], &acknowledged, sizeof acknowledged) > 0) {
    }
    close(pipe_ends[0]);
    last = std::stoi(Text("T", u"A", 0));
    EXPECT_GE(last, acknowledged) << "seed " << seed;
    EXPECT_LE(last, acknowledged + 1) << "seed " << seed;
    EXPECT_EQ(Text("T", u"B", 0), std::to_string(2 * last)) << "seed " << seed;
    EXPECT_EQ(Text("U", u"A", 0), std::to_string(2 * last + 1)) << "seed " << seed;
  }
}

}  // namespace
}  // namespace ktnotebook
