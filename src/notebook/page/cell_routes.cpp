// Cells: typing into one and into blocks of them, and finding texts.
#include <algorithm>
#include <array>
#include <utf8proc.h>

#include "notebook/commands/address.h"
#include "notebook/commands/typing.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/page/api_routes.h"
#include "notebook/tables/shown_text.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

// More would keep everybody waiting.
constexpr std::size_t kMostBlockCells = 1'000'000;
// Each new row among others moves all behind it.
constexpr std::size_t kMostInsertedRows = 1'000;

// Texts that the history shows are cut.
std::u16string Brief(std::u16string_view text) {
  constexpr std::size_t kMostUnits = 40;
  if (text.size() <= kMostUnits) return std::u16string(text);
  return std::u16string(text.substr(0, kMostUnits)) + u"…";
}

std::u16string TypingText(std::u16string_view typed, const std::u16string& where) {
  return typed.empty() ? where + u" cleared" : Brief(typed) + u" typed into " + where;
}

// Texts come and go as UTF-8, where some are the same that are not here.
bool IsSame(std::u16string_view left, std::u16string_view right) {
  return left == right || ToUtf8(left) == ToUtf8(right);
}

void RequireTypeable(const NotebookCell& cell, std::u16string_view text,
                     const ktformula::Locale& locale) {
  const auto refusal = WhyNotTyped(cell, text, locale);
  if (!refusal) return;
  Json details{{"cell", ToUtf8(AddressOf(cell))}};
  if (refusal->meant) details["meant"] = ToUtf8(*refusal->meant);
  throw ApiRefusal(422, refusal->reason, details);
}

ApiAnswer PutCell(const ApiCall& call) {
  const std::u16string text = call.Text("text");
  const auto was = call.OptionalText("was");
  Change change(call.Notebook(), call.Address(), call.Client());
  const NotebookCell cell = Found([&] { return FindCell(change.Forms(), call.Address()); });
  NotebookForm& form = cell.OwningColumn().Parent().Parent();
  const ktformula::Locale locale = call.LocaleFor(form);
  const std::u16string present = cell.TextIn(locale);
  if (was && !IsSame(*was, present)) {
    throw ApiRefusal(409, "somebody else has changed this cell", {{"present", ToUtf8(present)}});
  }
  RequireTypeable(cell, text, locale);
  change.Do(form, ChangeKind::kCells, TypingText(text, NameInForm(cell)),
            [&](FormEdits& edits) { edits.SetCell(cell, text, locale); });
  return ChangeAnswer(call, change.Commit(std::array{cell}));
}

using Texts = std::vector<std::vector<std::optional<std::u16string>>>;

// Rows of texts, null where there is none.
Texts TextsOf(const ApiCall& call, const char* field) {
  const Json json = call.Body().value(field, Json::array());
  if (!json.is_array()) throw ApiRefusal(400, std::string("\"") + field + "\" is no array");
  Texts texts;
  std::size_t count = 0;
  for (const Json& row : json) {
    if (!row.is_array()) {
      throw ApiRefusal(400, std::string("\"") + field + "\" is no array of arrays");
    }
    count += row.size();
    texts.emplace_back();
    for (const Json& text : row)
      texts.back().push_back(text.is_null() ? std::nullopt : std::optional(TextOf(text, field)));
  }
  if (count > kMostBlockCells) {
    throw ApiRefusal(413, "a block has at most " + std::to_string(kMostBlockCells) + " cells");
  }
  return texts;
}

// A block of texts for cells of a table.
struct Block {
  NotebookTable& table;
  std::size_t column;
  std::size_t row;
  Texts texts;

  std::size_t Width() const {
    std::size_t width = 0;
    for (const auto& line : texts)
      width = std::max(width, line.size());
    return width;
  }
  std::size_t MissingRows() const {
    const std::size_t end = row + texts.size();
    return end - std::min(end, table.Rows().size());
  }
  NotebookCell CellAt(std::size_t down, std::size_t across) const {
    return {*table.Columns()[column + across], row + down};
  }

  // Calls it with each text, its place in the block, and the cell, which is there already.
  template <typename Visit>
  void ForEach(const Texts& block, Visit visit) const {
    const std::size_t rows = std::min(block.size(), table.Rows().size() - row);
    const std::size_t width = Width();
    for (std::size_t down = 0; down < rows; ++down) {
      for (std::size_t across = 0; across < std::min(block[down].size(), width); ++across) {
        if (block[down][across]) visit(CellAt(down, across), *block[down][across]);
      }
    }
  }
};

