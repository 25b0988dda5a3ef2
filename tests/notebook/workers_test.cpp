// All forms of a database recalculated by several processes at once, while people change them.
#include <array>
#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <random>
#include <thread>

#include "notebook/files/file.h"
#include "notebook/files/utf.h"
#include "notebook/postgres_server.h"
#include "notebook/store/notebook_store.h"

namespace ktnotebook {
namespace {

constexpr int kForms = 300;
constexpr int kRows = 20;

// F0, F1, ...: A is typed in, B is twice of it, Sum is over all of B.
std::string Forms(int count) {
  std::string text = "<notebook>";
  for (int form = 0; form < count; ++form) {
    const auto key = [form](int number) { return std::to_string(10 * form + number); };
    text += "<form name='F" + std::to_string(form) + "'><table name='T' key='" + key(1) + "'>";
    for (const auto& [number, name] : {std::pair{1, "A"}, {2, "B"}, {3, "Sum"}})
      text += "<property key='" + key(number) + "' name='" + name + "' type='number'/>";
    for (int row = 1; row <= kRows; ++row)
      text +=
          "<row id='" + std::to_string(row) + "'><cell property='A' state='entered'>1</cell></row>";
    text +=
        "<fieldListener progID='KtFormula9.FormulaListener' name='L' position='1'>"
        "<propertyFormula name='B'>[A]*2</propertyFormula><propertyFormula name='Sum'>"
        "SUM([B])</propertyFormula></fieldListener></table></form>";
  }
  return text + "</notebook>";
}

std::string OnDatabase(const std::string& arguments, const std::string& database) {
  return "exec " KT_NOTEBOOK_PROGRAM " " + arguments + " --db '" + database + "' >/dev/null";
}

// A database of forms whose results are none, and that counts how often each became current.
struct Outdated {
  Outdated(const std::string& path, const std::string& xml, const std::string& trigger)
      : database(path) {
    Program({"import", xml, "--db", path});
    const auto connection = OpenDatabase(path, false);
    connection->Run("CREATE TABLE made_current(form_key INTEGER)");
    for (std::size_t start = 0; start < trigger.size();) {
      const std::size_t end = trigger.find('\n', start);
      connection->Run(trigger.substr(start, end - start));
      start = end + 1;
    }
    connection->Run(
        "UPDATE notebook_cells SET text = 'old', min_number = 7, max_number = 7 WHERE state = ''");
    connection->Run("UPDATE notebook_forms SET computed_with = NULL");
  }

  NotebookStore Store() const { return {OpenDatabase(database, false), false}; }
  std::int64_t Current() const { return Store().CountForms().current; }

  // Types numbers into random cells until it is told to stop, and some at least.
  void Edit() {
    std::mt19937 random(20261121);
    for (int edit = 0; edit < 60 || !is_over; ++edit) {
      const auto form = random() % kForms;
      const auto row = random() % kRows;
      const std::string address = "F" + std::to_string(form) + "/T:A:" + std::to_string(row + 1);
      EXPECT_TRUE(
          Succeeds(Start(OnDatabase("set " + address + " " + std::to_string(edit), database))))
          << address;
      typed[form][row] = edit;
    }
  }

  // Every form became current once, what was typed is there, and the results are right.
  void ExpectAllCurrent() const {
    const NotebookStore store = Store();
    EXPECT_EQ(store.OutdatedForms().size(), 0U);
    for (const auto& row :
         store.Connection()
             .Run("SELECT f.name, (SELECT COUNT(*) FROM made_current m WHERE m.form_key = "
                  "f.form_key) FROM notebook_forms f")
             .rows)
      EXPECT_EQ(row[1], DbValue(std::int64_t{1})) << std::get<std::string>(row[0]);
    for (std::size_t form = 0; form < kForms; ++form) {
      const Notebook notebook = store.Load(FromStoredUtf8("F" + std::to_string(form)));
      int sum = 0;
      for (const int number : typed[form])
        sum += 2 * number;
      for (const NotebookRow row : notebook.forms[0]->Tables()[0]->Rows()) {
        const int number = typed[form][row.Index()];
        std::string texts;
        for (std::size_t column = 0; column < 3; ++column)
          texts += ToUtf8(row.CellAt(column).Text()) + " ";
        EXPECT_EQ(texts, std::to_string(number) + " " + std::to_string(2 * number) + " " +
                             std::to_string(sum) + " ")
            << "F" << form;
      }
    }
  }

