#include "notebook/page/served_notebook.h"

#include <algorithm>
#include <exception>
#include <nlohmann/json.hpp>
#include <random>
#include <utility>

#include "notebook/commands/address.h"
#include "notebook/commands/text_output.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

using FormVersion = NotebookStore::FormVersion;

// Results are stored with the change that they come from up to so many cells; more are stored when
// nobody has changed anything for a while, since a person waits for the answer.
constexpr std::size_t kMostStoredAtOnce = 2'000;
constexpr std::size_t kMostUnstored = 1'000'000;
constexpr auto kQuiet = std::chrono::milliseconds(400);
constexpr auto kStoreInterval = std::chrono::milliseconds(10);
// How often it is looked for what others have changed.
constexpr auto kLookInterval = std::chrono::milliseconds(300);

// Runs what concerns the database.
template <typename Body>
auto Storing(Body body) {
  try {
    return body();
  } catch (const DatabaseBusy& error) {
    throw StoreFailure(error.what(), true);
  } catch (const NotebookError& error) {
    throw StoreFailure(error.what(), false);
  }
}

std::vector<std::u16string> NamesOfStored(const std::vector<FormVersion>& stored) {
  return NamesOf(stored, [](const FormVersion& form) { return form.name; });
}

// The forms that the address may begin with.
std::vector<FormVersion> Matching(const std::vector<FormVersion>& stored,
                                  std::u16string_view address) {
  std::vector<std::u16string> names;
  try {
    names = FindFormNames(NamesOfStored(stored), address);
  } catch (const NotebookError& error) {
    throw NoSuchPlace(error.what());
  }
  std::vector<FormVersion> matching;
  std::copy_if(stored.begin(), stored.end(), std::back_inserter(matching),
               [&](const FormVersion& form) {
                 return std::find(names.begin(), names.end(), form.name) != names.end();
               });
  return matching;
}

std::vector<FormVersion>::const_iterator Find(const std::vector<FormVersion>& stored,
                                              std::int64_t key) {
  return std::find_if(stored.begin(), stored.end(),
                      [key](const FormVersion& form) { return form.key == key; });
}

std::string RandomName() {
  std::random_device device;
  return std::to_string(std::uint64_t{device()} << 32 | device());
}

std::string_view KindText(ChangeKind kind) {
  switch (kind) {
    case ChangeKind::kCells: return "cells";
    case ChangeKind::kFormulas: return "formulas";
    default: return "structure";
  }
}

// What each column's cells were, to tell which have changed.
class CellStamps {
 public:
  explicit CellStamps(NotebookForm& form) : form_(form) {
    for (const NotebookTable* table : form.Tables()) {
      for (const Ref<NotebookColumn>& column : table->Columns())
        stamps_[column.get()] = column->Changes()->Stamp();
    }
  }

  std::vector<NotebookCell> Changed() const {
    std::vector<NotebookCell> cells;
    for (const NotebookTable* table : form_.Tables()) {
      for (const Ref<NotebookColumn>& column : table->Columns())
        Append(*column, cells);
    }
    return cells;
  }

 private:
  void Append(NotebookColumn& column, std::vector<NotebookCell>& cells) const {
    const auto stamp = stamps_.find(&column);
    std::vector<std::size_t> rows;
    if (stamp != stamps_.end() && column.Changes()->RowsChangedSince(stamp->second, rows)) {
      for (const std::size_t row : rows)
        cells.emplace_back(column, row);
      return;
    }
    for (std::size_t row = 0; row < column.Data().Count(); ++row)
      cells.emplace_back(column, row);
  }

  NotebookForm& form_;
  std::map<const NotebookColumn*, std::uint64_t> stamps_;
};

}  // namespace

std::string FingerprintOf(std::span<const FormVersion> forms) {
  std::string fingerprint;
  for (const FormVersion& form : forms)
    fingerprint += std::to_string(form.key) + ":" + std::to_string(form.version) + " ";
  return fingerprint;
}

