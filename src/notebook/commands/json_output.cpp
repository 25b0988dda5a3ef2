#include "notebook/commands/json_output.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>
#include <span>
#include <string_view>

#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

using Json = nlohmann::ordered_json;

// JSON may stand in a terminal: active characters, which occur in its strings alone, are escaped.
std::string Dump(const Json& json) {
  std::string text = json.dump();
  // Among the printable characters of ASCII there is nothing active.
  const bool is_plain =
      std::all_of(text.begin(), text.end(), [](char byte) { return byte >= ' ' && byte < '\x7F'; });
  if (is_plain) return text;
  std::u16string escaped;
  for (const char16_t unit : FromStoredUtf8(text)) {
    if (IsActive(unit)) {
      escaped += Escape(unit);
    } else {
      escaped.push_back(unit);
    }
  }
  return ToUtf8(escaped);
}

Json ErrorJson(std::int32_t number, std::u16string_view source, std::u16string_view description) {
  return {{"number", number}, {"source", ToUtf8(source)}, {"description", ToUtf8(description)}};
}

Json TokenJson(const ktformula::FormulaToken& token) {
  return {{"type", static_cast<int>(token.TokenType)}, {"text", ToUtf8(token.TokenText)}};
}

Json LayerJson(const ktformula::TokenLayer& layer) {
  Json items = Json::array();
  for (std::size_t i = 0; i < layer.Count(); ++i) {
    const ktformula::LayerItem item = layer.Item(i);
    items.push_back(item.IsLayer() ? LayerJson(item.Layer()) : TokenJson(item.Token()));
  }
  return items;
}

std::string Quoted(std::u16string_view text) {
  return Dump(Json(ToUtf8(text)));
}

std::string RangeJson(std::string_view kind, double min, double max) {
  return "{\"kind\":\"" + std::string(kind) + "\",\"min\":" + NumberJson(min) +
         ",\"max\":" + NumberJson(max) + "}";
}

// A list in JSON that grows while it is written.
class ListWriter {
 public:
  explicit ListWriter(std::ostream& out) : out_(out) {}
  std::ostream& Next() {
    out_ << separator_;
    separator_ = ",";
    return out_;
  }

 private:
  std::ostream& out_;
  const char* separator_ = "";
};

Json NamesJson(const std::vector<std::u16string>& names) {
  Json json = Json::array();
  for (const std::u16string& name : names)
    json.push_back(ToUtf8(name));
  return json;
}

// Writes a row with these of its cells.
void WriteRow(const NotebookRow& row, std::span<const NotebookCell> cells, const JsonReader& reader,
              std::ostream& out) {
  out << "{\"id\":" << Quoted(row.ID()) << ",\"cells\":{";
  ListWriter list(out);
  for (const NotebookCell& cell : cells)
    list.Next() << Quoted(cell.Definition().name) << ':' << CellJson(cell, reader);
  out << "}}";
}

// Writes a table with the rows that `write_rows` writes to a list.
template <typename WriteRows>
void WriteTable(const NotebookTable& table, WriteRows write_rows, std::ostream& out) {
  std::vector<std::u16string> columns;
  for (const Ref<NotebookColumn>& column : table.Columns())
    columns.push_back(column->Definition().name);
  out << "{\"name\":" << Quoted(table.Name()) << ",\"columns\":" << Dump(NamesJson(columns))
      << ",\"rows\":[";
  write_rows(ListWriter(out));
  out << "]}";
}

void WriteRows(const NotebookTable& table, std::size_t first, std::size_t count,
               const JsonReader& reader, ListWriter list) {
  std::vector<NotebookCell> cells;
  for (std::size_t index = first; index < first + count; ++index) {
    const NotebookRow row = table.Rows()[index];
    cells.clear();
    for (const Ref<NotebookColumn>& column : table.Columns())
      cells.push_back(row.CellAt(column->Index()));
    WriteRow(row, cells, reader, list.Next());
  }
}

// How many of the cells, from the first on, lie in the same place as the first; at least one.
template <typename PlaceOf>
std::size_t CountTogether(std::span<const NotebookCell> cells, PlaceOf place_of) {
  const auto end = std::find_if(cells.begin(), cells.end(), [&](const NotebookCell& cell) {
    return place_of(cell) != place_of(cells.front());
  });
  return static_cast<std::size_t>(end - cells.begin());
}

void WriteRowsOf(std::span<const NotebookCell> cells, const JsonReader& reader, ListWriter list) {
  while (!cells.empty()) {
    const std::size_t count = CountTogether(cells, std::mem_fn(&NotebookCell::RowIndex));
    WriteRow(cells.front().OwningRow(), cells.first(count), reader, list.Next());
    cells = cells.subspan(count);
  }
}

