// Notebook files: what is read, what is refused and where, and that writing loses nothing.
#include "notebook/files/notebook_file.h"

#include <gtest/gtest.h>
#include <random>

#include "listener/formula_listener.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/tables/unit_catalogue.h"

namespace ktnotebook {
namespace {

constexpr std::string_view kExample = R"(<notebook>
  <form name="Amide coupling">
    <table name="Reactants" key="1">
      <property key="11" name="Compound" type="string"/>
      <property key="13" name="Mass" type="number" unit="g" numberFormatting="true"/>
      <property key="14" name="Double" type="number" unit="g"/>
      <row id="A">
        <tag name="Lot">B-17</tag>
        <cell property="Compound" state="noted">benzoic acid</cell>
        <cell property="Mass" state="entered" tag="entered">1.22 g</cell>
      </row>
      <row id="B"><cell property="Compound" tag="seen"> </cell></row>
      <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1" resultFormat="X.Y">
        <propertyFormula format="0.0" key="14"><![CDATA[[Mass]*2]]></propertyFormula>
        <definition name="total"><![CDATA[SUM([Mass])]]></definition>
      </fieldListener>
    </table>
    <structure name="Product">CC(=O)O</structure>
    <field name="Remark">first run</field>
  </form>
</notebook>)";

// "" when the text is a notebook.
std::string Refusal(std::string_view text) {
  try {
    ReadNotebook(text, "n.xml");
  } catch (const NotebookError& error) {
    return error.what();
  }
  return "";
}

std::string Rewritten(std::string_view text) {
  return WriteNotebook(ReadNotebook(text, "n.xml").forms);
}

// A table with one number and one text column, and `body` in line 5.
std::string WithTable(std::string_view body) {
  return "<notebook>\n<form name='F'>\n<table name='T' key='1'>\n"
         "<property key='1' name='M' type='number'/><property key='2' name='S' type='string'/>\n" +
         std::string(body) + "\n</table></form></notebook>";
}

std::string WithListener(const std::string& content) {
  return WithTable("<fieldListener progID='KtFormula9.FormulaListener'>" + content +
                   "</fieldListener>");
}

// Little-endian.
std::string Utf16(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<char>(unit & 0xFFU));
    bytes.push_back(static_cast<char>(unit >> 8U));
  }
  return bytes;
}

