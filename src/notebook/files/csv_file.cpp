#include "notebook/files/csv_file.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <unordered_set>
#include <utility>

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

struct Header {
  std::u16string name;
  const NotebookUnit* unit = nullptr;
};

// "Mass (g)" is Mass in g when the catalogue knows the unit.
Header SplitHeader(std::u16string_view header, const NotebookUnitCatalogue& units) {
  const std::size_t open = header.rfind(u'(');
  if (open != std::u16string_view::npos && header.ends_with(u')')) {
    const std::u16string_view name = ktformula::TrimBlanks(header.substr(0, open));
    const std::u16string_view unit_text = header.substr(open + 1, header.size() - open - 2);
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
  [[noreturn]] void Refuse(const std::string& reason) const {
    throw NotebookError(source_ + ": " + reason);
  }
  static std::string Quoted(std::u16string_view text) { return "\"" + ToUtf8(text) + "\""; }

  const NotebookUnitCatalogue& Units() const { return *notebook_.framework->OwnUnits(); }

  // Whether all texts of the column are of the kind; of an empty column all are.
  template <typename Test>
  static bool AllAre(const CsvColumn& column, Test test) {
    return column.AllAre([&](std::u16string_view text) { return text.empty() || test(text); });
  }

  // Whether all texts of the column are numbers in the unit; then they are kept.
  bool AreNumbers(const CsvColumn& column, const NotebookUnit* unit) {
    PropertyDefinition definition;
    definition.type = DataType::kNumber;
    definition.unit = unit;
    TypedTexts typed(definition, Units(), notebook_.locale.separators, options_.locale);
    ColumnData data;
    data.Append(csv_.rows);
    data.ReserveTexts(column.Size());
    const bool are_numbers =
        column.AllAre([&, row = std::size_t{0}](std::u16string_view text) mutable {
          typed.Enter(text, kQuantityMark, data, row);
          // Blanks are typed as nothing, and are no number.
          const bool is_number = data.IsMarked(row) && !std::isnan(data.MinNumbers()[row]);
          ++row;
          return text.empty() || is_number;
        });
    if (are_numbers) numbers_ = {std::move(data), unit};
    return are_numbers;
  }

  // Whether the column goes by the name without the unit: all its texts are numbers in that unit,
  // or the options name it so.
  bool IsQuantity(const std::u16string& header, const Header& split, const CsvColumn& column) {
    if (FindSetting(options_.types, header) != nullptr) return false;
    if (FindSetting(options_.types, split.name) != nullptr) return true;
    if (AreNumbers(column, split.unit)) return true;
    notebook_.notes.push_back("the column " + Quoted(header) +
                              " holds texts that are no numbers and is taken as text; --type '" +
                              ToUtf8(split.name) + "=number' takes it as numbers");
    return false;
  }

  DataType TypeOf(const CsvColumn& column) {
    if (AreNumbers(column, nullptr)) return DataType::kNumber;
    if (AllAre(column, IsTruthWord)) return DataType::kBoolean;
    const auto is_date = [](std::u16string_view text) {
      return ktformula::DateValue(text).has_value();
    };
    return AllAre(column, is_date) ? DataType::kDate : DataType::kString;
  }

  void AddFileColumn(const std::u16string& header, CsvColumn& column) {
    numbers_.reset();
    if (header.empty()) {
      Refuse("column " + std::to_string(table_->ColumnCount() + 1) + " has no name");
    }
    const Header split = SplitHeader(header, Units());
    PropertyDefinition definition;
    if (split.unit != nullptr && IsQuantity(header, split, column)) {
      definition.name = split.name;
      definition.type = DataType::kNumber;
      definition.unit = split.unit;
      // What is computed into a column of a unit is shown in a unit.
      definition.number_formatting = FindSetting(options_.formulas, split.name) != nullptr;
    } else {
      definition.name = header;
      definition.type = TypeOf(column);
    }
    Add(std::move(definition));
    FillWithNumbers(*table_->Columns().back(), column);
  }

  // Unless the options want something else of the column.
  void FillWithNumbers(NotebookColumn& added, CsvColumn& column) {
    const PropertyDefinition& definition = added.Definition();
    if (!numbers_ || definition.type != DataType::kNumber || definition.unit != numbers_->unit) {
      return;
    }
    added.Adopt(std::move(numbers_->data));
    column = {};
  }

  void AddFormulaColumn(const std::u16string& name) {
    if (table_->FindColumn(name) != nullptr) return;
    const Header split = SplitHeader(name, Units());
    if (split.unit != nullptr && table_->FindColumn(split.name) != nullptr) {
      Refuse("the column " + Quoted(name) + " goes by the name " + Quoted(split.name));
    }
    PropertyDefinition definition;
    definition.name = name;
    definition.type = DataType::kNumber;
    Add(std::move(definition));
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
      Refuse("the column name " + Quoted(name) + " is used twice");
    }
  }

  // Refuses settings of columns that are not there, and two formulas for one column.
  void CheckSettings() const {
    for (const ColumnSettings* settings :
         {&options_.formats, &options_.units, &options_.types, &options_.formulas}) {
      std::unordered_set<std::u16string_view> seen;
      for (const auto& [column, value] : *settings) {
        if (table_->FindColumn(column) == nullptr) {
          Refuse("there is no column " + Quoted(column));
        }
        if (!seen.insert(column).second) {
          Refuse("the column " + Quoted(column) + " is given the same setting twice");
        }
      }
    }
    for (const auto& [column, format] : options_.formats) {
      if (FindSetting(options_.formulas, column) == nullptr) {
        Refuse("a format goes with a formula; " + Quoted(column) + " has none");
      }
    }
  }

  void AddListener() {
    if (options_.formulas.empty()) return;
    ktformula::IKtFormulaListener& listener = notebook_.framework->AddFormulaListener(*table_);
    for (const auto& [column, formula] : options_.formulas) {
      const std::u16string* format = FindSetting(options_.formats, column);
      listener.SetPropertyFormula(table_->FindColumn(column)->Definition().key, formula,
                                  format != nullptr ? *format : u"");
    }
  }

  // Fills the columns that are not filled with numbers.
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

  struct Numbers {
    ColumnData data;
    const NotebookUnit* unit;
  };

  CsvTable csv_;
  const std::string& source_;
  const CsvOptions& options_;
  Notebook notebook_;
  NotebookTable* table_ = nullptr;
  // The texts of the column that is being added, if they are numbers.
  std::optional<Numbers> numbers_;
};

