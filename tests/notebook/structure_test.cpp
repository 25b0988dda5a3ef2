// The commands that change a notebook's structure: the same in a file and in a database.
#include <gtest/gtest.h>

#include "notebook/files/file.h"
#include "notebook/program.h"

namespace ktnotebook {
namespace {

// Copies of aspirin.xml, in a file and in a database.
class StructureTest : public ::testing::Test {
 protected:
  StructureTest() {
    Program({"recalculate", KT_SOURCE_DIR "/examples/aspirin.xml", "-o", file_});
    Program({"import", file_, "--db", database_});
  }

  std::string InFile() const { return ReadWholeFile(file_); }
  std::string InDatabase(const std::string& form = "Aspirin") const {
    return Program({"export", form, "--db", database_}).out.str();
  }

  // Runs the command in both places and expects the same of both; gives what it says in the file.
  std::string Run(Arguments arguments, int status) {
    std::string said;
    std::string shown;
    for (const auto& [option, place] : {std::pair{"--db", database_}, {"--file", file_}}) {
      Arguments all = arguments;
      all.insert(all.end(), {option, place});
      const Program program(all);
      EXPECT_EQ(program.status, status)
          << arguments[0] << " " << arguments[1] << " " << option << program.err.str();
      const bool is_second = option == std::string("--file");
      EXPECT_EQ(is_second ? program.out.str() : shown, shown) << arguments[1];
      said = program.err.str();
      shown = program.out.str();
    }
    return said + shown;
  }

