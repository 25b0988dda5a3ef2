// Writing of CSV files.
#include <algorithm>
#include <cmath>

#include "notebook/files/csv_file.h"
#include "notebook/files/csv_numbers.h"
#include "notebook/files/utf.h"
#include "values/number_text.h"

namespace ktnotebook {

namespace {

// Appends fields and records to a text.
class CsvText {
 public:
  explicit CsvText(const CsvStyle& style) : style_(style) {}

  // What other programs put between fields is in quotes here: who reads the text may look for it.
  void AppendHeader(std::u16string_view text) {
    const bool is_quoted = std::any_of(text.begin(), text.end(), [](char16_t unit) {
      return unit < 0x80 &&
             kUsualDelimiters.find(static_cast<char>(unit)) != std::string_view::npos;
    });
    BeginField();
    const std::u16string safe = IsTakenForFormula(text) ? Safe(text) : std::u16string(text);
    is_quoted ? AppendQuoted(safe) : AppendText(safe);
  }

  // `is_number` is asked only where it matters.
  template <typename IsNumber>
  void AppendField(std::u16string_view text, IsNumber is_number) {
    BeginField();
    if (IsTakenForFormula(text) && !is_number()) {
      AppendText(Safe(text));
    } else {
      AppendText(text);
    }
  }

  void EndRecord() {
    // An empty line would be no record.
    if (csv_.empty() || csv_.ends_with('\n')) csv_ += "\"\"";
    csv_ += "\r\n";
    fields_ = 0;
  }

  std::string& Text() noexcept { return csv_; }

 private:
  void BeginField() {
    if (fields_++ > 0) csv_ += style_.delimiter;
  }

  bool IsTakenForFormula(std::u16string_view text) const {
    constexpr std::u16string_view kBeginnings = u"=+-@\t\r";
    return style_.is_spreadsheet_safe && !text.empty() &&
           kBeginnings.find(text[0]) != std::u16string_view::npos;
  }

  static std::u16string Safe(std::u16string_view text) { return u"'" + std::u16string(text); }

  bool IsSpecial(char16_t unit) const {
    return unit == static_cast<char16_t>(style_.delimiter) || unit == u'"' || unit == u'\r' ||
           unit == u'\n';
  }

  // Appends what most texts are, ASCII without special characters, in one go; any other leaves the
  // CSV text as it was.
  bool AppendPlainText(std::u16string_view text) {
    const std::size_t begin = csv_.size();
    csv_.resize(begin + text.size());
    bool is_plain = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
      is_plain = is_plain && text[i] < 0x80 && !IsSpecial(text[i]);
      csv_[begin + i] = static_cast<char>(text[i]);
    }
    if (!is_plain) csv_.resize(begin);
    return is_plain;
  }

  // In quotes, whatever is in it.
  void AppendQuoted(std::u16string_view text) {
    csv_ += '"';
    for (const char character : ToUtf8(text)) {
      if (character == '"') csv_ += '"';
      csv_ += character;
    }
    csv_ += '"';
  }

  void AppendText(std::u16string_view text) {
    if (AppendPlainText(text)) return;
    constexpr char16_t kMark = u'\uFEFF';
    const bool is_special =
        std::any_of(text.begin(), text.end(), [this](char16_t unit) { return IsSpecial(unit); });
    // A byte order mark is a field's own only in quotes.
    if (is_special || text.starts_with(kMark)) {
      AppendQuoted(text);
    } else {
      csv_ += ToUtf8(text);
    }
  }

  const CsvStyle& style_;
  std::string csv_;
  // Of the record that is under way.
  std::size_t fields_ = 0;
};

std::u16string HeaderOf(const PropertyDefinition& definition) {
  if (definition.unit == nullptr) return definition.name;
  return definition.name + u" (" + definition.unit->UnitText() + u")";
}

// The text of a number in base units, in the column's unit instead, which its header names; with
// its own unit where it would read back as another number.
std::u16string InUnitOf(const NotebookCell& cell, std::u16string_view base_unit) {
  const NotebookUnit& unit = *cell.Definition().unit;
  const double number = cell.MinNumber();
  if (number == cell.MaxNumber()) {
    std::u16string text = ktformula::NumberToText(unit.FromBase(number));
    const auto read = ParseNumberText(text, &unit, cell.OwningColumn().Parent().Parent().Units());
    if (read && read->min == number) return text;
  }
  return cell.Text() + u" " + std::u16string(base_unit);
}

// What the cell shows, as the column's header lets it be read. Typed texts stay as they are. May
// stand in `buffer`.
std::u16string_view TextOf(const NotebookColumn& column, std::size_t row, std::u16string& buffer) {
  const ColumnData& data = column.Data();
  std::u16string_view text = data.Text(row, buffer);
  const NotebookUnit* unit = column.Definition().unit;
  const bool is_computed_number = data.State(row).empty() && !std::isnan(data.MinNumbers()[row]);
  if (unit == nullptr || text.empty() || !is_computed_number) return text;
  if (text.ends_with(u" " + unit->UnitText())) {
    text.remove_suffix(unit->UnitText().size() + 1);
    return text;
  }
  const NotebookCell cell(const_cast<NotebookColumn&>(column), row);
  const std::u16string unwritten = cell.UnwrittenUnit();
  if (unwritten.empty() || unwritten == unit->UnitText()) return text;
  buffer = InUnitOf(cell, unwritten);
  return buffer;
}

// Whether the text reads back as a number.
bool IsNumber(std::u16string_view text, const NotebookColumn& column,
              const ktformula::Locale& locale) {
  const PropertyDefinition& definition = column.Definition();
  return definition.type == DataType::kNumber &&
         ParseCsvNumber(text, definition.unit, column.Parent().Parent().Units(), locale);
}

constexpr std::size_t kFirstRows = 1000;

}  // namespace

std::string WriteCsv(const NotebookTable& table, const CsvStyle& style) {
  const ktformula::LocaleScope kept_in(table.Parent().OwnLocale().separators);
  CsvText csv(style);
  for (const Ref<NotebookColumn>& column : table.Columns())
    csv.AppendHeader(HeaderOf(column->Definition()));
  csv.EndRecord();
  std::u16string buffer;
  std::u16string localized;
  for (const NotebookRow row : table.Rows()) {
    // All the memory at once, as far as the first rows tell.
    if (row.Index() == kFirstRows)
      csv.Text().reserve(csv.Text().size() / kFirstRows * table.Rows().size() * 5 / 4);
    for (const Ref<NotebookColumn>& column : table.Columns()) {
      const std::u16string_view text = column->Localized(
          style.locale, row.Index(), TextOf(*column, row.Index(), buffer), localized);
      csv.AppendField(text, [&] { return IsNumber(text, *column, style.locale); });
    }
    csv.EndRecord();
  }
  return std::move(csv.Text());
}

}  // namespace ktnotebook