void WriteTablesOf(std::span<const NotebookCell> cells, const JsonReader& reader, ListWriter list) {
  while (!cells.empty()) {
    const auto table_of = [](const NotebookCell& cell) { return &cell.OwningColumn().Parent(); };
    const std::size_t count = CountTogether(cells, table_of);
    const auto rows = [&](ListWriter rows_list) {
      WriteRowsOf(cells.first(count), reader, rows_list);
    };
    WriteTable(*table_of(cells.front()), rows, list.Next());
    cells = cells.subspan(count);
  }
}

void WriteTables(const NotebookForm& form, const JsonReader& reader, ListWriter list) {
  for (const NotebookTable* table : form.Tables()) {
    const auto rows = [&](ListWriter rows_list) {
      WriteRows(*table, 0, table->Rows().size(), reader, rows_list);
    };
    WriteTable(*table, rows, list.Next());
  }
}

// Writes a form with the tables that `write_tables` writes to a list.
template <typename WriteTablesTo>
void WriteForm(const NotebookForm& form, const RecalculationResult* result,
               WriteTablesTo write_tables, std::ostream& out) {
  out << "{\"name\":" << Quoted(form.Name());
  if (result != nullptr) {
    out << ",\"settled\":" << (result->settled ? "true" : "false")
        << ",\"rounds\":" << result->rounds;
  }
  out << ",\"tables\":[";
  write_tables(ListWriter(out));
  out << "]}";
}

Json OptionalJson(const std::optional<std::u16string>& text) {
  return text ? Json(ToUtf8(*text)) : Json();
}
Json OptionalJson(const std::optional<std::size_t>& number) {
  return number ? Json(*number) : Json();
}
// No text is null.
Json TextOrNull(const std::u16string& text) {
  return text.empty() ? Json() : Json(ToUtf8(text));
}

// In how many rows a problem shows; null for all of its table.
Json RowsJson(const ktformula::Problem& problem) {
  const bool is_all = problem.rows && problem.table &&
                      *problem.rows >= static_cast<std::size_t>(problem.table->RowCount());
  return is_all ? Json() : OptionalJson(problem.rows);
}

Json MendJson(const ktformula::Mend& mend) {
  return {{"start", mend.place.start}, {"length", mend.place.length}, {"text", ToUtf8(mend.text)}};
}

Json ProblemJson(const ktformula::Problem& problem, const NotebookForm& form) {
  const auto* const table = static_cast<const NotebookTable*>(problem.table.get());
  const auto& place = problem.place;
  return {{"code", ToUtf8(ktformula::KindOf(problem.code).text)},
          {"severity", ToUtf8(ktformula::SeverityText(problem.severity))},
          {"form", ToUtf8(form.Name())},
          {"table", table != nullptr ? Json(ToUtf8(table->Name())) : Json()},
          {"column", problem.column ? Json(ToUtf8(problem.column->Property()->Name())) : Json()},
          {"row", OptionalJson(RowIdOf(problem))},
          {"definition", OptionalJson(problem.definition)},
          {"formula", TextOrNull(problem.formula)},
          {"start", place ? Json(place->start) : Json()},
          {"length", place ? Json(place->length) : Json()},
          {"message", ToUtf8(problem.message)},
          {"help", TextOrNull(problem.help)},
          {"rows", RowsJson(problem)}};
}

}  // namespace

// The library's own are not always the shortest.
std::string NumberJson(double number) {
  if (!std::isfinite(number)) return "null";
  const double size = std::abs(number);
  const bool is_plain = size == 0 || (size >= 1e-4 && size < 1e15);
  std::array<char, 32> buffer{};
  const auto written =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), number,
                    is_plain ? std::chars_format::fixed : std::chars_format::scientific);
  std::string text(buffer.data(), written.ptr);
  if (is_plain && text.find('.') == std::string::npos) text += ".0";
  return text;
}

std::u16string TextFor(const JsonReader& reader, const NotebookCell& cell) {
  return reader.locale ? cell.TextIn(*reader.locale) : cell.Text();
}

std::string CellJson(const NotebookCell& cell, const JsonReader& reader) {
  const CellContent content = cell.Content();
  const std::u16string text = reader.locale ? cell.TextIn(*reader.locale) : content.text;
  return "{\"text\":" + Quoted(text) + ",\"state\":" + Quoted(cell.State()) +
         ",\"min\":" + NumberJson(content.min) + ",\"max\":" + NumberJson(content.max) +
         ",\"unit\":" + Quoted(content.unit) + "}";
}

std::string TextJson(std::u16string_view text) {
  return Quoted(text);
}

