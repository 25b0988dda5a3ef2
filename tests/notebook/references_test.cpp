// What references denote from a notebook's cells, rows and tables, and what typing into cells does.
#include <cmath>
#include <gtest/gtest.h>

#include "notebook/commands/address.h"
#include "notebook/commands/text_output.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktnotebook {
namespace {

constexpr std::string_view kNotebook = R"(<notebook><form name="F">
  <table name="Reactants" key="1">
    <property key="1" name="Name" type="string"/>
    <property key="2" name="Mass" type="number" unit="g"/>
    <property key="3" name="When" type="date"/>
    <property key="4" name="Done" type="Boolean"/>
    <row id="A"><cell property="Name">acid</cell><cell property="Mass">1 g</cell></row>
    <row id="3"><cell property="Name">base</cell><cell property="Mass">2 .. 4 g</cell></row>
    <row id="C"><cell property="Name">salt</cell><cell property="Mass">n.d.</cell></row>
    <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1">
      <propertyFormula name="Done">true</propertyFormula></fieldListener>
  </table>
  <table name="Products" key="2">
    <property key="5" name="Mass" type="number" unit="g"/>
    <property key="6" name="Shape" type="structure"/>
    <row id="A"><cell property="Mass">8 g</cell><cell property="Shape">CO</cell></row>
  </table>
  <structure name="Target">CC(=O)O</structure>
  <field name="Remark">first run</field>
</form></notebook>)";

class ReferencesTest : public ::testing::Test {
 protected:
  NotebookTable& Table(std::u16string_view name) { return *notebook_.forms[0]->FindTable(name); }

  // "cell", "row" and "column" are those of Mass in the first row of Reactants.
  Ref<ktformula::NotebookObject> Anchor(std::string_view name) {
    NotebookTable& table = Table(u"Reactants");
    if (name == "cell") return table.Rows()[0].CellAt(1).Object();
    if (name == "cell of C") return table.Rows()[2].CellAt(1).Object();
    if (name == "far cell") return Table(u"Products").Rows()[0].CellAt(0).Object();
    if (name == "row") return table.Rows()[0].Object();
    if (name == "far row") return Table(u"Products").Rows()[0].Object();
    if (name == "table") return Ref<ktformula::NotebookObject>(&table);
    return nullptr;
  }

  // "this" is the first cell of Products.
  std::string Value(std::string_view anchor, std::u16string_view reference) {
    ktformula::CellValue value;
    try {
      ReferenceValue(value, ktformula::ReferencePath(reference), Anchor(anchor).get(),
                     Anchor("far cell").get(), nullptr);
    } catch (const ktformula::RaisedError& error) {
      return "! " + ToUtf8(error.Description());
    }
    return ToUtf8(ValueText(value));
  }

  Notebook notebook_ = ReadNotebook(kNotebook, "n.xml");
};

