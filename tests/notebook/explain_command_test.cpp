// The command explain: what it prints for people and for programs.
#include <gtest/gtest.h>

#include "program.h"

#include "notebook/files/file.h"

namespace ktnotebook {
namespace {

constexpr std::string_view kTitration = R"(<notebook><form name="Titration">
  <table name="Burette" key="1">
    <property key="1" name="V0" type="number" unit="ml" numberFormatting="true"/>
    <property key="2" name="V1" type="number" unit="ml" numberFormatting="true"/>
    <property key="3" name="Titre" type="number" unit="ml" numberFormatting="true"/>
    <row id="1"><cell property="V0" state="entered">0.15 ml</cell>
      <cell property="V1" state="entered">23.55 ml</cell></row>
    <row id="2"><cell property="V0" state="entered">0.00 ml</cell>
      <cell property="V1" state="entered">23.40 ml</cell></row>
    <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
      <propertyFormula format="" name="Titre">[V1]-[V0]</propertyFormula></fieldListener>
  </table>
  <table name="Result" key="2">
    <property key="11" name="Titrant" type="number" unit="M" numberFormatting="true"/>
    <property key="12" name="Sample" type="number" unit="ml" numberFormatting="true"/>
    <property key="13" name="Conc" type="number" unit="M" numberFormatting="true"/>
    <property key="14" name="Half" type="number" unit="M" numberFormatting="true"/>
    <property key="15" name="Bad" type="number" unit="M" numberFormatting="true"/>
    <property key="16" name="Note" type="string"/>
    <row id="1"><cell property="Titrant" state="entered">0.1000 M</cell>
      <cell property="Sample" state="entered">25.00 ml</cell>
      <cell property="Note" state="noted">first</cell></row>
    <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
      <propertyFormula format="0.000" name="Conc">[Titrant]*[mean]/[Sample]</propertyFormula>
      <propertyFormula format="" name="Half">[Conc]/2</propertyFormula>
      <propertyFormula format="" name="Bad">[Half]+[Missing]</propertyFormula>
      <definition name="mean">SUM([Burette:Titre])/COUNT([Burette])</definition></fieldListener>
  </table></form></notebook>)";

class ExplainCommand : public testing::Test {
 protected:
  ExplainCommand() { WriteWholeFile(folder_.File("t.xml"), kTitration); }

