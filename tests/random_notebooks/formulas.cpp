#include "random_notebooks/formulas.h"

#include <algorithm>
#include <array>

namespace random_notebooks {

namespace {

constexpr std::u16string_view kNumerals[] = {
    u"2",     u"10", u"1000", u"0.5", u"3.25", u"1",  u"100", u"7", u"12.5",     u"60",
    u"0.001", u"4",  u"3",    u"5",   u"0.1",  u"25", u"1.5", u"8", u"6.02E+23", u"1E-9"};
constexpr std::u16string_view kOddNumerals[] = {
    u"0", u"1E300", u"1E-310", u"5E-324", u"1,5", u".5", u"1E400", u"9007199254740993", u"0.1E+1"};
constexpr std::u16string_view kLiterals[] = {u"high", u"low", u"medium", u"A",  u"B",
                                             u"",     u"5",   u"true",   u" x "};
// Formulas and operands that nobody should write, and some do.
constexpr std::u16string_view kOddities[] = {u"1 2",
                                             u"(",
                                             u"SUM(",
                                             u"foo",
                                             u"\"open",
                                             u"[open",
                                             u"=5",
                                             u"=1+2",
                                             u"--5",
                                             u"2 +/- 0.1",
                                             u"1 ! 2",
                                             u"[]",
                                             u"[Nope]",
                                             u"[Nope:x]",
                                             u"SUM",
                                             u"SUM()",
                                             u"IF(1,2)",
                                             u"IF(1,2,3,4)",
                                             u"COUNT()",
                                             u"MIN",
                                             u"ISENTERED(1)",
                                             u"TAG(\"t\")",
                                             u"ONERROR()",
                                             u"SELECT(1,2,3)",
                                             u"FOO(1)",
                                             u"TRUE",
                                             u"FALSE",
                                             u"NOT TRUE",
                                             u"1=1 AND TRUE",
                                             u"not not [x]",
                                             u"[Product]",
                                             u"[Remark]",
                                             u"[this]",
                                             u"[parent]",
                                             u"[parent:parent]",
                                             u"(1)(2)",
                                             u"5 mmol",
                                             u"10%",
                                             u"#",
                                             u")",
                                             u"1,2",
                                             u"SUM(1)",
                                             u"SUM([Remark])",
                                             u"COUNT([x],1=1,3)",
                                             u"ISENTERED(\"entered\")",
                                             u"1 + NOT 5",
                                             u"[x] &",
                                             u"*2",
                                             u"1 foo 2",
                                             u"[Product]=[Product]",
                                             u"[total]",
                                             u"SELECT([x],[x],1=1)",
                                             u"1=1 XOR 2=3",
                                             u"NOT (1=2)",
                                             u"7 % 3",
                                             u"7.5 % [y]",
                                             u"+[x]",
                                             u"-\"a\""};
constexpr std::u16string_view kComparisons[] = {u" = ",  u" <> ", u" > ", u" < ",
                                                u" >= ", u" <= ", u"!="};
constexpr std::u16string_view kJoins[] = {u" AND ", u" OR ", u" XOR ", u" and "};

// The places of a template's columns are marked: a to d are numbers of the row, k its key; T is
// the table, U another one with a key, t a text.
struct Template {
  std::size_t weight;
  std::u16string_view text;
};
constexpr Template kNumberTemplates[] = {
    {6, u"[a]*[b]"},
    {6, u"[a]/[b]"},
    {4, u"[a]/[b]*1000+[c]"},
    {4, u"[a]+[b]"},
    {3, u"[a]-[b]"},
    {3, u"[a]*2"},
    {2, u"-[a]"},
    {3, u"([a]+[b])*([c]-[d])"},
    {3, u"[a]"},
    {3, u"[a]*[factor]"},
    {3, u"[a]/[total]"},
    {5, u"[a]/SUM([a])"},
    {3, u"SUM([a])"},
    {3, u"MAX([a])-MIN([b])"},
    {3, u"SUM([a]*[b],[T])"},
    {3, u"SUM([a]*[b],[T],[c] > 2)"},
    {2, u"COUNT([T],[a] > [b])"},
    {3, u"SUM([a],[T],[k] = [this:parent:k])"},
    {3, u"COUNT([T],[k] = [this:parent:k])"},
    {2, u"IF([a] > [b],[a],[b])"},
    {2, u"IF([a] > 5,[a],[b]/2)"},
    {2, u"ONERROR([a]/[b],0)"},
    {2, u"[parent:a]*[this:parent:b]"},
};
constexpr Template kTextTemplates[] = {
    {6, u"IF([a] > 5,\"high\",\"low\")"},
    {4, u"IF([a] > 100,\"high\",[a] > 2,\"medium\",\"low\")"},
    {3, u"[k] & \"-\" & [t]"},
    {2, u"[t]"},
    {2, u"IF([k] = \"A\",[t],[k])"},
    {1, u"TAG([a])"},
    {2, u"IF(ISENTERED([a]),\"typed\",\"not\")"},
};
constexpr Template kTruthTemplates[] = {
    {4, u"[a] > [b]"},
    {3, u"[a] <= 5"},
    {3, u"[k] = \"A\""},
    {3, u"[a] > 1 AND [b] < 10"},
    {2, u"NOT ([a] = [b])"},
    {2, u"ISENTERED([a])"},
    {1, u"[a] = [b] OR [k] <> [t]"},
};

template <std::size_t N>
std::u16string_view WeightedText(Random& random, const Template (&templates)[N]) {
  return random.PickWeighted(templates).text;
}

std::u16string Joined(std::u16string_view a, std::u16string_view b, std::u16string_view c = {}) {
  return std::u16string(a) + std::u16string(b) + std::u16string(c);
}

}  // namespace

std::u16string FormulaMaker::Bracketed(std::u16string_view path) {
  if (!random_.Chance(taste_.oddness / 4)) return Joined(u"[", path, u"]");
  // Blanks around parts, and keywords in other letters.
  std::u16string loose = u"[ ";
  for (const char16_t unit : path) {
    if (unit == u':')
      loose += u" : ";
    else
      loose += unit;
  }
  if (const auto at = loose.find(u"parent"); at != loose.npos) loose.replace(at, 6, u"Parent");
  return loose + u"]";
}

std::u16string FormulaMaker::ColumnName(std::size_t table, DataType type, bool is_of_inputs) {
  // Few circles: they never settle, and keep others from being looked at.
  const bool leaves_out_computed = is_of_inputs || random_.Chance(50);
  std::vector<std::u16string_view> names;
  for (const ColumnPlan& column : plan_.tables[table].columns) {
    const bool is_left_out = leaves_out_computed && column.is_computed;
    if (column.type == type && !is_left_out) names.push_back(column.name);
  }
  if (!names.empty()) return std::u16string(random_.Pick(names));
  if (type == DataType::kDate) return u"When";
  const std::vector<ColumnPlan>& columns = plan_.tables[table].columns;
  const auto input = std::find_if(columns.begin(), columns.end(),
                                  [](const ColumnPlan& column) { return !column.is_computed; });
  return (input != columns.end() ? *input : columns.front()).name;
}

std::u16string FormulaMaker::Reference(DataType type, const Place& place) {
  const std::u16string own = ColumnName(place.row_table, type, place.is_of_inputs);
  if (random_.Chance(75)) return Bracketed(own);
  if (place.is_in_fold && random_.Chance(50)) {
    return Bracketed(u"this:parent:" + ColumnName(place.cell_table, type, place.is_of_inputs));
  }
  const std::size_t table = random_.Below(plan_.tables.size());
  const std::u16string column = ColumnName(table, type, place.is_of_inputs);
  const std::u16string& table_name = plan_.tables[table].name;
  std::u16string row = u"1";
  if (RowsOf(table) > 0 && random_.Chance(60)) row = random_.Pick(plan_.tables[table].rows).id;
  switch (random_.Below(random_.Chance(taste_.oddness) ? 7 : 4)) {
    case 0: return Bracketed(u"this:parent:" + own);
    case 1: return Bracketed((place.is_in_fold ? u"" : u"parent:") + own);
    case 2:
    case 3: return Bracketed(table_name + u":" + column + u":" + row);
    case 4: return Bracketed(table_name + u":" + column);
    case 5: return Bracketed(u"parent:parent:" + own + u":" + row);
    default: return Bracketed(u"this:" + own);
  }
}

std::u16string FormulaMaker::Call(std::u16string_view function,
                                  const std::vector<std::u16string>& arguments) {
  std::u16string call = Joined(function, u"(");
  for (std::size_t i = 0; i < arguments.size(); ++i)
    call += (i == 0 ? u"" : u", ") + arguments[i];
  return call + u")";
}

std::u16string FormulaMaker::Numeral() {
  if (random_.Chance(taste_.oddness)) return std::u16string(random_.Pick(kOddNumerals));
  return std::u16string(random_.Pick(kNumerals));
}

std::u16string FormulaMaker::Literal() {
  return Joined(u"\"", random_.Pick(kLiterals), u"\"");
}

std::optional<std::size_t> FormulaMaker::TableToWalk(const Place& place) {
  const std::size_t table =
      random_.Chance(50) ? place.row_table : random_.Below(plan_.tables.size());
  if (place.evaluations * RowsOf(table) > taste_.maximum_evaluations) return std::nullopt;
  return table;
}

FormulaMaker::Place FormulaMaker::InFold(std::size_t table, const Place& place) const {
  Place inner = place.Below();
  inner.row_table = table;
  inner.evaluations *= std::max<std::size_t>(RowsOf(table), 1);
  inner.is_in_fold = true;
  // To what stands within two aggregates "this" is the outer one's row.
  if (place.is_in_fold) inner.cell_table = place.row_table;
  return inner;
}

std::u16string FormulaMaker::Simple(Kind kind, const Place& place) {
  const std::u16string_view text = kind == Kind::kNumber ? WeightedText(random_, kNumberTemplates)
                                   : kind == Kind::kText ? WeightedText(random_, kTextTemplates)
                                                         : WeightedText(random_, kTruthTemplates);
  const bool walks = text.find(u"SUM(") != text.npos || text.find(u"MIN(") != text.npos ||
                     text.find(u"COUNT(") != text.npos;
  if (walks && place.evaluations * RowsOf(place.row_table) > taste_.maximum_evaluations) {
    return u"[" + ColumnName(place.row_table, DataType::kNumber) + u"]*2";
  }
  struct Mark {
    char16_t letter;
    std::u16string name;
  };
  const std::size_t table = place.row_table;
  const bool joins = text.find(u'&') != text.npos;
  const std::array<Mark, 7> marks{{{u'a', ColumnName(table, DataType::kNumber)},
                                   {u'b', ColumnName(table, DataType::kNumber)},
                                   {u'c', ColumnName(table, DataType::kNumber)},
                                   {u'd', ColumnName(table, DataType::kNumber)},
                                   {u'k', ColumnName(table, DataType::kString, joins)},
                                   {u't', ColumnName(table, DataType::kString, joins)},
                                   {u'T', plan_.tables[table].name}}};
  std::u16string formula;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool is_part = i > 0 && (text[i - 1] == u'[' || text[i - 1] == u':') &&
                         i + 1 < text.size() && text[i + 1] == u']';
    const auto mark = std::find_if(marks.begin(), marks.end(),
                                   [&](const Mark& known) { return known.letter == text[i]; });
    if (is_part && mark != marks.end()) {
      formula += mark->name;
    } else {
      formula += text[i];
    }
  }
  return formula;
}