  std::string database;
  std::atomic<bool> is_over = false;
  std::array<std::array<int, kRows>, kForms> typed = [] {
    std::array<std::array<int, kRows>, kForms> ones{};
    for (auto& form : ones)
      form.fill(1);
    return ones;
  }();
};

struct WorkersTest : ::testing::Test {
  WorkersTest() { WriteWholeFile(folder.File("n.xml"), Forms(kForms)); }
  TemporaryFolder folder;
};

TEST_F(WorkersTest, OneWorkerAndAnEditorInAFile) {
  Outdated forms(
      folder.File("n.db"), folder.File("n.xml"),
      "CREATE TRIGGER made AFTER UPDATE ON notebook_forms WHEN OLD.computed_with IS NULL "
      "AND NEW.computed_with IS NOT NULL BEGIN INSERT INTO made_current "
      "VALUES(NEW.form_key); END\n");
  std::thread editor([&forms] { forms.Edit(); });
  EXPECT_TRUE(Succeeds(Start(OnDatabase("recalculate --all", forms.database))));
  forms.is_over = true;
  editor.join();
  forms.ExpectAllCurrent();
}

struct WorkersOnAServerTest : WorkersTest {
  static void SetUpTestSuite() { server = std::make_unique<PostgresServer>(); }
  static void TearDownTestSuite() { server.reset(); }

  WorkersOnAServerTest() {
    static int count = 0;
    const std::string name = "notebooks" + std::to_string(++count);
    OpenDatabase(server->Url("postgres"), false)->Run("CREATE DATABASE " + name);
    url = server->Url(name);
  }

