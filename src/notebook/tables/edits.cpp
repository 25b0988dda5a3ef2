#include "notebook/tables/edits.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <unordered_set>

#include "values/text.h"

namespace ktnotebook {

using ktformula::FormulaText;
using ktformula::IKtFormulaListener;
using ktformula::MakeRef;

namespace {

// Names that occur in a reference more often than this are not looked for any further.
constexpr std::size_t kMostNames = 8;

std::u16string Quoted(std::u16string_view name) {
  return u"\"" + std::u16string(name) + u"\"";
}

void RequireName(std::u16string_view name, bool is_free) {
  if (name.empty()) throw EditRefusal(u"a name must not be empty");
  if (!is_free) throw EditRefusal(Quoted(name) + u" is in use already");
}

std::size_t IndexOf(const NotebookField& field) {
  return static_cast<std::size_t>(field.Position()) - 1;
}

std::vector<std::size_t> RowsInOrder(const NotebookTable& table) {
  std::vector<std::size_t> rows(table.Rows().size());
  std::iota(rows.begin(), rows.end(), std::size_t{0});
  return rows;
}

template <typename T>
void Insert(std::vector<T>& items, std::size_t place, T item) {
  items.insert(items.begin() + static_cast<std::ptrdiff_t>(place), std::move(item));
}
template <typename T>
void EraseAt(std::vector<T>& items, std::size_t place) {
  items.erase(items.begin() + static_cast<std::ptrdiff_t>(place));
}

// Each looks at the rows only then: what it does is kept in the history without a list of them.
void InsertRow(NotebookTable& table, std::size_t row, std::u16string_view id) {
  std::vector<std::size_t> sources = RowsInOrder(table);
  Insert(sources, row, kNoRow);
  table.ArrangeRows(sources, id);
}
void TakeRow(NotebookTable& table, std::size_t row) {
  std::vector<std::size_t> sources = RowsInOrder(table);
  EraseAt(sources, row);
  table.ArrangeRows(sources);
}
void ShiftRow(NotebookTable& table, std::size_t from, std::size_t to) {
  std::vector<std::size_t> sources = RowsInOrder(table);
  EraseAt(sources, from);
  Insert(sources, to, from);
  table.ArrangeRows(sources);
}

struct KeptCell {
  CellContent content;
  std::u16string state;
  std::u16string tag;
};

KeptCell Keep(const NotebookCell& cell) {
  return {cell.Content(), cell.State(), cell.Tag()};
}
void PutBack(const NotebookCell& cell, const KeptCell& kept) {
  cell.SetContent(kept.content);
  cell.SetState(kept.state, kept.tag);
}

// Those that a formula has computed.
std::vector<NotebookCell> ComputedCells(NotebookColumn& column) {
  std::vector<NotebookCell> cells;
  for (std::size_t row = 0; row < column.Data().Count(); ++row) {
    const NotebookCell cell(column, row);
    if (cell.State().empty() && !cell.Text().empty()) cells.push_back(cell);
  }
  return cells;
}

// A part of a reference, without the blanks around it.
struct NamePart {
  std::size_t begin;
  std::size_t length;
};

std::vector<NamePart> PartsNamed(std::u16string_view text, std::u16string_view name) {
  std::vector<NamePart> parts;
  for (const std::u16string_view piece : ktformula::Split(text, u':')) {
    const std::u16string_view part = ktformula::TrimBlanks(piece);
    if (part == name && parts.size() < kMostNames) {
      parts.push_back({static_cast<std::size_t>(part.data() - text.data()), part.size()});
    }
  }
  return parts;
}

// The text with the new name in place of those parts whose bits are set.
std::u16string Renamed(std::u16string_view text, const std::vector<NamePart>& parts,
                       std::size_t bits, std::u16string_view new_name) {
  std::u16string renamed(text);
  for (std::size_t i = parts.size(); i-- > 0;) {
    if ((bits >> i & 1U) != 0) renamed.replace(parts[i].begin, parts[i].length, new_name);
  }
  return renamed;
}

// The reference in the words that mean now what it meant before; empty when there are none.
std::optional<std::u16string> Reworded(const FormReferences& references, const ReferenceUse& use,
                                       std::u16string_view old_name, std::u16string_view new_name) {
  if (use.meaning.IsOfNotebook() && new_name.find(u']') == std::u16string_view::npos) {
    const std::vector<NamePart> parts = PartsNamed(use.text, old_name);
    for (std::size_t bits = 1; bits < std::size_t{1} << parts.size(); ++bits) {
      std::u16string text = Renamed(use.text, parts, bits, new_name);
      if (references.MeaningOf(use, text) == use.meaning) return text;
    }
  }
  if (references.MeaningOf(use, use.text) == use.meaning) return use.text;
  return std::nullopt;
}

// Why a reference can not go along with a new name.
std::u16string WhyNot(const FormReferences& references, const ReferenceUse& use,
                      std::u16string_view old_name, std::u16string_view new_name) {
  const std::u16string formula = references.Formulas()[use.formula].address;
  const std::u16string says = formula + u" refers to [" + use.text + u"], ";
  const Meaning stays = references.MeaningOf(use, use.text);
  if (PartsNamed(use.text, old_name).empty() || stays.IsOfNotebook()) {
    return says + u"which means " + use.meaning.Description() + u" and would mean " +
           stays.Description();
  }
  if (new_name.find_first_of(u":]") != std::u16string_view::npos) {
    return says + u"and no reference can name what has \":\" or \"]\" in its name";
  }
  const std::u16string text =
      Renamed(use.text, PartsNamed(use.text, old_name), ~std::size_t{0}, new_name);
  return says + u"and [" + text + u"] would mean " + references.MeaningOf(use, text).Description() +
         u" there";
}

}  // namespace

void FormEdits::Do(std::function<void()> apply, std::function<void()> revert) {
  apply();
  step_.push_back({std::move(apply), std::move(revert)});
}

void FormEdits::Revert(const Step& step) {
  for (auto change = step.rbegin(); change != step.rend(); ++change)
    change->revert();
}

template <typename Body>
void FormEdits::Run(Body body) {
  changed_.clear();
  step_.clear();
  try {
    body();
  } catch (...) {
    Revert(std::exchange(step_, {}));
    throw;
  }
  done_.push_back(std::exchange(step_, {}));
  undone_.clear();
}

// Notes what references mean otherwise after it.
template <typename Body>
void FormEdits::RunStructure(Body body) {
  if (!notes_changed_) return Run(body);
  const FormReferences references(*form_);
  Run(body);
  std::map<std::pair<const void*, std::u16string>, bool> is_there;
  ForEachFormula(*form_, [&](const FormulaPlace& place) {
    is_there[{place.listener, (place.column != nullptr ? u"c" : u"d") + place.text.key}] = true;
  });
  for (const ReferenceUse& use : references.Uses()) {
    const FormulaPlace& place = references.Formulas()[use.formula];
    const bool stays = is_there.contains(
        {place.listener, (place.column != nullptr ? u"c" : u"d") + place.text.key});
    const Meaning after = stays ? references.MeaningOf(use, use.text) : use.meaning;
    if (after != use.meaning) changed_.push_back({place, use.text, use.meaning, after});
  }
}

template <typename Body>
void FormEdits::Rename(std::u16string_view old_name, std::u16string_view new_name, Body body) {
  FormReferences references(*form_);
  Run([&] {
    body(references);
    Reword(references, old_name, new_name);
  });
}

void FormEdits::Reword(const FormReferences& references, std::u16string_view old_name,
                       std::u16string_view new_name) {
  std::vector<FormulaText> texts;
  for (const FormulaPlace& place : references.Formulas())
    texts.push_back(place.text);
  // From behind, so that the places in front stay.
  const std::vector<ReferenceUse>& uses = references.Uses();
  std::vector<const ReferenceUse*> from_behind;
  for (const ReferenceUse& use : uses)
    from_behind.push_back(&use);
  std::sort(from_behind.begin(), from_behind.end(),
            [](const auto* left, const auto* right) { return left->begin > right->begin; });
  for (const ReferenceUse* const use : from_behind) {
    const auto text = Reworded(references, *use, old_name, new_name);
    if (!text) throw EditRefusal(WhyNot(references, *use, old_name, new_name));
    texts[use->formula].formula.replace(use->begin, use->text.size(), *text);
  }
  std::map<IKtFormulaListener*, std::vector<std::size_t>> changed;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const FormulaPlace& place = references.Formulas()[i];
    if (texts[i] != place.text) changed[place.listener].push_back(i);
  }
  for (const auto& [listener, indices] : changed) {
    std::vector<FormulaText> formulas = listener->ColumnFormulas();
    std::vector<FormulaText> definitions = listener->Definitions();
    for (const std::size_t i : indices) {
      auto& list = references.Formulas()[i].column != nullptr ? formulas : definitions;
      std::replace(list.begin(), list.end(), references.Formulas()[i].text, texts[i]);
    }
    ReplaceFormulas(*listener, std::move(formulas), std::move(definitions));
  }
}

