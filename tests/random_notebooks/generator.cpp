#include "random_notebooks/generator.h"

#include <algorithm>
#include <string>
#include <utility>

#include "random_notebooks/formulas.h"
#include "random_notebooks/random.h"

#include "listener/result_formats.h"

namespace random_notebooks {

namespace {

constexpr std::u16string_view kTableNames[] = {u"T", u"Known things", u"Lots"};
constexpr std::u16string_view kNumberColumns[] = {u"x", u"y", u"Mass", u"Amount (g)", u"V"};
constexpr std::u16string_view kTextColumns[] = {u"Key", u"Name"};
constexpr std::u16string_view kFormulaColumns[] = {u"f", u"g", u"r 1", u"Share", u"Class"};
constexpr std::u16string_view kUnits[] = {u"g",    u"mg",    u"kg", u"ml",
                                          u"mmol", u"g/mol", u"L",  u"mol"};

constexpr std::u16string_view kKeys[] = {u"A", u"B", u"C", u"D", u"a", u"E 1", u"5"};
constexpr std::u16string_view kNumberTexts[] = {
    u"1",   u"2",    u"3",     u"5",    u"12.5", u"0.25",  u"7",  u"10", u"100",  u"3.14",
    u"42",  u"6.25", u"0.050", u"1234", u"2.50", u"9.99",  u"-3", u"15", u"1E3",  u"0.3",
    u"5.0", u"25",   u"1E-3",  u"8",    u"11",   u"1.005", u"75", u"20", u"2.675"};
constexpr std::u16string_view kOddNumberTexts[] = {u"0",
                                                   u"n.d.",
                                                   u"<0.5",
                                                   u"#Error: x",
                                                   u"-0",
                                                   u"1E300",
                                                   u"1E-310",
                                                   u"5E-324",
                                                   u"1E308",
                                                   u"1,5",
                                                   u"1,234.5",
                                                   u"12 %",
                                                   u"1 \u00B1 0.1",
                                                   u"1 .. 2",
                                                   u"5 .. 4",
                                                   u"3 +/- 1",
                                                   u"0.000",
                                                   u"1e",
                                                   u"+5",
                                                   u"  7 ",
                                                   u"9007199254740993",
                                                   u"-1E-9",
                                                   u"1 xyz",
                                                   u"3 g",
                                                   u"250 mg",
                                                   u"1 L",
                                                   u"2 ml",
                                                   u"4 \u00B1 0.5 g",
                                                   u"0.1 .. 0.2 mmol",
                                                   u"true",
                                                   u"2024-01-05",
                                                   u"-2.5"};
constexpr std::u16string_view kMissingNumbers[] = {u"n.d.", u"<0.5 mg", u"#Error: Overflow",
                                                   u"#Error: the value \"n.d.\" is not a number",
                                                   u"#Error: "};
constexpr std::u16string_view kTexts[] = {u"salt",
                                          u"water",
                                          u"tea",
                                          u"A",
                                          u"B",
                                          u"12",
                                          u"",
                                          u"yes",
                                          u"1,5",
                                          u"\u00B5 salt",
                                          u"#Error: not mine",
                                          u"true"};
constexpr std::u16string_view kTruths[] = {u"true", u"false", u"yes", u"no", u"", u"1", u"0"};
constexpr std::u16string_view kDates[] = {u"2024-01-05", u"2023-12-31 12:30", u"", u"1999-02-03"};
constexpr std::u16string_view kStructures[] = {u"CC(=O)O", u"C1CCCCC1", u""};
constexpr std::u16string_view kFormats[] = {u"%", u"0.00", u"#,##0.0", u"0.0%", u"0.00E+00", u"#"};
constexpr std::u16string_view kStates[] = {u"entered", u"", u"noted", u"Entered"};
constexpr std::u16string_view kTags[] = {u"entered", u"", u"lot 7"};

// How many rows a table has.
struct Rows {
  std::size_t weight;
  std::size_t low;
  std::size_t high;
};
constexpr Rows kRows[] = {{40, 0, 0}, {80, 1, 1}, {600, 2, 5}, {220, 6, 10}, {30, 11, 40}};
// Chunks of columns have 1,024 rows.
constexpr Rows kManyRows{0, 1'020, 1'500};
// Which seeds have such a table: each so many.
constexpr std::uint64_t kManyRowsInterval = 250;

struct EditWeight {
  std::size_t weight;
  EditKind kind;
};
constexpr EditWeight kEdits[] = {
    {58, EditKind::kType},      {8, EditKind::kState},        {12, EditKind::kFormula},
    {6, EditKind::kDefinition}, {4, EditKind::kResultFormat}, {10, EditKind::kAddRow},
    {2, EditKind::kWrite},
};
constexpr EditWeight kPokes[] = {
    {40, EditKind::kType},   {8, EditKind::kState},        {15, EditKind::kWrite},
    {15, EditKind::kAddRow}, {12, EditKind::kFormula},     {6, EditKind::kDefinition},
    {12, EditKind::kNotify}, {4, EditKind::kResultFormat}, {6, EditKind::kTerminate},
};

class Generator {
 public:
  explicit Generator(std::uint64_t seed)
      : random_(seed), taste_(MakeTaste()), formulas_(random_, plan_, taste_) {
    plan_.seed = seed;
  }

