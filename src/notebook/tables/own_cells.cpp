#include "notebook/tables/own_cells.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <utility>

#include "notebook/tables/own_objects.h"
#include "notebook/tables/recalculation.h"
#include "values/raised_error.h"

namespace ktnotebook {

using ktformula::CellValue;

namespace {

// A call that lets the engine work, in the host's locale and with the tables as they are now.
class Call {
 public:
  explicit Call(OwnForm& form) : form_(form), locale_(form.OwnLocale()) {
    if (form.is_busy) ktformula::Raise(ktformula::RuntimeError::kInvalidProcedureCall);
    form.Refresh();
    form.is_busy = true;
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call() {
    form_.is_busy = false;
    form_.changes = nullptr;
  }

 private:
  OwnForm& form_;
  ktformula::LocaleScope locale_;
};

[[noreturn]] void Refuse(std::u16string_view description) {
  ktformula::Raise(u"OwnCellsHost", description);
}

std::u16string Quoted(std::u16string_view name) {
  return u"\"" + std::u16string(name) + u"\"";
}

OwnTableObject& Need(const OwnForm& form, std::u16string_view table) {
  OwnTableObject* const found = form.FindTable(table);
  if (found == nullptr) Refuse(u"there is no table " + Quoted(table));
  return *found;
}

OwnColumnObject& NeedColumn(OwnTableObject& table, std::size_t column) {
  if (column >= table.Columns().size()) {
    Refuse(u"table " + Quoted(table.Name()) + u" has no column of this index");
  }
  return *table.Columns()[column];
}

Ref<ktformula::TableCell> NeedCell(const OwnForm& form, const OwnPlace& place) {
  OwnTableObject& table = Need(form, place.table);
  OwnColumnObject& column = NeedColumn(table, place.column);
  if (place.row >= table.Rows()) {
    Refuse(u"table " + Quoted(table.Name()) + u" has no row of this index");
  }
  return column.ObjectAt(place.row);
}

OwnPlace Public(const OwnCellPlace& place) {
  return {place.table->Name(), place.row, place.column};
}

std::vector<OwnPlace> Public(const std::vector<OwnCellPlace>& places) {
  std::vector<OwnPlace> result;
  std::set<OwnCellPlace> seen;
  for (const OwnCellPlace& place : places) {
    if (seen.insert(place).second) result.push_back(Public(place));
  }
  return result;
}

// "Reactants:Mass:A".
std::u16string NameOfCell(const ktformula::TableCell& cell) {
  const OwnCellPlace place = PlaceOfCell(cell);
  return place.table->Name() + u":" + place.table->Columns()[place.column]->Definition().name +
         u":" + place.table->IdOf(place.row);
}

ktformula::WatchedForm Watch(const OwnForm& form) {
  ktformula::WatchedForm watched;
  watched.units = Ref<ktformula::UnitCatalogue>(&form.Units());
  watched.name_of_cell = &NameOfCell;
  for (const Ref<OwnTableObject>& table : form.Tables())
    watched.tables.push_back({table->Name(), table, {table->Listener()}});
  if (!form.Tables().empty()) watched.owner = OwnerOf(*form.Tables().front());
  for (const auto& [name, object] : form.Fields()) {
    if (form.FindTable(name) == nullptr) watched.other_fields.push_back(name);
  }
  return watched;
}

std::uint64_t FormulaCells(const std::vector<Ref<OwnTableObject>>& tables) {
  std::uint64_t cells = 0;
  for (const Ref<OwnTableObject>& table : tables)
    cells += table->FormulaCells();
  return cells;
}

}  // namespace

std::u16string OwnTable::Text(std::size_t row, std::size_t column) const {
  const OwnNumbers numbers = Numbers(row, column);
  return std::isfinite(numbers.min) ? ktformula::NumberToText(numbers.min) : std::u16string();
}

OwnCellsHost::OwnCellsHost(std::span<const ktformula::FunctionClass> functions,
                           const ktformula::Locale& locale)
    : form_(ktformula::MakeRef<OwnForm>(functions, locale)) {}

OwnCellsHost::~OwnCellsHost() {
  form_->End();
}

void OwnCellsHost::Add(std::u16string_view name, OwnTable& table) {
  if (!form_->AddTable(name, table)) Refuse(u"the name " + Quoted(name) + u" is in use");
}

void OwnCellsHost::AddField(std::u16string_view name,
                            ktformula::Ref<ktformula::NotebookObject> object) {
  if (!form_->AddField(name, std::move(object))) {
    Refuse(u"the name " + Quoted(name) + u" is in use");
  }
}

void OwnCellsHost::SetFormula(std::u16string_view table, std::u16string_view column,
                              std::u16string_view formula, std::u16string_view format) {
  OwnTableObject& object = Need(*form_, table);
  object.RefreshColumns();
  const OwnColumnObject* const found = object.FindColumn(column);
  if (found == nullptr) Refuse(u"table " + Quoted(table) + u" has no column " + Quoted(column));
  object.Listener()->SetPropertyFormula(found->Key(), formula, format);
}

void OwnCellsHost::SetDefinition(std::u16string_view table, std::u16string_view name,
                                 std::u16string_view formula) {
  Listener(table).SetDefinition(name, formula);
}

ktformula::IKtFormulaListener& OwnCellsHost::Listener(std::u16string_view table) {
  return *Need(*form_, table).Listener();
}

OwnRecalculation OwnCellsHost::Recalculate(int maximum_rounds, std::u16string_view first) {
  const OwnTableObject* const first_table = first.empty() ? nullptr : &Need(*form_, first);
  const Call call(*form_);
  std::vector<Ref<OwnTableObject>> tables = form_->Tables();
  std::stable_partition(tables.begin(), tables.end(),
                        [&](const auto& table) { return table.get() == first_table; });
  const int limit = maximum_rounds > 0 ? maximum_rounds : RoundLimit(FormulaCells(tables));
  const auto source = MakeNotification(*form_);
  OwnRecalculation result;
  std::vector<OwnCellPlace> changed;
  form_->changes = &changed;
  std::size_t before = 0;
  while (result.rounds < limit && !result.settled) {
    before = changed.size();
    for (const Ref<OwnTableObject>& table : tables)
      table->Listener()->TableNotification(*source, nullptr);
    ++result.rounds;
    result.settled = changed.size() == before;
  }
  result.changed = Public(changed);
  changed.erase(changed.begin(), changed.begin() + static_cast<std::ptrdiff_t>(before));
  result.unsettled = Public(changed);
  return result;
}

CellValue OwnCellsHost::Evaluate(const OwnPlace& place, std::u16string_view formula) {
  const Call call(*form_);
  CellValue value;
  Listener(place.table).EvaluateInCell(formula, *NeedCell(*form_, place), value);
  return value;
}

CellContent OwnCellsHost::ReadTyped(std::u16string_view table, std::size_t column,
                                    std::u16string_view typed) {
  OwnTableObject& object = Need(*form_, table);
  object.RefreshColumns();
  const PropertyDefinition& definition = NeedColumn(object, column).Definition();
  const ktformula::Locale& locale = form_->OwnLocale();
  TypedTexts texts(definition, form_->Units(), locale, locale);
  const ContentView content = texts.ReadTyped(typed);
  return {std::u16string(content.text), content.min, content.max, std::u16string(content.unit)};
}

std::vector<ktformula::Problem> OwnCellsHost::Check(const OwnRecalculation& last) {
  const Call call(*form_);
  std::vector<Ref<ktformula::TableCell>> unsettled;
  for (const OwnPlace& place : last.unsettled)
    unsettled.push_back(NeedCell(*form_, place));
  return FindProblems(Watch(*form_), unsettled);
}

ktformula::Explanation OwnCellsHost::Explain(const OwnPlace& place, int depth) {
  const Call call(*form_);
  return ExplainCell(Watch(*form_), *NeedCell(*form_, place), depth);
}

ktformula::WatchedForm OwnCellsHost::Watched() {
  form_->Refresh();
  return Watch(*form_);
}

Ref<ktformula::TableCell> OwnCellsHost::Cell(const OwnPlace& place) {
  form_->Refresh();
  return NeedCell(*form_, place);
}

OwnPlace OwnCellsHost::PlaceOf(const ktformula::TableCell& cell) const {
  return Public(PlaceOfCell(cell));
}

}  // namespace ktnotebook