Block BlockOf(const ApiCall& call, NotebookTable& table, Texts texts) {
  const std::u16string name = call.Text("column");
  const NotebookColumn* const column = table.FindColumn(name);
  if (column == nullptr) throw ApiRefusal(404, "there is no column \"" + ToUtf8(name) + "\"");
  Block block{table, column->Index(), call.OptionalNumber("row").value_or(0), std::move(texts)};
  if (block.row > table.Rows().size()) throw ApiRefusal(422, "the block begins behind the table");
  if (block.Width() > table.Columns().size() - block.column) {
    throw ApiRefusal(422, "the block has more columns than the table has from here on");
  }
  return block;
}

void RefuseConflicts(const Block& block, const Texts& was, const ktformula::Locale& locale) {
  Json conflicts = Json::array();
  block.ForEach(was, [&](const NotebookCell& cell, const std::u16string& text) {
    const std::u16string present = cell.TextIn(locale);
    if (IsSame(text, present)) return;
    conflicts.push_back({{"cell", ToUtf8(AddressOf(cell))}, {"present", ToUtf8(present)}});
  });
  if (conflicts.empty()) return;
  throw ApiRefusal(409, "somebody else has changed cells of this block",
                   {{"conflicts", conflicts}});
}

// Ids that no row has, for so many.
std::vector<std::u16string> FreeIds(const NotebookTable& table, std::size_t count) {
  std::vector<std::u16string> ids;
  for (auto number = static_cast<std::int64_t>(table.Rows().size()) + 1; ids.size() < count;
       ++number) {
    std::u16string id = ktformula::ToDecimalText(number);
    if (!table.HasRow(id)) ids.push_back(std::move(id));
  }
  return ids;
}

void AppendRows(FormEdits& edits, NotebookTable& table, std::size_t count) {
  if (FormEdits::CanAppendRows(table, count)) {
    edits.AppendRows(table, count);
  } else {
    edits.AppendRows(table, FreeIds(table, count));
  }
}

std::u16string CountText(std::size_t count, std::u16string_view one, std::u16string_view many) {
  return ktformula::ToDecimalText(static_cast<std::int64_t>(count)) + u" " +
         std::u16string(count == 1 ? one : many);
}

ApiAnswer PutBlock(const ApiCall& call) {
  // Nobody waits while they are read.
  Texts texts = TextsOf(call, "texts");
  const Texts was = TextsOf(call, "was");
  Change change(call.Notebook(), call.Address(), call.Client());
  NotebookTable& table =
      Found([&]() -> NotebookTable& { return FindTable(change.Forms(), call.Address()); });
  const Block block = BlockOf(call, table, std::move(texts));
  const ktformula::Locale locale = call.LocaleFor(table.Parent());
  RefuseConflicts(block, was, locale);
  const std::size_t missing = block.MissingRows();
  std::vector<NotebookCell> set;
  const auto type_all = [&](FormEdits& edits) {
    if (missing > 0) AppendRows(edits, table, missing);
    block.ForEach(block.texts, [&](const NotebookCell& cell, const std::u16string& text) {
      RequireTypeable(cell, text, locale);
      edits.SetCell(cell, text, locale);
      set.push_back(cell);
    });
    if (missing == 0 && set.empty()) throw ApiRefusal(400, "the block has no texts");
  };
  change.Do(table.Parent(), missing > 0 ? ChangeKind::kStructure : ChangeKind::kCells,
            u"a block of " + CountText(block.texts.size(), u"row", u"rows") + u" typed into " +
                table.Name(),
            type_all);
  return ChangeAnswer(call, change.Commit(set));
}

ApiAnswer AddRows(const ApiCall& call) {
  const std::size_t count = call.OptionalNumber("count").value_or(1);
  Change change(call.Notebook(), call.Address(), call.Client());
  NotebookTable& table =
      Found([&]() -> NotebookTable& { return FindTable(change.Forms(), call.Address()); });
  const std::size_t rows = table.Rows().size();
  const std::size_t at = std::min(call.OptionalNumber("at").value_or(rows), rows);
  if (count == 0 || count > (at == rows ? kMostBlockCells : kMostInsertedRows)) {
    throw ApiRefusal(422, "so many rows can not be added at once");
  }
  const auto add = [&](FormEdits& edits) {
    if (at == rows) return AppendRows(edits, table, count);
    std::size_t place = at;
    for (const std::u16string& id : FreeIds(table, count))
      edits.AddRow(table, id, {}, place++);
  };
  change.Do(table.Parent(), ChangeKind::kStructure,
            CountText(count, u"row", u"rows") + u" added to " + table.Name(), add);
  const Change::Result result = change.Commit();
  Json ids = Json::array();
  for (std::size_t row = at; row < at + count; ++row)
    ids.push_back(ToUtf8(table.IdOf(row)));
  return ChangeAnswer(call, result, {{"ids", ids}});
}