std::u16string FormulaMaker::Make(Kind kind, const Place& place) {
  if (random_.Chance(taste_.oddness)) return Odd(place);
  switch (kind) {
    case Kind::kNumber: return Number(place);
    case Kind::kText: return Text(place);
    default: return Truth(place);
  }
}

std::u16string FormulaMaker::Odd(const Place& place) {
  switch (random_.Below(6)) {
    case 0: return std::u16string(random_.Pick(kOddities));
    case 1: return Text(place.Below());
    case 2: return Truth(place.Below());
    case 3: return Bracketed(random_.Pick(kDefinitionNames));
    case 4: return Reference(random_.Chance(50) ? DataType::kStructure : DataType::kBoolean, place);
    default: return Number(place.Below());
  }
}

std::u16string FormulaMaker::Number(const Place& place) {
  if (place.depth <= 0) {
    return random_.Chance(65) ? Reference(DataType::kNumber, place) : Numeral();
  }
  const Place below = place.Below();
  const auto operand = [&] { return Make(Kind::kNumber, below); };
  switch (random_.Below(20)) {
    case 0:
    case 1:
    case 2: return Joined(operand(), u"+", operand());
    case 3:
    case 4: return Joined(operand(), u"-", operand());
    case 5:
    case 6:
    case 7: return Joined(operand(), u"*", operand());
    case 8:
    case 9: return Joined(operand(), u"/", operand());
    case 10: return Joined(u"(", operand(), u")");
    case 11: return Joined(random_.Chance(70) ? u"-" : u"+", Reference(DataType::kNumber, place));
    case 12:
      if (random_.Chance(60)) return Call(u"IF", {Make(Kind::kTruth, below), operand(), operand()});
      return Call(u"IF", {Make(Kind::kTruth, below), operand(), Make(Kind::kTruth, below),
                          operand(), operand()});
    case 13: return Call(random_.Chance(80) ? u"ONERROR" : u"OnError", {operand(), operand()});
    case 14:
    case 15:
    case 16: return Aggregate(place);
    case 17: return Lookup(Kind::kNumber, place);
    case 18:
      if (taste_.is_hostile) return HostCall(place);
      return Joined(operand(), u" % ", Numeral());
    default: return Bracketed(random_.Pick(kDefinitionNames));
  }
}