NotebookTable& FormEdits::AddTable(std::u16string_view name, std::int32_t key, std::size_t place) {
  RequireName(name, form_->FindField(name) == nullptr);
  const auto field =
      MakeRef<NotebookField>(*form_, name, MakeRef<NotebookTable>(*form_, name, key));
  const std::size_t index = std::min(place, form_->Fields().size());
  RunStructure([&] {
    Do([this, field, index] { form_->InsertField(field, index); },
       [this, index] { form_->TakeField(index); });
  });
  return *field->OwnTable();
}

NotebookColumn& FormEdits::AddColumn(NotebookTable& table, PropertyDefinition definition,
                                     std::size_t place) {
  RequireName(definition.name, table.FindColumn(definition.name) == nullptr);
  const std::size_t index = std::min(place, table.Columns().size());
  const auto column = MakeRef<NotebookColumn>(table, index, std::move(definition));
  RunStructure([&] {
    Do([&table, column, index] { table.InsertColumn(column, index); },
       [&table, index] { table.TakeColumn(index); });
  });
  return *column;
}

void FormEdits::AddRow(NotebookTable& table, std::u16string_view id,
                       const ktformula::Dictionary<std::u16string>& tags, std::size_t place) {
  RequireName(id, !table.HasRow(id));
  if (place >= table.Rows().size() && tags.begin() == tags.end()) return AppendRow(table, id);
  const std::size_t index = std::min(place, table.Rows().size());
  RunStructure([&] {
    Do(
        [&table, index, tags, id = std::u16string(id)] {
          InsertRow(table, index, id);
          for (const auto& [name, value] : tags)
            table.AddTag(index, name, value);
        },
        [&table, index] { TakeRow(table, index); });
  });
}

