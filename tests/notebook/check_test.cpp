// How problems are told on the command line.
#include <gtest/gtest.h>
#include <string>

#include "notebook/files/file.h"
#include "notebook/program.h"

namespace ktnotebook {
namespace {

std::string NotebookWith(const std::string& formula) {
  return "<notebook><form name=\"F\"><table name=\"T\" key=\"1\">"
         "<property key=\"1\" name=\"Mass\" type=\"number\" unit=\"g\" numberFormatting=\"true\"/>"
         "<property key=\"2\" name=\"Out\" type=\"string\"/>"
         "<row id=\"A\"><cell property=\"Mass\" state=\"entered\">1.00 g</cell></row>"
         "<fieldListener progID=\"KtFormula9.FormulaListener\" name=\"L\" position=\"1\">"
         "<propertyFormula format=\"\" name=\"Out\"><![CDATA[" +
         formula + "]]></propertyFormula></fieldListener></table></form></notebook>";
}

TEST(Check, MarksThePlaceInTheFormula) {
  TemporaryFolder folder;
  const struct {
    std::string formula;
    // The lines with the formula and the mark.
    std::string shown;
  } rows[] = {
      {"[Mas]", "  [Mas]\n  ^^^^^\n"},
      {"\"a\" &\r\n  [Mas] &\n\"b\"", "    [Mas] &\n    ^^^^^\n"},
      {std::string(200'000, ' ') + "[Mas]",
       "  \xE2\x80\xA6" + std::string(92, ' ') + "[Mas]\n" + std::string(95, ' ') + "^^^^^\n"},
      // A tab takes one column, wide characters two, combining marks none.
      {"\"a\" &\t[Mas]", "  \"a\" & [Mas]\n        ^^^^^\n"},
      {"\"\xE6\x97\xA5\xE6\x9C\xAC\" & [Mas]",
       "  \"\xE6\x97\xA5\xE6\x9C\xAC\" & [Mas]\n           ^^^^^\n"},
      {"\"e\xCC\x81\" & [Mas]", "  \"e\xCC\x81\" & [Mas]\n        ^^^^^\n"},
      // What would move the cursor is escaped.
      {"\"\xE2\x80\xAE\" & [Mas]", "  \"\\u202e\" & [Mas]\n             ^^^^^\n"},
      // Long lines are cut on both sides.
      {"\"" + std::string(200, 'x') + "\" & [Mas] & \"" + std::string(200, 'y') + "\"",
       "  \xE2\x80\xA6" + std::string(41, 'x') + "\" & [Mas] & \"" + std::string(42, 'y') +
           "\xE2\x80\xA6\n  " + std::string(46, ' ') + "^^^^^\n"},
  };
  for (const auto& row : rows) {
    WriteWholeFile(folder.File("n.xml"), NotebookWith(row.formula));
    const Program program({"check", folder.File("n.xml")});
    EXPECT_EQ(program.status, 0) << program.err.str();
    EXPECT_EQ(program.out.str(), "error[unknown-name]: F/T:Out: nothing here is called \"Mas\"\n" +
                                     row.shown +
                                     "  help: did you mean [Mass]?\n\n1 problem: 1 error\n");
  }
}

TEST(Check, CommandsTellProblems) {
  TemporaryFolder folder;
  const std::string file = folder.File("n.xml");
  const std::string db = folder.File("n.db");
  const std::string short_form =
      "1 problem: 1 error\n  error[unknown-name]: F/T:Out: nothing here is called \"Mas\"; did you "
      "mean [Mass]?\n";
  const std::string json =
      R"j("problems":[{"code":"unknown-name","severity":"error","form":"F","table":"T",)j"
      R"j("column":"Out","row":null,"definition":null,"formula":"ONERROR([Mas], 1)",)j"
      R"j("start":8,"length":5,"message":"nothing here is called \"Mas\"; ONERROR hides it",)j"
      R"j("help":"did you mean [Mass]?","rows":null}]})j";
  WriteWholeFile(file, NotebookWith("[Mas]"));
  const std::string half = folder.File("half.xml");
  WriteWholeFile(half, NotebookWith("0.5"));
  const std::string failing = folder.File("failing.xml");
  WriteWholeFile(failing, NotebookWith("1/0"));
  const struct {
    Arguments arguments;
    int status;
    std::string out;
    std::string err;
  } rows[] = {
      // In all rows of the table.
      {{"check", failing, "--json"},
       0,
       R"("row":"A","definition":null,"formula":"1/0","start":1,"length":1,)"
       R"("message":"Division by zero",)"
       R"("help":"fill the cell, or say with ONERROR or IF what is to be shown","rows":null}]})",
       ""},
      {{"check", file, "--strict"}, 3, "unknown-name", ""},
      {{"check", half, "--locale", "de_DE"}, 0, "no problems", ""},
      {{"recalculate", file}, 0, "#Error", short_form + "1 cell shows an error\n"},
      {{"import", file, "--db", db}, 0, "imported", short_form},
      {{"check", "F", "--db", db}, 0, "^^^^^", ""},
      {{"check", "G", "--db", db}, 1, "", "\"G\""},
      {{"set", "F/T:Mass:A", "2.00 g", "--db", db}, 0, "2.00 g", short_form},
      {{"formula", "F/T:Out", "[Mas]&1", "--db", db},
       0,
       "",
       short_form + "note: what was entered is saved all the same\n"},
      {{"formula", "F/T:Out", "ONERROR([Mas], 1)", "--db", db, "--json"}, 0, json, ""},
      {{"check", "F", "--db", db, "--json"}, 0, "{" + json, ""},
      {{"formula", "F/T:Out", "[Mass]", "--db", db}, 0, "", ""},
      {{"check", "F", "--db", db, "--strict"}, 0, "no problems\n", ""},
      {{"check", "F", "--db", db, "--json"}, 0, "{\"problems\":[]}\n", ""},
  };
  for (const auto& row : rows) {
    const Program program(row.arguments);
    EXPECT_EQ(program.status, row.status) << program.err.str();
    EXPECT_NE(program.out.str().find(row.out), std::string::npos) << row.out << "\n"
                                                                  << program.out.str();
    EXPECT_NE(program.err.str().find(row.err), std::string::npos) << row.err << "\n"
                                                                  << program.err.str();
  }
}

}  // namespace
}  // namespace ktnotebook