TEST(NotebookFile, RefusesWithFileLineAndReason) {
  const struct {
    std::string text;
    std::string_view refusal;
  } cases[] = {
      {"", "n.xml:1: no element found"},
      {"\n\n<notebook>\n<form name='F'>", "n.xml:4: no element found"},
      {"<notebook></form>", "n.xml:1: mismatched tag"},
      {"<notes/>", "n.xml:1: the root element is <notes>"},
      {"<notebook>\n&nothing;</notebook>", "n.xml:2: undefined entity"},
      {"<notebook>\n\x01</notebook>", "n.xml:2: not well-formed"},
      {std::string("<notebook>\n\0</notebook>", 23), "n.xml:2: not well-formed"},
      {"<notebook>\n\xED\xA0\x80</notebook>", "n.xml:2: not well-formed"},
      {"\xFF\xFE<", "n.xml:1: the text ends within a character of UTF-16"},
      {"<?xml version='1.0' encoding='windows-1252'?>\n<notebook/>",
       "n.xml:1: the encoding \"windows-1252\" is not known"},
      {"<?xml version='1.0' encoding='UTF-16'?><notebook/>",
       "n.xml:1: the text is not in \"UTF-16\""},
      {"\xEF\xBB\xBF<?xml version='1.0' encoding='ISO-8859-1'?><notebook/>",
       "n.xml:1: the text is not in \"ISO-8859-1\""},
      {"<?xml version='1.0' encoding='us-ascii'?>\n<notebook>\xC3\xA9</notebook>",
       "n.xml:2: a character is not US-ASCII"},
      {"\xEF\xBB\xBF\xEF\xBB\xBF<notebook/>", "n.xml:1: a second byte order mark"},
      {Utf16(u"\uFEFF\uFEFF<notebook/>"), "n.xml:1: a second byte order mark"},
      {Utf16(u"\uFEFF<?xml version='1.0' encoding='UTF-8'?><notebook/>"),
       "n.xml:1: the text is not in"},
      {Utf16(u"\uFEFF<notebook>\n" + std::u16string(1, u'\xD800') + u"</notebook>"),
       "n.xml:2: not well-formed"},
      {"\n<!DOCTYPE notebook [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><notebook>&e;</notebook>",
       "n.xml:2: a document type declaration is not allowed"},
      {"<notebook>text</notebook>", "n.xml:1: <notebook> holds no text of its own"},
      {"<notebook>\n<table/></notebook>", "n.xml:2: <table> is not allowed in <notebook>"},
      {"<notebook>\n<form/></notebook>", "n.xml:2: <form> needs the attribute \"name\""},
      {"<notebook>\n<form name='F' color='red'/></notebook>",
       "n.xml:2: <form> has no attribute \"color\""},
      {"<notebook><form name='F'/>\n<form name='F'/></notebook>",
       "n.xml:2: the form name \"F\" is used twice"},
      {"<notebook><form name='F'><field name='T'/>\n<table name='T' key='1'/></form></notebook>",
       "n.xml:2: the field name \"T\" is used twice"},
      {"<notebook><form name='F'><table name='T' key='1'/></form>\n<form name='G'>"
       "<table name='U' key='1'/></form></notebook>",
       "n.xml:2: the key 1 is used twice"},
      {WithTable("<property key='1' name='N' type='string'/>"), ":5: the key 1 is used twice"},
      {WithTable("<property key='3' name='M' type='string'/>"), ":5: the property name \"M\" is"},
      {WithTable("<property key='3' name='N' type='boolean'/>"), "the type \"boolean\" is not"},
      {WithTable("<property key='3' name='N' type='number' unit='pound'/>"), "unit \"pound\" is"},
      {WithTable("<property key='3' name='N' type='string' unit='g'/>"), "only a property of type"},
      {WithTable("<property key='3' name='N' type='number' numberFormatting='1'/>"), "neither"},
      {WithTable("<property key='99999999999' name='N' type='number'/>"), "not a whole number"},
      {WithTable("<row/>"), "n.xml:5: <row> needs the attribute \"id\""},
      {WithTable("<row id='A'/>\n<row id='A'/>"), "n.xml:6: the row id \"A\" is used twice"},
      {WithTable("<row id='A'><tag name='x'/>\n<tag name='x'/></row>"), ":6: the tag name \"x\""},
      {WithTable("<row id='A'>\n<cell property='m'>1</cell></row>"), ":6: the table has no prop"},
      {WithTable("<row id='A'><cell property='M'/>\n<cell property='M'/></row>"),
       ":6: the cell \"M\" is used twice"},
      {WithTable("<fieldListener progID='Other.Listener'/>"), "\"Other.Listener\" is not known"},
      {WithTable("<fieldListener progID='KtFormula9.FormulaListener' position='40000'/>"), ":5: "},
      {WithTable("<fieldListener progID='KtFormula9.DefaultFormulaFormat'>\n"
                 "<definition name='d'>1</definition></fieldListener>"),
       "n.xml:6: a listener \"KtFormula9.DefaultFormulaFormat\" takes no formulas"},
      {WithListener("<propertyFormula name='X'>1</propertyFormula>"), "property name \"X\" is not"},
      {WithListener("<propertyFormula>1</propertyFormula>"), "property name \"\" is not"},
      {WithListener("<propertyFormula key='7'>1</propertyFormula>"), "no property with the key"},
      {WithListener("<propertyFormula key='1'/>\n<propertyFormula name='M'/>"),
       ":6: the formula's"},
      {WithListener("<definition name='d'/>\n<definition name='d'/>"), ":6: the definition name"},
  };
  for (const auto& row : cases) {
    const std::string refusal = Refusal(row.text);
    EXPECT_TRUE(refusal.starts_with("n.xml:")) << row.text << '\n' << refusal;
    EXPECT_NE(refusal.find(row.refusal), std::string::npos) << row.text << '\n' << refusal;
  }
  EXPECT_EQ(Refusal(WithTable("<!-- a remark --><?a pi?>")), "");
  // Behind a mark, too, lines are counted from the first.
  EXPECT_EQ(Refusal("\xEF\xBB\xBF\n<notebook>\n<a/></notebook>"),
            "n.xml:3: <a> is not allowed in <notebook>");
}

