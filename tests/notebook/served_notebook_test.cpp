// What pages read and change at once: answers, what is in the database then, and what others do.
#include "notebook/page/served_notebook.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "program.h"
#include "served.h"

#include "notebook/commands/json_output.h"
#include "notebook/files/file.h"
#include "notebook/files/utf.h"
#include "notebook/page/api_routes.h"
#include "notebook/page/served_file.h"

namespace ktnotebook {
namespace {

constexpr std::string_view kNotebook = R"(<notebook>
  <form name="F">
    <table name="T" key="1">
      <property key="11" name="A" type="number" unit="g" numberFormatting="true"/>
      <property key="12" name="B" type="number" unit="mg" numberFormatting="true"/>
      <property key="13" name="C" type="number"/>
      <property key="14" name="D" type="date"/>
      <row id="x"><cell property="A" state="entered">2.00 g</cell></row>
      <row id="y"><cell property="A" state="entered">1.5 g</cell></row>
      <row id="3"/>
      <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
        <propertyFormula name="B">[A]*2</propertyFormula>
        <propertyFormula name="C">[A]/total</propertyFormula>
        <definition name="total">SUM([A])</definition></fieldListener>
    </table>
    <table name="U" key="2"><property key="21" name="N" type="string"/></table>
  </form>
</notebook>)";

class ServedNotebookTest : public ::testing::Test {
 protected:
  ServedNotebookTest() {
    WriteWholeFile(folder.File("n.xml"), kNotebook);
    Program({"import", folder.File("n.xml"), "--db", database});
  }

  // The form as somebody sees it who reads the database anew.
  std::string Stored() const {
    return Program({"show", "F", "--db", database, "--json"}).out.str();
  }
  static std::string InMemory(Served& served) {
    const Json form = Json::parse(served.Ask("GET", "forms/F").body)["forms"][0];
    Json shown = form;
    shown.erase("settled");
    shown.erase("rounds");
    return Json{{"forms", {shown}}}.dump();
  }

