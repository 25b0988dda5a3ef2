// Notebooks on a real PostgreSQL server that the tests start and stop: the same behaviour as in a
// file, several users at once, and sudden ends.
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>

#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"
#include "notebook/postgres_server.h"
#include "notebook/store/notebook_store.h"

namespace ktnotebook {
namespace {

constexpr std::string_view kNotebook = R"(<notebook><form name="F'; --">
  <table name="T&quot;$1" key="1"><property key="1" name="A\'" type="number"/>
    <property key="2" name="C" type="string"/><row id="x"><tag name="t']]&gt;">1</tag></row>
    <row id="y"><cell property="A\'" state="entered" tag="t">n.d.</cell></row>
    <fieldListener progID="KtFormula9.FormulaListener" name="L\'" position="1" resultFormat="X">
      <propertyFormula name="C">"\'" &amp; [A\'] &amp; "'); --\"</propertyFormula>
      <definition name="f'">"'); --\"</definition></fieldListener></table></form>
  <form name="G"><table name="T" key="2"><property key="21" name="A" type="number"/>
    <property key="22" name="B" type="number" numberFormatting="true"/>
    <property key="23" name="Sum" type="number"/><row id="1"><cell property="A">0</cell></row>
    <row id="2"><cell property="A">0</cell></row><row id="3"><cell property="A">0</cell></row>
    <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1"><propertyFormula
      name="B">[A]/7</propertyFormula><propertyFormula name="Sum">SUM([A])</propertyFormula>
    </fieldListener></table><field name="'"> &#13;&#x1F9EA; </field>
  <table name="U" key="3"><property key="31" name="A" type="number"/></table></form></notebook>)";

struct PostgresTest : ::testing::Test {
  static void SetUpTestSuite() { server = std::make_unique<PostgresServer>(); }
  static void TearDownTestSuite() { server.reset(); }

  PostgresTest() {
    static int count = 0;
    const std::string name = "notebooks" + std::to_string(++count);
    OpenDatabase(server->Url("postgres"), false)->Run("CREATE DATABASE " + name);
    // The user's own defaults must change nothing.
    url = server->Url(name) + "&options=-cdefault_transaction_isolation%3Dserializable" +
          "%20-cextra_float_digits%3D0%20-cstandard_conforming_strings%3Doff";
    WriteWholeFile(folder.File("n.xml"), kNotebook);
    Command({"import", folder.File("n.xml")}, url);
  }

  static std::string Command(Arguments arguments, const std::string& database) {
    arguments.insert(arguments.end(), {"--db", database});
    const Program program(arguments);
    return program.out.str() + program.err.str();
  }
  pid_t Set(const std::string& cell, int value) const {
    return Start("exec " KT_NOTEBOOK_PROGRAM " set G/T:" + cell + " " + std::to_string(value) +
                 " --db '" + url + "' >/dev/null");
  }
  // The first column's numbers; the other columns must fit them.
  std::vector<double> Numbers() const {
    std::vector<double> all;
    const std::string cells = "SELECT min_number FROM notebook_cells WHERE property_key > 20 ";
    const std::string order = "ORDER BY property_key, row_position";
    for (const auto& row : OpenDatabase(url, false)->Run(cells + order).rows)
      all.push_back(std::get<double>(row[0]));
    all.resize(9);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(all[3 + i], all[i] / 7);
      EXPECT_EQ(all[6 + i], all[0] + all[1] + all[2]);
    }
    return {all[0], all[1], all[2]};
  }

  static std::unique_ptr<PostgresServer> server;
  TemporaryFolder folder;
  std::string url;
};
std::unique_ptr<PostgresServer> PostgresTest::server;

TEST_F(PostgresTest, BehavesAsADatabaseInAFile) {
  Command({"import", folder.File("n.xml")}, folder.File("n.db"));
  const Arguments commands[] = {{"export", "F'; --"},
                                {"set", "G/T:A:1", "1"},
                                {"set", "G/T:A:2", "x\\'"},
                                {"export", "G"},
                                {"set", "F'; --/T\"$1:A\\':x", "3"},
                                {"formula", "G/T:B", "[A]*[f]", "--format", "0.0"},
                                {"definition", "G/T:f", "7 & \"\\'\""},
                                {"export", "G"},
                                {"import", folder.File("n.xml")},
                                {"new", "N\\'"},
                                {"add", "G/V", "--at", "1"},
                                {"add", "G/V:E", "--unit", "mg"},
                                {"add", "G/V::\\'", "--tag", "a=\\'"},
                                {"rename", "G/T:A", "a\\'"},
                                {"move", "G/T::3", "--at", "1"},
                                {"remove", "G/T::2"},
                                {"remove", "G/T:B"},
                                {"remove", "G/U"},
                                {"rename", "G", "g\\'"},
                                {"export", "g\\'"},
                                {"remove", "N\\'"},
                                {"list"}};
  for (const Arguments& command : commands)
    EXPECT_EQ(Command(command, url), Command(command, folder.File("n.db"))) << command[0];
  EXPECT_NE(Command({"export", "F'; --"}, url).find("\\'n.d.'); --\\<"), std::string::npos);
  // Tables of before notebooks had a locale.
  for (const std::string column : {"locale", "computed_with", "version"})
    OpenDatabase(url, false)->Run("ALTER TABLE notebook_forms DROP COLUMN " + column);
  OpenDatabase(url, false)->Run("UPDATE notebook_schema SET version = 1");
  EXPECT_EQ(Command({"export", "G"}, url), Command({"export", "G"}, folder.File("n.db")));
  WriteWholeFile(folder.File("de.xml"), "<notebook locale=\"de_DE\"><form name=\"H\"/></notebook>");
  Command({"import", folder.File("de.xml")}, url);
  EXPECT_NE(Command({"export", "H"}, url).find("locale=\"de_DE\""), std::string::npos);
  const std::string cut("a\0b", 3);
  EXPECT_THROW(OpenDatabase(url, false)->Run("SELECT $1::text", {cut}), NotebookError);
}

