// Reading of CSV files as notebooks.
#include <optional>
#include <unordered_set>
#include <utility>

#include "notebook/files/csv_file.h"
#include "notebook/files/csv_numbers.h"
#include "notebook/files/csv_parser.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "values/platform.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

const std::u16string* FindSetting(const ColumnSettings& settings, std::u16string_view name) {
  for (const auto& [column, value] : settings) {
    if (column == name) return &value;
  }
  return nullptr;
}

// References can not name what begins or ends with a blank.
std::u16string_view TrimName(std::u16string_view name) {
  constexpr std::u16string_view kBlanks = u" \t\r\n";
  const std::size_t first = name.find_first_not_of(kBlanks);
  if (first == std::u16string_view::npos) return {};
  return name.substr(first, name.find_last_not_of(kBlanks) - first + 1);
}

struct Header {
  std::u16string name;
  const NotebookUnit* unit = nullptr;
};

// "Mass (g)" is Mass in g when the catalogue knows the unit.
Header SplitHeader(std::u16string_view header, const NotebookUnitCatalogue& units) {
  const std::size_t open = header.rfind(u'(');
  if (open != std::u16string_view::npos && header.ends_with(u')')) {
    const std::u16string_view name = TrimName(header.substr(0, open));
    const std::u16string_view unit_text =
        TrimName(header.substr(open + 1, header.size() - open - 2));
    const NotebookUnit* unit = units.FindUnit(NormalizeUnitName(unit_text));
    if (unit != nullptr && !name.empty()) return {std::u16string(name), unit};
  }
  return {std::u16string(header), nullptr};
}

bool IsTruthWord(std::u16string_view text) {
  const std::u16string lower = ktformula::LowerCase(text);
  return lower == u"true" || lower == u"false";
}

class CsvReader {
 public:
  CsvReader(CsvTable csv, const std::string& source, const CsvOptions& options)
      : csv_(std::move(csv)), source_(source), options_(options) {}

  Notebook Read(std::u16string_view name) {
    table_ = notebook_.AddForm(name).AddTable(name, 1);
    table_->AddNumberedRows(csv_.rows);
    for (std::size_t i = 0; i < csv_.header.size(); ++i)
      AddFileColumn(csv_.header[i], csv_.columns[i]);
    for (const auto& [column, formula] : options_.formulas)
      AddFormulaColumn(column);
    CheckSettings();
    AddListener();
    EnterTexts();
    return std::move(notebook_);
  }

 private:
  struct Numbers {
    CsvNumbers cells;
    const NotebookUnit* unit;
  };

  [[noreturn]] void Refuse(const std::string& reason) const {
    throw NotebookError(source_ + ": " + reason);
  }
  static std::string Quoted(std::u16string_view text) { return "\"" + ToUtf8(text) + "\""; }

  const NotebookUnitCatalogue& Units() const { return *notebook_.framework->OwnUnits(); }

  [[noreturn]] void RefuseHeader(const std::string& reason) const {
    throw NotebookError(source_ + ":" + std::to_string(csv_.header_line) + ": " + reason);
  }

  CsvNumberReading ReadingIn(const NotebookUnit* unit) const {
    return {unit, Units(), options_.locale, notebook_.locale.separators};
  }

  // Reads the column's texts as numbers in the unit, and keeps them when they are.
  bool AreNumbers(const CsvColumn& column, const NotebookUnit* unit, CsvReach reach) {
    numbers_ = {ReadCsvNumbers(column, csv_.rows, ReadingIn(unit), reach), unit};
    return numbers_->cells.AreMost();
  }

  // Whether all texts of the column are of the kind; of an empty column all are.
  template <typename Test>
  static bool AllAre(const CsvColumn& column, Test test) {
    return column.AllAre([&](std::u16string_view field) {
      const std::u16string_view text = TrimTypedText(field);
      return text.empty() || test(text);
    });
  }

  DataType TypeOf(const CsvColumn& column) {
    if (AreNumbers(column, nullptr, CsvReach::kWhileMostMayBe)) return DataType::kNumber;
    if (AllAre(column, IsTruthWord)) return DataType::kBoolean;
    const auto is_date = [](std::u16string_view text) {
      return ktformula::DateValue(text).has_value();
    };
    return AllAre(column, is_date) ? DataType::kDate : DataType::kString;
  }