  Program Explain(const std::string& cell, const Arguments& more = {}) const {
    Arguments arguments{"explain", "Titration/" + cell, "--file", folder_.File("t.xml")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Program(arguments);
  }

  TemporaryFolder folder_;
};

TEST_F(ExplainCommand, TellsAStory) {
  const struct {
    std::string cell;
    Arguments more;
    std::string story;
  } rows[] = {
      {"Result:Half:1",
       {"--depth", "4"},
       "Titration/Result:Half:1 shows 0.05 M\n\n"
       "It is computed by [Conc]/2, where\n"
       "  [Conc] is 0.094 M, computed in Result:Conc:1 by [Titrant]*[mean]/[Sample]\n"
       "    [Titrant] is 0.1000 M, typed into Result:Titrant:1\n"
       "    [mean] is 23.4 ml, defined as SUM([Burette:Titre])/COUNT([Burette])\n"
       "      SUM([Burette:Titre]) is 46.8 ml\n"
       "        [Burette:Titre] is the column Burette:Titre\n"
       "      COUNT([Burette]) is 2\n"
       "    [Sample] is 25.00 ml, typed into Result:Sample:1\n"
       "This gives 0.0468 M.\n"
       "It has 1 digit, because Titration/Burette:V0:2 \"0.00 ml\" has 1 digit: no entered value "
       "has "
       "fewer.\n"
       "It is in M, because Titration/Result:Titrant:1 \"0.1000 M\" is.\n"},
      {"Result:Conc:1",
       {"--depth", "1"},
       "Titration/Result:Conc:1 shows 0.094 M\n\n"
       "It is computed by [Titrant]*[mean]/[Sample], where\n"
       "  [Titrant] is 0.1000 M, typed into Result:Titrant:1\n"
       "  [mean] is 23.4 ml, defined as SUM([Burette:Titre])/COUNT([Burette])\n"
       "  [Sample] is 25.00 ml, typed into Result:Sample:1\n"
       "This gives 0.0936 M.\n"
       "It is written as its format \"0.000\" says.\n"
       "It is in M, because Titration/Result:Titrant:1 \"0.1000 M\" is.\n"},
      {"Burette:Titre:2",
       {"--depth", "1"},
       "Titration/Burette:Titre:2 shows 23 ml\n\n"
       "It is computed by [V1]-[V0], where\n"
       "  [V1] is 23.40 ml, typed into Burette:V1:2\n"
       "  [V0] is 0.00 ml, typed into Burette:V0:2\n"
       "This gives 23.4 ml.\n"
       "It has 1 digit and all in front of the point, because Titration/Burette:V0:2 \"0.00 ml\" "
       "has "
       "1 digit: no entered value has fewer.\n"
       "It is in ml, because Titration/Burette:V0:1 \"0.15 ml\" is.\n"},
      {"Burette:V1:1",
       {},
       "Titration/Burette:V1:1 shows 23.55 ml\n\n"
       "It was typed in.\n"
       "Formulas read it as 2.355E-05 m3.\n"
       "It counts as a value of 4 digits.\n"},
      {"Result:Note:1",
       {},
       "Titration/Result:Note:1 shows first\n\n"
       "It was noted: it is not an entered quantity.\n"},
  };
  for (const auto& row : rows) {
    const Program program = Explain(row.cell, row.more);
    EXPECT_EQ(program.out.str(), row.story);
    EXPECT_EQ(program.err.str() + std::to_string(program.status), "0");
  }
}

TEST_F(ExplainCommand, ProblemsOfTheCellsFormulaFollow) {
  const std::string story = Explain("Result:Bad:1").out.str();
  EXPECT_NE(story.find("  [Missing] is unknown: nothing here has this name\n"
                       "The error arose in this cell.\n\nerror[unknown-name]: "),
            story.npos)
      << story;
  EXPECT_EQ(Explain("Result:Half:1").out.str().find("unknown-name"), story.npos);
}

TEST_F(ExplainCommand, JsonHasExactlyTheStatedForm) {
  EXPECT_EQ(
      Explain("Burette:Titre:2", {"--json"}).out.str(),
      R"({"cell":"Titration/Burette:Titre:2","text":"23 ml","origin":"computed",)"
      R"("formula":"[V1]-[V0]","value":{"kind":"number","min":2.34e-05,"max":2.34e-05},)"
      R"("steps":[{"start":0,"length":4,"source":"[V1]",)"
      R"("value":{"kind":"number","min":2.34e-05,"max":2.34e-05},"text":"23.40 ml",)"
      R"("cell":"Titration/Burette:V1:2","origin":"typed"},)"
      R"({"start":5,"length":4,"source":"[V0]","value":{"kind":"number","min":0.0,"max":0.0},)"
      R"("text":"0.00 ml","cell":"Titration/Burette:V0:2","origin":"typed"}],)"
      R"("shown":{"pattern":"00","digits":1,)"
      R"("digits_from":{"cell":"Titration/Burette:V0:2","text":"0.00 ml"},"unit":"ml",)"
      R"("unit_from":{"cell":"Titration/Burette:V0:1","text":"0.15 ml"}}})"
      "\n");
}

TEST_F(ExplainCommand, RefusesWhatItCanNotExplain) {
  EXPECT_EQ(Explain("Result:Half:7").status, kExitFailed);
  EXPECT_EQ(Explain("Result:Half:1", {"--depth", "0"}).status, kExitWrongUsage);
  EXPECT_EQ(Explain("Result:Half:1", {"--db", "n.db"}).status, kExitWrongUsage);
}

}  // namespace
}  // namespace ktnotebook