TEST(NotebookFile, IsReadInTheEncodingThatItDeclares) {
  const std::string body =
      "<notebook><form name='F'><field name='N'>\xC2\xB5 \xC3\xA9</field></form></notebook>";
  const std::string latin1 =
      "<notebook><form name='F'><field name='N'>\xB5 \xE9</field></form></notebook>";
  const std::u16string wide =
      u"<notebook><form name='F'><field name='N'>\u00B5 \u00E9</field></form></notebook>";
  std::string big_endian = Utf16(u"\uFEFF" + wide);
  for (std::size_t i = 0; i < big_endian.size(); i += 2)
    std::swap(big_endian[i], big_endian[i + 1]);
  for (const std::string& text :
       {body, "\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8'?>" + body,
        "<?xml version='1.0' encoding='ISO-8859-1'?>" + latin1,
        "<?xml version='1.0' encoding='iso-8859-1' standalone='yes'?>" + latin1,
        Utf16(u"\uFEFF" + wide), big_endian,
        Utf16(u"<?xml version='1.0' encoding='UTF-16'?>" + wide),
        std::string("<?xml version='1.0' encoding='US-ASCII'?><notebook><form name='F'>"
                    "<field name='N'>&#181; &#xE9;</field></form></notebook>")}) {
    ASSERT_EQ(Refusal(text), "") << text;
    const Notebook notebook = ReadNotebook(text, "n.xml");
    EXPECT_EQ(notebook.forms[0]->FindField(u"N")->TextField()->Text(), u"\u00B5 \u00E9") << text;
  }
}

TEST(NotebookFile, TellsWhatItDrops) {
  const struct {
    std::string text;
    std::string dropped;
  } cases[] = {
      {"<?xml version='1.0'?><notebook/>", ""},
      {"<!-- a --><notebook/>", "1 comment"},
      {"<notebook><?a?><?b?></notebook>", "2 processing instructions"},
      {WithListener("<definition name='d'>1<!-- a -->+<!-- b --><?c?>1</definition>"),
       "2 comments and 1 processing instruction"},
  };
  for (const auto& row : cases)
    EXPECT_EQ(ReadNotebook(row.text, "n.xml").dropped, row.dropped) << row.text;
}

TEST(NotebookFile, AFileCutAnywhereIsRefused) {
  ASSERT_EQ(Refusal(kExample), "");
  for (std::size_t size = 0; size < kExample.size(); ++size) {
    EXPECT_TRUE(Refusal(kExample.substr(0, size)).starts_with("n.xml:")) << size;
  }
}

TEST(NotebookFile, DeepNestingIsRefusedEarly) {
  std::string text = "<notebook>\n";
  for (int i = 0; i < 10'000'000; ++i)
    text += "<a>";
  EXPECT_EQ(Refusal(text), "n.xml:2: elements are nested more than 64 deep");
}