  NotebookPlan Make() {
    if (random_.Chance(25)) missing_ = random_.Chance(80) ? 8 : 40;
    const std::size_t tables = random_.Between(1, std::size(kTableNames));
    const bool has_many_rows = plan_.seed % kManyRowsInterval == kManyRowsInterval - 1;
    if (has_many_rows) taste_.maximum_evaluations = 6'000;
    for (std::size_t i = 0; i < tables; ++i)
      AddTable(kTableNames[i], has_many_rows && i == 0);
    for (std::size_t i = 0; i < tables; ++i)
      AddListeners(i);
    if (taste_.is_hostile) AddPokes();
    AddSteps(has_many_rows);
    return std::move(plan_);
  }

 private:
  Taste MakeTaste() {
    struct TasteWeight {
      std::size_t weight;
      std::size_t oddness;
    };
    constexpr TasteWeight kTastes[] = {{45, 0}, {30, 3}, {18, 8}, {7, 20}};
    Taste taste;
    taste.oddness = random_.PickWeighted(kTastes).oddness;
    taste.is_hostile = random_.Chance(12);
    return taste;
  }

  void AddTable(std::u16string_view name, bool has_many_rows) {
    TablePlan& table = plan_.tables.emplace_back();
    table.name = name;
    AddColumns(table);
    const Rows& rows = has_many_rows ? kManyRows : random_.PickWeighted(kRows);
    const std::size_t count = random_.Between(rows.low, rows.high);
    for (std::size_t i = 0; i < count; ++i)
      table.rows.push_back(MakeRow(table, i));
  }

  // Input columns before and behind those for formulas, which have the last names.
  void AddColumns(TablePlan& table) {
    const std::size_t numbers = random_.Between(2, std::size(kNumberColumns));
    for (std::size_t i = 0; i < numbers; ++i)
      table.columns.push_back(NumberColumn(kNumberColumns[i]));
    for (const std::u16string_view name : kTextColumns)
      table.columns.push_back(Column(name, DataType::kString));
    if (random_.Chance(30)) table.columns.push_back(Column(u"OK", DataType::kBoolean));
    if (random_.Chance(20)) table.columns.push_back(Column(u"When", DataType::kDate));
    if (random_.Chance(15)) table.columns.push_back(Column(u"Drawing", DataType::kStructure));
    for (ColumnPlan& column : table.columns)
      column.is_computed = random_.Chance(1);
    const std::size_t formulas = random_.Between(1, random_.Chance(70) ? 3 : 5);
    for (std::size_t i = 0; i < formulas; ++i) {
      const auto place = static_cast<std::ptrdiff_t>(
          random_.Chance(70) ? table.columns.size() : random_.Below(table.columns.size()));
      table.columns.insert(table.columns.begin() + place, FormulaColumn(kFormulaColumns[i]));
    }
  }

  static ColumnPlan Column(std::u16string_view name, DataType type) {
    ColumnPlan column;
    column.name = name;
    column.type = type;
    return column;
  }