const FormProblems& ServedForm::Problems() {
  if (!problems) problems = ProblemsOf(Form(), *notebook.framework, result);
  return *problems;
}

ServedNotebook::ServedNotebook(std::shared_ptr<Database> database, EventSink& events,
                               std::optional<NamedLocale> of_file)
    : store_(std::move(database), true),
      events_(events),
      of_file_(std::move(of_file)),
      run_(RandomName()) {
  if (!store_.IsUpToDate()) {
    Transaction alone(store_.Connection(), TransactionKind::kAlone);
    store_.BringUpToDate();
    alone.Commit();
  }
  stored_ = store_.Versions();
  worker_ = std::thread([this] { Work(); });
}

ServedNotebook::~ServedNotebook() {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  ending_.notify_all();
  worker_.join();
  while (StoreSome()) {
  }
}

void ServedNotebook::Work() {
  std::unique_lock lock(mutex_);
  auto interval = kLookInterval;
  while (!ending_.wait_for(lock, interval, [this] { return is_ending_; })) {
    const bool is_quiet = std::chrono::steady_clock::now() - last_change_ > kQuiet;
    if (is_quiet && StoreSome()) {
      interval = kStoreInterval;
      continue;
    }
    interval = kLookInterval;
    try {
      Refresh();
    } catch (const StoreFailure&) {
      // Whoever needs the database next is told.
    }
  }
}

bool ServedNotebook::StoreSome() {
  const auto found = std::find_if(forms_.begin(), forms_.end(),
                                  [](const auto& each) { return !each.second->unstored.empty(); });
  if (found == forms_.end()) return false;
  const std::int64_t key = found->first;
  try {
    StoreSomeUnstored(*found->second);
  } catch (const DatabaseBusy&) {
    return false;
  } catch (const NotebookError&) {
    // The database knows that these results are missing; whoever reads the form computes them.
    Drop(key);
  }
  return true;
}

void ServedNotebook::StoreSomeUnstored(ServedForm& served) {
  const std::int64_t key = served.stored.key;
  Transaction transaction(store_.Connection(), TransactionKind::kChangingForms);
  const auto now = store_.LockVersion(key);
  if (!now || now->version != served.stored.version) return Drop(key);
  if (!std::exchange(served.is_unstored_in_order, true)) {
    served.unstored = InFormOrder(served.unstored);
  }
  const std::size_t count = std::min(served.unstored.size(), kMostStoredAtOnce);
  const auto some = std::span(served.unstored).last(count);
  if (count == served.unstored.size()) {
    store_.SaveRecalculated(served.Form(), some);
  } else {
    store_.SaveTyped(served.Form(), some);
  }
  served.unstored.resize(served.unstored.size() - count, served.unstored.front());
  served.stored = *store_.LockVersion(key);
  transaction.Commit();
  *std::find_if(stored_.begin(), stored_.end(),
                [key](const FormVersion& form) { return form.key == key; }) = served.stored;
}

void ServedNotebook::NoteUnstored(ServedForm& served, std::span<const NotebookCell> cells) {
  served.is_unstored_in_order &= cells.empty() || served.unstored.empty();
  served.unstored.insert(served.unstored.end(), cells.begin(), cells.end());
}

std::vector<NotebookCell> ServedNotebook::StoreUnstored(ServedForm& served) {
  store_.SaveRecalculated(served.Form(), InFormOrder(served.unstored));
  return std::exchange(served.unstored, {});
}

std::string ServedNotebook::FileText() {
  const std::lock_guard lock(mutex_);
  Refresh();
  Notebook notebook;
  notebook.locale = of_file_.value_or(NamedLocale());
  for (const FormVersion& stored : std::vector<FormVersion>(stored_))
    notebook.forms.emplace_back(&Bring(stored, For::kReading).Form());
  return WriteNotebook(notebook);
}