  Events events;
  TemporaryFolder folder;
  std::string database = folder.File("n.db");
};

TEST_F(ServedNotebookTest, AnswersRequests) {
  struct Case {
    std::string method, path, query, body;
    int status;
    // What the answer says somewhere.
    std::string says;
  };
  const Case cases[]{
      {"GET", "forms", "", "", 200, R"(["F"])"},
      {"GET", "nothing", "", "", 404, "there is no /api/nothing"},
      {"PUT", "forms", "", "", 405, "there is no PUT"},
      {"GET", "structure/G", "", "", 404, "there is no form"},
      {"GET", "structure/F", "", "", 200, R"("formula":"[A]/total")"},
      {"GET", "rows/F/T", "count=1", "", 200, R"("count":3,"from":0,"rows":[{"id":"x",)"},
      {"GET", "rows/F/T", "from=99", "", 200, R"("from":3,"rows":[])"},
      {"GET", "rows/F/T", "count=-1", "", 400, "count is no number"},
      {"GET", "rows/F/V", "", "", 404, "there is no"},
      {"GET", "place/F/T:A:y", "", "", 200,
       R"({"form":"F","table":"T","column":"A","row":"y","index":1})"},
      {"GET", "place/F/T::y", "", "", 200, R"("column":null,"row":"y","index":1})"},
      {"PUT", "cells/F/T:A:y", "", R"({"text":"3 g","was":"1.5 g"})", 200, R"("B":{"text":"6 g")"},
      {"PUT", "cells/F/T:A:y", "", R"({"text":"4 g","was":"1.5 g"})", 409, R"("present":"3 g")"},
      {"PUT", "cells/F/T:A:y", "locale=de_DE", R"({"text":"2,5 g","was":"3 g"})", 200, "2,5 g"},
      {"PUT", "cells/F/T:A:y", "", R"({"text":"2,5 g"})", 422, R"("meant":"2.5 g")"},
      {"PUT", "cells/F/T:D:y", "", R"({"text":"no day"})", 422, "is no date"},
      {"PUT", "cells/F/T:A:q", "", R"({"text":"1"})", 404, "there is no row"},
      {"PUT", "cells/F/T:A:y", "", R"({"text":1})", 400, R"(\"text\" is no text)"},
      {"PUT", "cells/F/T:A:y", "", R"(["text"])", 400, "no JSON object"},
      {"PUT", "cells/F/T:A:y", "", R"({"text":"a\u0000b"})", 422, "U+0000"},
      {"PUT", "cells/F/T:A:y", "", "{\"text\":\"\xFF\"}", 400, "no JSON object"},
      {"PUT", "cells/F/T:A:y", "", R"({"text":[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]})", 400,
       "nested too"},
      {"PUT", "cells/F/T:A:y", "", R"({"text":"1 g","was":"2.5 g"})", 200, R"("rounds":2)"},
      {"POST", "blocks/F/T", "", R"({"column":"C","row":0,"texts":[["1","2"],["3"]]})", 422,
       R"(for \"D\")"},
      {"POST", "blocks/F/T", "", R"({"column":"D","row":0,"texts":[["",""]]})", 422,
       "more columns"},
      {"POST", "blocks/F/T", "",
       R"({"column":"A","row":2,"texts":[["5 g"],["7 g"]],"was":[["1"]]})", 409,
       R"({"cell":"F/T:A:3","present":""})"},
      {"POST", "blocks/F/T", "", R"({"column":"A","row":2,"texts":[["5 g"],["7 g"]],"was":[[""]]})",
       200, R"({"id":"4","cells":{"A":{"text":"7 g")"},
      {"POST", "rows/F/T", "", R"({"at":0})", 200, R"("ids":["5"]})"},
      {"POST", "undo/F", "", R"({"step":1})", 409, "not the last"},
      {"GET", "find/F", "text=14 G", "", 200, R"("cell":"F/T:B:4","table":"T")"},
      {"GET", "find/F", "text=none", "", 200, R"({"cell":null})"},
  };
  Served served(database);
  for (const Case& test : cases) {
    const ApiAnswer answer = served.Ask(test.method, test.path, test.body, test.query);
    EXPECT_EQ(answer.status, test.status) << test.path << ' ' << test.body << ' ' << answer.body;
    EXPECT_NE(answer.body.find(test.says), std::string::npos) << test.path << ' ' << answer.body;
    EXPECT_FALSE(Json::parse(answer.body, nullptr, false).is_discarded()) << answer.body;
  }
  EXPECT_EQ(Json::parse(InMemory(served)), Json::parse(Stored()));
}

// After each of many changes, undone and done again, the database has what the page sees.
TEST_F(ServedNotebookTest, RandomChangesAreStoredAsTheyAre) {
  Served served(database);
  std::mt19937 random(7);
  const auto pick = [&](std::size_t count) { return random() % count; };
  const std::string texts[]{"1 g", "2.50 g", "", "n.d.", "0.1 .. 0.2 g", "3"};
  const auto step_of = [&](const char* which) {
    const Json step = Json::parse(served.Ask("GET", "structure/F").body)[which];
    return step.is_null() ? std::string() : "{\"step\":" + step["step"].dump() + "}";
  };
  for (int change = 0; change < 80; ++change) {
    const Json rows = Json::parse(served.Ask("GET", "rows/F/T").body);
    const std::size_t count = rows["count"];
    ApiAnswer answer;
    switch (pick(6)) {
      case 0:
      case 1:
        answer =
            served.Ask("PUT", "cells/F/T:A:" + rows["rows"][pick(count)]["id"].get<std::string>(),
                       Json{{"text", texts[pick(6)]}}.dump());
        break;
      case 2:
        answer = served.Ask("POST", "blocks/F/T",
                            Json{{"column", "A"},
                                 {"row", pick(count + 1)},
                                 {"texts", {{texts[pick(6)], texts[pick(6)]}, {texts[pick(6)]}}}}
                                .dump());
        break;
      case 3: answer = served.Ask("POST", "rows/F/T", Json{{"at", pick(count)}}.dump()); break;
      case 4: answer = served.Ask("POST", "undo/F", step_of("undo")); break;
      default: answer = served.Ask("POST", "redo/F", step_of("redo")); break;
    }
    ASSERT_TRUE(answer.status == 200 || answer.status == 400) << answer.body;
    ASSERT_EQ(Json::parse(InMemory(served)), Json::parse(Stored())) << change << answer.body;
  }
  for (std::string step = step_of("undo"); !step.empty(); step = step_of("undo"))
    ASSERT_EQ(served.Ask("POST", "undo/F", step).status, 200);
  EXPECT_NE(Stored().find(R"({"id":"y","cells":{"A":{"text":"1.5 g")"), std::string::npos);
  EXPECT_EQ(Json::parse(InMemory(served)), Json::parse(Stored()));
}

// Others change the database: pages are told, and what they typed meets what is there.
TEST_F(ServedNotebookTest, ChangesOfOtherProgramsAreSeen) {
  Served served(database);
  EXPECT_EQ(served.Ask("PUT", "cells/F/T:A:x", R"({"text":"1 g"})").status, 200);
  EXPECT_EQ(served.events.Take().back()["by"], "page");
  Program({"set", "F/T:A:x", "8 g", "--db", database});
  const ApiAnswer answer = served.Ask("PUT", "cells/F/T:A:x", R"({"text":"2 g","was":"1 g"})");
  EXPECT_EQ(answer.status, 409);
  EXPECT_EQ(Json::parse(answer.body)["present"], "8 g");
  EXPECT_EQ(served.events.Take().front()["by"], "");
  EXPECT_NE(served.Ask("GET", "rows/F/T").body.find("\"8 g\""), std::string::npos);
  Program({"rename", "F", "G", "--db", database});
  Program({"new", "H", "--db", database});
  EXPECT_EQ(served.Ask("GET", "forms").body, "[\"G\",\"H\"]\n");
  Program({"remove", "G", "--force", "--db", database});
  EXPECT_EQ(served.Ask("GET", "forms").body, "[\"H\"]\n");
  std::vector<std::string> told;
  for (const Json& event : served.events.Take())
    told.push_back(event["what"].get<std::string>() + event.value("name", ""));
  EXPECT_EQ(told, (std::vector<std::string>{"structureG", "new", "removed"}));
}

// Results that are too many to wait for: the database knows that they are missing, until they are
// there.
TEST_F(ServedNotebookTest, ManyResultsAreStoredLater) {
  const auto outdated = [&] { return Program({"list", "--outdated", "--db", database}).out.str(); };
  std::string lines = "A\n";
  for (int row = 1; row <= 3000; ++row)
    lines += std::to_string(row) + "\n";
  WriteWholeFile(folder.File("c.csv"), lines);
  Program({"recalculate", folder.File("c.csv"), "--formula", "B=[A]/SUM([A])", "-o",
           folder.File("c.xml")});
  Program({"import", folder.File("c.xml"), "--db", database});
  ASSERT_EQ(outdated(), "");
  std::string before;
  {
    Served served(database);
    EXPECT_EQ(served.Ask("PUT", "cells/c/c:A:1", R"({"text":"2"})", "report=brief").status, 200);
    EXPECT_EQ(served.Ask("PATCH", "parts/c/c:A", R"({"name":"B"})").status, 422);
    EXPECT_EQ(outdated(), "c\n");
    // Somebody else who looks now sees the typed text.
    EXPECT_NE(Program({"show", "c", "--db", database, "--json"}).out.str().find(R"("text":"2")"),
              std::string::npos);
    before = served.Ask("GET", "rows/c/c", "", "count=1000").body;
  }
  EXPECT_EQ(outdated(), "");
  Served served(database);
  Json rows = Json::parse(before),
       now = Json::parse(served.Ask("GET", "rows/c/c", "", "count=1000").body);
  EXPECT_EQ(rows["rows"], now["rows"]);
}

// A file is written when there is time; what a sudden end left is taken up, unless somebody else
// has written the file.
TEST_F(ServedNotebookTest, AFileIsServedThroughADatabaseBesideIt) {
  const std::string path = folder.File("n.xml"), left = path + ".serving.db";
  const std::string request = R"({"text":"7.5 g"})";
  const auto has_change = [&] { return ReadWholeFile(path).find("7.5 g") != std::string::npos; };
  {
    ServedFile file(path);
    const std::string link = folder.File("link");
    std::filesystem::create_symlink(path, link);
    EXPECT_THROW(ServedFile{link}, NotebookError);
    ServedNotebook notebook(file.Connection(), events);
    NotebookApi api(notebook);
    EXPECT_EQ(api.Answer({"PUT", "cells/F/T:A:x", {}, request, ""}).status, 200);
  }
  EXPECT_FALSE(has_change());
  const std::string before = ReadWholeFile(path);
  WriteWholeFile(path, before + "<!-- another -->");
  EXPECT_THROW(ServedFile{path}, NotebookError);
  WriteWholeFile(path, before);
  {
    ServedFile file(path);
    EXPECT_NE(file.Note().find("taken up"), std::string::npos);
    ServedNotebook notebook(file.Connection(), events, file.Locale());
    NotebookApi api(notebook);
    // What comes to it can be read with it.
    EXPECT_EQ(api.Answer({"POST", "import", {}, before, ""}).status, 201);
    EXPECT_EQ(api.Answer({"POST", "import", {}, "<notebook locale=\"de_DE\"/>", ""}).status, 422);
    file.Follow(notebook, events);
    file.Finish();
  }
  EXPECT_TRUE(has_change());
  EXPECT_FALSE(std::filesystem::exists(left));
  ServedFile file(path);
  EXPECT_EQ(file.Note(), "");
  ServedNotebook notebook(file.Connection(), events);
  NotebookApi api(notebook);
  file.Follow(notebook, events);
  EXPECT_EQ(api.Answer({"PUT", "cells/F/T:A:x", {}, request, ""}).status, 200);
  WriteWholeFile(path, before);
  EXPECT_THROW(file.Finish(), NotebookError);
  EXPECT_EQ(ReadWholeFile(path), before);
  EXPECT_TRUE(std::filesystem::exists(left));
}

}  // namespace
}  // namespace ktnotebook