// Costs nothing for the rows that are there, so that a table can be filled row by row.
void FormEdits::AppendRow(NotebookTable& table, std::u16string_view id) {
  RunStructure([&] {
    Do([&table, id = std::u16string(id)] { table.AddRow(id); },
       [&table] { table.KeepFirstRows(table.Rows().size() - 1); });
  });
}

bool FormEdits::CanAppendRows(const NotebookTable& table, std::size_t count) {
  const std::size_t before = table.Rows().size();
  for (std::size_t number = before + 1; number <= before + count; ++number) {
    if (table.HasRow(ktformula::ToDecimalText(static_cast<std::int64_t>(number)))) return false;
  }
  return true;
}

void FormEdits::AppendRows(NotebookTable& table, std::size_t count) {
  const std::size_t before = table.Rows().size();
  RunStructure([&] {
    Do([&table, count] { table.AddNumberedRows(count); },
       [&table, before] { table.KeepFirstRows(before); });
  });
}

void FormEdits::AppendRows(NotebookTable& table, std::vector<std::u16string> ids) {
  std::unordered_set<std::u16string_view> names;
  for (const std::u16string& id : ids)
    RequireName(id, !table.HasRow(id) && names.insert(id).second);
  RunStructure([&] {
    Do(
        [&table, ids = std::move(ids)] {
          for (const std::u16string& id : ids)
            table.AddRow(id);
        },
        [&table, before = table.Rows().size()] { table.KeepFirstRows(before); });
  });
}

void FormEdits::RenameForm(std::u16string_view name) {
  RequireName(name, true);
  Run([&] {
    Do([this, name = std::u16string(name)] { form_->SetName(name); },
       [this, name = form_->Name()] { form_->SetName(name); });
  });
}

void FormEdits::RenameField(NotebookField& field, std::u16string_view name) {
  const NotebookField* const other = form_->FindField(name);
  RequireName(name, other == nullptr || other == &field);
  const std::u16string old_name = field.Name();
  Rename(old_name, name, [&](FormReferences&) {
    Do([this, &field, name = std::u16string(name)] { form_->RenameField(field, name); },
       [this, &field, old_name] { form_->RenameField(field, old_name); });
  });
}

void FormEdits::RenameColumn(const NotebookColumn& column, std::u16string_view name) {
  NotebookTable& table = column.Parent();
  const NotebookColumn* const other = table.FindColumn(name);
  RequireName(name, other == nullptr || other == &column);
  const std::u16string old_name = column.Definition().name;
  Rename(old_name, name, [&](FormReferences&) {
    Do([&table, &column, name = std::u16string(name)] { table.RenameColumn(column, name); },
       [&table, &column, old_name] { table.RenameColumn(column, old_name); });
  });
}