bool IsSpecial(char16_t unit) {
  return unit == u',' || unit == u'"' || unit == u'\r' || unit == u'\n';
}

// Appends what most fields are, ASCII without special characters, in one go; any other text leaves
// the CSV text as it was.
bool AppendPlainField(std::u16string_view text, std::string& csv) {
  const std::size_t begin = csv.size();
  csv.resize(begin + text.size());
  bool is_plain = true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    is_plain = is_plain && text[i] < 0x80 && !IsSpecial(text[i]);
    csv[begin + i] = static_cast<char>(text[i]);
  }
  if (!is_plain) csv.resize(begin);
  return is_plain;
}

void AppendField(std::u16string_view text, std::string& csv) {
  if (AppendPlainField(text, csv)) return;
  constexpr char16_t kMark = u'\uFEFF';
  // A byte order mark is a field's own only in quotes.
  if (std::none_of(text.begin(), text.end(), IsSpecial) && !text.starts_with(kMark)) {
    csv += ToUtf8(text);
    return;
  }
  csv += '"';
  for (const char character : ToUtf8(text)) {
    if (character == '"') csv += '"';
    csv += character;
  }
  csv += '"';
}

std::u16string HeaderOf(const PropertyDefinition& definition) {
  if (definition.unit == nullptr) return definition.name;
  return definition.name + u" (" + definition.unit->UnitText() + u")";
}

// The column's header says the unit of computed numbers already.
std::u16string_view TextOf(const NotebookColumn& column, std::size_t row,
                           const ktformula::Locale& locale, std::u16string& buffer) {
  const ColumnData& data = column.Data();
  std::u16string_view text = column.TextIn(locale, row, buffer);
  const NotebookUnit* unit = column.Definition().unit;
  if (unit == nullptr) return text;
  const bool is_computed_number = data.State(row).empty() && !std::isnan(data.MinNumbers()[row]);
  if (is_computed_number && text.ends_with(u" " + unit->UnitText())) {
    text.remove_suffix(unit->UnitText().size() + 1);
  }
  return text;
}

constexpr std::size_t kFirstRows = 1000;

// One record, from a function that gives the field of a column.
template <typename FieldOf>
void AppendRecord(std::string& csv, const NotebookTable& table, FieldOf field_of) {
  for (const Ref<NotebookColumn>& column : table.Columns()) {
    if (column->Index() != 0) csv += ',';
    AppendField(field_of(*column), csv);
  }
  // An empty line would be no record.
  if (csv.empty() || csv.ends_with('\n')) csv += "\"\"";
  csv += "\r\n";
}

}  // namespace

Notebook ReadCsvNotebook(std::string utf8, const std::string& source, std::u16string_view name,
                         const CsvOptions& options) {
  CsvReader reader(ParseCsv(utf8, source), source, options);
  // It may be as large as what is made of it.
  utf8 = {};
  return reader.Read(name);
}

std::string WriteCsv(const NotebookTable& table, const ktformula::Locale& locale) {
  std::string csv;
  AppendRecord(csv, table,
               [](const NotebookColumn& column) { return HeaderOf(column.Definition()); });
  std::u16string buffer;
  for (const NotebookRow row : table.Rows()) {
    // All the memory at once, as far as the first rows tell.
    if (row.Index() == kFirstRows)
      csv.reserve(csv.size() / kFirstRows * table.Rows().size() * 5 / 4);
    AppendRecord(csv, table, [&](const NotebookColumn& column) {
      return TextOf(column, row.Index(), locale, buffer);
    });
  }
  return csv;
}

}  // namespace ktnotebook