  ColumnPlan NumberColumn(std::u16string_view name) {
    ColumnPlan column = Column(name, DataType::kNumber);
    if (random_.Chance(50)) column.unit = random_.Pick(kUnits);
    column.number_formatting = random_.Chance(column.unit.empty() ? 25 : 80);
    return column;
  }

  ColumnPlan FormulaColumn(std::u16string_view name) {
    struct TypeWeight {
      std::size_t weight;
      DataType type;
    };
    constexpr TypeWeight kTypes[] = {{62, DataType::kNumber},
                                     {22, DataType::kString},
                                     {9, DataType::kBoolean},
                                     {5, DataType::kDate},
                                     {2, DataType::kStructure}};
    const DataType type = random_.PickWeighted(kTypes).type;
    ColumnPlan column = type == DataType::kNumber ? NumberColumn(name) : Column(name, type);
    if (random_.Chance(5)) column.number_formatting = true;
    column.is_computed = true;
    return column;
  }

  RowPlan MakeRow(const TablePlan& table, std::size_t index) {
    RowPlan row;
    row.id = RowId(index);
    for (const ColumnPlan& column : table.columns) {
      const bool is_left_empty = column.is_computed && !random_.Chance(4);
      row.texts.push_back(is_left_empty ? u"" : CellText(column));
    }
    return row;
  }

  // Numbers, some of which are other rows' numbers, and names; an id that is taken adds no row.
  std::u16string RowId(std::size_t index) {
    const std::size_t number = random_.Chance(5) ? index + 2 : index + 1;
    const std::string digits = std::to_string(number);
    std::u16string id(digits.begin(), digits.end());
    if (random_.Chance(20)) id.insert(0, u"R");
    return id;
  }

  std::u16string CellText(const ColumnPlan& column) {
    if (random_.Chance(taste_.oddness / 2)) return std::u16string(random_.Pick(kOddNumberTexts));
    switch (column.type) {
      case DataType::kNumber: return NumberText(column);
      case DataType::kBoolean: return std::u16string(random_.Pick(kTruths));
      case DataType::kDate: return std::u16string(random_.Pick(kDates));
      case DataType::kStructure: return std::u16string(random_.Pick(kStructures));
      default:
        return std::u16string(column.name == u"Key" ? random_.Pick(kKeys) : random_.Pick(kTexts));
    }
  }

  std::u16string NumberText(const ColumnPlan& column) {
    if (random_.Chance(3)) return {};
    if (random_.Chance(missing_)) return std::u16string(random_.Pick(kMissingNumbers));
    if (random_.Chance(4)) return std::u16string(random_.Pick(kOddNumberTexts));
    std::u16string text(random_.Pick(kNumberTexts));
    if (random_.Chance(10)) text += u" \u00B1 0.1";
    if (!column.unit.empty() && random_.Chance(70)) text += u" " + column.unit;
    return text;
  }

  void AddListeners(std::size_t table) {
    const std::size_t count = random_.Chance(10) ? 2 : 1;
    for (std::size_t i = 0; i < count; ++i) {
      ListenerPlan listener;
      listener.position = static_cast<std::int16_t>(random_.Between(1, 3));
      if (random_.Chance(25)) listener.result_format = ktformula::kMinDigitFormulaFormatIdentifier;
      for (const std::u16string_view name : kDefinitionNames) {
        // Most columns of that name are to be seen.
        const std::size_t chance = name == u"Mass" ? 3 : 70;
        if (random_.Chance(chance)) {
          listener.definitions.push_back({std::u16string(name), formulas_.ForDefinition(table)});
        }
      }
      const std::vector<ColumnPlan>& columns = plan_.tables[table].columns;
      for (std::size_t column = 0; column < columns.size(); ++column) {
        const bool is_wanted = columns[column].is_computed && (i == 0 || random_.Chance(30));
        if (is_wanted) listener.formulas.push_back(MakeFormula(table, column));
      }
      plan_.tables[table].listeners.push_back(std::move(listener));
    }
  }