TEST(NotebookFile, KeepsWhatItHolds) {
  const Notebook notebook = ReadNotebook(kExample, "n.xml");
  const NotebookTable& table = *notebook.forms[0]->FindTable(u"Reactants");
  const NotebookRow first = table.Rows()[0];
  const NotebookRow second = table.Rows()[1];
  EXPECT_EQ(first.Tag(u"Lot") + u"|" + first.Tag(u"ID") + u"|" + first.Tag(u"lot"), u"B-17|A|");
  EXPECT_EQ(first.CellAt(0).Tag(), u"entered");
  EXPECT_EQ(first.CellAt(1).MinNumber(), 0.00122);
  EXPECT_EQ(second.CellAt(0).Text() + second.CellAt(0).Tag(), u" seen");
  EXPECT_EQ(Rewritten(kExample), R"(<?xml version="1.0" encoding="UTF-8"?>
<notebook>
  <form name="Amide coupling">
    <table name="Reactants" key="1">
      <property key="11" name="Compound" type="string" />
      <property key="13" name="Mass" type="number" unit="g" numberFormatting="true" />
      <property key="14" name="Double" type="number" unit="g" />
      <row id="A">
        <tag name="Lot">B-17</tag>
        <cell property="Compound" state="noted">benzoic acid</cell>
        <cell property="Mass" state="entered">1.22 g</cell>
      </row>
      <row id="B">
        <cell property="Compound" tag="seen"> </cell>
      </row>
      <fieldListener progID="KtFormula9.FormulaListener" name="L" position="1" resultFormat="X.Y">
        <propertyFormula format="0.0" name="Double"><![CDATA[[Mass]*2]]></propertyFormula>
        <definition name="total"><![CDATA[SUM([Mass])]]></definition>
      </fieldListener>
    </table>
    <structure name="Product">CC(=O)O</structure>
    <field name="Remark">first run</field>
  </form>
</notebook>
)");
  EXPECT_EQ(
      Rewritten(WithTable("<row id='A'><tag name='ID'>x</tag>"
                          "<cell property='S' state='noted' tag=''>a</cell></row>"))
          .find("<tag name=\"ID\">x</tag>\n        <cell property=\"S\" state=\"noted\" tag=\"\""),
      Rewritten(WithTable("<row id='A'><tag name='ID'>x</tag></row>")).find("<tag"));
}

TEST(NotebookFile, AComputedNumberWithoutAUnitIsInBaseUnits) {
  const struct {
    std::string formula;
    std::string cell;
    double number;
    std::u16string_view unit;
  } cases[] = {
      {"1+1", "<cell property='M'>2</cell>", 2, u""},
      {"1+1", "<cell property='M' state='entered'>2</cell>", 0.002, u""},
      // An entry without a formula computes nothing: the cell says what its text says.
      {"", "<cell property='M'>2</cell>", 0.002, u""},
      {"", "<cell property='M'>2 mg</cell>", 2e-6, u"mg"},
  };
  for (const auto& row : cases) {
    const Notebook notebook = ReadNotebook(
        "<notebook><form name='F'><table name='T' key='1'>"
        "<property key='1' name='M' type='number' unit='g'/><row id='A'>" +
            row.cell +
            "</row><fieldListener progID='KtFormula9.FormulaListener'><propertyFormula name='M'>" +
            row.formula + "</propertyFormula></fieldListener></table></form></notebook>",
        "n.xml");
    const NotebookCell cell = notebook.forms[0]->FindTable(u"T")->Rows()[0].CellAt(0);
    EXPECT_EQ(cell.MinNumber(), row.number) << row.formula << row.cell;
    EXPECT_EQ(cell.Content().unit, row.unit) << row.formula << row.cell;
  }
}

// A notebook in which the text stands in every place that takes one.
Notebook Everywhere(const std::u16string& text) {
  Notebook notebook = ReadNotebook(
      "<notebook><form name='F'><table name='T' key='1'>"
      "<property key='1' name='M' type='number'/>"
      "<fieldListener progID='KtFormula9.FormulaListener' name='L' position='1'/>"
      "</table></form></notebook>",
      "n.xml");
  NotebookForm& form = *notebook.forms[0];
  NotebookTable& table = *form.FindTable(u"T");
  NotebookColumn& column = *table.AddColumn({2, text + u"c", DataType::kString, nullptr, false});
  const NotebookRow row = *table.AddRow(text + u"r");
  row.AddTag(text + u"t", text);
  row.CellAt(column.Index()).TakeTypedText(text);
  auto& listener = dynamic_cast<ktformula::FormulaListener&>(*table.Listeners()[0]);
  listener.SetName(text);
  listener.SetPropertyFormula(1, text + u"+1", text);
  listener.SetDefinition(text + u"d", text + u"+1");
  listener.SetResultFormat(text);
  form.AddStructure(text + u"s", text);
  form.AddTextField(text + u"f", text);
  return notebook;
}