void FormEdits::RenameRow(NotebookTable& table, std::size_t row, std::u16string_view id) {
  const std::u16string old_id = table.IdOf(row);
  RequireName(id, id == old_id || !table.HasRow(id));
  Rename(old_id, id, [&](FormReferences& references) {
    Do([&table, row, id = std::u16string(id)] { table.RenameRow(row, id); },
       [&table, row, old_id] { table.RenameRow(row, old_id); });
    references.NoteRenamedRow(table, old_id, id);
  });
}

void FormEdits::MoveField(const NotebookField& field, std::size_t place) {
  const std::size_t from = IndexOf(field);
  const std::size_t to = std::min(place, form_->Fields().size() - 1);
  const auto move = [this](std::size_t source, std::size_t target) {
    form_->InsertField(form_->TakeField(source), target);
  };
  RunStructure([&] { Do([=] { move(from, to); }, [=] { move(to, from); }); });
}

void FormEdits::MoveColumn(const NotebookColumn& column, std::size_t place) {
  NotebookTable& table = column.Parent();
  const std::size_t from = column.Index();
  const std::size_t to = std::min(place, table.Columns().size() - 1);
  const auto move = [&table](std::size_t source, std::size_t target) {
    table.InsertColumn(table.TakeColumn(source), target);
  };
  RunStructure([&] { Do([=] { move(from, to); }, [=] { move(to, from); }); });
}

void FormEdits::MoveRow(NotebookTable& table, std::size_t row, std::size_t place) {
  const std::size_t to = std::min(place, table.Rows().size() - 1);
  RunStructure([&] {
    Do([&table, row, to] { ShiftRow(table, row, to); },
       [&table, row, to] { ShiftRow(table, to, row); });
  });
}

void FormEdits::RemoveField(const NotebookField& field) {
  const std::size_t index = IndexOf(field);
  const Ref<NotebookField> held = form_->Fields()[index];
  RunStructure([&] {
    Do([this, index] { form_->TakeField(index); },
       [this, held, index] { form_->InsertField(held, index); });
  });
}

void FormEdits::RemoveColumn(const NotebookColumn& column) {
  NotebookTable& table = column.Parent();
  const std::size_t index = column.Index();
  const Ref<NotebookColumn> held = table.Columns()[index];
  const std::u16string key = ktformula::ToDecimalText(column.Definition().key);
  RunStructure([&] {
    for (const auto& listener : table.Listeners()) {
      auto* const formulas = dynamic_cast<IKtFormulaListener*>(listener.get());
      if (formulas == nullptr) continue;
      std::vector<FormulaText> kept = formulas->ColumnFormulas();
      const std::size_t removed =
          std::erase_if(kept, [&](const FormulaText& text) { return text.key == key; });
      if (removed > 0) ReplaceFormulas(*formulas, std::move(kept), formulas->Definitions());
    }
    Do([&table, index] { table.TakeColumn(index); },
       [&table, held, index] { table.InsertColumn(held, index); });
  });
}

void FormEdits::RemoveRow(NotebookTable& table, std::size_t row) {
  std::vector<KeptCell> cells;
  for (const Ref<NotebookColumn>& column : table.Columns())
    cells.push_back(Keep({*column, row}));
  RunStructure([&] {
    Do([&table, row] { TakeRow(table, row); },
       [&table, row, cells, id = table.IdOf(row), tags = table.TagsOf(row)] {
         InsertRow(table, row, id);
         for (const auto& [name, value] : tags)
           table.AddTag(row, name, value);
         for (std::size_t column = 0; column < cells.size(); ++column)
           PutBack(table.Rows()[row].CellAt(column), cells[column]);
       });
  });
}

void FormEdits::SetCell(const NotebookCell& cell, std::u16string_view typed) {
  SetCell(cell, typed, form_->OwnLocale().separators);
}

void FormEdits::SetCell(const NotebookCell& cell, std::u16string_view typed,
                        const ktformula::Locale& locale) {
  Run([&] {
    Do([cell, typed = std::u16string(typed), locale] { cell.Enter(typed, locale); },
       [cell, kept = Keep(cell)] { PutBack(cell, kept); });
  });
}