  // Whether the column goes by the name without the unit: it holds numbers in that unit, or the
  // options name it so.
  bool IsQuantity(const std::u16string& header, const Header& split, const CsvColumn& column) {
    if (split.unit == nullptr || FindSetting(options_.types, header) != nullptr) return false;
    if (FindSetting(options_.types, split.name) != nullptr) return true;
    return AreNumbers(column, split.unit, CsvReach::kWhileMostMayBe);
  }

  void AddFileColumn(const std::u16string& field, CsvColumn& column) {
    const std::u16string header(TrimName(field));
    if (header.empty()) {
      RefuseHeader("column " + std::to_string(table_->ColumnCount() + 1) + " has no name");
    }
    numbers_.reset();
    const Header split = SplitHeader(header, Units());
    PropertyDefinition definition;
    if (IsQuantity(header, split, column)) {
      definition.name = split.name;
      definition.type = DataType::kNumber;
      definition.unit = split.unit;
      // What is computed into a column of a unit is shown in a unit.
      definition.number_formatting = FindSetting(options_.formulas, split.name) != nullptr;
    } else {
      const std::optional<Numbers> in_unit = std::exchange(numbers_, std::nullopt);
      definition.name = header;
      definition.type = TypeOf(column);
      if (FindSetting(options_.types, header) == nullptr) {
        NoteOtherwiseNumbers(definition, column, split, in_unit);
      }
    }
    Add(std::move(definition));
    NotebookColumn& added = *table_->Columns().back();
    if (added.Definition().type == DataType::kNumber) FillWithNumbers(added, column);
  }
  // A column that is no quantity may have been meant as one, or its texts as other numbers;
  // `in_unit` is what was tried with the unit of its header.
  void NoteOtherwiseNumbers(const PropertyDefinition& definition, const CsvColumn& column,
                            const Header& split, const std::optional<Numbers>& in_unit) {
    if (definition.type == DataType::kString &&
        NoteOtherNumbers(definition.name, column, split.unit, 0)) {
      return;
    }
    if (!in_unit) return;
    notebook_.notes.push_back(MakeCsvNote(
        CsvNoteKind::kNoQuantities, definition.name, in_unit->cells.others, 0,
        "without a number in " + ToUtf8(split.unit->UnitText()),
        "--type '" + ToUtf8(split.name) + "=number' takes the column as numbers all the same"));
  }

  bool NoteOtherNumbers(const std::u16string& name, const CsvColumn& column,
                        const NotebookUnit* unit, std::size_t known) {
    std::optional<CsvNote> note =
        FindOtherNumbers(column, csv_.rows, ReadingIn(unit), known, options_.delimiter);
    if (!note) return false;
    note->column = name;
    notebook_.notes.push_back(*std::move(note));
    return true;
  }

  // In the unit that the column has in the end.
  void FillWithNumbers(NotebookColumn& added, CsvColumn& column) {
    const PropertyDefinition& definition = added.Definition();
    const bool is_read = numbers_ && numbers_->unit == definition.unit && numbers_->cells.AreMost();
    if (!is_read) AreNumbers(column, definition.unit, CsvReach::kAll);
    CsvNumbers& cells = numbers_->cells;
    if (cells.others.count > 0) {
      notebook_.notes.push_back(MakeCsvNote(CsvNoteKind::kNoNumbers, definition.name, cells.others,
                                            cells.filled, "without a number", {}));
      NoteOtherNumbers(definition.name, column, definition.unit, cells.Count());
    }
    added.Adopt(std::move(cells.data));
    // What is entered needs no second place in memory.
    column = {};
  }

  void AddFormulaColumn(const std::u16string& name) {
    if (table_->FindColumn(name) != nullptr) return;
    const Header split = SplitHeader(name, Units());
    if (split.unit != nullptr && table_->FindColumn(split.name) != nullptr) {
      Refuse("the column " + Quoted(name) + " goes by the name " + Quoted(split.name));
    }
    RefuseUnitInName(name, split);
    PropertyDefinition definition;
    definition.name = name;
    definition.type = DataType::kNumber;
    Add(std::move(definition));
  }

