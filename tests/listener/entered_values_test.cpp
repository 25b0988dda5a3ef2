// What typed values say about digits and units.
#include "listener/entered_values.h"

#include <gtest/gtest.h>

#include "notebook/notebook_file.h"
#include "notebook/utf.h"
#include "values/describe.h"

namespace ktformula {
namespace {

using ktnotebook::ToUtf8;

// The texts "a|b", typed into the first table of a form; after "||" into a second one. The answer
// is "3 mass=g volume=ml".
std::string Examine(const std::string& texts) {
  std::string xml;
  int row = 0;
  const auto begin_table = [&](const std::string& number) {
    xml += "<table name='T" + number + "' key='" + number + "'><property key='" + number +
           "' name='X' type='string'/>";
  };
  begin_table("1");
  for (std::size_t begin = 0; begin <= texts.size();) {
    const std::size_t end = std::min(texts.find('|', begin), texts.size());
    const std::string text = texts.substr(begin, end - begin);
    begin = end + 1;
    if (text.empty() && begin < texts.size()) {
      xml += "</table><structure name='S'>C9</structure>";
      begin_table("2");
    } else {
      const std::string state = text.starts_with("~") ? "noted" : "entered";
      xml += "<row id='" + std::to_string(++row) + "'><cell property='X' state='" +
             (text.empty() ? "" : state) + "'>" + text + "</cell></row>";
    }
  }
  const ktnotebook::Notebook notebook = ktnotebook::ReadNotebook(
      "<notebook><form name='F'>" + xml + "</table></form></notebook>", "test");
  ktnotebook::NotebookForm& form = *notebook.forms.front();
  const EnteredValues values =
      ExamineEnteredValues(*form.OwnerOf(*form.FindField(u"T1")), *notebook.framework->OwnUnits());
  std::string answer = std::to_string(values.ExaminedSigDig);
  for (const auto& [quantity, unit] : values.ExaminedUnits) {
    answer += " " + ToUtf8(quantity) + "=" + ToUtf8(unit);
  }
  return answer;
}

TEST(EnteredValuesTest, SmallestNumberOfDigitsAndFirstUnits) {
  ExpectRows(
      {
          " -> 4",
          "~5 g -> 4",
          "12.5 -> 3",
          "0.00450|123 -> 3",
          "-0.050 -> 2",
          "0.0|123 -> 1",
          "n.d.|123 -> 1",
          "1.0 ± 0.15 -> 5",
          "12.5 K -> 3 temperature=K",
          // The first unit of a quantity wins, over all tables of the form.
          "0.0250 g|12 mg -> 2 mass=g volume=ml molality=mmol/g moles=mmol",
          "12 K||1.5 °C|0.1 m -> 1 temperature=K length=m",
          "5 K||6 s -> 1 temperature=K time=s",
          // A unit is what stands behind the numeral; digits in its name count like the others.
          "1.50m3 -> 4 volume=m3",
          "1.2 kg/m3 -> 3 density=kg/m3",
          "1.50 m4 -> 4",
          "12.5   K -> 3 temperature=K",
          ".5 K -> 1 temperature=K",
          "12 parsecs -> 2",
          "12 k -> 2",
          "-12 K -> 2",
          "1E3 K -> 2",
          "~K -> 4",
          "K -> 1 temperature=K",
      },
      Examine);
}

TEST(EnteredValuesTest, CompletesUnitsThatGoTogether) {
  ExpectRows(
      {
          "1 kg -> 1 mass=kg volume=L molality=mol/kg moles=mol",
          "1 g -> 1 mass=g volume=ml molality=mmol/g moles=mmol",
          "1 mg -> 1 mass=mg volume=µl molality=mmol/g moles=mmol",
          "5 L -> 1 volume=L mass=kg molality=mol/kg moles=mol",
          "5 l -> 1 volume=l mass=kg molality=mol/kg moles=mol",
          "5 ml -> 1 volume=ml mass=g molality=mmol/g moles=mmol",
          "5 µl -> 1 volume=µl mass=mg molality=mmol/mg moles=µmol",
          "5 mol -> 1 moles=mol mass=kg volume=L molality=mol/kg",
          "5 mmol -> 1 moles=mmol mass=g volume=ml molality=mmol/g",
          "5 µmol -> 1 moles=µmol mass=mg volume=µl molality=µmol/mg",
          // Units without a row of their own bring nothing.
          "5 µg -> 1 mass=µg",
          "5 mL -> 1 volume=mL",
          "5 mol/kg -> 1 molality=mol/kg",
          // What is there stays; mass comes before volume, volume before moles.
          "5 µmol|1 kg -> 1 moles=µmol mass=kg volume=L molality=mol/kg",
          "5 µl|1 µg -> 1 volume=µl mass=µg molality=mmol/mg moles=µmol",
          "5 µmol|1 µg -> 1 moles=µmol mass=µg volume=µl molality=µmol/mg",
          // A volume that mass brought in brings in nothing more: all four are there by then.
          "1 mg|5 mol/kg -> 1 mass=mg molality=mol/kg volume=µl moles=mmol",
      },
      Examine);
}

}  // namespace
}  // namespace ktformula