std::u16string FormulaMaker::Text(const Place& place) {
  if (place.depth <= 0) {
    return random_.Chance(60) ? Reference(DataType::kString, place) : Literal();
  }
  const Place below = place.Below();
  const auto operand = [&] { return Make(Kind::kText, below); };
  const auto joined = [&] { return Make(Kind::kText, below.OfInputs()); };
  switch (random_.Below(10)) {
    case 0:
    case 1: return Joined(joined(), u" & ", joined());
    case 2: return Joined(joined(), u" & ", Reference(DataType::kNumber, place.OfInputs()));
    case 3:
    case 4:
    case 5: return Call(u"IF", {Make(Kind::kTruth, below), operand(), operand()});
    case 6: return Call(u"TAG", {Reference(DataType::kNumber, place)});
    case 7: return Lookup(Kind::kText, place);
    case 8: return Call(u"ONERROR", {operand(), operand()});
    default: return Reference(DataType::kStructure, place);
  }
}

std::u16string FormulaMaker::Comparison(const Place& place) {
  const Kind kind = random_.Chance(65) ? Kind::kNumber : Kind::kText;
  const Place below = place.Below();
  return Joined(Make(kind, below), random_.Pick(kComparisons), Make(kind, below));
}

std::u16string FormulaMaker::Truth(const Place& place) {
  if (place.depth <= 0) {
    if (random_.Chance(30)) return Reference(DataType::kBoolean, place);
    return Joined(Reference(DataType::kNumber, place), random_.Pick(kComparisons), Numeral());
  }
  switch (random_.Below(10)) {
    case 0: return Joined(Comparison(place), random_.Pick(kJoins), Comparison(place));
    case 1: return Joined(random_.Chance(80) ? u"NOT (" : u"not (", Comparison(place), u")");
    case 2: return Call(u"ISENTERED", {Reference(DataType::kNumber, place)});
    case 3: return Reference(DataType::kBoolean, place);
    case 4: return Joined(u"(", Truth(place.Below()), u")");
    default: return Comparison(place);
  }
}