std::u16string Folded(std::u16string_view text) {
  std::u16string folded(text);
  for (char16_t& unit : folded) {
    const utf8proc_int32_t lower = utf8proc_tolower(unit);
    if (lower <= 0xFFFF) unit = static_cast<char16_t>(lower);
  }
  return folded;
}

// The cells of a form in reading order, round and round.
class CellRing {
 public:
  explicit CellRing(const NotebookForm& form) : tables_(form.Tables()) {
    for (const NotebookTable* table : tables_)
      count_ += CellsIn(*table);
  }

  std::size_t Count() const { return count_; }

  NotebookCell At(std::size_t index) const {
    for (const NotebookTable* table : tables_) {
      if (index < CellsIn(*table)) {
        const std::size_t width = table->Columns().size();
        return {*table->Columns()[index % width], index / width};
      }
      index -= CellsIn(*table);
    }
    throw std::logic_error("a cell behind the last");
  }

  std::size_t IndexOf(const NotebookTable& table, std::size_t row, std::size_t column) const {
    std::size_t index = 0;
    for (const NotebookTable* each : tables_) {
      if (each == &table) break;
      index += CellsIn(*each);
    }
    return index + row * table.Columns().size() + column;
  }

 private:
  static std::size_t CellsIn(const NotebookTable& table) {
    return table.Rows().size() * table.Columns().size();
  }

  std::vector<NotebookTable*> tables_;
  std::size_t count_ = 0;
};

// Where the search begins: at the cell that the request names, else in front of the first.
std::optional<std::size_t> StartOf(const ApiCall& call, const NotebookForm& form,
                                   const CellRing& ring) {
  const NotebookTable* const table = form.FindTable(call.Query("table"));
  if (table == nullptr) return std::nullopt;
  const NotebookColumn* const column = table->FindColumn(call.Query("column"));
  const std::size_t row = call.QueryNumber("row", 0, SIZE_MAX);
  if (column == nullptr || row >= table->Rows().size()) return std::nullopt;
  return ring.IndexOf(*table, row, column->Index());
}

std::optional<NotebookCell> FindText(const CellRing& ring, std::optional<std::size_t> start,
                                     bool is_backwards, std::u16string_view text,
                                     const ktformula::Locale& locale) {
  const std::size_t count = ring.Count();
  const std::u16string wanted = Folded(text);
  const std::size_t first = start.value_or(is_backwards ? 0 : count - 1);
  for (std::size_t step = 1; step <= count; ++step) {
    const std::size_t distance = is_backwards ? count - step : step;
    const NotebookCell cell = ring.At((first + distance) % count);
    if (Folded(cell.TextIn(locale)).find(wanted) != std::u16string::npos) return cell;
  }
  return std::nullopt;
}

ApiAnswer FindCellWithText(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  const NotebookForm& form = FormAt(reading.Forms(), call);
  const CellRing ring(form);
  const std::u16string text = call.Query("text");
  if (text.empty()) throw ApiRefusal(400, "there is no text to find");
  const auto cell = FindText(ring, StartOf(call, form, ring), call.HasQuery("backwards"), text,
                             call.LocaleFor(form));
  if (!cell) return JsonAnswer({{"cell", nullptr}});
  return JsonAnswer({{"cell", ToUtf8(AddressOf(*cell))},
                     {"table", ToUtf8(cell->OwningRow().Parent().Name())},
                     {"column", ToUtf8(cell->Definition().name)},
                     {"row", ToUtf8(cell->OwningRow().ID())},
                     {"index", cell->RowIndex()}});
}

constexpr std::array kRoutes{
    ApiRoute{"PUT", "cells/", &PutCell},
    ApiRoute{"POST", "blocks/", &PutBlock},
    ApiRoute{"POST", "rows/", &AddRows},
    ApiRoute{"GET", "find/", &FindCellWithText},
};

}  // namespace

std::span<const ApiRoute> CellRoutes() {
  return kRoutes;
}

}  // namespace ktnotebook
