// CSV files in and out: measured data, the types that are found, and what is refused.
#include <cmath>
#include <gtest/gtest.h>
#include <iostream>

#include "notebook/files/csv_file.h"
#include "notebook/files/file.h"
#include "notebook/program.h"

namespace ktnotebook {
namespace {

struct CsvTest : ::testing::Test {
  std::string Saved(std::string_view csv) const {
    WriteWholeFile(folder.File("t.csv"), csv);
    return folder.File("t.csv");
  }
  // Recalculates the file and gives the CSV that was written.
  std::string Recalculated(const std::string& file, Arguments options) const {
    options.insert(options.begin(), {"recalculate", file, "-o", folder.File("out.csv")});
    EXPECT_EQ(Program(options).status, 0) << file;
    return ReadWholeFile(folder.File("out.csv"));
  }
  TemporaryFolder folder;
};

TEST_F(CsvTest, MeasuredDataGetsCalculatedColumns) {
  const std::string treated = "--formula=Treated=SUM([rate],[puromycin],[state]=\"treated\")";
  const std::string label = "--formula=Label=IF([rate]>100,\"high\",\"low\")";
  const std::string share = "--formula=Share=[rate]/SUM([rate])";
  const std::tuple<std::string, Arguments, std::string> cases[] = {
      {"puromycin.csv",
       {treated, label, "--type=Label=string", "--formula=Ratio=[rate]/[conc]"},
       "\r\n0.02,47,treated,1699,low,2350\r\n0.06,97,treated,1699,low,1616.66666666667\r\n"},
      {"puromycin.csv", {label, "--type=Label=string"}, "\r\n0.06,107,treated,high\r\n"},
      {"puromycin.csv", {share, "--format=Share=%"}, "\r\n1.1,160,untreated,5%\r\n"},
      {"dnase-elisa.csv",
       {"--formula=x=MAX([density],[dnase-elisa],[Run]=[this:parent:Run])"},
       "\r\n11,12.5,1.715,1.721\r\n"},
      {"theophylline.csv",
       {"--formula=x=[Wt]*[Dose]", "--format=x=0.0"},
       "\r\n12,60.5,5.3,24.15,1.17,320.7\r\n"},
  };
  const std::string data = KT_SOURCE_DIR "/examples/data/";
  for (const auto& [file, options, lines] : cases) {
    const std::string out = Recalculated(data + file, options);
    EXPECT_NE(out.find(lines), std::string::npos) << out;
  }
  double percents = 0;
  const std::string shares = Recalculated(data + "puromycin.csv", {share, "--format=Share=0.00%"});
  for (std::size_t end = 0; (end = shares.find('%', end)) != std::string::npos; ++end)
    percents += std::stod(shares.substr(shares.rfind(',', end) + 1));
  EXPECT_NEAR(percents, 100, 0.005 * 23);
}

TEST_F(CsvTest, TypesAndStatesComeFromTheValues) {
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"c\n1\n-2.5E3\n\"1,000\"\n1 .. 2\n5%\n", "c\" type=\"number\"", "entered\">5%"},
      {"c,d\n,1\n,\n", "c\" type=\"number\"", "<row id=\"2\" />"},
      {"c\n1\n\"1,250\"\nn.d.\n \n", "c\" type=\"number\"", "entered\">n.d."},
      {"c\n1\nn.d.\n", "c\" type=\"string\"", "noted\">n.d."},
      {"c\ntrue\nFALSE\n", "c\" type=\"Boolean\"", "noted\">FALSE"},
      {"c\n2024-02-29\n2024-03-01 10:30\n", "c\" type=\"date\"", "noted\">2024-03-01 10:30"},
      {"c\n2023-02-29\n", "c\" type=\"string\"", "noted\">2023-02-29"},
      {"c (mg)\n1\n2 g\n", "\"c\" type=\"number\" unit=\"mg\"", "entered\">2 g"},
      {"c (mg)\n1\nn.d.\n", "c (mg)\" type=\"string\"", "noted\">n.d."},
      {"c (mg)\n1\n2 g\nn.d.\n", "\"c\" type=\"number\" unit=\"mg\"", "entered\">n.d."},
      {"c (mg)\n1 ml\n", "c (mg)\" type=\"string\"", "noted\">1 ml"},
  };
  for (const auto& [csv, column, cell] : cases) {
    const std::string xml = Program({"recalculate", Saved(csv), "-o", "-"}).out.str();
    EXPECT_NE(xml.find(column), std::string::npos) << xml;
    EXPECT_NE(xml.find(cell), std::string::npos) << xml;
  }
}