std::string ValueJson(const ktformula::CellValue& value) {
  Json json;
  switch (value.CellValueType()) {
    case ktformula::kCellValueTypeNumber:
      return RangeJson("number", value.MinNumber(), value.MaxNumber());
    case ktformula::kCellValueTypeDate: return RangeJson("date", value.MinDate(), value.MaxDate());
    case ktformula::kCellValueTypeString:
      json = {{"kind", "string"}, {"text", ToUtf8(value.Text())}};
      break;
    case ktformula::kCellValueTypeBoolean:
      json = {{"kind", "boolean"}, {"value", value.BooleanValue()}};
      break;
    case ktformula::kCellValueTypeStructure:
      json = {{"kind", "structure"}, {"mvr", ToUtf8(value.MvrStructure())}};
      break;
    case ktformula::kCellValueTypeError:
      json = {{"kind", "error"}};
      json.update(ErrorJson(value.ErrorNumber(), value.ErrorSource(), value.ErrorDescription()));
      break;
    default: json = {{"kind", "unknown"}};
  }
  return Dump(json);
}

std::string RaisedJson(const ktformula::RaisedError& error) {
  return Dump({{"raised", ErrorJson(error.Number(), error.Source(), error.Description())}});
}

std::string TokensJson(const std::vector<ktformula::FormulaToken>& tokens) {
  Json json = Json::array();
  for (const ktformula::FormulaToken& token : tokens)
    json.push_back(TokenJson(token));
  return Dump(json);
}

std::string TreeJson(const ktformula::TokenLayer& layer) {
  return Dump(LayerJson(layer));
}

void WriteFormsJson(const std::vector<FormReport>& forms, std::ostream& out,
                    const std::vector<FormProblems>& problems, const JsonReader& reader) {
  out << "{\"forms\":[";
  ListWriter list(out);
  for (const FormReport& report : forms) {
    const auto tables = [&](ListWriter tables_list) {
      if (report.changed) {
        WriteTablesOf(*report.changed, reader, tables_list);
      } else {
        WriteTables(*report.form, reader, tables_list);
      }
    };
    WriteForm(*report.form, report.result ? &*report.result : nullptr, tables, list.Next());
  }
  out << "]";
  if (CountProblems(problems) > 0) out << ",\"problems\":" << ProblemListJson(problems, reader);
  out << "}\n";
}

void WriteRowsJson(const NotebookTable& table, std::size_t first, std::size_t count,
                   std::ostream& out, const JsonReader& reader) {
  out << '[';
  WriteRows(table, first, count, reader, ListWriter(out));
  out << ']';
}

std::string ProblemListJson(const std::vector<FormProblems>& forms, const JsonReader& reader) {
  Json list = Json::array();
  for (const FormProblems& form : forms) {
    for (const ktformula::Problem& problem : form.problems) {
      list.push_back(ProblemJson(problem, *form.form));
      if (reader.wants_mends && problem.mend) list.back()["mend"] = MendJson(*problem.mend);
    }
  }
  return Dump(list);
}

std::string StoredRecalculationJson(const StoredRecalculationReport& report, std::int64_t forms,
                                    std::int64_t current) {
  Json recalculated = Json::array();
  for (const auto& [name, settled, rounds] : report.recalculated)
    recalculated.push_back({{"name", ToUtf8(name)}, {"settled", settled}, {"rounds", rounds}});
  Json failed = Json::array();
  for (const auto& [name, reason] : report.failed)
    failed.push_back({{"name", ToUtf8(name)}, {"reason", reason}});
  Json json = {
      {"recalculated", recalculated}, {"failed", failed}, {"forms", forms}, {"current", current}};
  if (!report.problems.empty()) {
    Json& all = json["problems"] = Json::array();
    for (const std::string& list : report.problems) {
      for (Json& problem : Json::parse(list))
        all.push_back(std::move(problem));
    }
  }
  return Dump(json);
}

std::string FunctionsJson(const std::vector<const ktformula::FunctionRow*>& functions) {
  Json json = Json::array();
  for (const ktformula::FunctionRow* function : functions) {
    const auto& [summary, forms, errors, examples] = function->help;
    Json form_list = Json::array();
    for (const ktformula::FunctionForm& form : forms)
      form_list.push_back({{"syntax", form.syntax}, {"meaning", form.meaning}});
    Json example_list = Json::array();
    for (const ktformula::FunctionExample& example : examples)
      example_list.push_back({{"formula", example.formula}, {"shows", example.shows}});
    json.push_back({{"name", ToUtf8(function->name)},
                    {"summary", summary},
                    {"forms", form_list},
                    {"errors", errors},
                    {"examples", example_list}});
  }
  return Dump(json);
}

std::string NameListJson(const std::vector<std::u16string>& names) {
  return Dump(NamesJson(names));
}

std::string TextsJson(const std::vector<TextField>& fields) {
  Json json = Json::object();
  for (const auto& [name, text] : fields)
    json[std::string(name)] = text ? Json(ToUtf8(*text)) : Json();
  return Dump(json);
}

}  // namespace ktnotebook
