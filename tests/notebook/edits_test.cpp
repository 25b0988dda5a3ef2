// Edits of a form: what a new name does to formulas, and that everything can be taken back.
#include "notebook/tables/edits.h"

#include <gtest/gtest.h>

#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {
namespace {

// The formula stands in the column "f" of T, or is the definition "d" of T.
Notebook WithFormula(const std::string& formula, const std::string& definition) {
  return ReadNotebook(R"(<notebook><form name="F">
    <table name="T" key="1">
      <property key="1" name="Mass" type="number"/>
      <property key="2" name="f" type="string"/>
      <property key="3" name="R" type="number"/>
      <row id="A"><cell property="Mass" state="entered">2</cell></row>
      <row id="B"><cell property="Mass" state="entered">3</cell></row>
      <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
        <propertyFormula name="R" format=""><![CDATA[1]]></propertyFormula>
        <propertyFormula name="f" format=""><![CDATA[)" +
                          formula + R"(]]></propertyFormula>
        <definition name="d"><![CDATA[)" +
                          definition + R"(]]></definition>
        <definition name="hidden"><![CDATA[7]]></definition>
        <definition name=" Mass"><![CDATA[8]]></definition>
      </fieldListener>
    </table>
    <table name="U" key="2">
      <property key="4" name="Mass" type="number"/>
      <property key="5" name="hidden" type="number"/>
      <row id="A"><cell property="Mass" state="entered">5</cell></row>
      <row id="x"/>
    </table>
    <table name="R" key="3"><property key="6" name="Mass" type="number"/><row id="A"/></table>
    <structure name="S">CO</structure>
  </form></notebook>)",
                      "n.xml");
}

// Of "T", "T:Mass" or "T::A".
void Rename(FormEdits& edits, std::u16string_view what, std::u16string_view name) {
  const auto colon = what.find(u':');
  NotebookField& field = *edits.Form().FindField(what.substr(0, colon));
  if (colon == std::u16string_view::npos) return edits.RenameField(field, name);
  const std::u16string_view rest = what.substr(colon + 1);
  if (!rest.starts_with(u':')) {
    return edits.RenameColumn(*field.OwnTable()->FindColumn(rest), name);
  }
  edits.RenameRow(*field.OwnTable(), field.OwnTable()->FindRow(rest.substr(1))->Index(), name);
}

struct RenameCase {
  std::u16string_view what;
  std::u16string_view name;
  std::string formula;
  // "= " in front of a reason for which it is refused.
  std::string after;
};

TEST(Edits, ARenameFollowsThroughWhatMeansTheRenamed) {
  const RenameCase cases[] = {
      // Columns, from wherever they are seen.
      {u"T:Mass", u"Weight", "[Mass]+[ Mass ] &\n\"Mass\"&'[Mass]'",
       "[Weight]+[ Weight ] &\n\"Mass\"&'[Mass]'"},
      {u"T:Mass", u"Weight", "[parent:Mass]+[THIS:Parent : parent:Mass:A]",
       "[parent:Weight]+[THIS:Parent : parent:Weight:A]"},
      {u"T:Mass", u"Weight", "[T:Mass:A]+[U:Mass:A]+[U:Mass]", "[T:Weight:A]+[U:Mass:A]+[U:Mass]"},
      {u"U:Mass", u"Weight", "[T:Mass:A]+[U:Mass:A]+[Mass]", "[T:Mass:A]+[U:Weight:A]+[Mass]"},
      {u"T:Mass", u"Weight", "SUM([Mass])+SUM([Mass],[U],[Mass]>[this:parent:Mass])",
       "SUM([Weight])+SUM([Mass],[U],[Mass]>[this:parent:Weight])"},
      {u"U:Mass", u"Weight", "SUM([Mass])+sum ( ([Mass]) , [U],NOT [Mass]>[this:parent:Mass])",
       "SUM([Mass])+sum ( ([Weight]) , [U],NOT [Weight]>[this:parent:Mass])"},
      {u"T:Mass", u"Weight", "SELECT([Mass],[U],[Mass]=[this:parent:Mass])",
       "SELECT([Mass],[U],[Mass]=[this:parent:Weight])"},
      // Within another function "this" is the row again, and the rows of rows have theirs.
      {u"U:Mass", u"W", "MAX(IF([this:Mass]>1,[parent:Mass],[Mass]),[U])",
       "MAX(IF([this:W]>1,[parent:W],[W]),[U])"},
      {u"U:Mass", u"W", "SUM(MIN([Mass],[T],[this:Mass]>1)+[Mass],[U])",
       "SUM(MIN([Mass],[T],[this:W]>1)+[W],[U])"},
      {u"U:Mass", u"W", "COUNT([U:Mass],[Mass]>1)+COUNT([U],[Mass]>1)",
       "COUNT([U:W],[W]>1)+COUNT([U],[W]>1)"},
      {u"T:Mass", u"W", "TAG([Mass])&ISENTERED([T:Mass:B])&NOSUCH([Mass],1)&ONERROR([Mass]/0,1)",
       "TAG([W])&ISENTERED([T:W:B])&NOSUCH([W],1)&ONERROR([W]/0,1)"},
      // Definitions go before columns, but not where a function wants a column or a table.
      {u"U:hidden", u"seen", "SUM([hidden],[U])+SUM([U:hidden])+MAX([hidden]*1,[U])",
       "SUM([hidden],[U])+SUM([U:seen])+MAX([hidden]*1,[U])"},
      {u"T:Mass", u"W", "[ Mass]+SUM([ Mass])", "[ Mass]+SUM([ W])"},
      {u"T:Mass", u"hidden", "SUM([Mass])", "SUM([hidden])"},
      {u"T:Mass", u"hidden", "[Mass]",
       "= F/T:f refers to [Mass], and [hidden] would mean the definition \"hidden\" there"},
      // Tables and fields, whose names columns of the own table hide.
      {u"U", u"V", "SUM([Mass],[U])+COUNT([ U ])&\"U\"", "SUM([Mass],[V])+COUNT([ V ])&\"U\""},
      {u"R", u"V", "[R]+SUM([R:Mass])+[R:Mass:A]+SUM([Mass],[T],[R]>1)",
       "[R]+SUM([V:Mass])+[V:Mass:A]+SUM([Mass],[T],[R]>1)"},
      {u"T:R", u"V", "[R]+SUM([R:Mass])", "[V]+SUM([R:Mass])"},
      {u"S", u"Product", "[S]&\"[S]\"", "[Product]&\"[S]\""},
      {u"S", u"Mass", "[S]",
       "= F/T:f refers to [S], and [Mass] would mean the column \"Mass\" of table \"T\" there"},
      {u"T", u"Mass", "COUNT([T],[Mass]>1)",
       "= F/T:f refers to [T], and [Mass] would mean the column \"Mass\" of table \"Mass\" there"},
      {u"T", u"Mass", "[T:Mass:A]", "[Mass:Mass:A]"},
      // Rows by their ids.
      {u"T::A", u"first one", "[T:Mass:A]+[U:Mass:A]&\"A\"", "[T:Mass:first one]+[U:Mass:A]&\"A\""},
      {u"T::A", u"2", "[T:Mass:1]", "[T:Mass:1]"},
      {u"T::A", u"2", "[T:Mass:2]",
       "= F/T:f refers to [T:Mass:2], which means row \"B\" of column \"Mass\" of table \"T\" and "
       "would mean row \"2\" of column \"Mass\" of table \"T\""},
      {u"U::x", u"1", "[U:Mass:x]", "[U:Mass:1]"},
      // Names that references can not say, when one would have to; and names in use.
      {u"T:Mass", u"a:b", "[U:Mass:A]", "[U:Mass:A]"},
      {u"T:Mass", u"a:b", "[Mass]",
       "= F/T:f refers to [Mass], and no reference can name what has \":\" or \"]\" in its name"},
      {u"T:Mass", u"a]", "[Mass]",
       "= F/T:f refers to [Mass], and no reference can name what has \":\" or \"]\" in its name"},
      {u"T:Mass", u"Parent", "[Mass]",
       "= F/T:f refers to [Mass], and [Parent] would mean the row there"},
      {u"T:Mass", u"this", "[Mass]",
       "= F/T:f refers to [Mass], and [this] would mean the cell itself there"},
      {u"T:Mass", u" W", "[Mass]", "= F/T:f refers to [Mass], and [ W] would mean nothing there"},
      {u"T:Mass", u"[W", "[Mass]", "[[W]"},
      {u"T:Mass", u"W", "[W]",
       "= F/T:f refers to [W], which means nothing and would mean the column \"W\" of table \"T\""},
      {u"T:Mass", u"f", "1", "= \"f\" is in use already"},
      {u"T:Mass", u"", "1", "= a name must not be empty"},
      {u"T::A", u"B", "1", "= \"B\" is in use already"},
      {u"U", u"S", "1", "= \"S\" is in use already"},
      // What is no formula, or says nothing that is known.
      {u"T:Mass", u"W", "SUM([Mass]", "SUM([Mass]"},
      {u"T:Mass", u"W", "SUM([Mass],[Nowhere])+[Mass:Mass]+[Mass",
       "SUM([Mass],[Nowhere])+[Mass:Mass]+[Mass"},
      {u"T:Mass", u"Weight", "1+[Mass ", "1+[Weight "},
  };
  for (const RenameCase& row : cases) {
    const Notebook notebook = WithFormula(row.formula, "1");
    const std::string before = WriteNotebook(notebook.forms);
    FormEdits edits(notebook.forms[0]);
    const NotebookTable& table = *edits.Form().Tables()[0];
    const NotebookColumn& column = *table.Columns()[1];
    std::string after;
    try {
      Rename(edits, row.what, row.name);
      after = ToUtf8(table.ListenerComputing(column)->FormulaOf(2)->formula);
      edits.Undo();
    } catch (const EditRefusal& refusal) {
      after = "= " + ToUtf8(refusal.Reason());
    }
    EXPECT_EQ(after, row.after) << ToUtf8(row.what) << " " << row.formula;
    EXPECT_EQ(WriteNotebook(notebook.forms), before) << ToUtf8(row.what) << " " << row.formula;
  }
}

TEST(Edits, DefinitionsStartFromTheirTable) {
  const Notebook notebook = WithFormula("[d]", "SUM([Mass])+SUM([Mass],[U])+[T:Mass:A]");
  FormEdits edits(notebook.forms[0]);
  NotebookTable& table = *edits.Form().Tables()[0];
  edits.RenameColumn(*table.FindColumn(u"Mass"), u"W");
  EXPECT_EQ(ToUtf8(table.ListenerComputing(*table.Columns()[1])->DefinitionOf(u"d")->formula),
            "SUM([W])+SUM([Mass],[U])+[T:W:A]");
}

}  // namespace
}  // namespace ktnotebook
