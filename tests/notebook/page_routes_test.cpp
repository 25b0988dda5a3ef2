// Requests of the page one by one: status, and what the answer says.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "program.h"
#include "served.h"

#include "notebook/files/utf.h"

namespace ktnotebook {
namespace {

struct Request {
  std::string method, path, query, body;
  int status;
  // What the answer says somewhere.
  std::string says;
};

class PageRoutes : public ::testing::Test {
 protected:
  PageRoutes() { Program({"import", KT_SOURCE_DIR "/examples/aspirin.xml", "--db", database_}); }

  ApiAnswer Ask(const Request& request) {
    ApiAnswer answer = served_->Ask(request.method, request.path, request.body, request.query);
    EXPECT_EQ(answer.status, request.status)
        << request.path << ' ' << request.body << ' ' << answer.body;
    EXPECT_NE(answer.body.find(request.says), std::string::npos)
        << request.path << ' ' << request.body << ' ' << answer.body;
    const bool is_json = answer.content_type == "application/json";
    EXPECT_TRUE(!is_json || Json::accept(answer.body)) << request.path << ' ' << answer.body;
    return answer;
  }
  Json Get(const std::string& path) { return Json::parse(served_->Ask("GET", path).body); }

  // The cell's text.
  std::string Cell(const std::string& table, std::size_t row, const std::string& column) {
    return Get("rows/Aspirin/" + table)["rows"][row]["cells"][column]["text"];
  }
  // Undoes the last step, or does it again, in memory and in the database.
  void Repeat(const std::string& which) {
    const Json step{{"step", Get("structure/Aspirin")[which]["step"]}};
    EXPECT_EQ(served_->Ask("POST", which + "/Aspirin", step.dump()).status, 200);
  }
  // What the database has, seen by another program.
  std::string Stored() const { return Program({"export", "Aspirin", "--db", database_}).out.str(); }