TEST_F(CsvTest, ThousandsCountInGroupsOfThree) {
  const std::pair<std::string, double> cases[] = {
      {"1,250", 1250},
      {"12,345.5", 12345.5},
      {"-1,234,567", -1234567},
      {"1,250e1", 12500},
      {"1,25", 0},
      {"1,2500", 0},
      {"1234,567", 0},
      {"1,234,5", 0},
      {"0,125", 0},
      {"1 .. 1,25", 0},
      {"1 \xC2\xB1 0,250", 0},
      {"1.5 .. 1,250", 1.5},
      {"1,250 .. 2,000", 1250},
  };
  for (const auto& [text, number] : cases) {
    const Notebook notebook =
        ReadCsvNotebook("c\n\"" + text + "\"\n", "t.csv", u"t", {{}, {}, {}, {{u"c", u"number"}}});
    const double value = notebook.forms[0]->Tables()[0]->Columns()[0]->Data().MinNumbers()[0];
    EXPECT_EQ(std::isnan(value) ? 0 : value, number) << text;
  }
  // A notebook file could not tell that it is none.
  EXPECT_NE(Program({"recalculate", Saved("c\n1\n2\n187.04\n"), "-o", "-", "--locale=de_DE"})
                .err.str()
                .find("row \"3\", column \"c\": \"187.04\" is no number"),
            std::string::npos);
}

TEST_F(CsvTest, NotesTellWhatWasNotReadAsNumbers) {
  const std::string whole = "; if the whole file is so, give ";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"c\n1\nn.d.\n<3\n2\n4\n", "",
       "\"c\": 2 of 5 values without a number, the first \"n.d.\" in row 2"},
      {"c\n1\n\"\"\n2\nn.d.\n", "", "\"c\": 1 of 3 values without a number, \"n.d.\" in row 4"},
      {"c\n1\nn.d.\n", "", ""},
      {"c\n1\nn.d.\n", "--type=c=number",
       "\"c\": 1 of 2 values without a number, \"n.d.\" in row 2"},
      {"c\nx\n\"1,5\"\n\"2,5\"\n", "",
       "\"c\": 2 of 3 values written as numbers of another locale, the first \"1,5\" in row 2" +
           whole + "--locale de_DE"},
      {"c\n1.5\n2.25\n", "--locale=de_DE", whole + "--locale C"},
      {"c\n1.5\n2.25\n", "--type=c=string", ""},
      {"c (g)\n\"1,5 mg\"\n\"2,5\"\n", "", whole + "--locale de_DE"},
      {"c\n1;2;3\n4;5\n", "",
       "\"c\": 2 of 2 values written as several numbers with \";\" between them, the first "
       "\"1;2;3\" in row 1" +
           whole + "--delimiter ';'"},
      {"c\n1|2\n", "--delimiter=,", ""},
      {"c (mg)\n1\nn.d.\n", "",
       "\"c (mg)\": most values without a number in mg, the first \"n.d.\" in row 2; --type "
       "'c=number'"},
      {"c\n2024-02-29\n10:30\n", "", ""},
  };
  for (const auto& [csv, option, note] : cases) {
    Arguments arguments{"recalculate", Saved(csv)};
    if (!option.empty()) arguments.push_back(option);
    const std::string said = Program(arguments).err.str();
    EXPECT_NE(said.find(note), std::string::npos) << said;
    EXPECT_EQ(said.empty(), note.empty()) << said;
  }
}

TEST_F(CsvTest, WellsWithoutANumberDisturbNoOthers) {
  std::string csv = "well,kind,OD\n";
  for (int well = 1; well <= 96; ++well)
    csv += std::to_string(well) + (well > 88        ? ",blank,0.05\n"
                                   : well % 30 == 3 ? ",,n.d.\n"
                                                    : ",,0.55\n");
  const std::string out = Recalculated(
      Saved(csv), {"--definition=blank=SUM([OD],[t],[kind]=\"blank\")/COUNT([t],[kind]=\"blank\")",
                   "--formula=net=[OD]-[blank]"});
  std::size_t computed = 0;
  for (std::size_t at = 0; (at = out.find(",0.55,0.5\r\n", at)) != std::string::npos; ++at)
    ++computed;
  EXPECT_EQ(computed, 85U);
  const std::string error = "\"#Error: the value \"\"n.d.\"\" is not a number\"\r\n";
  for (const std::string well : {"3", "33", "63"})
    EXPECT_NE(out.find("\r\n" + well + ",,n.d.," + error), std::string::npos) << out;
}

