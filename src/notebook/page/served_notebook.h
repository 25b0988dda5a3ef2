// A notebook that several pages read and change at once: its forms in memory, with the database
// behind them that others may change too.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "notebook/commands/problems_output.h"
#include "notebook/files/notebook_file.h"
#include "notebook/page/api.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/edits.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {

// The database failed. Nothing has changed.
class StoreFailure : public std::runtime_error {
 public:
  StoreFailure(const std::string& reason, bool is_busy)
      : std::runtime_error(reason), is_busy_(is_busy) {}

  // Whether others have it, so that trying again may help.
  bool IsBusy() const noexcept { return is_busy_; }

 private:
  bool is_busy_;
};

// An address that denotes nothing.
class NoSuchPlace : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a step of the history changed, which is what has to be stored.
enum class ChangeKind { kCells, kFormulas, kStructure };

struct HistoryStep {
  // Grows from step to step of a form, also over undone ones.
  std::int64_t number = 0;
  // What it did, for people.
  std::u16string what;
  ChangeKind kind = ChangeKind::kCells;
  // The page that asked for it.
  std::string client;
};

// A form in memory, as the database has it.
struct ServedForm {
  NotebookStore::FormVersion stored;
  Notebook notebook;
  std::unique_ptr<FormEdits> edits;
  RecalculationResult result;
  // What can be undone and done again, the next one last.
  std::vector<HistoryStep> done;
  std::vector<HistoryStep> undone;
  std::int64_t last_step = 0;
  // Cells whose results are stored when there is time: the database knows that they are not.
  std::vector<NotebookCell> unstored;
  // Whether these are in the form's order, each once.
  bool is_unstored_in_order = true;

  // Found when they are asked for, once for each change.
  std::optional<FormProblems> problems;

  NotebookForm& Form() const { return *notebook.forms.front(); }
  const FormProblems& Problems();
};

// Another text with every change that is stored.
std::string FingerprintOf(std::span<const NotebookStore::FormVersion> forms);

// All of it may be used by several threads; Reading and Change are how.
class ServedNotebook {
 public:
  // Brings the database's tables up to date. Throws NotebookError. The sink outlives it. With a
  // file's locale there are no forms of another one.
  ServedNotebook(std::shared_ptr<Database> database, EventSink& events,
                 std::optional<NamedLocale> of_file = std::nullopt);
  ServedNotebook(const ServedNotebook&) = delete;
  ServedNotebook& operator=(const ServedNotebook&) = delete;
  // Stores what is left to be stored.
  ~ServedNotebook();

  // The versions of all forms and a name for this run of the program, in JSON: what a page needs to
  // know first.
  std::string Hello();

  // All forms as a notebook file's text. Throws NotebookError for a text that a file can not hold.
  std::string FileText();
  // FingerprintOf the forms as they are stored.
  std::string Fingerprint();

  // While it is set, recalculations end and what they belong to is refused.
  void Interrupt(bool is_set) noexcept { is_interrupted_ = is_set; }

 private:
  friend class Reading;
  friend class Change;

  using Forms = std::vector<Ref<NotebookForm>>;

  // All want the lock.
  void Refresh();
  void NoteStored(const std::vector<NotebookStore::FormVersion>& now);
  Forms FormsOf(std::u16string_view address);
  Forms LockedFormsOf(std::u16string_view address);
  // Of forms that are locked, unless it is for reading: then they are read in one state of the
  // database, which may be a newer one. Throws NoSuchPlace for a form that is gone.
  enum class For { kReading, kChange };
  ServedForm& Bring(NotebookStore::FormVersion stored, For purpose);
  Notebook ReadInOneState(NotebookStore::FormVersion& stored);
  void Prepare(ServedForm& served);
  ServedForm& Served(const NotebookForm& form);
  // The form is read from the database again when it is needed.
  void Drop(std::int64_t key) { forms_.erase(key); }
  RecalculationResult Recalculate(NotebookForm& form);
  void StoreResults(ServedForm& served, std::span<const NotebookCell> typed,
                    std::span<const NotebookCell> changed);
  void NoteUnstored(ServedForm& served, std::span<const NotebookCell> cells);
  // Gives those that were stored.
  std::vector<NotebookCell> StoreUnstored(ServedForm& served);
  void StoreSomeUnstored(ServedForm& served);
  void Publish(const NotebookStore::FormVersion& form, std::string_view what,
               std::string_view client, std::u16string_view old_name = {});