  FormulaPlan MakeFormula(std::size_t table, std::size_t column) {
    return {column, formulas_.ForColumn(table, column), MakeFormat()};
  }

  std::u16string MakeFormat() {
    return random_.Chance(15) ? std::u16string(random_.Pick(kFormats)) : std::u16string();
  }

  void AddPokes() {
    plan_.poke_interval = random_.Between(1, 9);
    const std::size_t count = random_.Between(1, 4);
    for (std::size_t i = 0; i < count; ++i)
      plan_.pokes.push_back(MakeEdit(random_.PickWeighted(kPokes).kind));
  }

  void AddSteps(bool has_many_rows) {
    const std::size_t count = has_many_rows        ? 2
                              : random_.Chance(10) ? random_.Between(6, 12)
                                                   : random_.Between(3, 5);
    bool comma = random_.Chance(5);
    for (std::size_t i = 0; i <= count; ++i) {
      Step step;
      if (random_.Chance(4)) comma = !comma;
      step.comma = comma;
      if (random_.Chance(40)) step.first_table = random_.Below(plan_.tables.size());
      step.maximum_rounds = has_many_rows ? 3 : random_.Chance(85) ? 8 : 20;
      step.look_at_rounds = random_.Chance(70);
      step.look_at_end = random_.Chance(70);
      const std::size_t edits = i == 0 ? 0 : random_.Chance(80) ? 1 : random_.Between(0, 4);
      for (std::size_t edit = 0; edit < edits; ++edit)
        step.edits.push_back(MakeEdit(random_.PickWeighted(kEdits).kind));
      plan_.steps.push_back(std::move(step));
    }
  }

  Edit MakeEdit(EditKind kind) {
    Edit edit;
    edit.kind = kind;
    edit.table = random_.Below(plan_.tables.size());
    const TablePlan& table = plan_.tables[edit.table];
    edit.row = random_.Below(table.rows.size() + 1);
    edit.column = random_.Below(table.columns.size());
    edit.listener = random_.Below(table.listeners.size());
    const ColumnPlan& column = table.columns[edit.column];
    switch (kind) {
      case EditKind::kType:
      case EditKind::kWrite:
        edit.text = random_.Chance(12) ? std::u16string() : CellText(column);
        break;
      case EditKind::kState:
        edit.text = random_.Pick(kStates);
        edit.more = random_.Pick(kTags);
        break;
      case EditKind::kFormula:
        edit.column = FormulaColumnOf(table);
        edit.text =
            random_.Chance(8) ? std::u16string() : formulas_.ForColumn(edit.table, edit.column);
        edit.more = MakeFormat();
        if (random_.Chance(20)) edit.text = FormulaNow(table, edit);
        break;
      case EditKind::kDefinition:
        edit.more = random_.Pick(kDefinitionNames);
        edit.text = random_.Chance(10) ? std::u16string() : formulas_.ForDefinition(edit.table);
        break;
      case EditKind::kResultFormat:
        if (random_.Chance(60)) edit.text = ktformula::kMinDigitFormulaFormatIdentifier;
        break;
      case EditKind::kAddRow:
        edit.text = u"new " + RowId(random_.Below(9));
        edit.more = random_.Chance(70) ? random_.Pick(kNumberTexts) : u"";
        break;
      default: break;
    }
    return edit;
  }

  std::size_t FormulaColumnOf(const TablePlan& table) {
    std::vector<std::size_t> columns;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      if (table.columns[i].is_computed) columns.push_back(i);
    }
    return random_.Pick(columns);
  }

  // The formula that the listener was given at first, so that its format alone changes.
  static std::u16string FormulaNow(const TablePlan& table, const Edit& edit) {
    for (const FormulaPlan& formula : table.listeners[edit.listener].formulas) {
      if (formula.column == edit.column) return formula.formula;
    }
    return edit.text;
  }

  Random random_;
  NotebookPlan plan_;
  Taste taste_;
  // Percentage of number cells without a number.
  std::size_t missing_ = 0;
  FormulaMaker formulas_;
};

}  // namespace

NotebookPlan MakePlan(std::uint64_t seed) {
  return Generator(seed).Make();
}

}  // namespace random_notebooks
