// CSV files in and out: measured data, the types that are found, and what is refused.
#include <gtest/gtest.h>

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
      {"c\n1\nn.d.\n", "c\" type=\"string\"", "noted\">n.d."},
      {"c\ntrue\nFALSE\n", "c\" type=\"Boolean\"", "noted\">FALSE"},
      {"c\n2024-02-29\n2024-03-01 10:30\n", "c\" type=\"date\"", "noted\">2024-03-01 10:30"},
      {"c\n2023-02-29\n", "c\" type=\"string\"", "noted\">2023-02-29"},
      {"c (mg)\n1\n2 g\n", "\"c\" type=\"number\" unit=\"mg\"", "entered\">2 g"},
      {"c (mg)\n1\nn.d.\n", "c (mg)\" type=\"string\"", "noted\">n.d."},
      {"c (mg)\n1 ml\n", "c (mg)\" type=\"string\"", "noted\">1 ml"},
  };
  for (const auto& [csv, column, cell] : cases) {
    const std::string xml = Program({"recalculate", Saved(csv), "-o", "-"}).out.str();
    EXPECT_NE(xml.find(column), std::string::npos) << xml;
    EXPECT_NE(xml.find(cell), std::string::npos) << xml;
  }
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
      {"a,b\n1,2\n1,2,3\n", {}, 1, "t.csv: record 3 has 3 fields, the header has 2"},
      {"a,\n1,2\n", {}, 1, "t.csv: column 2 has no name"},
      {"a (g),a\n1,2\n", {}, 1, "t.csv: the column name \"a\" is used twice"},
      {"\xEF\xBB\xBF\xEF\xBB\xBF\n", {}, 1, "t.csv: record 1: a second byte order mark"},
      {"a\n1\n\xE4\n", {}, 1, "t.csv: record 3: not UTF-8 text"},
      {"a,b\n1,x\"y\"\n", {}, 1, "t.csv: record 2: " + misplaced},
      {"a\n1\n\"2\n", {}, 1, "t.csv: record 3: " + misplaced},
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