TEST_F(PostgresTest, KeysOfListenersComeFromTheSequence) {
  const auto database = OpenDatabase(url, false);
  EXPECT_EQ(database->Helper()->KeyColumnFragment(u"field_listener_key"), u"field_listener_key, ");
  EXPECT_EQ(database->Helper()->NextKeyExpression(u"KtS_field_listeners"),
            u"nextval('KtS_field_listeners'), ");
  database->Run("SELECT setval('KtS_field_listeners', 41)");
  Command({"formula", "G/U:A", "1+1"}, url);
  const auto keys = database->Run("SELECT SUM(field_listener_key)::int FROM ELN_field_listeners");
  EXPECT_EQ(keys.rows[0][0], DbValue(std::int64_t{1 + 2 + 42}));
}

TEST_F(PostgresTest, WritersAtOnceLoseNothingAndTearNothing) {
  for (int round = 1; round <= 5; ++round) {
    for (const pid_t writer :
         {Set("A:1", round), Set("A:2", 10 * round), Set("A:3", 6), Set("A:3", 9)})
      EXPECT_TRUE(Succeeds(writer));
    const auto numbers = Numbers();
    EXPECT_EQ(numbers[0], round);
    EXPECT_EQ(numbers[1], 10 * round);
    EXPECT_TRUE(numbers[2] == 6 || numbers[2] == 9) << numbers[2];
  }
  EXPECT_TRUE(Succeeds(Set("A:3", 6)) && Succeeds(Set("A:3", 9)));
  EXPECT_EQ(Numbers()[2], 9);
}

TEST_F(PostgresTest, AKilledWriterLeavesTheStateBeforeOrAfter) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(Succeeds(Set("A:1", 0)));
  const auto whole = std::chrono::steady_clock::now() - start;
  double before = 0;
  for (int trial = 1; trial <= 20; ++trial) {
    const pid_t writer = Set("A:1", trial);
    std::this_thread::sleep_for(whole * trial / 20);
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    // The next writer is not kept waiting.
    EXPECT_TRUE(Succeeds(Set("A:2", trial)));
    const auto numbers = Numbers();
    EXPECT_TRUE(numbers[0] == before || numbers[0] == trial) << numbers[0];
    EXPECT_EQ(numbers[1], trial);
    before = numbers[0];
  }
}

TEST_F(PostgresTest, ALostConnectionIsOpenedAnewAndItsTransactionIsLost) {
  const auto database = OpenDatabase(url, false);
  const auto lose = [] {
    OpenDatabase(server->Url("postgres"), false)
        ->Run(
            "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE "
            "backend_type = 'client backend' AND pid <> pg_backend_pid()");
  };
  lose();
  EXPECT_THROW(database->Run("SELECT 1"), NotebookError);
  EXPECT_NO_THROW(database->Run("SELECT 1"));
  {
    Transaction transaction(*database, TransactionKind::kChangingForms);
    lose();
    for (int attempt = 0; attempt < 2; ++attempt)
      EXPECT_THROW(database->Run("SELECT 1"), NotebookError);
    EXPECT_THROW(transaction.Commit(), NotebookError);
  }
  EXPECT_NO_THROW(database->Run("SELECT 1"));
}

TEST_F(PostgresTest, WhatCanNotBeReachedIsSaid) {
  const std::pair<std::string, std::string> cases[] = {
      {"postgresql://postgres@/x?host=" + folder.path, "failed: No such file or directory\n"},
      {"postgresql://127.0.0.1:1/x", "failed: Connection refused\n"},
      {server->Url("nowhere"), "database \"nowhere\" does not exist\n"},
      {server->Url("postgres"), "the database holds no notebooks; import one first\n"}};
  for (const auto& [target, reason] : cases) {
    const Program program({"set", "F/T:A:1", "1", "--db", target});
    EXPECT_EQ(program.status, 1) << target;
    EXPECT_TRUE(program.err.str().ends_with(reason)) << program.err.str();
  }
}

}  // namespace
}  // namespace ktnotebook