std::u16string FormulaMaker::Aggregate(const Place& place) {
  const std::optional<std::size_t> table = TableToWalk(place);
  if (!table) return Reference(DataType::kNumber, place);
  constexpr std::u16string_view kFunctions[] = {u"SUM", u"SUM", u"MIN", u"MAX", u"COUNT", u"sum"};
  const std::u16string_view function = random_.Pick(kFunctions);
  const std::u16string& name = plan_.tables[*table].name;
  const std::u16string column = ColumnName(*table, DataType::kNumber, place.is_of_inputs);
  const Place inner = InFold(*table, place);
  std::vector<std::u16string> arguments;
  if (function == u"COUNT") {
    arguments.push_back(Bracketed(random_.Chance(80) ? name : name + u":" + column));
  } else if (random_.Chance(40)) {
    const bool is_own = *table == place.row_table && !place.is_in_fold;
    return Call(function, {Bracketed(is_own ? column : name + u":" + column)});
  } else {
    arguments.push_back(Make(Kind::kNumber, inner));
    arguments.push_back(Bracketed(name));
  }
  if (random_.Chance(50)) arguments.push_back(Make(Kind::kTruth, inner));
  return Call(function, arguments);
}

std::u16string FormulaMaker::Lookup(Kind kind, const Place& place) {
  const std::optional<std::size_t> table = TableToWalk(place);
  if (!table) return Reference(DataType::kNumber, place);
  const Place inner = InFold(*table, place);
  std::u16string condition;
  if (random_.Chance(75)) {
    const DataType type = random_.Chance(70) ? DataType::kString : DataType::kNumber;
    const std::u16string key = Bracketed(ColumnName(*table, type));
    const std::u16string wanted =
        Bracketed(u"this:parent:" + ColumnName(place.row_table, type, place.is_of_inputs));
    condition = random_.Chance(80) ? Joined(key, u" = ", wanted) : Joined(wanted, u"=", key);
    if (random_.Chance(15)) condition += u" AND " + Comparison(inner);
  } else {
    condition = Make(Kind::kTruth, inner);
  }
  return Call(random_.Chance(80) ? u"SELECT" : u"select",
              {Make(kind, inner), Bracketed(plan_.tables[*table].name), condition});
}