  // What is computed into a column that is only called after a unit is in base units, and would be
  // read back in that unit.
  void RefuseUnitInName(const std::u16string& name, const Header& split) const {
    const std::u16string* type = FindSetting(options_.types, name);
    if (split.unit == nullptr || (type != nullptr && *type != DataTypeText(DataType::kNumber))) {
      return;
    }
    const std::string plain = ToUtf8(split.name);
    Refuse("a new column " + Quoted(split.name) + " gets its unit by --formula '" + plain +
           "=...' and --unit '" + plain + "=" + ToUtf8(split.unit->UnitText()) + "'");
  }

  // Adds the column as the options want it.
  void Add(PropertyDefinition definition) {
    definition.key = table_->ColumnCount() + 1;
    if (const std::u16string* type = FindSetting(options_.types, definition.name)) {
      const std::optional<DataType> known = FindDataType(*type);
      if (!known) Refuse("the type " + Quoted(*type) + " is not known");
      definition.type = *known;
      if (*known != DataType::kNumber) definition.unit = nullptr;
    }
    if (const std::u16string* unit = FindSetting(options_.units, definition.name)) {
      definition.unit = Units().FindUnit(NormalizeUnitName(*unit));
      if (definition.unit == nullptr) Refuse("the unit " + Quoted(*unit) + " is not known");
      if (definition.type != DataType::kNumber) {
        Refuse("only a column of numbers has a unit, not " + Quoted(definition.name));
      }
      definition.number_formatting = true;
    }
    if (FindSetting(options_.formats, definition.name) != nullptr) {
      definition.number_formatting = true;
    }
    const std::u16string name = definition.name;
    if (table_->AddColumn(std::move(definition)) == nullptr) {
      RefuseHeader("the column name " + Quoted(name) + " is used twice");
    }
  }

  // Refuses settings of columns that are not there, and two of a kind for one name.
  void CheckSettings() const {
    for (const ColumnSettings* settings :
         {&options_.formats, &options_.units, &options_.types, &options_.formulas}) {
      for (const auto& [column, value] : *settings) {
        if (table_->FindColumn(column) == nullptr) Refuse("there is no column " + Quoted(column));
      }
      RefuseTwice(*settings, "the column");
    }
    RefuseTwice(options_.definitions, "the definition");
    for (const auto& [column, format] : options_.formats) {
      if (FindSetting(options_.formulas, column) == nullptr) {
        Refuse("a format goes with a formula; " + Quoted(column) + " has none");
      }
    }
  }

  void RefuseTwice(const ColumnSettings& settings, const std::string& kind) const {
    std::unordered_set<std::u16string_view> seen;
    for (const auto& [name, value] : settings) {
      if (seen.insert(name).second) continue;
      Refuse(kind + " " + Quoted(name) + " is given the same setting twice");
    }
  }

  void AddListener() {
    if (options_.formulas.empty() && options_.definitions.empty()) return;
    ktformula::IKtFormulaListener& listener = notebook_.framework->AddFormulaListener(*table_);
    for (const auto& [column, formula] : options_.formulas) {
      const std::u16string* format = FindSetting(options_.formats, column);
      listener.SetPropertyFormula(table_->FindColumn(column)->Definition().key, formula,
                                  format != nullptr ? *format : u"");
    }
    for (const auto& [name, formula] : options_.definitions)
      listener.SetDefinition(name, formula);
  }

  // Fills the columns that are not of numbers.
  void EnterTexts() {
    for (std::size_t i = 0; i < csv_.columns.size(); ++i) {
      NotebookColumn& column = *table_->Columns()[i];
      // What is entered needs no second place in memory.
      const CsvColumn texts = std::exchange(csv_.columns[i], {});
      const TypedMark mark = column.TypedState();
      column.ReserveTexts(texts.Size());
      texts.AllAre([&, row = std::size_t{0}](std::u16string_view text) mutable {
        column.Enter(row++, text, mark, options_.locale);
        return true;
      });
      column.NoteChanges();
    }
  }

  CsvTable csv_;
  const std::string& source_;
  const CsvOptions& options_;
  Notebook notebook_;
  NotebookTable* table_ = nullptr;
  // The column that is being added, read as numbers.
  std::optional<Numbers> numbers_;
};

}  // namespace

Notebook ReadCsvNotebook(std::string utf8, const std::string& source, std::u16string_view name,
                         const CsvOptions& options) {
  CsvReader reader(ParseCsv(utf8, source, options.delimiter), source, options);
  // It may be as large as what is made of it.
  utf8 = {};
  return reader.Read(name);
}

}  // namespace ktnotebook