  void Work();
  // A few at a time, so that nobody waits long; whether there are more.
  bool StoreSome();

  std::mutex mutex_;
  NotebookStore store_;
  EventSink& events_;
  const std::optional<NamedLocale> of_file_;
  std::string run_;
  std::vector<NotebookStore::FormVersion> stored_;
  std::map<std::int64_t, std::unique_ptr<ServedForm>> forms_;
  std::atomic<bool> is_interrupted_ = false;
  std::chrono::steady_clock::time_point last_change_;
  bool is_ending_ = false;
  std::condition_variable ending_;
  std::thread worker_;
};

// While it lives nobody else uses the notebook.
class Reading {
 public:
  explicit Reading(ServedNotebook& notebook);
  // Of the forms that the address may begin with. Throws NoSuchPlace.
  Reading(ServedNotebook& notebook, std::u16string_view address);

  // The names of all forms.
  std::vector<std::u16string> Names() const;
  // The present name of the form with this key in the database; empty when it is gone.
  std::optional<std::u16string> NameOf(std::int64_t form_key) const;
  // Up to date and recalculated.
  const std::vector<Ref<NotebookForm>>& Forms() const noexcept { return forms_; }
  ServedForm& Of(const NotebookForm& form) const { return notebook_.Served(form); }

 private:
  std::unique_lock<std::mutex> lock_;
  ServedNotebook& notebook_;
  std::vector<Ref<NotebookForm>> forms_;
};

// A change of one form, or of which forms there are: nobody else, in this program or another, can
// come between. What is not committed never happened. All throw StoreFailure.
class Change {
 public:
  // For a page's request; the address begins with the form. Throws NoSuchPlace.
  Change(ServedNotebook& notebook, std::u16string_view address, std::string client);
  // To add forms.
  Change(ServedNotebook& notebook, std::string client);
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  ~Change();

  const std::vector<Ref<NotebookForm>>& Forms() const noexcept { return forms_; }
  ServedForm& Of(const NotebookForm& form) const { return notebook_.Served(form); }
  const NotebookStore& Store() const noexcept { return notebook_.store_; }
  std::vector<std::u16string> Names() const;
  // What new forms are kept in.
  NamedLocale LocaleOfNew() const { return notebook_.of_file_.value_or(NamedLocale()); }

  // Makes one step of the history of all that `edits` do to the form, in its locale; what they
  // throw, as EditRefusal, takes all of it back. Once in a change, and not with Undo or Redo.
  void Do(NotebookForm& form, ChangeKind kind, std::u16string_view what,
          const std::function<void(FormEdits&)>& edits);
  // False when this is not the step that comes next.
  bool Undo(NotebookForm& form, std::int64_t step);
  bool Redo(NotebookForm& form, std::int64_t step);

  struct Result {
    ServedForm* served;
    // In the form's order, each once: those that were computed otherwise and those that were set.
    std::vector<NotebookCell> cells;
  };
  // Recalculates, stores and tells the other pages. `set` are cells that the edits wrote. The lock
  // is kept, so that an answer can be made of what is there then.
  Result Commit(std::span<const NotebookCell> set = {});

  // Both are stored at once, and no form is changed otherwise. Throws NotebookError for forms of a
  // locale that can not be.
  void AddForms(Notebook& notebook);
  void RemoveForm(NotebookForm& form);

 private:
  void Begin(TransactionKind kind);
  void Prepare(ServedForm& served, ChangeKind kind);
  void Store(std::span<const NotebookCell> typed, std::span<const NotebookCell> changed);
  void End();
  bool Repeat(NotebookForm& form, std::int64_t step, bool is_undo);

  std::unique_lock<std::mutex> lock_;
  ServedNotebook& notebook_;
  std::string client_;
  std::unique_ptr<Transaction> transaction_;
  std::vector<Ref<NotebookForm>> forms_;
  // Results that were stored first, and whose they are: unless all is committed, they are not.
  ServedForm* prepared_ = nullptr;
  std::vector<NotebookCell> stored_first_;
  // The form that was edited.
  ServedForm* served_ = nullptr;
  ChangeKind kind_ = ChangeKind::kCells;
  // Whether something may have come back that was removed.
  bool is_repeated_ = false;
  // Those that undoing has changed.
  std::function<std::vector<NotebookCell>()> repeated_cells_;
};

}  // namespace ktnotebook
