// CellValue: fields, conversions, arithmetic, comparison and logic.
#include "values/cell_value.h"

#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <sstream>

#include "host_fakes.h"

#include "values/describe.h"
#include "values/platform.h"
#include "values/text.h"

namespace ktformula {
namespace {

// Long messages, and how the rows below write them: what was raised stands before "!" and the value
// that is left.
const std::pair<std::string, std::string> kAbbreviations[] = {
    {"raised 6 KtFormula9: Overflow; ", "Overflow! "},
    {"raised 11 KtFormula9: Division by zero; ", "Division by zero! "},
    {"raised 13 KtFormula9: Type mismatch; ", "Type mismatch! "},
    {"raised 13 CellValue.BooleanValue: an argument does not evaluate to a Boolean value; ",
     "no Boolean! "},
    {"E-2147220991 CellValue.ConvertToNumber: a value could not be converted into a number",
     "error value: no number"},
    {"raised -2147220991 CellValue.", "raised "},
    {"E-2147220991 CellValue.Equals: a test for ", "error value: "},
    {"E-2147220991 CellValue.", "error value: "},
    {" can not be performed on an operand of the resulting type", " misfit"},
    {" Source: description", ""}};

std::string Abbreviate(std::string text) {
  for (const auto& [message, abbreviation] : kAbbreviations) {
    const std::size_t found = text.find(message);
    if (found != std::string::npos) text.replace(found, message.size(), abbreviation);
  }
  return text;
}

// The value of a notation as in describe.h. "D" is the date 0..0, "now" the present; of several
// contents joined by "&", such as "1..2&'abc", the last gives the kind.
CellValue Value(const std::string& notation) {
  CellValue value;
  std::istringstream contents(notation);
  for (std::string content; std::getline(contents, content, '&');) {
    const std::u16string rest = Widen(content.substr(1));
    if (content == "now") {
      value.InitializeFromELNProperty(MakeRef<FakeProperty>(u"date").get());
      continue;
    }
    switch (content[0]) {
      case '?': break;
      case '\'': value.SetString(rest); break;
      case '<': value.SetMvrStructure(rest); break;
      case '!': value.SetMissingNumber(rest); break;
      case 'E': value.SetError(std::stoi(content.substr(1)), u"Source", u"description"); break;
      case 't':
      case 'f': value.SetBoolean(content == "true"); break;
      case 'D': value.SetTypeFromProperty(MakeRef<FakeProperty>(u"date").get()); break;
      default: {
        const std::size_t dots = content.find("..");
        const double min = std::stod(content.substr(0, dots));
        value.SetNumber(min, dots == std::string::npos ? min : std::stod(content.substr(dots + 2)));
      }
    }
  }
  return value;
}

// The same for plain operands; "D5" is a date, "?" none of the others.
PlainValue Plain(const std::string& notation) {
  switch (notation[0]) {
    case '?': return {};
    case '\'': return Widen(notation.substr(1));
    case 't':
    case 'f': return notation == "true";
    case 'D': return PlainDate{std::stod(notation.substr(1))};
    default: return std::stod(notation);
  }
}

using Operator = void (CellValue::*)(Operand);
const std::map<std::string, Operator> kOperators = {{"+", &CellValue::Add},
                                                    {"-", &CellValue::Subtract},
                                                    {"*", &CellValue::Multiply},
                                                    {"/", &CellValue::Divide},
                                                    {"mod", &CellValue::Modulus},
                                                    {"join", &CellValue::Concatenate},
                                                    {"=", &CellValue::Equals},
                                                    {"<>", &CellValue::NotEquals},
                                                    {">", &CellValue::GreaterThan},
                                                    {"<", &CellValue::LessThan},
                                                    {">=", &CellValue::GreaterThanEquals},
                                                    {"<=", &CellValue::LessThanEquals},
                                                    {"and", &CellValue::BooleanAnd},
                                                    {"or", &CellValue::BooleanOr},
                                                    {"xor", &CellValue::BooleanXOr}};

// The left operand after "LEFT OPERATOR RIGHT", behind the error that was raised. The word "plain"
// in front of the right operand makes it a plain one.
std::string Result(const std::string& operation) {
  std::istringstream words(operation);
  std::string left, name, right;
  words >> left >> name >> right;
  const bool is_plain = right == "plain";
  if (is_plain) words >> right;
  CellValue value = Value(left);
  const Operator apply = kOperators.at(name);
  const std::string raised = Raised([&] {
    if (is_plain) {
      (value.*apply)(Plain(right));
    } else {
      (value.*apply)(Value(right));
    }
  });
  return Abbreviate(raised + Describe(value));
}

std::map<std::string, std::string> Fields(const CellValue& value) {
  // The boolean shows only through its own kind.
  CellValue probe = value;
  probe.SetTypeFromProperty(MakeRef<FakeProperty>(u"Boolean").get());
  return {{"kind", std::to_string(value.CellValueType())},
          {"text", Narrow(value.Text())},
          {"numbers", Range(value.MinNumber(), value.MaxNumber())},
          {"dates", Range(value.MinDate(), value.MaxDate())},
          {"mvr", Narrow(value.MvrStructure())},
          {"boolean", probe.BooleanValue() ? "true" : "false"},
          {"error", Describe(value.ErrorNumber(), value.ErrorSource(), value.ErrorDescription())},
          {"property", value.ELNProperty() ? Narrow(value.ELNProperty()->DataTypeName()) : ""}};
}

// What `change` does to a number all of whose fields are filled: the changed fields in order of
// their names as "text=abc kind=2 ", and what it raised.
template <typename Change>
std::string Changes(Change&& change) {
  const CellValue before = Value("now&<old&E7&true&'old&8..9");
  CellValue after = before;
  const std::string raised = Raised([&] { change(after); });
  const auto old_fields = Fields(before);
  std::string changes;
  for (const auto& [name, content] : Fields(after)) {
    if (old_fields.at(name) != content) changes += name + "=" + content + " ";
  }
  return changes + Abbreviate(raised);
}

TEST(CellValue, SettersWriteOnlyTheirFields) {
  const std::map<std::string, std::string> initial = {
      {"kind", "0"}, {"text", ""},         {"numbers", "0"},  {"dates", "0"},
      {"mvr", ""},   {"boolean", "false"}, {"error", "0 : "}, {"property", ""}};
  EXPECT_EQ(Fields(CellValue()), initial);
  EXPECT_EQ(Changes([](CellValue& v) { v.SetNumber(5, 2); }), "numbers=5..2 ");
  EXPECT_EQ(Changes([](CellValue& v) { v.SetString(u"new"); }), "kind=2 text=new ");
  EXPECT_EQ(Changes([](CellValue& v) { v.SetError(1, u"S", u"d"); }), "error=1 S: d kind=1 ");
  EXPECT_EQ(Changes([](CellValue& v) { v.SetBoolean(false); }), "boolean=false kind=5 text=false ");
  EXPECT_EQ(Changes([](CellValue& v) { v.SetMvrStructure(u"new"); }), "kind=6 mvr=new ");
  const auto structure = MakeRef<FakeStructure>(u"data");
  EXPECT_EQ(Changes([&](CellValue& v) { v.InitializeFromChemicalStructure(*structure); }),
            "kind=6 mvr=data ");
}

TEST(CellValue, TakesItsKindFromTheProperty) {
  ExpectRows(
      {
          "numeric number -> 3",
          "numeric date -> 3",
          "number -> 2",
          "structure -> 6",
          "date -> 4",
          "Boolean -> 5",
          "boolean -> 2",
          "Structure -> 2",
          "Date -> 2",
          " -> 2",
      },
      [](const std::string& text) {
        const bool numeric = text.starts_with("numeric ");
        const auto property = MakeRef<FakeProperty>(Widen(text.substr(numeric ? 8 : 0)), numeric);
        CellValue value;
        value.SetTypeFromProperty(property.get());
        EXPECT_EQ(value.ELNProperty().get(), property.get());
        return std::to_string(value.CellValueType());
      });
}

TEST(CellValue, IsInitialisedFromHostObjects) {
  const auto cell = MakeRef<FakeCell>();
  const auto initialise = [&](FakeProperty* property, const char16_t* text) {
    cell->property = property;
    cell->text = text;
    cell->min_number = 3;
    cell->max_number = 4;
    cell->structure = u"new";
    return Changes([&](CellValue& value) { value.InitializeFromGridCell(*cell); });
  };
  const auto boolean = MakeRef<FakeProperty>(u"Boolean");
  EXPECT_EQ(initialise(MakeRef<FakeProperty>(u"date").get(), u"5"),
            "kind=4 mvr=new numbers=3..4 text=5 ");
  EXPECT_EQ(initialise(nullptr, u"5"), "kind=0 mvr=new numbers=3..4 property= text=5 ");
  EXPECT_EQ(initialise(boolean.get(), u"NO"),
            "boolean=false kind=5 mvr=new numbers=3..4 property=Boolean text=NO ");
  EXPECT_EQ(initialise(boolean.get(), u"?"),
            "kind=5 numbers=3..4 property=Boolean text=? "
            "raised 13 XMLBoolean: the string \"?\" is not a recognized boolean; ");

  CellValue value = Value("<old&E7&true&'old&8..9");
  const double before = CurrentDateTime();
  value.InitializeFromELNProperty(boolean.get());
  EXPECT_TRUE(before <= value.MinDate() && value.MinDate() <= value.MaxDate());
  EXPECT_LE(value.MaxDate(), CurrentDateTime());
  EXPECT_EQ(Range(value.MinNumber(), value.MaxNumber()), "0");
  EXPECT_FALSE(value.BooleanValue());
  EXPECT_EQ(value.Text() + value.MvrStructure(), u"");
}

TEST(CellValue, ReadsAsBoolean) {
  ExpectRows(
      {
          "true -> true",
          "false&'&false -> false",
          "0..7 -> false",
          "-0.5..0 -> true",
          "'tRuE -> true",
          "'FALSE -> false",
          "'0.0 -> false",
          "'1e3 -> true",
          "' -> Type mismatch! ",
          "'yes -> Type mismatch! ",
          "? -> no Boolean! ",
          "true&<mvr -> no Boolean! ",
          "D -> no Boolean! ",
          "true&E5 -> no Boolean! ",
      },
      [](const std::string& notation) {
        const CellValue value = Value(notation);
        std::string read;
        const std::string raised = Raised([&] { read = value.BooleanValue() ? "true" : "false"; });
        EXPECT_EQ(value.IsBoolean(), raised.empty()) << notation;
        return read + Abbreviate(raised);
      });
}

TEST(CellValue, CopiesWhatBelongsToTheKind) {
  ExpectRows(
      {
          "'new&E5 -> error=5 Source: description kind=1 property= ",
          "false -> boolean=false dates=0 kind=5 mvr= numbers=0 property= text=false ",
          // The boolean is what the number reads as, not what the field still holds.
          "true&'new&0..7 -> boolean=false dates=0 mvr= numbers=0..7 property= text=new ",
          "<new&'abc -> dates=0 kind=2 numbers=0 property= text=abc Type mismatch! ",
          "<new -> dates=0 kind=6 numbers=0 property= text= no Boolean! ",
      },
      [](const std::string& other) {
        return Changes([&](CellValue& value) { value.CopyFrom(Value(other)); });
      });
  EXPECT_EQ(Changes([](CellValue& value) { value = value.Duplicate(); }), "error=0 :  ");
  EXPECT_EQ(Abbreviate(Raised([] { Value("D").Duplicate(); })), "no Boolean! ");
}

TEST(CellValue, ConvertsToNumber) {
  ExpectRows(
      {
          "7&' -> 0",
          "'1e3 -> 1000",
          "2..1 -> 2..1",
          "E5 -> E5",
          "'abc -> error value: no number",
          "true -> error value: no number",
          "'5&D -> error value: no number",
          "? -> error value: no number",
          "'5&<mvr -> error value: no number",
      },
      [](const std::string& notation) {
        CellValue value = Value(notation);
        value.ConvertToNumber();
        EXPECT_EQ(value.Text(), Value(notation).Text());
        return Abbreviate(Describe(value));
      });
}

TEST(Arithmetic, WorksBoundByBound) {
  ExpectRows(
      {
          "1..2 + 10..20 -> 11..22",
          "1..2 - 10..20 -> -9..-18",
          "1..2 * plain -3 -> -3..-6",
          "1..8 / 2..4 -> 0.5..2",
          "1..8 / plain '2e0 -> 0.5..4",
          "1 + plain true -> 0",
          "1 + plain false -> 1",
          "1 + plain 'abc -> 1",
          "1 + plain ' -> 1",
          "1 * plain D3 -> 1",
          "1 / plain ? -> 1",
          "7 mod plain 'abc -> 7",
          // A text on the left is read, one on the right is not.
          "'5 + 1 -> 6",
          "1 + '5 -> 1",
          "1 + 10..20&'abc -> 11..21",
          "' + 1 -> 1",
          "'abc + 1 -> error value: no number",
          "true - 1 -> error value: no number",
          "D mod 1 -> error value: no number",
          "'5 + '1 -> raised Add: the value \"5\" is not a number; '5",
          "'5 + plain 1 -> raised Add: the value \"5\" is not a number; '5",
          "'a - plain 'b -> raised Subtract: the value \"a\" is not a number; 'a",
          "true * plain 1 -> raised Multiply: the value \"true\" is not a number; true",
          "? / <mvr -> raised Divide: the value \"\" is not a number; ?",
          "'a mod plain 1 -> raised Divide: the value \"a\" is not a number; 'a",
          "E1 + E2 -> E1",
          "1 - E2 -> E2",
          "? * E2 -> E2",
          "E1 / plain 0 -> E1",
          "E1 mod 0 -> E1",
      },
      Result);
  CellValue twice = Value("2..3");
  twice.Add(twice);
  twice.Multiply(twice);
  EXPECT_EQ(Describe(twice), "16..36");
}

TEST(Arithmetic, HandsMissingNumbersOn) {
  ExpectRows(
      {
          "!n.d. + 1..2 -> raised Add: the value \"n.d.\" is not a number; !n.d.",
          "1..2 - !n.d. -> raised Subtract: the value \"n.d.\" is not a number; !n.d.",
          "!a * !b -> raised Multiply: the value \"a\" is not a number; !a",
          "!n.d. / plain 0 -> raised Divide: the value \"n.d.\" is not a number; !n.d.",
          "7 mod !n.d. -> raised Divide: the value \"n.d.\" is not a number; !n.d.",
          "!n.d. mod plain 2 -> raised Divide: the value \"n.d.\" is not a number; !n.d.",
          "'5 + !n.d. -> raised Add: the value \"n.d.\" is not a number; !n.d.",
          // What is wrong before numbers meet comes first.
          "'abc + !n.d. -> error value: no number",
          "!n.d. + plain 'abc -> !n.d.",
          "E1 + !n.d. -> E1",
          "!n.d. + E2 -> E2",
          "!n.d. join 'x -> 'n.d.x",
          // The mark goes with the numbers: it stays as they do, and ends when others are set.
          "1 + !n.d.&'abc -> raised Add: the value \"abc\" is not a number; !abc",
          "!n.d.&5 + 1 -> 6",
          "nan + 1 -> Overflow! nan..nan",
          "!n.d. = 1 -> error value: Equals: the value \"n.d.\" is not a number",
          "1 <> !n.d. -> error value: Equals: the value \"n.d.\" is not a number",
          "'5 > !n.d. -> error value: Equals: the value \"n.d.\" is not a number",
          "!a <= !b -> error value: Equals: the value \"a\" is not a number",
          "!n.d. < plain 'abc -> error value: numeric less than misfit",
          "'n.d. = !n.d. -> error value: no number",
      },
      Result);
  EXPECT_EQ(Describe(Value("!n.d.").Duplicate()), "!n.d.");
}

TEST(CellValue, ANumberCellWithoutANumberIsMissing) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  struct Row {
    std::u16string_view type;
    std::u16string text;
    double min;
    double max;
    // Empty where nothing is missing.
    std::u16string description;
  };
  const Row rows[] = {
      {u"number", u"<0.5 mg", kNaN, kNaN, u"the value \"<0.5 mg\" is not a number"},
      // An error travels with its own words.
      {u"number", u"#Error: Overflow", kNaN, kNaN, u"Overflow"},
      {u"number", u"#Error:", kNaN, kNaN, u"the value \"#Error:\" is not a number"},
      {u"number", u"5 mg", 5, 5, u""},
      {u"number", u"5", kNaN, 5, u""},
      {u"date", u"n.d.", kNaN, kNaN, u""},
      {u"string", u"n.d.", kNaN, kNaN, u""},
  };
  for (const Row& row : rows) {
    const auto cell = MakeRef<FakeCell>();
    const auto property = MakeRef<FakeProperty>(std::u16string(row.type));
    cell->property = property.get();
    cell->text = row.text;
    cell->min_number = row.min;
    cell->max_number = row.max;
    CellValue value = Value("!old");
    value.InitializeFromGridCell(*cell);
    EXPECT_EQ(value.IsMissingNumber(), !row.description.empty()) << Narrow(row.text);
    if (value.IsMissingNumber()) {
      EXPECT_EQ(value.MissingNumberDescription(), row.description);
    }
    value.InitializeFromELNProperty(nullptr);
    EXPECT_FALSE(value.IsMissingNumber());
  }
}

TEST(Arithmetic, StoresABoundBeforeItChecksIt) {
  ExpectRows(
      {
          "1..2 / 0..4 -> Division by zero! inf..2",
          "1..2 / 4..0 -> Division by zero! 0.25..inf",
          "-1..2 / plain 0 -> Division by zero! -inf..2",
          "inf..1 / plain 0 -> Division by zero! inf..1",
          "0..2 / 0 -> Overflow! nan..2",
          "nan..2 / 0 -> Overflow! nan..2",
          "1e308..2 / plain 0.1 -> Overflow! inf..2",
          "1e308..1 + 1e308..1 -> Overflow! inf..1",
          "inf..1 + plain 1 -> Overflow! inf..1",
          "1..-1e308 - 1..1e308 -> Overflow! 0..-inf",
          "1e200 * plain -1e200 -> Overflow! -inf..1e+200",
          "1e-200..2 * plain 1e-200 -> 0..2e-200",
          "1 / plain inf -> 0",
          "8..9 mod 0.4..2 -> Division by zero! 8..9",
          "8..9 mod 3..0.5 -> Division by zero! 2..9",
          "8..9 mod plain -0.4 -> Division by zero! inf..9",
          "9e9 mod 0 -> Overflow! 9e+09",
          "8..9 mod 2..1e300 -> Overflow! 0..9",
          "8..inf mod plain 2 -> Overflow! 4..inf",
      },
      Result);
}

TEST(Arithmetic, ModulusDependsOnTheOperand) {
  ExpectRows(
      {
          "7.5..9 mod 2..4 -> 0..1",
          "7.5..9 mod plain 2 -> 4..4.5",
          "-7..7 mod 3..-3 -> -1..1",
          "2.5..3.5 mod plain '1.5 -> 1..2",
          "-2147483648 mod -1 -> 0",
          "'7 mod 4 -> 3",
          "-2147483648 mod plain -1 -> 2147483648",
      },
      Result);
}

TEST(Concatenate, JoinsTextsWhateverTheKinds) {
  ExpectRows(
      {
          "true join 's -> 'trues",
          "'a join 5 -> 'a",
          "'5g&5 join 's&6 -> '5gs",
          "? join <mvr -> '",
          "'a join plain -0.5 -> 'a-0.5",
          "'a join plain 'b -> 'ab",
          "'a join plain true -> 'aTrue",
          "'a join plain false -> 'aFalse",
          "'a join plain D25569 -> 'a1970-01-01",
          "'a join plain ? -> 'a",
          "E1 join E2 -> E1",
          "'a join E2 -> E2",
      },
      Result);
}

TEST(Concatenate, HasALimit) {
  CellValue longest;
  longest.SetString(std::u16string(kMaximumTextLength - 1, u'x'));
  CellValue one;
  one.SetString(u"y");
  longest.Concatenate(one);
  EXPECT_EQ(longest.Text().size(), kMaximumTextLength);
  EXPECT_EQ(
      Raised([&] { longest.Concatenate(one); }),
      "raised -2147220991 CellValue.Concatenate: the text is longer than 16777216 characters; ");
  EXPECT_EQ(longest.Text().size(), kMaximumTextLength);
  longest.Concatenate(CellValue());
}

TEST(Comparison, UsesItsOwnBounds) {
  // The operators between the two operands that are true.
  ExpectRows(
      {
          "1..5 ? 1..5 -> = >= <=",
          "1..5 ? 2..4 -> <> > < >= <=",
          "2..4 ? 1..5 -> <> >= <=",
          "3 ? 3..9 -> <> >= <=",
          "3 ? 0..3 -> <> >= <=",
          "1..2 ? 3..4 -> <> < <=",
          "3..4 ? 1..2 -> <> > >=",
          "1..5 ? plain 1 -> <> > >= <=",
          "1..5 ? plain 5 -> <> < >= <=",
          "2 ? plain '2.0 -> = >= <=",
          "-1 ? plain true -> = >= <=",
          "1..5 ? 1..5&'abc -> = >= <=",
          "'10 ? 9 -> <> > >=",
          "'abc ? 'ABC -> <> > >=",
          "'10 ? '9 -> <> < <=",
          "'abc ? plain 'abc -> = >= <=",
          "' ? <mvr -> = >= <=",
          "D ? now -> <> < <=",
          "now ? D -> <> > >=",
          "D ? plain D0 -> = >= <=",
          "D ? plain '1899-12-31 -> <> < <=",
      },
      [](const std::string& operands) {
        std::string holding;
        for (const char* name : {"=", "<>", ">", "<", ">=", "<="}) {
          std::string operation = operands;
          const std::string result = Result(operation.replace(operation.find(" ? ") + 1, 1, name));
          if (result != "false") holding += (holding.empty() ? "" : " ") + std::string(name);
          EXPECT_TRUE(result == "true" || result == "false") << operation << ": " << result;
        }
        return holding;
      });
  ExpectRows(
      {
          "true = true -> true",
          "true = '0 -> false",
          "true <> plain 'fALSE -> true",
          "true = 1 -> error value: no number",
          "true = <mvr -> no Boolean! true",
          "true <> 'yes -> Type mismatch! true",
      },
      Result);
  // By code units: a surrogate sorts before the last characters of the basic plane.
  CellValue emoji;
  emoji.SetString(u"\U0001F600");
  emoji.LessThan(PlainValue(std::u16string(u"\uFFFD")));
  EXPECT_EQ(Describe(emoji), "true");
}

TEST(Comparison, WordsItsMisfitsAndKeepsErrors) {
  // With a plain operand that does not fit: number, string, date, boolean.
  ExpectRows(
      {
          "= -> numeric equality, string equality, date equality, boolean equality",
          "<> -> numeric equality, string equality, date equality, boolean equality",
          "> -> numeric greater than, string greater than, date equality, equality",
          "< -> numeric less than, string less than, date equality, equality",
          ">= -> numeric greater than, string greater than, date equality, equality",
          "<= -> numeric greater than, string greater than, date equality, equality",
      },
      [](const std::string& name) {
        const auto misfit = [&](const std::string& left, const std::string& right) {
          const std::string result = Result(left + " " + name + " " + right);
          const std::string prefix = "error value: ";
          EXPECT_TRUE(result.starts_with(prefix) && result.ends_with(" misfit")) << result;
          return result.substr(prefix.size(), result.find(" misfit") - prefix.size());
        };
        EXPECT_EQ(misfit("1", "plain D1"), misfit("1", "plain 'abc"));
        EXPECT_EQ(misfit("D", "plain 'today"), misfit("D", "plain 0"));
        EXPECT_EQ(misfit("true", "plain true"), misfit("true", "plain 'yes"));
        EXPECT_EQ(misfit("<mvr", "'x") + misfit("?", "plain 1"), "equalityequality");
        EXPECT_EQ(Result("E1 " + name + " E2") + Result("? " + name + " E2"), "E1E2");
        return misfit("1", "plain 'abc") + ", " + misfit("'1", "plain 1") + ", " +
               misfit("D", "plain 0") + ", " + misfit("true", "plain 'yes");
      });
}

TEST(Logic, CombinesBooleans) {
  const auto both = [](const std::string& name) {
    std::string results;
    for (const char* left : {"false ", "true "}) {
      const std::string with_false = Result(left + name + " false");
      const std::string with_true = Result(left + name + " true");
      for (const char* right : {" 0..9", " 'False", " plain 'false"})
        EXPECT_EQ(Result(left + name + right), with_false) << left << name << right;
      for (const char* right : {" -2..0", " '1", " plain 'True"})
        EXPECT_EQ(Result(left + name + right), with_true) << left << name << right;
      results += with_false + " " + with_true + " ";
    }
    for (const char* misfit :
         {"'true # <mvr", "true # plain 'yes", "true # plain true", "1 # true"}) {
      std::string operation = misfit;
      const std::string result = Result(operation.replace(operation.find('#'), 1, name));
      EXPECT_EQ(result, Result("1 " + name + " true")) << operation;
    }
    EXPECT_EQ(Result("false " + name + " <mvr"), "no Boolean! false");
    EXPECT_EQ(Result("true " + name + " 'yes"), "Type mismatch! true");
    EXPECT_EQ(Result("E1 " + name + " E2") + Result("1 " + name + " E2"), "E1E2");
    return results + Result("1 " + name + " true");
  };
  ExpectRows(
      {
          "and -> false false false true error value: boolean AND misfit",
          "or -> false true true true error value: BooleanOr: a test for boolean Or misfit",
          "xor -> false true true false error value: BooleanXOr: a test for boolean XOr misfit",
      },
      both);
}

}  // namespace
}  // namespace ktformula