  TemporaryFolder folder_;
  std::string database_ = folder_.File("n.db");
  std::unique_ptr<Served> served_ = [this] { return std::make_unique<Served>(database_); }();
};

TEST_F(PageRoutes, AnswerOneAfterTheOther) {
  const Request requests[]{
      {"GET", "formulas/Aspirin/Products:Yield", "", "", 200,
       R"({"form":"Aspirin","table":"Products","column":"Yield","formula":"[Mass]/[Theory]","format":"%"})"},
      {"GET", "formulas/Aspirin/Products:MW", "", "", 200, R"("formula":null,"format":null)"},
      {"GET", "formulas/Aspirin/Products:Yeld", "", "", 404, R"(did you mean \"Yield\"?)"},
      {"PUT", "formulas/Aspirin/Products:Yield", "",
       R"({"formula":"[Mass]/[Theory]*2","was":"[Mass]"})", 409, R"("present":"[Mass]/[Theory]")"},
      {"PUT", "formulas/Aspirin/Products:Yield", "",
       R"({"formula":"[Mass]/[Theory]*2","was":"[Mass]/[Theory]"})", 200,
       R"("Yield":{"text":"171%")"},
      {"PUT", "formulas/Aspirin/Products:Yield", "", R"({"format":""})", 200, R"("text":"1.71")"},
      {"PUT", "formulas/Aspirin/Products:MW", "", R"({"format":"%"})", 422, "has no formula"},
      {"PUT", "formulas/Aspirin/Products:Yield", "", "{}", 400, R"(no \"formula\")"},
      {"PUT", "formulas/Aspirin/Products:Yield", "", R"({"formula":7})", 400, "is no text"},
      {"PUT", "formulas/Aspirin/Products:Yield", "mends=1", R"({"formula":"[Mas]/[Theory]"})", 200,
       R"("mend":{"start":0,"length":5,"text":"[Mass]"})"},
      {"PUT", "definitions/Aspirin/Products:half", "", R"({"formula":"[Products:Mass]/2"})", 200,
       R"("forms":[{"name":"Aspirin","settled":true)"},
      {"GET", "definitions/Aspirin/Products:half", "", "", 200,
       R"("definition":"half","formula":"[Products:Mass]/2"})"},
      {"PUT", "definitions/Aspirin/Products:half", "", R"({"formula":"","was":"1"})", 409,
       R"("present":"[Products:Mass]/2")"},
      {"PUT", "definitions/Aspirin/Products:half", "", R"({"formula":""})", 200, "Aspirin"},
      {"GET", "definitions/Aspirin/Products:half", "", "", 404, "no definition"},
      // A table without a listener gets one.
      {"POST", "parts/Aspirin/Notes", "", R"({"at":0})", 200, "Aspirin"},
      {"POST", "parts/Aspirin/Notes:N", "", R"({"unit":"mg"})", 200, "Aspirin"},
      {"POST", "parts/Aspirin/Notes:S", "", R"({"before":"N"})", 200, "Aspirin"},
      {"POST", "parts/Aspirin/Notes::a", "", R"({"tags":{"Lot":"7"}})", 200, R"("settled":true)"},
      {"PUT", "formulas/Aspirin/Notes:N", "", R"({"formula":"[Products:Mass:1]/1000"})", 200,
       R"("N":{"text":"0.00221 g")"},
      {"GET", "structure/Aspirin", "", "", 200,
       R"([{"kind":"table","name":"Notes","rows":1,"resultFormat":null,"columns":[{"name":"S")"},
      {"POST", "parts/Aspirin/Notes:T", "", R"({"type":"text"})", 422, "there is no type"},
      {"POST", "parts/Aspirin/Notes:T", "", R"({"unit":"lb"})", 422, "is not known"},
      {"POST", "parts/Aspirin/Notes:N", "", "{}", 422, "in use already"},
      {"POST", "parts/Aspirin/Note:N", "", "{}", 404, R"(did you mean \"Notes\"?)"},
      {"POST", "parts/Aspirin/Notes:T", "", R"({"at":9})", 422, "there is no place 10 among 3"},
      {"POST", "parts/Aspirin/Notes:T", "", R"({"at":-1})", 400, "no whole number"},
      {"POST", "parts/Aspirin/Notes:T", "", R"({"at":1e300})", 400, "no whole number"},
      {"POST", "parts/Aspirin/Notes:T", "", R"({"tags":[1]})", 400, "no object"},
      {"POST", "parts/Aspirin/Products::b", "", R"({"at":0})", 200,
       R"("notes":["rows that formulas name by their number are others now: Aspirin/Notes:N)"},
      {"PATCH", "parts/Aspirin/Products::b", "", R"({"name":"c"})", 200, "Aspirin"},
      {"PATCH", "parts/Aspirin/Products:Mass", "", R"({"name":"Weight"})", 200, "Aspirin"},
      {"GET", "formulas/Aspirin/Notes:N", "", "", 200, "[Products:Weight:1]/1000"},
      {"PATCH", "parts/Aspirin/Notes:N", "", R"({"at":0})", 200, "Aspirin"},
      {"PATCH", "parts/Aspirin/Notes:N", "", "{}", 400, R"(a \"name\" or a place)"},
      {"PATCH", "parts/Aspirin/Notes:N", "", R"({"name":""})", 422, "must not be empty"},
      {"PATCH", "parts/Aspirin", "", R"({"at":0})", 422, "order in which they came"},
      {"DELETE", "rows/Aspirin/Products", "", R"({"ids":["no"]})", 404, "no row"},
      {"DELETE", "rows/Aspirin/Reactants", "", R"({"ids":["SA"]})", 409, "Reactants:Equivalents"},
      {"DELETE", "rows/Aspirin/Reactants", "force=1", R"({"ids":["SA","PA"]})", 200, ""},
      {"GET", "structure/Aspirin", "", "", 200, "2 rows of Reactants removed"},
      {"DELETE", "parts/Aspirin/Products:Weight", "", "", 409,
       R"x("formulas":["Aspirin/Notes:N ([Products:Weight:1])")x"},
      {"DELETE", "parts/Aspirin/Notes:N", "", "", 200, "Aspirin"},
      {"DELETE", "parts/Aspirin/Products:Weight", "force=1", "", 200, "have lost it"},
      {"DELETE", "parts/Aspirin/Notes", "", "", 200, "Aspirin"},
      {"GET", "explain/Aspirin/Products:Weight:ASA", "", "", 404, "there is no column"},
      {"POST", "forms", "", R"({"name":"F"})", 201, R"({"form":"F"})"},
      {"GET", "structure/F", "", "", 200, R"("fields":[{"kind":"table","name":"Table","rows":0)"},
      {"POST", "forms", "", R"({"name":"F"})", 422, "already"},
      {"POST", "forms", "", R"({"name":"G","empty":true})", 201, R"({"form":"G"})"},
      {"PATCH", "parts/G", "", R"({"name":"F"})", 422, "already"},
      {"PATCH", "parts/G", "", R"({"name":"H: <b>/\u202e\u0001"})", 200, R"("name":"H: <b>/)"},
      {"DELETE", "parts/F", "", "", 200, R"({"removed":"F"})"},
      // Names that hold what parts addresses, or nothing that can be seen.
      {"POST", "forms", "", R"({"name":"X","empty":true})", 201, "X"},
      {"POST", "parts/X/Y/Z", "", "{}", 200, "X"},
      {"POST", "forms", "", R"({"name":"X/Y","empty":true})", 201, "X/Y"},
      {"POST", "parts/X/Y/Z", "", "{}", 404, "fits more than one place"},
      {"DELETE", "parts/X/Y", "", "", 200, R"({"removed":"X/Y"})"},
      {"DELETE", "parts/X", "", "", 200, R"({"removed":"X"})"},
      {"POST", "forms", "", R"({"name":"a\u0001b"})", 201, R"({"form":"a\u0001b"})"},
      {"GET", "export/a\1b", "", "", 422, "error"},
      {"DELETE", "parts/a\1b", "", "", 200, "removed"},
      {"GET", "forms", "", "", 200, R"(["Aspirin","H: <b>/\u202e\u0001"])"},
  };
  for (const Request& request : requests)
    Ask(request);
}

// Whatever is done, undone and done again: the database has it.
TEST_F(PageRoutes, EditsAreStoredAsTheyAre) {
  const Request requests[]{
      {"POST", "parts/Aspirin/Notes", "", R"({"at":0})", 200, ""},
      {"POST", "parts/Aspirin/Notes:N", "", R"({"unit":"mg"})", 200, ""},
      {"POST", "parts/Aspirin/Notes::a", "", R"({"tags":{"Lot":"7"}})", 200, ""},
      {"PUT", "formulas/Aspirin/Notes:N", "", R"({"formula":"[Products:Mass:1]*[x]"})", 200, ""},
      {"PUT", "definitions/Aspirin/Notes:x", "", R"({"formula":"2"})", 200, ""},
      {"PATCH", "parts/Aspirin/Products:Mass", "", R"({"name":"Weight"})", 200, ""},
      {"PATCH", "parts/Aspirin/Products", "", R"({"at":0})", 200, ""},
      {"POST", "parts/Aspirin/Products::b", "", R"({"before":"ASA"})", 200, ""},
      {"PUT", "formulas/Aspirin/Products:Yield", "", R"({"formula":""})", 200, ""},
      {"DELETE", "parts/Aspirin/Reactants:Moles", "force=1", "", 200, ""},
      {"DELETE", "parts/Aspirin/Notes", "", "", 200, ""},
  };
  const auto file = [this] { return served_->Ask("GET", "export/Aspirin").body; };
  for (const Request& request : requests) {
    const std::string before = file();
    Ask(request);
    const std::string after = file();
    EXPECT_NE(after, before) << request.path;
    EXPECT_EQ(Stored(), after) << request.path;
    Repeat("undo");
    EXPECT_EQ(file(), before) << request.path;
    EXPECT_EQ(Stored(), before) << request.path;
    Repeat("redo");
    EXPECT_EQ(file(), after) << request.path;
    EXPECT_EQ(Stored(), after) << request.path;
  }
}

TEST_F(PageRoutes, TellWhy) {
  const Request requests[]{
      {"GET", "explain/Aspirin/Reactants:Moles:SA", "story=1", "", 200,
       R"("level":1,"text":"[MW] is 138.12 g/mol, typed into Reactants:MW:SA","error":false,"cell":"Aspirin/Reactants:MW:SA"})"},
      {"GET", "explain/Aspirin/Reactants:Moles:SA", "locale=de_DE", "", 200,
       R"({"cell":"Aspirin/Reactants:Moles:SA","text":"14,3 mmol","origin":"computed")"},
      {"GET", "explain/Aspirin/Reactants:Moles:SA", "depth=1000", "", 400, "from 0 to 100"},
      {"GET", "explain/Aspirin/Reactants:Moles:SA", "locale=xx", "", 400, "locale"},
      {"GET", "explain/Aspirin/Reactants:Moles", "", "", 404, "is incomplete"},
      {"GET", "check/Aspirin", "", "", 200, R"({"problems":[)"},
      {"GET", "check/Aspirin/Reactants", "", "", 404, "no form"},
      {"GET", "points/Aspirin/Reactants", "x=Mass&y=Moles&y=Density", "", 200,
       R"("y":[{"column":"Moles","unit":"mmol","min":[)"},
      {"GET", "points/Aspirin/Reactants", "x=Mass&y=Density", "", 200,
       R"({"column":"Density","unit":"g/ml","min":[null,1.082,1.685],"max":[null,1.082,1.685]}],"rows":["SA","AA","PA"]})"},
      {"GET", "points/Aspirin/Reactants", "x=Mass", "", 400, "at least one"},
      {"GET", "points/Aspirin/Reactants", "x=Mass&y=Compound", "", 422, "has no numbers"},
      {"GET", "points/Aspirin/Reactants", "x=Mass&y=Mole", "", 404, R"(did you mean \"Moles\"?)"},
      {"GET", "names/Aspirin/Products", "", "", 200,
       R"({"columns":[{"name":"Compound","insert":"[Compound]","type":"string","unit":null})"},
      {"GET", "names/Aspirin/Products", "", "", 200,
       R"("tables":[{"name":"Reactants","insert":"[Reactants]","columns":[{"name":"Compound","insert":"[Reactants:Compound]")"},
      {"GET", "names/Aspirin/Products", "", "", 200,
       R"("fields":[{"name":"Product","insert":"[Product]"},{"name":"Remark","insert":"[Remark]"}],"functions":[{"name":")"},
  };
  for (const Request& request : requests)
    Ask(request);
}

TEST_F(PageRoutes, PreviewsChangeNothing) {
  const auto all = [&] {
    return Get("structure/Aspirin").dump() + served_->Ask("GET", "forms/Aspirin").body + Stored();
  };
  const std::string before = all();
  const std::string yield = "preview/Aspirin/Products:Yield:ASA";
  const Request requests[]{
      {"POST", yield, "", R"({"formula":"[Mass] / [Theory]"})", 200,
       R"({"tokens":[{"start":0,"length":6,"kind":"reference"},{"start":7,"length":1,"kind":"operator"},{"start":9,"length":8,"kind":"reference"}],"problems":[],"value":{"kind":"number",)"},
      {"POST", yield, "", R"({"formula":"[Mass]/[Theory]"})", 200, R"("text":"85.6%"})"},
      {"POST", yield, "locale=de_DE", R"({"formula":"[Mass]/[Theory]"})", 200,
       R"("text":"85,6%"})"},
      {"POST", yield, "", R"({"formula":"[Mass]/[Theory]","format":"0.0000"})", 200,
       R"("text":"0.8557"})"},
      {"POST", yield, "", R"({"formula":"[Mass]/[Theori]"})", 200,
       R"("mend":{"start":7,"length":8,"text":"[Theory]"}}])"},
      {"POST", yield, "", R"({"formula":"[Mass]/0"})", 200, R"("text":"#Error: )"},
      {"POST", yield, "", R"({"formula":"sum(1)\ud83d\ude00 \u00d7 'a' [x"})", 200,
       R"([{"start":0,"length":3,"kind":"function"},{"start":3,"length":1,"kind":"parenthesis"},{"start":4,"length":1,"kind":"number"},{"start":5,"length":1,"kind":"parenthesis"},{"start":6,"length":2,"kind":"other"},{"start":9,"length":1,"kind":"other"},{"start":11,"length":3,"kind":"text"},{"start":15,"length":2,"kind":"reference"}])"},
      {"POST", yield, "", R"({"formula":""})", 200, R"({"tokens":[],"problems":[]})"},
      {"POST", yield, "", R"({"formula":"[Mass"})", 200, R"("text":"]"}}])"},
      {"POST", yield, "", R"({"formula":"\ud800"})", 400, "no JSON object"},
      {"POST", yield, "", R"({"formula":"\u0001\u202e\u007f"})", 200, R"("kind":"other")"},
      {"POST", yield, "", "{}", 400, R"(no \"formula\")"},
      {"POST", "preview/Aspirin/Products:Yield", "", R"({"formula":"1"})", 200,
       R"("problems":[]})"},
      {"POST", "preview/Aspirin/Products:Yield:BSA", "", R"({"formula":"1"})", 404,
       R"(did you mean \"ASA\"?)"},
      {"POST", "preview/Aspirin/Reactants:all", "",
       R"({"formula":"SUM([Reactants:Mass])*1000","definition":true})", 200,
       R"("text":"7.83125"})"},
      {"POST", "preview/Aspirin/Reactants:all", "", R"({"formula":"[all]+1","definition":true})",
       200, R"("value":{"kind":"error")"},
  };
  for (const Request& request : requests)
    Ask(request);
  EXPECT_EQ(all(), before);
}

// A preview gives up what would keep everybody waiting.
TEST_F(PageRoutes, PreviewsEnd) {
  ASSERT_EQ(served_->Ask("POST", "rows/Aspirin/Products", R"({"count":2000})").status, 200);
  Ask({"POST", "preview/Aspirin/Products:Yield:ASA", "",
       R"x({"formula":"SUM(COUNT([Products], [Compound] <> [this:Compound]), [Products])"})x", 200,
       R"("problems":[]})"});
}

TEST_F(PageRoutes, FilesComeAndGo) {
  const ApiAnswer file = Ask({"GET", "export/Aspirin", "", "", 200, "<form name=\"Aspirin\">"});
  EXPECT_EQ(file.body, Stored());
  EXPECT_EQ(file.headers.back().second, "attachment; filename*=UTF-8''Aspirin.xml");
  const Request requests[]{
      {"POST", "import", "name=a.xml", file.body, 201, R"({"forms":["Aspirin 2"],"notes":[]})"},
      {"POST", "import", "", file.body, 201, R"({"forms":["Aspirin 3"])"},
      {"GET", "export/Aspirin 2/Reactants", "locale=de_DE&delimiter=;", "", 200,
       "salicylic acid;138,12 g/mol;;99,0 %;;2,00 g;14,3;"},
      {"GET", "export/Aspirin/Reactants", "delimiter=ab", "", 400, "parts fields"},
      {"GET", "export/Aspirin/Reactants:Mass", "", "", 404, "a form or a table"},
      {"GET", "export/Aspirin/Remark", "", "", 404, "a form or a table"},
      {"POST", "import", "name=Run 1.csv", "Mass (g),Name\n1.5,=x\nn.d.,b\n2,c\n", 201,
       R"({"forms":["Run 1"],"notes":[")"},
      {"POST", "import", "name=d.csv&locale=de_DE&delimiter=;", "M;N\n1,5;2\n", 201, R"(["d"])"},
      {"GET", "rows/d/d", "", "", 200, R"("M":{"text":"1.5")"},
      {"GET", "export/Run 1/Run 1", "spreadsheetSafe=1", "", 200, "'=x"},
      {"POST", "import", "name=../<b>.csv", "A\n1\n", 201, R"({"forms":["<b>"])"},
      {"POST", "import", "name=a.xml", "<notebook><x/></notebook>", 422, "a.xml:1: "},
      {"POST", "import", "name=a.csv", "A,B\n\"1\n", 422, "a.csv:2: "},
      {"POST", "import", "name=a.xml&delimiter=;", file.body, 422, "CSV files only"},
      {"POST", "import", "", "", 422, "table"},
      {"GET", "forms", "", "", 200, R"(["Aspirin","Aspirin 2","Aspirin 3","Run 1","d","<b>"])"},
  };
  for (const Request& request : requests)
    Ask(request);
}

// What the user does in the properties dialog, and what is there when it has closed.
class PageDialogRoutes : public PageRoutes {
 protected:
  std::string Open(const std::string& table = "Aspirin/Products") {
    const ApiAnswer answer = served_->Ask("POST", "properties/" + table);
    EXPECT_EQ(answer.status, 200) << answer.body;
    return Json::parse(answer.body)["dialog"];
  }
  Json Do(const std::string& dialog, const std::string& event, const std::string& control,
          const Json& controls = Json::object(), int status = 200) {
    const Json body{{"event", event}, {"control", control}, {"controls", controls}};
    const ApiAnswer answer = served_->Ask("POST", "properties/" + dialog, body.dump());
    EXPECT_EQ(answer.status, status) << answer.body;
    return Json::parse(answer.body);
  }
  Json Pick(const std::string& dialog, int index) {
    return Do(dialog, "Click", "mSourcePropertyComboBox",
              {{"mSourcePropertyComboBox", {{"index", index}}}})["controls"];
  }
  static Json Formula(const std::string& text) { return {{"mFormulaTextBox", {{"text", text}}}}; }
};

TEST_F(PageDialogRoutes, EditsInOneStep) {
  const std::string dialog = Open();
  Json state = Do(dialog, "GotFocus", "mFormulaTextBox");
  EXPECT_EQ(state["title"], "Formula Listener Properties");
  EXPECT_EQ(state["controls"]["mSourcePropertyLabel"]["caption"], "Formula of:");
  EXPECT_EQ(state["controls"]["mOKButton"]["default"], false);
  EXPECT_EQ(state["controls"]["mSourcePropertyComboBox"]["items"],
            Json::array({"Definitions", "Compound", "MW", "Theory", "Mass", "Moles", "Yield",
                         "Above 80 %"}));
  Do(dialog, "LostFocus", "mFormulaTextBox", Formula("twice = 2;\nonce = 1;"));
  state = Pick(dialog, 6);
  EXPECT_EQ(state["mFormulaTextBox"]["text"], "[Mass]/[Theory]");
  EXPECT_EQ(state["mFormatTextBox"]["text"], "%");
  Do(dialog, "LostFocus", "mFormulaTextBox", Formula("[Mass]/[Theory]\n*[twice]"));
  // A formula that is taken away, with what it has computed.
  EXPECT_EQ(Pick(dialog, 5)["mFormulaTextBox"]["text"], "[Mass]/[MW]");
  EXPECT_EQ(Cell("Products", 0, "Yield"), "85.6%");
  const Json closed = Do(dialog, "Click", "mOKButton", Formula(""));
  EXPECT_EQ(closed["closed"], true);
  EXPECT_EQ(closed["changed"], true);
  EXPECT_EQ(closed["forms"][0]["tables"][0]["rows"][0]["cells"]["Yield"]["text"], "171%");
  EXPECT_EQ(Cell("Products", 0, "Moles"), "");
  EXPECT_NE(Stored().find("*[twice]"), std::string::npos);
  Do(dialog, "Close", "", {}, 404);
  Repeat("undo");
  EXPECT_EQ(Cell("Products", 0, "Yield"), "85.6%");
  EXPECT_EQ(Stored().find("[twice]"), std::string::npos);
}

TEST_F(PageDialogRoutes, MeetsWhatOthersDoMeanwhile) {
  // Looking changes nothing.
  const Json version = Get("structure/Aspirin")["version"];
  std::string dialog = Open();
  Pick(dialog, 6);
  EXPECT_EQ(Do(dialog, "Close", "")["changed"], false);
  EXPECT_EQ(Get("structure/Aspirin")["version"], version);

  // Another formula: nothing is stored, and nothing is lost.
  dialog = Open();
  Pick(dialog, 6);
  served_->Ask("PUT", "formulas/Aspirin/Products:Moles", R"({"formula":"[Mass]/[MW]*1"})");
  const Json refused = Do(dialog, "Close", "", Formula("[Mass]"), 409);
  EXPECT_EQ(refused["formulas"],
            Json::array({{{"name", "Yield"}, {"formula", "[Mass]"}, {"format", "%"}}}));
  EXPECT_EQ(Cell("Products", 0, "Yield"), "85.6%");

  // Columns that went, the form with another name.
  dialog = Open();
  Pick(dialog, 7);
  Do(dialog, "LostFocus", "mFormulaTextBox", Formula("[Yield] > 0.5"));
  Pick(dialog, 6);
  served_->Ask("DELETE", "parts/Aspirin/Products:Above 80 %");
  served_->Ask("PATCH", "parts/Aspirin", R"({"name":"A"})");
  const Json closed = Do(dialog, "Close", "", Formula("[Mass]/[Theory]/2"));
  EXPECT_EQ(closed["notes"][0], "the column \"Above 80 %\" is gone: its formula is not stored");
  EXPECT_EQ(closed["forms"][0]["tables"][0]["rows"][0]["cells"]["Yield"]["text"], "42.8%");

  dialog = Open("A/Products");
  served_->Ask("DELETE", "parts/A/Products", "", "force=1");
  EXPECT_EQ(Do(dialog, "Close", "", Formula("x = 1;"), 409)["definitions"][0]["name"], "x");
}

TEST_F(PageDialogRoutes, TakesNothingFromNonsense) {
  const std::string dialog = Open();
  struct Case {
    std::string body;
    int status;
  };
  const Case cases[]{
      {"", 400},
      {R"({"event":1})", 400},
      {R"({"event":"Explode"})", 400},
      {R"({"event":"Click","control":"mFormulaTextBox"})", 200},
      {R"({"event":"Click","control":"mOKButton","controls":[]})", 400},
      {R"({"event":"Click","controls":{"mFormulaTextBox":"x"}})", 400},
      {R"({"event":"Click","controls":{"mFormulaTextBox":{"text":1}}})", 400},
      {R"({"event":"Click","controls":{"mSourcePropertyComboBox":{"index":8}}})", 400},
      {R"({"event":"Click","controls":{"mSourcePropertyComboBox":{"index":1e99}}})", 400},
      {R"({"event":"Click","controls":{"mSourcePropertyComboBox":{"index":-1}}})", 200},
  };
  for (const Case& test : cases)
    EXPECT_EQ(served_->Ask("POST", "properties/" + dialog, test.body).status, test.status)
        << test.body;
  Ask({"POST", "properties/Aspirin/Product", "", "", 404, ""});
  for (int more = 1; more < 32; ++more)
    Open();
  Ask({"POST", "properties/Aspirin/Products", "", "", 429, "too many"});
}

}  // namespace
}  // namespace ktnotebook