std::string ServedNotebook::Fingerprint() {
  const std::lock_guard lock(mutex_);
  return FingerprintOf(stored_);
}

std::string ServedNotebook::Hello() {
  const std::lock_guard lock(mutex_);
  auto versions = nlohmann::ordered_json::object();
  for (const FormVersion& form : stored_)
    versions[ToUtf8(form.name)] = form.version;
  return nlohmann::ordered_json{{"versions", versions}, {"server", run_}}.dump();
}

void ServedNotebook::Refresh() {
  NoteStored(Storing([this] { return store_.Versions(); }));
}

// Tells the pages what others have changed.
void ServedNotebook::NoteStored(const std::vector<FormVersion>& now) {
  const std::vector<FormVersion> before = std::exchange(stored_, now);
  for (const FormVersion& form : before) {
    if (Find(now, form.key) != now.end()) continue;
    Drop(form.key);
    Publish(form, "removed", "");
  }
  for (const FormVersion& form : now) {
    const auto known = Find(before, form.key);
    if (known == before.end()) {
      Publish(form, "new", "");
    } else if (known->version != form.version) {
      Publish(form, "structure", "", known->name);
    }
  }
}

void ServedNotebook::Publish(const FormVersion& form, std::string_view what,
                             std::string_view client, std::u16string_view old_name) {
  nlohmann::ordered_json json{{"form", ToUtf8(old_name.empty() ? form.name : old_name)},
                              {"version", form.version},
                              {"what", what},
                              {"by", client}};
  if (!old_name.empty() && old_name != form.name) json["name"] = ToUtf8(form.name);
  events_.Publish("changed", json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

ServedForm& ServedNotebook::Served(const NotebookForm& form) {
  const auto found = std::find_if(forms_.begin(), forms_.end(), [&form](const auto& each) {
    return &each.second->Form() == &form;
  });
  return *found->second;
}

ServedNotebook::Forms ServedNotebook::FormsOf(std::u16string_view address) {
  Refresh();
  Forms forms;
  for (const FormVersion& stored : Matching(stored_, address))
    forms.push_back(Ref<NotebookForm>(&Bring(stored, For::kReading).Form()));
  return forms;
}

// Within a transaction that changes forms.
ServedNotebook::Forms ServedNotebook::LockedFormsOf(std::u16string_view address) {
  Refresh();
  Forms forms;
  for (const FormVersion& stored : Matching(stored_, address)) {
    const auto locked = Storing([&] { return store_.LockVersion(stored.key); });
    if (!locked) continue;
    forms.push_back(Ref<NotebookForm>(&Bring(*locked, For::kChange).Form()));
  }
  return forms;
}

ServedForm& ServedNotebook::Bring(FormVersion stored, For purpose) {
  const auto known = forms_.find(stored.key);
  if (known != forms_.end() && known->second->stored.version == stored.version) {
    return *known->second;
  }
  // Listeners and formulas that others have changed: the form is read as a whole.
  Drop(stored.key);
  auto read = std::make_unique<ServedForm>();
  read->notebook = Storing(
      [&] { return purpose == For::kReading ? ReadInOneState(stored) : store_.Load(stored.name); });
  read->stored = stored;
  Prepare(*read);
  return *(forms_[stored.key] = std::move(read));
}

Notebook ServedNotebook::ReadInOneState(FormVersion& stored) {
  Transaction reading(store_.Connection(), TransactionKind::kReading);
  const std::vector<FormVersion> now = store_.Versions();
  const auto found = Find(now, stored.key);
  if (found == now.end()) {
    throw NoSuchPlace("the form \"" + ToUtf8(stored.name) + "\" has just been removed");
  }
  stored = *found;
  Notebook notebook = store_.Load(stored.name);
  reading.Commit();
  return notebook;
}

// What was read becomes what pages see.
void ServedNotebook::Prepare(ServedForm& served) {
  served.edits = std::make_unique<FormEdits>(served.notebook.forms.front());
  NotebookForm& form = served.Form();
  form.Log().keep_cells = true;
  form.Log().on_progress = [this](std::uint64_t) {
    if (is_interrupted_) throw StoreFailure("the program is ending", true);
  };
  served.result = Recalculate(form);
  if (!served.stored.is_current) NoteUnstored(served, form.Log().cells);
}

RecalculationResult ServedNotebook::Recalculate(NotebookForm& form) {
  form.Log().cells.clear();
  return RecalculateForm(form, RoundLimit(form));
}

// Results that are many are stored later; until then the database knows that they are missing.
void ServedNotebook::StoreResults(ServedForm& served, std::span<const NotebookCell> typed,
                                  std::span<const NotebookCell> changed) {
  NoteUnstored(served, changed);
  const std::size_t count = served.unstored.size();
  if (count <= kMostStoredAtOnce || count > kMostUnstored) {
    StoreUnstored(served);
  } else {
    store_.SaveTyped(served.Form(), typed);
  }
}

Reading::Reading(ServedNotebook& notebook) : lock_(notebook.mutex_), notebook_(notebook) {
  notebook.Refresh();
}

Reading::Reading(ServedNotebook& notebook, std::u16string_view address)
    : lock_(notebook.mutex_), notebook_(notebook), forms_(notebook.FormsOf(address)) {}

std::vector<std::u16string> Reading::Names() const {
  return NamesOfStored(notebook_.stored_);
}

std::optional<std::u16string> Reading::NameOf(std::int64_t form_key) const {
  const auto found = Find(notebook_.stored_, form_key);
  return found != notebook_.stored_.end() ? std::optional(found->name) : std::nullopt;
}

Change::Change(ServedNotebook& notebook, std::u16string_view address, std::string client)
    : lock_(notebook.mutex_), notebook_(notebook), client_(std::move(client)) {
  Begin(TransactionKind::kChangingForms);
  forms_ = notebook_.LockedFormsOf(address);
}

Change::Change(ServedNotebook& notebook, std::string client)
    : lock_(notebook.mutex_), notebook_(notebook), client_(std::move(client)) {
  Begin(TransactionKind::kChangingForms);
  notebook_.Refresh();
}

void Change::Begin(TransactionKind kind) {
  Storing(
      [&] { transaction_ = std::make_unique<Transaction>(notebook_.store_.Connection(), kind); });
}

Change::~Change() {
  if (transaction_ == nullptr) return;
  if (served_ != nullptr) {
    // Memory is ahead of the database.
    notebook_.Drop(served_->stored.key);
  } else if (prepared_ != nullptr) {
    prepared_->unstored = std::move(stored_first_);
  }
}

std::vector<std::u16string> Change::Names() const {
  return NamesOfStored(notebook_.stored_);
}

// Places of cells are those of the structure.
void Change::Prepare(ServedForm& served, ChangeKind kind) {
  if (kind == ChangeKind::kStructure && !served.unstored.empty()) {
    stored_first_ = Storing([&] { return notebook_.StoreUnstored(served); });
    prepared_ = &served;
  }
  served.Form().Log().cells.clear();
  served.problems.reset();
}

void Change::Do(NotebookForm& form, ChangeKind kind, std::u16string_view what,
                const std::function<void(FormEdits&)>& edits) {
  ServedForm& served = Of(form);
  Prepare(served, kind);
  const ktformula::LocaleScope kept_in(form.OwnLocale().separators);
  const bool is_edited = served.edits->Together([&] { edits(*served.edits); });
  served_ = &served;
  kind_ = kind;
  if (!is_edited) return;
  served.undone.clear();
  served.done.push_back({++served.last_step, std::u16string(what), kind, client_});
}

bool Change::Undo(NotebookForm& form, std::int64_t step) {
  return Repeat(form, step, true);
}

bool Change::Redo(NotebookForm& form, std::int64_t step) {
  return Repeat(form, step, false);
}

bool Change::Repeat(NotebookForm& form, std::int64_t step, bool is_undo) {
  ServedForm& served = Of(form);
  std::vector<HistoryStep>& from = is_undo ? served.done : served.undone;
  std::vector<HistoryStep>& to = is_undo ? served.undone : served.done;
  if (from.empty() || from.back().number != step) return false;
  Prepare(served, from.back().kind);
  const auto stamps = std::make_shared<const CellStamps>(form);
  repeated_cells_ = [stamps] { return stamps->Changed(); };
  const ktformula::LocaleScope kept_in(form.OwnLocale().separators);
  is_undo ? served.edits->Undo() : served.edits->Redo();
  served_ = &served;
  kind_ = from.back().kind;
  is_repeated_ = true;
  to.push_back(std::move(from.back()));
  from.pop_back();
  return true;
}

Change::Result Change::Commit(std::span<const NotebookCell> set) {
  NotebookForm& form = served_->Form();
  served_->result = notebook_.Recalculate(form);
  std::vector<NotebookCell> cells = std::exchange(form.Log().cells, {});
  std::vector<NotebookCell> typed(set.begin(), set.end());
  if (repeated_cells_) typed = repeated_cells_();
  cells.insert(cells.end(), typed.begin(), typed.end());
  cells = InFormOrder(cells);
  Storing([&] { Store(typed, cells); });
  End();
  return {std::exchange(served_, nullptr), std::move(cells)};
}

void Change::Store(std::span<const NotebookCell> typed, std::span<const NotebookCell> changed) {
  const NotebookStore& store = notebook_.store_;
  NotebookForm& form = served_->Form();
  Notebook& notebook = served_->notebook;
  if (kind_ == ChangeKind::kStructure && is_repeated_) {
    store.Rewrite(notebook, form, served_->stored.name);
    store.SaveRecalculated(form, {});
    return;
  }
  if (kind_ == ChangeKind::kStructure) store.SaveStructure(notebook, form, served_->stored.name);
  if (kind_ == ChangeKind::kFormulas) {
    for (const NotebookTable* table : form.Tables()) {
      for (const auto& listener : table->Listeners())
        store.SaveListener(notebook, *table, *listener);
    }
  }
  notebook_.StoreResults(*served_, typed, changed);
}

// What was changed is for good, and told.
void Change::End() {
  const std::u16string old_name = served_->stored.name;
  Storing([&] {
    served_->stored = *notebook_.store_.LockVersion(served_->stored.key);
    transaction_->Commit();
  });
  transaction_ = nullptr;
  for (FormVersion& known : notebook_.stored_) {
    if (known.key == served_->stored.key) known = served_->stored;
  }
  notebook_.last_change_ = std::chrono::steady_clock::now();
  notebook_.Publish(served_->stored, KindText(kind_), client_, old_name);
}

void Change::AddForms(Notebook& notebook) {
  if (notebook_.of_file_ && notebook.locale != *notebook_.of_file_) {
    throw NotebookError("the file keeps its texts in the locale \"" +
                        ToUtf8(notebook_.of_file_->name) + "\", these forms in \"" +
                        ToUtf8(notebook.locale.name) + "\"");
  }
  Storing([&] {
    for (const Ref<NotebookForm>& form : notebook.forms) {
      notebook_.store_.Add(notebook, *form);
      notebook_.store_.SaveRecalculated(*form, {});
    }
    transaction_->Commit();
    transaction_ = nullptr;
  });
  notebook_.Refresh();
}

void Change::RemoveForm(NotebookForm& form) {
  const std::u16string name = Of(form).stored.name;
  forms_.clear();
  Storing([&] {
    notebook_.store_.Remove(name);
    transaction_->Commit();
    transaction_ = nullptr;
  });
  notebook_.Refresh();
}

}  // namespace ktnotebook
