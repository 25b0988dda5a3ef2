#include "analysis/formula_problems.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "analysis/find_problems.h"

#include "functions/function_table.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "test_host/utf8.h"

namespace ktformula {
namespace {

// A form whose table T is computed by one listener. Its host promises nothing.
class FormulaProblems : public testing::Test {
 protected:
  static constexpr const char* kForm = R"(
    table Compounds
      1 Name string | 2 MW number g/mol formatted
      noted salt    | entered 58.44 g/mol
    table T
      11 Name string | 12 Mass number g formatted | 13 MW number g/mol formatted | 14 Bare number | 15 Day date | 16 Flag Boolean | 17 Moles number mmol formatted | 18 Note string | 19 Unformatted number g
      noted salt     | entered 1 g                | entered 58.44 g/mol          | entered 5      | noted 2024-01-01 | noted true | | |
    table Empty
      31 Size number g
    structure Product = CCO
    text Remark = first run)";

  ~FormulaProblems() override { listener_->Terminate(); }

  static std::string Described(const Problem& problem) {
    const std::u16string marked =
        problem.place ? problem.formula.substr(problem.place->start, problem.place->length) : u"-";
    std::string text =
        ToUtf8(KindOf(problem.code).text) + " " + ToUtf8(marked) + ": " + ToUtf8(problem.message);
    if (!problem.help.empty()) text += " (" + ToUtf8(problem.help) + ")";
    return text;
  }

  // The problems, in order, of the table's only formula; "; " between them.
  std::string Find(std::u16string_view column, std::u16string_view formula,
                   std::u16string_view format = u"") {
    const std::int32_t key = form_->TableOf(u"T").FindColumn(column)->property->key;
    listener_->SetPropertyFormula(key, formula, format);
    const std::string found = FindAll();
    listener_->SetPropertyFormula(key, u"", u"");
    return found;
  }

  // The formula after the mend of its first problem; "" when that has none.
  std::string Mended(std::u16string_view formula) {
    const std::int32_t key = form_->TableOf(u"T").FindColumn(u"Note")->property->key;
    listener_->SetPropertyFormula(key, formula, u"");
    const std::vector<Problem> problems = FindFormulaProblems(Watched());
    listener_->SetPropertyFormula(key, u"", u"");
    if (problems.empty() || !problems.front().mend) return "";
    const Mend& mend = *problems.front().mend;
    return ToUtf8(std::u16string(formula).replace(mend.place.start, mend.place.length, mend.text));
  }

  WatchedForm Watched() const {
    WatchedForm watched;
    for (const Ref<TestField>& field : form_->fields) {
      if (field->table) {
        watched.tables.push_back({field->name, field->table, {}});
      } else {
        watched.other_fields.push_back(field->name);
      }
    }
    watched.tables[1].listeners.push_back(listener_);
    watched.units = form_->units;
    return watched;
  }

  std::string FindAll() {
    std::string found;
    const std::vector<Problem> problems = FindFormulaProblems(Watched());
    for (const Problem& problem : problems)
      found += (found.empty() ? "" : "; ") + Described(problem);
    return found;
  }