std::u16string FormulaMaker::HostCall(const Place& place) {
  switch (random_.Below(4)) {
    case 0: return Call(kCallsFunction, {});
    case 1: return Call(kTwiceFunction, {Make(Kind::kNumber, place.Below())});
    default: return Call(kPokeFunction, {Make(Kind::kNumber, place.Below())});
  }
}

std::u16string FormulaMaker::DateFormula(const Place& place) {
  const std::u16string date = Bracketed(ColumnName(place.row_table, DataType::kDate));
  switch (random_.Below(8)) {
    case 0:
      return Joined(date, random_.Pick(kComparisons),
                    Bracketed(ColumnName(place.row_table, DataType::kDate)));
    case 1: return Call(u"IF", {Truth(place.Below()), date, u"\"never\""});
    case 2: return Joined(date, u" & \" on\"");
    case 3: return Joined(date, u"+1");
    case 4: return Joined(u"1+", date);
    case 5: return Call(u"ONERROR", {Number(place.Below()), date});
    default: return date;
  }
}

std::u16string FormulaMaker::ForColumn(std::size_t table, std::size_t column) {
  Place place;
  place.row_table = place.cell_table = table;
  place.evaluations = std::max<std::size_t>(RowsOf(table), 1);
  place.depth = static_cast<int>(random_.Between(1, 3));
  const DataType type = plan_.tables[table].columns[column].type;
  if (type == DataType::kDate) return DateFormula(place);
  Kind kind = type == DataType::kNumber    ? Kind::kNumber
              : type == DataType::kBoolean ? Kind::kTruth
                                           : Kind::kText;
  if (random_.Chance(taste_.oddness)) {
    constexpr Kind kKinds[] = {Kind::kNumber, Kind::kText, Kind::kTruth};
    kind = random_.Pick(kKinds);
  }
  if (random_.Chance(taste_.oddness / 2)) return std::u16string(random_.Pick(kOddities));
  if (taste_.is_hostile && random_.Chance(25)) return HostCall(place);
  return random_.Chance(45) ? Simple(kind, place) : Make(kind, place);
}

std::u16string FormulaMaker::ForDefinition(std::size_t table) {
  Place place;
  place.row_table = place.cell_table = table;
  place.depth = 2;
  place.is_in_fold = true;
  const std::u16string column =
      plan_.tables[table].name + u":" + ColumnName(table, DataType::kNumber);
  switch (random_.Below(8)) {
    case 0:
    case 1: return Joined(u"SUM(", Bracketed(column), u")");
    case 2: return Joined(Numeral(), u"*", Numeral());
    case 3: return Aggregate(place);
    case 4: return Joined(Bracketed(random_.Pick(kDefinitionNames)), u"+", Numeral());
    case 5: return Literal();
    case 6: return Bracketed(column + u":1");
    default: return Make(Kind::kNumber, place);
  }
}

}  // namespace random_notebooks