  static std::unique_ptr<PostgresServer> server;
  std::string url;
};
std::unique_ptr<PostgresServer> WorkersOnAServerTest::server;

// One of the workers stands still with whatever it holds, and dies; another is interrupted.
TEST_F(WorkersOnAServerTest, FourWorkersOneOfWhichDiesAndAnEditor) {
  Outdated forms(url, folder.File("n.xml"),
                 "CREATE FUNCTION made() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN INSERT INTO "
                 "made_current VALUES(NEW.form_key); RETURN NEW; END'\n"
                 "CREATE TRIGGER made AFTER UPDATE ON notebook_forms FOR EACH ROW WHEN "
                 "(OLD.computed_with IS NULL AND NEW.computed_with IS NOT NULL) EXECUTE FUNCTION "
                 "made()\n");
  std::vector<pid_t> workers;
  for (int worker = 0; worker < 4; ++worker)
    workers.push_back(Start(OnDatabase("recalculate --all", url)));
  std::thread editor([&forms] { forms.Edit(); });
  const auto wait_for = [&forms](std::int64_t current) {
    while (forms.Current() < current)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
  };
  wait_for(kForms / 4);
  kill(workers.back(), SIGSTOP);
  wait_for(kForms / 2);
  EXPECT_LT(forms.Current(), kForms);
  kill(workers.back(), SIGKILL);
  EXPECT_FALSE(Succeeds(workers.back()));
  workers.pop_back();
  kill(workers.back(), SIGINT);
  int status = 0;
  waitpid(workers.back(), &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == kExitInterrupted) << status;
  workers.pop_back();
  for (const pid_t worker : workers)
    EXPECT_TRUE(Succeeds(worker));
  forms.is_over = true;
  editor.join();
  forms.ExpectAllCurrent();
}

// Somebody has a form in hand for long: others work on other forms, may make new ones, and are told
// by name which one is not to be had.
TEST_F(WorkersOnAServerTest, AFormInHandKeepsNobodyFromOthers) {
  WriteWholeFile(folder.File("two.xml"), Forms(2));
  Program({"import", folder.File("two.xml"), "--db", url});
  const NotebookStore store(OpenDatabase(url, false), false);
  const Transaction holding(store.Connection(), TransactionKind::kChangingForms);
  store.LoadForChange(std::vector<std::u16string>{u"F0"});
  for (const Arguments& command : {Arguments{"set", "F1/T:A:1", "2"},
                                   {"add", "F1/New"},
                                   {"new", "F2"},
                                   {"show", "F0"},
                                   {"recalculate", "--all"}}) {
    Arguments arguments = command;
    arguments.insert(arguments.end(), {"--db", url});
    EXPECT_EQ(Program(arguments).status, 0) << command[0];
  }
  const Program refused({"set", "F0/T:A:1", "2", "--db", url});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err.str(),
            "ktnotebook: the form \"F0\" is being recalculated, or changed by somebody else; try "
            "again later\n");
}

TEST_F(WorkersOnAServerTest, TablesOfBeforeAreBroughtUpToDateByWhoeverIsFirst) {
  Program({"import", folder.File("n.xml"), "--db", url});
  const auto database = OpenDatabase(url, false);
  for (const std::string column : {"locale", "computed_with", "version"})
    database->Run("ALTER TABLE notebook_forms DROP COLUMN " + column);
  database->Run("UPDATE notebook_schema SET version = 1");
  EXPECT_EQ(Program({"set", "F0/T:A:1", "2", "--db", url}).status, 0);
  std::vector<pid_t> workers;
  for (int worker = 0; worker < 4; ++worker)
    workers.push_back(Start(OnDatabase("recalculate --all", url)));
  for (const pid_t worker : workers)
    EXPECT_TRUE(Succeeds(worker));
  const NotebookStore store(database, false);
  EXPECT_TRUE(store.IsUpToDate());
  EXPECT_EQ(store.CountForms().current, kForms);
}

// What makes results outdated and current again, and what is told of forms that can not be
// recalculated.
TEST_F(WorkersTest, FormsThatAreNotCurrentAreRecalculatedAndFailuresTold) {
  WriteWholeFile(folder.File("n.xml"), Forms(4));
  const std::string path = folder.File("n.db");
  const auto run = [&path](Arguments arguments) {
    arguments.insert(arguments.end(), {"--db", path});
    const Program program(arguments);
    return std::to_string(program.status) + " " + program.out.str() + program.err.str();
  };
  run({"import", folder.File("n.xml")});
  run({"set", "F0/T:A:1", "3"});
  run({"formula", "F1/T:B", "[A]*3"});
  run({"definition", "F1/T:x", "1"});
  run({"rename", "F2/T:A", "N"});
  run({"new", "G"});
  EXPECT_EQ(run({"list", "--outdated"}), "0 ");
  EXPECT_EQ(run({"recalculate", "--all"}), "0 recalculated 0 forms here; all 5 are current\n");
  const NotebookStore store(OpenDatabase(path, false), false);
  Database& database = store.Connection();
  // A listener that was stored without a recalculation; another version; other units; damages.
  const Notebook changed = store.Load(u"F0");
  NotebookTable& table = *changed.forms[0]->Tables()[0];
  Notebook& notebook = const_cast<Notebook&>(changed);
  store.SaveListener(notebook, table, *table.Listeners()[0]);
  database.Run("UPDATE notebook_forms SET computed_with = 'ktnotebook 0.0.1' WHERE name = 'F1'");
  database.Run("UPDATE notebook_forms SET computed_with = NULL WHERE name IN ('F2', 'F3')");
  database.Run(
      "UPDATE ELN_field_listeners SET prog_id = 'No.Such' WHERE field_key = (SELECT field_key FROM "
      "notebook_fields JOIN notebook_forms USING(form_key) WHERE notebook_forms.name = 'F2')");
  EXPECT_EQ(run({"list", "--outdated"}), "0 F0\nF1\nF2\nF3\n");
  const std::string failure = "the program identifier \"No.Such\" is not known";
  EXPECT_EQ(run({"recalculate", "--all"}),
            "1 recalculated 3 forms here; 4 of 5 are current\nerror: form \"F2\" can not be "
            "recalculated: " +
                failure + "\n");
  EXPECT_EQ(run({"list", "--outdated"}), "0 F2\n");
  // Not settled, and current all the same: the program would find nothing else.
  run({"formula", "F3/T:B", "[B]+1"});
  database.Run("UPDATE notebook_forms SET computed_with = NULL WHERE name = 'F3'");
  const std::string json = run({"recalculate", "--all", "--json", "--strict"});
  EXPECT_TRUE(json.starts_with(R"(1 {"recalculated":[{"name":"F3","settled":false,"rounds":41)"))
      << json;
  EXPECT_NE(
      json.find(R"("failed":[{"name":"F2","reason":"the program identifier \"No.Such\" is not )"
                R"(known"}],"forms":5,"current":4,"problems":[{"code":)"),
      std::string::npos)
      << json;
  database.Run("UPDATE notebook_forms SET computed_with = NULL WHERE name = 'F3'");
  database.Run("DELETE FROM notebook_forms WHERE name = 'F2'");
  const std::string unsettled = run({"recalculate", "--all", "--strict"});
  EXPECT_TRUE(
      unsettled.starts_with("3 recalculated 1 form here; all 4 are current\nwarning: form "
                            "\"F3\" has not settled after 41 rounds\n"))
      << unsettled;
}

}  // namespace
}  // namespace ktnotebook