  Ref<TestForm> form_ = MakeRef<TestForm>(kForm);
  Ref<TestFramework> framework_ = MakeRef<TestFramework>();
  Ref<FormulaListener> listener_ = [this] {
    auto listener = MakeRef<FormulaListener>(StandardFunctions());
    listener->Initialize(framework_, form_->OwnerOf(u"T"), nullptr);
    return listener;
  }();
};

struct Row {
  const char16_t* formula;
  const char* problems;
};

TEST_F(FormulaProblems, WhatCanNotBeRead) {
  const Row rows[] = {
      {u"[Mass]*[MW", "syntax [MW: the reference is not closed (write \"]\" at its end)"},
      {u"1 & [", "syntax [: the reference is not closed (write a name and \"]\" behind it)"},
      {u"1 & 'it''s", "syntax 'it''s: the text is not closed (write ' at its end)"},
      {u"'it''s'", ""},
      {u"((1)", "syntax (: the specified formula has an unbalanced left parenthesis"},
      {u"(1))", "syntax ): the specified formula has an unbalanced right parenthesis"},
      {u"MIN(1,,2)", "syntax ,: the formula contains an unexpected comma following a comma"},
      {u"1 # 2",
       "syntax #: the character \"#\" is not recognized as the first character of a formula token"},
      {u"[Mass] &", "syntax &: something is missing behind \"&\""},
      {u"* 5", "syntax *: something is missing in front of \"*\""},
      {u"[Mass]*-1", "syntax *: something is missing behind \"*\" (write (-1))"},
      {u"[Mass]--[MW]", "syntax -: something is missing in front of \"-\" (write (-[MW]))"},
      {u"[Bare] +/- 1",
       "syntax +/-: \"+/-\" is no operator of formulas (a value with a tolerance is typed into a "
       "cell)"},
      {u"[Flag]!", "syntax !: \"!\" is no operator of formulas (write NOT, or != for \"is not\")"},
      {u"[Flag] AND TRUE", "syntax TRUE: \"TRUE\" can not stand behind an operator (write (TRUE))"},
      {u"NOT not [Flag]",
       "syntax not: something is missing in front of \"not\" (behind another operator it is "
       "written in capitals: NOT)"},
      {u"=1+2",
       "syntax =: a leading \"=\" can stand before a single part only (leave the \"=\" out)"},
      {u"()", "syntax -: there is nothing to compute"},
      {u"5 mmol",
       "leftover mmol: \"mmol\" stands where an operator should (units belong to columns: give "
       "the column the unit mmol)"},
      {u"5 g/mol",
       "leftover g/mol: \"g/mol\" stands where an operator should (units belong to columns: give "
       "the column the unit g/mol)"},
      {u"10%",
       "leftover %: \"%\" is an operator, no sign for percent (write 10/100 or use the format %)"},
      {u"10% * [Mass]",
       "leftover %: \"%\" is an operator, no sign for percent (write 10/100 or use the format %)"},
      {u"7 % 4", ""},
      {u"[Mass] [MW]",
       "leftover [MW]: \"[MW]\" stands where an operator should (put an operator such as * or & "
       "in front of it, or take it away)"},
      {u"2 (1)",
       "leftover 1: an operator is missing in front of \"1\" (put an operator such as * in front "
       "of the parenthesis)"},
      {u"1e3",
       "leftover e3: \"e3\" stands where an operator should (numbers have no exponent here: write "
       "it out, or multiply by a power of ten)"},
      {u"2[Mass]",
       "leftover [Mass]: \"[Mass]\" stands where an operator should (put an operator such as * or "
       "& "
       "in front of it, or take it away)"},
      {u"[Mass] \u2212 1",
       "syntax \u2212: the character \"\u2212\" is not recognized as the first character of a "
       "formula token (write -)"},
      {u"1,5",
       "leftover 5: \"5\" stands where an operator should (a comma ends a number: write a decimal "
       "point)"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(Find(u"Note", row.formula), row.problems) << ToUtf8(row.formula);
}

TEST_F(FormulaProblems, NamesThatMeanNothing) {
  const Row rows[] = {
      {u"[Mass]/[MW2]", "unknown-name [MW2]: nothing here is called \"MW2\" (did you mean [MW]?)"},
      {u"Mass*2", "unknown-name Mass: nothing here is called \"Mass\" (did you mean [Mass]?)"},
      {u"IF(mas > 1, 'a', 'b')",
       "unknown-name mas: nothing here is called \"mas\"; IF takes it for false (did you mean "
       "[Mass]?)"},
      {u"IF([Mass] > 1, 'a', [Zzzzz])",
       "unknown-name [Zzzzz]: nothing here is called \"Zzzzz\"; IF hides it where it is not "
       "chosen"},
      {u"[Zzzzz]", "unknown-name [Zzzzz]: nothing here is called \"Zzzzz\""},
      {u"ONERROR([Mas], '')",
       "unknown-name [Mas]: nothing here is called \"Mas\"; ONERROR hides it (did you mean "
       "[Mass]?)"},
      {u"ONERROR('', [Mas])",
       "unknown-name [Mas]: nothing here is called \"Mas\" (did you mean [Mass]?)"},
      {u"[totl]", "unknown-name [totl]: nothing here is called \"totl\" (did you mean [total]?)"},
      {u"[Prodct]",
       "unknown-name [Prodct]: nothing here is called \"Prodct\" (did you mean [Product]?)"},
      {u"[Compounds:Nam:r1]",
       "unknown-name [Compounds:Nam:r1]: the table \"Compounds\" has no column \"Nam\" (did you "
       "mean [Compounds:Name:r1]?)"},
      {u"[Compounds:Name:r9]",
       "unknown-name [Compounds:Name:r9]: the table \"Compounds\" has no row \"r9\""},
      {u"[Mass:r1]",
       "unknown-name [Mass:r1]: \"Mass\" is a column: a cell of it is named with its table (did "
       "you "
       "mean [T:Mass:r1]?)"},
      {u"[Compund:Name:r1]",
       "unknown-name [Compund:Name:r1]: nothing here is called \"Compund\" (did you mean "
       "[Compounds:Name:r1]?)"},
      {u"[this:parent:Mas]",
       "unknown-name [this:parent:Mas]: nothing here is called \"Mas\" (did you mean "
       "[this:parent:Mass]?)"},
      // In a condition names are those of the other table.
      {u"SELECT([Name], [Compounds], [Name] = [this:parent:Name])", ""},
      {u"SELECT([Name], [Compounds], [Mass] > 0)",
       "unknown-name [Mass]: nothing here is called \"Mass\"; SELECT passes over such rows (did "
       "you mean [this:parent:Mass]?)"},
      {u"COUNT([Compounds], [Nam] = 'x')",
       "unknown-name [Nam]: nothing here is called \"Nam\"; COUNT leaves such rows out (did you "
       "mean [Name]?)"},
      {u"COUNT([Compound])",
       "unknown-name [Compound]: nothing here is called \"Compound\" (did you mean [Compounds]?)"},
      // Definitions have values, and no columns.
      {u"SUM([total])", "unknown-name [total]: nothing here is called \"total\""},
      {u"ISENTERED([Masss])",
       "unknown-name [Masss]: nothing here is called \"Masss\" (did you mean [Mass]?)"},
      {u"ISENTRED([Mass])",
       "unknown-function ISENTRED: there is no function \"ISENTRED\" (did you mean ISENTERED?)"},
      // What stands behind a place where evaluation would stop is looked at too.
      {u"5 foo([A]) * [B]",
       "leftover foo: \"foo\" stands where an operator should (put an operator such as * or & in "
       "front of it, or take it away); unknown-name [A]: nothing here is called \"A\"; "
       "unknown-name [B]: nothing here is called \"B\""},
      // Nothing is known of rows that are not there where nothing is promised.
      {u"SUM([X], [Empty])", ""},
  };
  listener_->SetDefinition(u"total", u"SUM([Mass])");
  for (const Row& row : rows)
    EXPECT_EQ(Find(u"Note", row.formula), row.problems) << ToUtf8(row.formula);
}

TEST_F(FormulaProblems, AreMendedWhereNothingIsLeftToChoose) {
  const Row rows[] = {
      {u"[Mass]/[MW2]", "[Mass]/[MW]"},
      {u"2 * Mass", "2 * [Mass]"},
      {u"SUMM([Mass])", "SUM([Mass])"},
      {u"[Compounds:MV:salt]", "[Compounds:MW:salt]"},
      {u"SUM([Mass]*[MW], [Compounds])", "SUM([this:parent:Mass]*[MW], [Compounds])"},
      {u"1 + [Mass", "1 + [Mass]"},
      {u"1 & 'it''s", "1 & 'it''s'"},
      {u"[Mass] \u2212 1", "[Mass] - 1"},
      {u"[Mass]*-1", "[Mass]*(-1)"},
      {u"[Flag] AND TRUE", "[Flag] AND (TRUE)"},
      {u"5 mmol", ""},
      {u"1 # 2", ""},
  };
  for (const Row& row : rows)
    EXPECT_EQ(Mended(row.formula), row.problems) << ToUtf8(row.formula);
}

TEST_F(FormulaProblems, UnitsOfOperandsAndResults) {
  const char* const sides = "different quantities on both sides of ";
  const struct {
    const char16_t* column;
    const char16_t* formula;
    std::string problems;
  } rows[] = {
      {u"Moles", u"[Mass]/[MW]", ""},
      {u"Moles", u"1000*[Mass]/[MW] + 0", ""},
      {u"Moles", u"[Mass]/58.44", ""},
      {u"Moles", u"[Mass]*[Bare]", ""},
      {u"Moles", u"IF([Name] = '', '', [Mass]/[MW])", ""},
      {u"Moles", u"-[Mass]/[MW]", ""},
      {u"Moles", u"[Mass]",
       "units [Mass]: the result is mass, but the column's unit is mmol (moles)"},
      {u"Moles", u"SUM([Mass])*2",
       "units SUM([Mass])*2: the result is mass, but the column's unit is mmol (moles)"},
      {u"Moles", u"MIN([MW], [Compounds], [Name] <> '')",
       "units MIN([MW], [Compounds], [Name] <> ''): the result is molar mass, but the column's "
       "unit is mmol (moles)"},
      {u"Moles", u"[unitless] * [weight] / [MW]", ""},
      {u"Moles", u"[weight]",
       "units [weight]: the result is mass, but the column's unit is mmol (moles)"},
      {u"Note", u"[Mass] + [MW]",
       std::string("units [Mass] + [MW]: ") + sides + "\"+\": mass and molar mass"},
      {u"Note", u"1 - [Mass]*[MW]",
       std::string("units 1 - [Mass]*[MW]: ") + sides + "\"-\": a plain number and kg2/mol"},
      {u"Note", u"[Mass] + 58.44", ""},
      {u"Note", u"[Mass] > 0.001", ""},
      {u"Note", u"[Mass] >= [Moles]",
       std::string("units [Mass] >= [Moles]: ") + sides + "\">=\": mass and moles"},
      {u"Note", u"[Mass] < COUNT([T])",
       std::string("units [Mass] < COUNT([T]): ") + sides + "\"<\": mass and a plain number"},
      {u"Bare", u"[Mass]/[Mass]", ""},
      {u"Bare", u"[Mass]*2",
       "unit-missing [Mass]*2: the result is mass and shown in base units (give the column a unit "
       "and number formatting)"},
      {u"Unformatted", u"[Mass]*2",
       "unit-missing [Mass]*2: the result is mass and shown in base units (turn the column's "
       "number "
       "formatting on)"},
  };
  listener_->SetDefinition(u"weight", u"SUM([Mass])");
  listener_->SetDefinition(u"unitless", u"0.37");
  for (const auto& row : rows)
    EXPECT_EQ(Find(row.column, row.formula), row.problems) << ToUtf8(row.formula);
}

TEST_F(FormulaProblems, TextsForNumbersAndConditionsWithoutTruth) {
  const std::string left_over = " counts as the number that is left over in it, mostly 0 (";
  const std::string take_number = "use a number; a text that is one may stand on the left)";
  const std::string compare_texts =
      "compare texts with texts: write \"\" & in front of the left side)";
  const struct {
    const char16_t* formula;
    std::string problems;
  } rows[] = {
      {u"2 + [Name]", "text-as-number [Name]: behind \"+\", a text" + left_over + take_number},
      {u"[Name]*1", ""},
      {u"[Bare] - [Day]",
       "text-as-number [Day]: behind \"-\", a date counts as the number that is left over in it (" +
           take_number},
      {u"[Mass] = ''", "text-as-number '': behind \"=\", a text" + left_over + compare_texts},
      {u"[Name] = 'salt' AND [Flag]", ""},
      {u"[Day] = [Day]",
       "text-as-number [Day] = [Day]: dates can not be compared (compare their texts: \"\" & "
       "[Start] = \"\" & [End])"},
      {u"IF([Mass], 'a', 'b')",
       "swallowed [Mass]: the condition is a number, never true or false (compare it with "
       "something)"},
      {u"IF([Flag], 'a', 'b')", ""},
      {u"COUNT([T], [Mass]*2)",
       "swallowed [Mass]*2: the condition is a number, never true or false (compare it with "
       "something)"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Find(u"Note", row.formula), row.problems) << ToUtf8(row.formula);
}

TEST_F(FormulaProblems, Formats) {
  const Row rows[] = {
      {u"0.00", ""},
      {u"#,##0.0%", ""},
      {u"0.00E+00 \"mg, about\"", ""},
      {u"0.O", "format O: formats do not know \"O\" (did you mean 0?)"},
      {u"0.0 mg",
       "format mg: formats do not know \"mg\" (use 0 # . , % E + - and blanks; other text stands "
       "in double quotes)"},
      {u"0 \"mg", "format \"mg: the text is not closed (write \" at its end)"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(Find(u"Bare", u"5", row.formula), row.problems) << ToUtf8(row.formula);
}

TEST_F(FormulaProblems, Definitions) {
  const Row rows[] = {
      {u"SUM([Masss])",
       "unknown-name [Masss]: nothing here is called \"Masss\" (did you mean [Mass]?)"},
      {u"[T:Day:r1]",
       "unusable-definition [T:Day:r1]: formulas can not take a date over from a definition (write "
       "it where it is needed instead of the definition's name)"},
      {u"[Product]",
       "unusable-definition [Product]: formulas can not take a structure over from a definition "
       "(write it where it is needed instead of the definition's name)"},
      {u"[ring] + 1", ""},
  };
  for (const Row& row : rows) {
    listener_->SetDefinition(u"ring", row.formula);
    EXPECT_EQ(FindAll(), row.problems) << ToUtf8(row.formula);
  }
}

}  // namespace
}  // namespace ktformula