TEST_F(CsvTest, OtherDelimitersAndSources) {
  const std::tuple<std::string, std::string, Arguments, std::string> cases[] = {
      {"t.tsv", "a\tb\n1\t2,x\n", {}, "a,b,c\r\n1,\"2,x\",2\r\n"},
      {"t.csv", "a;b\n1;\"2;x\"\n", {"--delimiter", ";"}, "a;b;c\r\n1;\"2;x\";2\r\n"},
      {"t.txt", "a\tb\n1\tx\n", {"--delimiter=\\t"}, "a\tb\tc\r\n1\tx\t2\r\n"},
      {"t.txt",
       "\xEF\xBB\xBF"
       "a|b\n1|x\n",
       {"--delimiter=|"},
       "a|b|c\r\n1|x|2\r\n"},
  };
  for (const auto& [name, csv, options, written] : cases) {
    WriteWholeFile(folder.File(name), csv);
    std::istringstream input(csv);
    std::streambuf* const usual = std::cin.rdbuf(input.rdbuf());
    Arguments arguments = options;
    arguments.emplace_back("--formula=c=[a]*2");
    EXPECT_EQ(Recalculated(name == "t.txt" ? "-" : folder.File(name), arguments), written);
    std::cin.rdbuf(usual);
  }
}

TEST_F(CsvTest, ANotebooksTableIsWrittenAsItReads) {
  const std::string head =
      "<notebook><form name=\"F\"><table name=\"T\" key=\"1\"><property key=\"1\" "
      "name=\"m\" type=\"number\" unit=\"mg\"/><property key=\"2\" name=\"n\" "
      "type=\"number\" unit=\"g\"/><property key=\"3\" name=\"t\" type=\"number\" "
      "unit=\"\xC2\xB0"
      "C\" numberFormatting=\"true\"/><row id=\"1\">"
      "<cell property=\"m\" state=\"entered\">2.5 g</cell></row>"
      "<fieldListener progID=\"KtFormula9.FormulaListener\" name=\"L\" position=\"1\">"
      "<propertyFormula format=\"\" name=\"n\">[m]/2</propertyFormula>"
      "<propertyFormula format=\"0.0\" name=\"t\">300</propertyFormula>"
      "</fieldListener></table>";
  const std::string table = folder.File("out.csv");
  WriteWholeFile(folder.File("n.xml"), head + "<field name=\"Remark\">x</field></form></notebook>");
  const Program written({"recalculate", folder.File("n.xml"), "-o", table});
  const std::string text =
      "m (mg),n (g),t (\xC2\xB0"
      "C)\r\n2.5 g,1.25,26.9\r\n";
  EXPECT_EQ(ReadWholeFile(table), text);
  EXPECT_NE(written.err.str().find("without \"Remark\""), std::string::npos) << written.err.str();
  EXPECT_EQ(Recalculated(table, {}), text);
  const Program refused({"recalculate", KT_SOURCE_DIR "/examples/puromycin.xml", "-o", table});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.str().find("a CSV file holds one table"), std::string::npos);
}

TEST_F(CsvTest, WhatASpreadsheetTakesForAFormulaIsMadeSafe) {
  const std::string csv = "=n,m (g),s\r\n-1,-5 mg,=1+1\r\n+x,,@a\r\n-2,1 .. 2,-3\r\n4,-x,'=a\r\n";
  EXPECT_EQ(Recalculated(Saved(csv), {}), csv);
  EXPECT_EQ(Recalculated(Saved(csv), {"--spreadsheet-safe"}),
            "'=n,m (g),s\r\n-1,-5 mg,'=1+1\r\n'+x,,'@a\r\n-2,1 .. 2,'-3\r\n4,'-x,'=a\r\n");
}