void FormEdits::ReplaceCells(NotebookColumn& column, ColumnData cells, std::size_t first) {
  // Those that are not in the column, before and after.
  const auto other = std::make_shared<ColumnData>(std::move(cells));
  const auto exchange = [&column, other, first] { column.Exchange(*other, first); };
  Run([&] { Do(exchange, exchange); });
}

// Whatever is done to them later in the step is taken back with them.
void FormEdits::KeepCells(NotebookColumn& column) {
  std::vector<KeptCell> cells;
  for (std::size_t row = 0; row < column.Data().Count(); ++row)
    cells.push_back(Keep({column, row}));
  Do([] {},
     [&column, cells = std::move(cells)] {
       for (std::size_t row = 0; row < cells.size(); ++row)
         PutBack({column, row}, cells[row]);
     });
}

void FormEdits::ReplaceFormulas(IKtFormulaListener& listener, std::vector<FormulaText> formulas,
                                std::vector<FormulaText> definitions) {
  Configure(listener, [&] { listener.ReplaceFormulas(formulas, definitions); });
}

void FormEdits::Configure(IKtFormulaListener& listener, const std::function<void()>& change) {
  struct Texts {
    std::vector<FormulaText> formulas;
    std::vector<FormulaText> definitions;
  };
  const auto present = [&listener] {
    return Texts{listener.ColumnFormulas(), listener.Definitions()};
  };
  const auto put = [&listener](const Texts& texts) {
    return [&listener, texts] { listener.ReplaceFormulas(texts.formulas, texts.definitions); };
  };
  const Texts before = present();
  change();
  step_.push_back({put(present()), put(before)});
}

std::vector<NotebookCell> FormEdits::SetFormula(IKtFormulaListener& listener,
                                                NotebookColumn& column, std::u16string_view formula,
                                                std::u16string_view string_format) {
  std::vector<NotebookCell> emptied;
  Run([&] {
    KeepCells(column);
    const bool was_computed = column.Parent().HasFormula(column);
    Configure(listener, [&] {
      listener.SetPropertyFormula(column.Definition().key, formula, string_format);
    });
    if (!was_computed || column.Parent().HasFormula(column)) return;
    emptied = ComputedCells(column);
    Do(
        // Others may have been computed before it is done again.
        [&column] {
          for (const NotebookCell& cell : ComputedCells(column))
            cell.Enter(u"");
        },
        [] {});
  });
  return emptied;
}

void FormEdits::SetDefinition(IKtFormulaListener& listener, std::u16string_view name,
                              std::u16string_view formula) {
  Run([&] { Configure(listener, [&] { listener.SetDefinition(name, formula); }); });
}

void FormEdits::SetResultFormat(IKtFormulaListener& listener, std::u16string_view identifier) {
  Run([&] {
    Do([&listener,
        identifier = std::u16string(identifier)] { listener.SetResultFormat(identifier); },
       [&listener, identifier = listener.ResultFormat()] { listener.SetResultFormat(identifier); });
  });
}

void FormEdits::AddListener(NotebookTable& table,
                            const Ref<ktformula::IKtFieldListener>& listener) {
  Run([&] {
    Do([&table, listener] { table.AddListener(listener); },
       [&table, listener] { table.TakeListener(listener); });
  });
}

bool FormEdits::Together(const std::function<void()>& edits) {
  const std::size_t before = done_.size();
  std::vector<Step> undone = std::exchange(undone_, {});
  try {
    edits();
  } catch (...) {
    for (; done_.size() > before; done_.pop_back())
      Revert(done_.back());
    undone_ = std::move(undone);
    throw;
  }
  const bool is_edited = done_.size() > before;
  if (!is_edited) undone_ = std::move(undone);
  if (done_.size() <= before + 1) return is_edited;
  Step whole;
  for (std::size_t i = before; i < done_.size(); ++i)
    std::move(done_[i].begin(), done_[i].end(), std::back_inserter(whole));
  done_.resize(before);
  done_.push_back(std::move(whole));
  return is_edited;
}

void FormEdits::Forget() {
  done_.clear();
  undone_.clear();
  form_->EmptyRemoved();
}

bool FormEdits::Undo() {
  if (done_.empty()) return false;
  changed_.clear();
  Revert(done_.back());
  undone_.push_back(std::move(done_.back()));
  done_.pop_back();
  return true;
}

bool FormEdits::Redo() {
  if (undone_.empty()) return false;
  changed_.clear();
  for (const Change& change : undone_.back())
    change.apply();
  done_.push_back(std::move(undone_.back()));
  undone_.pop_back();
  return true;
}

}  // namespace ktnotebook