TEST_F(ReferencesTest, AnchorAndTextGiveTheValue) {
  constexpr std::string_view kNothing =
      "! the object of type \"Nothing\" can not be converted into a value";
  constexpr std::string_view kNoCell =
      "! the specified table property can not be resolved to a value for a formula being assigned "
      "to something other than a table cell";
  const struct {
    std::string_view anchor;
    std::u16string_view reference;
    std::string_view value;
  } cases[] = {
      {"cell", u"Mass", "0.001"},
      {"cell", u" Name ", "acid"},
      {"cell", u"mass", kNothing},
      {"cell", u"", kNothing},
      {"cell", u"parent", "! the object of type \"Row\" can not be converted into a value"},
      {"cell", u"PARENT : Name", "acid"},
      {"cell", u"parent:Name:A", kNothing},
      {"cell", u"parent:Parent",
       "! the object of type \"Table\" can not be converted into a value"},
      {"cell", u"parent:parent:Name", "acid"},
      {"cell", u"parent:parent:Name:C", "salt"},
      {"cell", u"parent:parent:parent",
       "! the object of type \"Form\" can not be converted into a value"},
      {"cell", u"parent:parent:parent:parent", kNothing},
      // A row's id goes before its number.
      {"cell", u"Reactants:Name:3", "base"},
      {"cell", u"Reactants:Name:2", "base"},
      {"cell", u"Reactants:Name:4", kNothing},
      {"cell", u"Reactants:Name:0", kNothing},
      {"cell", u"Reactants:Name:99999999999999999999", kNothing},
      {"cell", u"Reactants:Name:A:A", kNothing},
      {"cell", u"Reactants:Mass:3", "0.002 .. 0.004"},
      {"cell", u"Reactants:Name", "acid"},
      {"cell", u"Reactants", "! the object of type \"Table\" can not be converted into a value"},
      {"cell", u"reactants:Name", kNothing},
      {"cell", u"Products:Mass:A", "0.008"},
      {"cell", u"Products:Shape:1", "CO"},
      {"cell", u"Products:Mass",
       "! the specified table property can not be resolved to a value for a table cell in a "
       "different table"},
      {"cell", u"Target", "CC(=O)O"},
      {"cell", u"Remark", "! the object of type \"Field\" can not be converted into a value"},
      {"cell of C", u"Mass", "#Error: the value \"n.d.\" is not a number"},
      {"far cell", u"Name", kNothing},
      {"row", u"Mass", "0.001"},
      {"row", u"parent:Name:C", "salt"},
      {"row", u"parent:parent", "! the object of type \"Form\" can not be converted into a value"},
      {"far row", u"Reactants:Mass",
       "! the specified table property can not be resolved to a value for a table row in a "
       "different table"},
      {"table", u"Mass", kNoCell},
      {"table", u"Reactants:Mass:A", "0.001"},
      {"cell", u"this", "0.008"},
      {"cell", u"THIS : Mass",
       "! the specified table property can not be resolved to a value for a table cell in a "
       "different table"},
      {"cell", u"this:parent:Mass", "0.008"},
      {"cell", u"this:parent:parent:Shape:A", "CO"},
      {"no", u"Mass", kNothing},
      {"no", u"this:parent:Mass", "0.008"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(Value(row.anchor, row.reference), row.value)
        << row.anchor << " [" << ToUtf8(row.reference) << "]";
  }
}

TEST_F(ReferencesTest, TypingSetsNumbersUnitStateAndTag) {
  const double nan = std::nan("");
  const struct {
    std::size_t column;
    std::u16string_view typed;
    std::u16string_view text;
    double min;
    double max;
    std::u16string_view unit;
    std::u16string_view state;
    std::u16string_view unit_name;
  } cases[] = {
      {0, u"1 g", u"1 g", 0, 0, u"", u"noted", u""},
      {0, u"  two\t words \t", u"two\t words", 0, 0, u"", u"noted", u""},
      {0, u"", u"", 0, 0, u"", u"", u""},
      {1, u"12 mg", u"12 mg", 12e-6, 12e-6, u"mg", u"entered", u"mg"},
      {1, u"\t 0.012 ", u"0.012", 12e-6, 12e-6, u"", u"entered", u"g"},
      {1, u"5 \u00B1 1 mg", u"5 \u00B1 1 mg", 4e-6, 6e-6, u"mg", u"entered", u"mg"},
      {1, u"n.d.", u"n.d.", nan, nan, u"", u"entered", u"g"},
      {1, u"1 ml", u"1 ml", nan, nan, u"", u"entered", u"g"},
      {1, u"4 .. 2 g", u"4 .. 2 g", nan, nan, u"", u"entered", u"g"},
      {1, u"", u"", 0, 0, u"", u"", u"g"},
      {2, u"soon", u"soon", 0, 0, u"", u"noted", u""},
      {2, u" \t ", u"", 0, 0, u"", u"", u""},
      // A column with a formula: what is typed must not be computed over.
      {3, u"true", u"true", 0, 0, u"", u"entered", u""},
      {3, u"", u"", 0, 0, u"", u"", u""},
  };
  for (const auto& row : cases) {
    const NotebookCell cell = Table(u"Reactants").Rows()[1].CellAt(row.column);
    cell.Enter(row.typed);
    const CellContent expected{std::u16string(row.text), row.min, row.max,
                               std::u16string(row.unit)};
    const CellContent found = cell.Content();
    EXPECT_TRUE(IsSameContent(found, expected))
        << ToUtf8(row.text) << ": " << found.min << " " << found.max << ToUtf8(found.unit);
    EXPECT_EQ(cell.State(), row.state) << ToUtf8(row.text);
    EXPECT_EQ(cell.Tag(), row.text.empty() ? u"" : u"entered") << ToUtf8(row.text);
    EXPECT_EQ(cell.Object()->UnitName(), row.unit_name) << ToUtf8(row.text);
  }
}

TEST_F(ReferencesTest, DatesAndBooleansTakeWhatReadsAsOne) {
  const struct {
    std::size_t column;
    std::u16string_view typed;
    bool is_accepted;
  } cases[] = {
      {2, u"\t2024-02-29 ", true}, {2, u" \t ", true}, {2, u"soon", false},
      {3, u"\tyes ", true},        {3, u" \t ", true}, {3, u"maybe", false},
  };
  for (const auto& row : cases) {
    const NotebookCell cell = Table(u"Reactants").Rows()[0].CellAt(row.column);
    EXPECT_EQ(cell.Accepts(row.typed), row.is_accepted) << ToUtf8(row.typed);
  }
}

TEST(Addresses, FitExactlyOnePlaceOrAreRefused) {
  const Notebook notebook = ReadNotebook(R"(<notebook>
    <form name="A/B"><table name="T:1" key="1"><property key="1" name="x:y" type="string"/>
      <property key="2" name="x" type="string"/>
      <row id="r"/><row id="y:r"/><row id="2"/></table></form>
    <form name="A"><table name="B/T:1" key="2"><property key="3" name="x" type="string"/>
      <row id="q"/></table></form></notebook>)",
                                         "n.xml");
  const struct {
    std::u16string_view address;
    // The cell's own address, or what the refusal says.
    std::string_view found;
  } cases[] = {
      {u"A/B/T:1:x:r", "A/B/T:1:x:r"},
      {u"A/B/T:1:x:q", "A/B/T:1:x:q"},
      {u"A/B/T:1:x:3", "A/B/T:1:x:2"},
      {u"A/B/T:1:x:2", "A/B/T:1:x:2"},
      {u"A/B/T:1:x:y:r", "fits more than one place"},
      {u"A/B/T:1:x:1", "fits more than one place"},
      {u"A/B/T:1:x", "\"A/B/T:1:x\" is incomplete; an address is FORM/TABLE:COLUMN:ROW"},
      {u"", "\"\" is incomplete"},
      {u"Q/T:x:r", "there is no form \"Q\""},
      {u"A/C/T:1:x:q", "there is no table \"C/T\" in form \"A\""},
      {u"A/B/T:1:xy:r", "there is no column \"xy\" in table \"T:1\"; did you mean \"x:y\"?"},
      {u"A/B/T:1:x:yr", "there is no row \"yr\" in table \"T:1\"; did you mean \"y:r\"?"},
  };
  for (const auto& row : cases) {
    std::string found;
    try {
      found = ToUtf8(AddressOf(FindCell(notebook.forms, row.address)));
    } catch (const NotebookError& error) {
      found = error.what();
    }
    EXPECT_NE(found.find(row.found), std::string::npos) << found;
  }
}

}  // namespace
}  // namespace ktnotebook