TEST(NotebookFile, AnyTextComesBackFromEveryPlace) {
  for (const std::u16string_view view :
       {u"", u" ", u"  a\tb ", u"a\rb", u"\r\n\r", u"\n\na\n", u"]]>", u"]]]]>>]]",
        u"<a b='c'>&amp;", u"\"; DROP TABLE notebook_cells; --'", u"\U0001F9EA\u00B5\u00B1",
        u"\u0085\u2028\uFFFD\u007F", u"<![CDATA[x]]>\r]]>"}) {
    const std::u16string text(view);
    const std::string file = WriteNotebook(Everywhere(text).forms);
    const Notebook read = ReadNotebook(file, "n.xml");
    EXPECT_EQ(WriteNotebook(read.forms), file);
    const NotebookForm& form = *read.forms[0];
    const NotebookTable& table = *form.FindTable(u"T");
    const NotebookRow row = table.Rows()[0];
    const auto& listener = dynamic_cast<ktformula::FormulaListener&>(*table.Listeners()[0]);
    const auto& formulas = listener.Configuration();
    for (const std::u16string& found :
         {row.Tag(text + u"t"), row.CellAt(1).Text(), listener.Name(), listener.ResultFormat(),
          formulas.property_formulas.Find(u"1")->StringFormat,
          form.FindField(text + u"s")->Structure()->Data(),
          form.FindField(text + u"f")->TextField()->Text()}) {
      EXPECT_EQ(found, text) << file;
    }
    EXPECT_EQ(formulas.property_formulas.Find(u"1")->Formula, text + u"+1");
    EXPECT_EQ(formulas.definitions.Find(text + u"d")->Formula, text + u"+1");
    EXPECT_EQ(row.ID() + table.Columns()[1]->Definition().name, text + u"r" + text + u"c");
  }
}

TEST(NotebookFile, TextThatXmlCanNotHoldIsRefusedWithItsPlace) {
  for (const std::u16string& text :
       {std::u16string(u"\x01"), std::u16string(1, u'\0'), std::u16string(u"a\xFFFE"),
        std::u16string(1, u'\xD800'), std::u16string(u"\xDC00\xD800")}) {
    Notebook notebook = Everywhere(u"");
    NotebookTable& table = *notebook.forms[0]->FindTable(u"T");
    table.Rows()[0].CellAt(1).Enter(text);
    try {
      WriteNotebook(notebook.forms);
      ADD_FAILURE();
    } catch (const NotebookError& error) {
      EXPECT_TRUE(std::string_view(error.what())
                      .starts_with("table \"T\", row \"r\", column \"c\": the text contains the "
                                   "character U+"))
          << error.what();
    }
    EXPECT_THROW(WriteNotebook(Everywhere(text).forms), NotebookError);
  }
}

// Whatever happens to a file's bytes: it is refused, or it is a notebook that can be written again.
TEST(NotebookFile, DamagedFilesAreRefusedOrRead) {
  int refused = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    std::mt19937 random(seed);
    std::string text(kExample);
    for (unsigned i = 0; i <= seed % 3; ++i) {
      const std::size_t place = random() % text.size();
      switch (random() % 3) {
        case 0: text[place] = static_cast<char>(random()); break;
        case 1: text.erase(place, 1 + random() % 20); break;
        default: text.insert(place, kExample.substr(random() % kExample.size(), 1 + random() % 30));
      }
    }
    const std::string refusal = Refusal(text);
    if (refusal.empty()) {
      const std::string file = Rewritten(text);
      EXPECT_EQ(Rewritten(file), file) << "seed " << seed;
    } else {
      ++refused;
      EXPECT_TRUE(refusal.starts_with("n.xml:")) << "seed " << seed << ": " << refusal;
    }
  }
  EXPECT_GT(refused, 100);
  EXPECT_LT(refused, 399);
}

}  // namespace
}  // namespace ktnotebook