TEST_F(CsvTest, WhatIsWrittenReadsBack) {
  const std::tuple<std::string, Arguments, std::string> cases[] = {
      {"\xEF\xBB\xBF\xC2\xB5,\"b \"\"q\"\"\"\n 1 ,\"x,\r\ny\"\n,\"\n\"",
       {},
       "\xC2\xB5,\"b \"\"q\"\"\"\r\n1,\"x,\r\ny\"\r\n,\"\n\"\r\n"},
      {"a\r\n1\r\n\"\"\r\n3", {}, "a\r\n1\r\n\"\"\r\n3\r\n"},
      {"\"\xEF\xBB\xBFx\"\n1\n", {}, "\"\xEF\xBB\xBFx\"\r\n1\r\n"},
      // What was typed stays as it is; what is computed stands in the header's unit.
      {"Mass (g),Half (g)\n1 g,\n5,7 mg\n",
       {"--formula=Half=[Mass]/2", "--format=Half=0.00"},
       "Mass (g),Half (g)\r\n1 g,0.50\r\n5,7 mg\r\n"},
      {"m (kg)\n1\n", {"--formula=t=[m]*2", "--unit=t=g"}, "m (kg),t (g)\r\n1,2000\r\n"},
      {"m\n1\n", {"--formula=t=\"see 5 g\"", "--unit=t=g"}, "m,t (g)\r\n1,see 5 g\r\n"},
      {"x,y\n0,\n2,n.d.\n3,9\n4,#Error: old\n",
       {"--formula=y=1/[x]"},
       "x,y\r\n0,#Error: Division by zero\r\n2,n.d.\r\n3,9\r\n4,#Error: old\r\n"},
      {"x\n007\n", {"--type=x=string", "--formula=y=[x]", "--type=y=string"}, "x,y\r\n007,007\r\n"},
      {"a\n\"1,5\"\n", {"--formula=c=[a]/2", "--locale=de_DE"}, "a,c\r\n\"1,5\",\"0,75\"\r\n"},
  };
  for (const auto& [csv, options, written] : cases) {
    EXPECT_EQ(Recalculated(Saved(csv), options), written);
    EXPECT_EQ(Recalculated(Saved(written), {}), written);
  }
}

TEST_F(CsvTest, WhatDoesNotFitIsRefusedWithItsPlace) {
  const std::string misplaced = "a quotation mark is missing or misplaced";
  const std::tuple<std::string, Arguments, int, std::string> cases[] = {
      {"\r\n", {}, 1, "t.csv: there is no header row"},
      {"a,b\n\n\"1\r\n\r\n\",2\r1,2,3\n", {}, 1, "t.csv:6: 3 fields, the header has 2"},
      {"\na, \n1,2\n", {}, 1, "t.csv:2: column 2 has no name"},
      {"a (g), a\n1,2\n", {}, 1, "t.csv:1: the column name \"a\" is used twice"},
      {"\xEF\xBB\xBF\xEF\xBB\xBF\n", {}, 1, "t.csv:1: a second byte order mark"},
      {"a\n1\n\xE4\n", {}, 1, "t.csv:3: not UTF-8 text"},
      {"a,b\n1,x\"y\"\n", {}, 1, "t.csv:2: " + misplaced},
      {"a\n1\n\"2\n3\n", {}, 1, "t.csv:3: " + misplaced},
      {"a;b\n1;2\n",
       {},
       1,
       "t.csv:1: the header is one field; --delimiter ';' reads the file as 2"},
      {"a;b\n1,5;2\n", {}, 1, "t.csv:2: 2 fields, the header has 1; --delimiter ';' reads"},
      {"\"a\"\t\"b\"\n1\t2\n", {}, 1, misplaced + "; --delimiter '\\t' reads the file as 2"},
      {"a;b\n1;2\n", {"--delimiter=,"}, 0, ""},
      {"a\n", {"--delimiter=ab"}, 2, "\"ab\" is no character that parts fields"},
      {"a\n", {"--spreadsheet-safe"}, 1, "--spreadsheet-safe goes with -o"},
      {"a\n", {"--formula=Yield (g)=[a]"}, 1, "by --formula 'Yield=...' and --unit 'Yield=g'"},
      {"a\n", {"--definition=d=1", "--definition=d=2"}, 1, "given the same setting twice"},
      {"a\n", {"--unit=a=furlong"}, 1, "t.csv: the unit \"furlong\" is not known"},
      {"a\n", {"--type=a=text"}, 1, "t.csv: the type \"text\" is not known"},
      {"a\n", {"--format=a=0"}, 1, "a format goes with a formula; \"a\" has none"},
      {"a\n", {"--formula=b=1", "--formula=b=2"}, 1, "given the same setting twice"},
      {"a\n", {"--formula", "[b]"}, 2, "\"[b]\" is not NAME=VALUE"},
      {"a\n", {"--formula", "=1"}, 2, "\"=1\" is not NAME=VALUE"},
      {"a\n1\n", {"--formula=b=[a]/0", "--strict"}, 3, "1 cell shows an error"},
  };
  for (auto [csv, options, status, reason] : cases) {
    options.insert(options.begin(), {"recalculate", Saved(csv)});
    const Program program(options);
    EXPECT_EQ(program.status, status) << reason;
    EXPECT_NE(program.err.str().find(reason), std::string::npos) << program.err.str();
  }
  const std::string notebook = KT_SOURCE_DIR "/examples/puromycin.xml";
  EXPECT_EQ(Program({"recalculate", notebook, "--formula=a=1"}).status, 1);
}

}  // namespace
}  // namespace ktnotebook