  TemporaryFolder folder_;
  std::string file_ = folder_.File("a.xml");
  std::string database_ = folder_.File("a.db");
};

TEST_F(StructureTest, CommandsDoTheSameInAFileAndInADatabase) {
  struct Row {
    Arguments arguments;
    // What the file has afterwards or, behind "- ", has not; behind "! " what is said when it is
    // refused.
    std::string expected;
  };
  const Row rows[] = {
      {{"add", "Aspirin/Notes", "--at", "1"}, "<form name=\"Aspirin\">\n    <table name=\"Notes\""},
      {{"add", "Aspirin/Notes:Day", "--type", "date"}, "name=\"Day\" type=\"date\" />"},
      {{"add", "Aspirin/Notes:Amount", "--unit", "mg", "--before", "Day"},
       "name=\"Amount\" type=\"number\" unit=\"mg\" numberFormatting=\"true\" />\n      <property"},
      {{"add", "Aspirin/Notes::one", "--tag", "Lot=a=b"},
       "<row id=\"one\">\n        <tag name=\"Lot\">a=b</tag>"},
      {{"add", "Aspirin/Notes::2", "--before", "one"}, "<row id=\"2\" />\n      <row id=\"one\">"},
      {{"rename", "Aspirin/Notes::2", "zero"}, "<row id=\"zero\" />\n      <row id=\"one\">"},
      {{"move", "Aspirin/Notes::zero", "--after", "one"}, "</row>\n      <row id=\"zero\" />"},
      {{"remove", "Aspirin/Notes:Day"}, "numberFormatting=\"true\" />\n      <row id=\"one\">"},
      {{"rename", "Aspirin/Reactants", "Starting materials"},
       "[[Starting materials:Moles:SA]*[MW]]"},
      {{"rename", "Aspirin/Starting materials:Moles", "n"}, "[[n]/[Starting materials:n:SA]]"},
      {{"rename", "Aspirin/Starting materials::SA", "acid"}, "[Starting materials:n:acid]"},
      {{"move", "Aspirin/Starting materials:n", "--at", "1"},
       "key=\"1\">\n      <property key=\"17\" name=\"n\""},
      {{"move", "Aspirin/Products", "--at", "1"},
       "<form name=\"Aspirin\">\n    <table name=\"Products\""},
      {{"remove", "Aspirin/Starting materials::acid"},
       "! formulas refer to it: Aspirin/Products:Theory ([Starting materials:n:acid]); "
       "Aspirin/Starting materials:Equivalents ([Starting materials:n:acid]); --force"},
      {{"remove", "Aspirin/Starting materials::acid", "--force"}, "[Starting materials:n:acid]"},
      {{"remove", "Aspirin/Notes"}, "- \"Notes\""},
      {{"rename", "Aspirin", "ASA"}, "<form name=\"ASA\">"},
      // What is refused changes nothing.
      {{"add", "ASA/Products"}, "! \"Products\" is in use already"},
      {{"add", "ASA/Product:x"}, "! there is no table \"Product\" in form \"ASA\"; did you mean"},
      {{"add", "ASA/Products:x", "--type", "text"}, "! there is no type \"text\""},
      {{"add", "ASA/Products:x", "--unit", "stone"}, "! the unit \"stone\" is not known"},
      {{"add", "ASA/Products:x", "--tag", "a=b"}, "! only a row"},
      {{"add", "ASA/Products:x", "--at", "9"}, "! there is no place 9 among 8"},
      {{"add", "ASA/Products:x", "--before", "Masse"},
       "! there is no \"Masse\" beside it; did you mean \"Mass\"?"},
      {{"rename", "ASA/Products:Mass", "Moles"}, "! \"Moles\" is in use already"},
      {{"rename", "ASA/Products:Mass", "a:b"}, "! ASA/Products:Moles refers to [Mass], and no"},
      {{"remove", "ASA/Products::nothing"}, "! there is no row \"nothing\" in table \"Products\""},
  };
  for (const Row& row : rows) {
    const bool is_refused = row.expected.starts_with("! ");
    const bool is_gone = row.expected.starts_with("- ");
    const std::string before = InFile();
    const std::string said = Run(row.arguments, is_refused ? 1 : 0);
    const std::string after = InFile();
    const std::string expected = row.expected.substr(is_refused || is_gone ? 2 : 0);
    const bool is_there = (is_refused ? said : after).find(expected) != std::string::npos;
    EXPECT_NE(is_there, is_gone) << row.arguments[1] << "\n" << said << after;
    EXPECT_EQ(is_refused ? after : before, before) << row.arguments[1];
    const bool is_renamed = after.find("<form name=\"ASA\">") != std::string::npos;
    ASSERT_EQ(InDatabase(is_renamed ? "ASA" : "Aspirin"), after) << row.arguments[1];
  }
}

TEST_F(StructureTest, ANewNameChangesNoResultAndTheOldOneGivesTheSameFile) {
  // Thirty formulas, most of them about [Mass], with this name in other places.
  std::string columns;
  std::string formulas;
  for (int i = 0; i < 30; ++i) {
    const std::string n = std::to_string(i);
    constexpr const char* kShapes[] = {"[Mass]*",
                                       "SUM([Mass])+",
                                       "SUM([Mass],[U],[Mass]>1)+",
                                       "[this:parent:Mass]&\"Mass\"&",
                                       "[T:Mass:b]-",
                                       "[U:Mass:b]+",
                                       "SUM([U:Mass])-",
                                       "[ Mass ]+",
                                       "[total]+",
                                       "1+"};
    columns += "<property key='" + std::to_string(100 + i) + "' name='f" + n + "' type='number'/>";
    formulas += "<propertyFormula name='f" + n + "' format=''><![CDATA[" + kShapes[i % 10] + n +
                "]]></propertyFormula>";
  }
  const std::string mass = "<property key='@' name='Mass' type='number' numberFormatting='true'/>";
  const std::string rows =
      "<row id='a'><cell property='Mass' state='entered'>2.50</cell></row>"
      "<row id='b'><cell property='Mass' state='entered'>7</cell></row>";
  const auto keyed = [&](const std::string& key) { return std::string(mass).replace(15, 1, key); };
  WriteWholeFile(file_, "<notebook><form name='F'><table name='T' key='1'>" + keyed("1") + columns +
                            rows +
                            "<fieldListener progID='KtFormula9.FormulaListener' name='L' "
                            "position='1'>" +
                            formulas +
                            "<definition name='total'>SUM([Mass])</definition></fieldListener>"
                            "</table><table name='U' key='2'>" +
                            keyed("2") + rows + "</table></form></notebook>");
  Program({"recalculate", file_, "-o", file_});
  Program({"import", file_, "--db", database_});
  const std::string before = InFile();
  // Neither shows a cell that changed.
  EXPECT_EQ(Run({"rename", "F/T:Mass", "Weight"}, 0), "");
  const std::string renamed = InFile();
  for (const char* const formula :
       {"[Weight]*0", "[ Weight ]+7", "SUM([Weight])+1", "SUM([Mass],[U],[Mass]", "[T:Weight:b]",
        "[U:Mass:b]", "[this:parent:Weight]&\"Mass\"", "SUM([Weight])]]></definition>"})
    EXPECT_NE(renamed.find(formula), std::string::npos) << formula << renamed;
  EXPECT_EQ(InDatabase("F"), renamed);
  EXPECT_EQ(Run({"rename", "F/T:Weight", "Mass"}, 0), "");
  EXPECT_EQ(InFile(), before);
  EXPECT_EQ(InDatabase("F"), before);
}

TEST(Structure, NewMakesWhatIsNotThereAndFormsHavePlacesInAFile) {
  const TemporaryFolder folder;
  const std::string file = folder.File("n.xml");
  const std::string database = folder.File("n.db");
  for (const auto& [option, place] : {std::pair{"--file", file}, {"--db", database}}) {
    EXPECT_EQ(Program({"new", "One", option, place}).status, 0);
    EXPECT_EQ(Program({"new", "Two", option, place}).status, 0);
    EXPECT_EQ(Program({"new", "Two", option, place}).status, 1);
    EXPECT_EQ(Program({"add", "Two/T", option, place}).status, 0);
  }
  EXPECT_EQ(Program({"move", "Two", "--at", "1", "--db", database}).status, 1);
  EXPECT_EQ(Program({"move", "Two", "--file", file}).status, 2);
  EXPECT_EQ(Program({"move", "Two", "--at", "1", "--file", file}).status, 0);
  const std::string text = ReadWholeFile(file);
  EXPECT_LT(text.find("Two"), text.find("One"));
  for (const auto& [option, place] : {std::pair{"--file", file}, {"--db", database}})
    EXPECT_EQ(Program({"remove", "Two", option, place}).status, 0);
  EXPECT_EQ(ReadWholeFile(file).find("Two"), std::string::npos);
  EXPECT_EQ(Program({"list", "--db", database}).out.str(), "One\n");
}

}  // namespace
}  // namespace ktnotebook
