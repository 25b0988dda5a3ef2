// The command recalculate over all forms of a database, by any number of processes at once.
#include <algorithm>
#include <chrono>
#include <optional>
#include <ostream>
#include <set>
#include <thread>

#include "notebook/commands/commands.h"
#include "notebook/commands/interruption.h"
#include "notebook/commands/json_output.h"
#include "notebook/commands/problems_output.h"
#include "notebook/commands/progress.h"
#include "notebook/commands/recalculate_form.h"
#include "notebook/commands/recalculate_options.h"
#include "notebook/commands/text_output.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/number_pattern.h"
#include "values/platform.h"
#include "values/raised_error.h"

namespace ktnotebook {

namespace {

using StoredForm = NotebookStore::StoredForm;

// How long to wait for forms that others have in hand before looking again.
constexpr std::chrono::milliseconds kBetweenLooks{200};

// What the caught exception says.
std::string CaughtReason() {
  try {
    throw;
  } catch (const ktformula::RaisedError& error) {
    return ToUtf8(error.Description());
  } catch (const std::bad_alloc&) {
    return "out of memory";
  } catch (const std::exception& error) {
    return error.what();
  }
}

// One process's share of the work. A form is claimed by the lock of the transaction that
// recalculates and saves it; the lock goes with the process that holds it, so that others take the
// form up.
class StoredRecalculation {
 public:
  StoredRecalculation(const RecalculateOptions& options, Console& console)
      : console_(console),
        is_json_(options.json),
        store_(OpenDatabase(*options.database, false), false),
        progress_([this] { return ProgressText(); }, console) {}

  // Goes on until all forms are current, but for those that can not be. Throws Interrupted.
  void Run() {
    BringUpToDate();
    for (bool has_worked = false;;) {
      progress_.Tick();
      switch (TakeNext()) {
        case Taken::kRecalculated: has_worked = true; break;
        case Taken::kNothing: break;
        case Taken::kEnd:
          if (!has_worked) {
            if (!IsOthersAtWork()) return;
            std::this_thread::sleep_for(kBetweenLooks);
          }
          has_worked = false;
          behind_ = 0;
          break;
      }
    }
  }

  // Says something where the progress was shown.
  void Say(const std::string& message) const {
    progress_.Clear();
    console_.Say(message);
  }

  // Tells what was done here and how many forms are current.
  void Report() const {
    progress_.Clear();
    const NotebookStore::FormCounts counts = store_.CountForms();
    if (is_json_) {
      console_.out << StoredRecalculationJson(report_, counts.all, counts.current) << '\n';
    } else {
      console_.out << ClosingText(counts) << '\n';
    }
    console_.out.flush();
    problems_.Say(console_);
    SayErrors(errors_, console_);
  }

  bool HasFailures() const { return !report_.failed.empty(); }
  bool ShowsErrors() const { return errors_ > 0 || problems_.HasErrors(); }
  std::string DoneText() const {
    return report_.recalculated.empty() ? ""
                                        : FormsText(report_.recalculated.size()) + " recalculated";
  }

 private:
  enum class Taken {
    // Recalculated here, or found that it can not be.
    kRecalculated,
    // One that was taken before, or none because others are writing.
    kNothing,
    // There was none behind the last one.
    kEnd,
  };

  void BringUpToDate() const {
    if (store_.IsUpToDate()) return;
    Transaction transaction(store_.Connection(), TransactionKind::kAlone);
    store_.BringUpToDate();
    transaction.Commit();
  }

  Taken TakeNext() {
    std::optional<StoredForm> form;
    try {
      Transaction transaction(store_.Connection(), TransactionKind::kChangingForms);
      form = store_.LockOutdated(behind_);
      if (!form) return Taken::kEnd;
      if (taken_.contains(form->key)) {
        behind_ = form->key;
        return Taken::kNothing;
      }
      Recalculate(*form, transaction);
    } catch (const Interrupted&) {
      throw;
    } catch (const DatabaseBusy&) {
      return Taken::kNothing;
    } catch (const std::exception&) {
      // What happens before a form is taken, or behind its end, is no fault of the form.
      if (!form || taken_.contains(form->key)) throw;
      NoteFailure(*form, CaughtReason());
    }
    behind_ = form->key;
    store_.Connection().GiveWay();
    return Taken::kRecalculated;
  }

  void Recalculate(const StoredForm& stored, Transaction& transaction) {
    const Notebook notebook = store_.Load(stored.name);
    NotebookForm& form = *notebook.forms.front();
    form.Log().keep_cells = true;
    form.Log().on_progress = [this](std::uint64_t) { progress_.Tick(); };
    const RecalculationResult result = RecalculateForm(form, RoundLimit(form));
    store_.SaveRecalculated(form, InFormOrder(form.Log().cells));
    transaction.Commit();
    taken_.insert(stored.key);
    report_.recalculated.push_back({stored.name, result.settled, result.rounds});
    NoteProblems(form, notebook, result);
  }

  void NoteProblems(NotebookForm& form, const Notebook& notebook,
                    const RecalculationResult& result) {
    if (!result.settled) progress_.Clear();
    SayUnsettled(form, result, console_);
    errors_ += CountErrors(form);
    const FormProblems found = ProblemsOf(form, *notebook.framework, result);
    problems_.Add(found);
    if (is_json_ && !found.problems.empty()) report_.problems.push_back(ProblemListJson({found}));
  }

  void NoteFailure(const StoredForm& form, const std::string& reason) {
    taken_.insert(form.key);
    Say("error: form \"" + ToUtf8(form.name) + "\" can not be recalculated: " + reason);
    report_.failed.push_back({form.name, reason});
  }

  // Whether forms are not current that nobody here has tried: others have them in hand.
  bool IsOthersAtWork() const {
    const std::vector<StoredForm> outdated = store_.OutdatedForms();
    return std::any_of(outdated.begin(), outdated.end(),
                       [this](const StoredForm& form) { return !taken_.contains(form.key); });
  }

  // "1,000".
  std::string NumberText(std::int64_t number) const {
    const ktformula::LocaleScope shown_in(console_.style.locale);
    return ToUtf8(FormatNumber(static_cast<double>(number), u"#,##0"));
  }
  std::string FormsText(std::size_t count) const {
    return NumberText(static_cast<std::int64_t>(count)) + (count == 1 ? " form" : " forms");
  }
  std::string ProgressText() const {
    const NotebookStore::FormCounts counts = store_.CountForms();
    return "recalculating: " + NumberText(counts.current) + " of " + NumberText(counts.all) +
           " forms are current";
  }
  std::string ClosingText(const NotebookStore::FormCounts& counts) const {
    const std::string here = "recalculated " + FormsText(report_.recalculated.size()) + " here; ";
    if (counts.current == counts.all && counts.all != 1)
      return here + "all " + NumberText(counts.all) + " are current";
    return here + NumberText(counts.current) + " of " + NumberText(counts.all) +
           (counts.current == 1 ? " is current" : " are current");
  }

  Console& console_;
  bool is_json_;
  const NotebookStore store_;
  StatusLine progress_;
  // The last form that was looked at on the way through all.
  std::int64_t behind_ = 0;
  // What was tried here: nothing is tried twice, so that programs of different versions, or a form
  // that can not be recalculated, keep nobody busy forever.
  std::set<std::int64_t> taken_;
  StoredRecalculationReport report_;
  ProblemSummary problems_;
  std::size_t errors_ = 0;
};

}  // namespace

int RecalculateStored(const RecalculateOptions& options, Console& console) {
  StoredRecalculation work(options, console);
  try {
    RunInterruptibly([&work] { work.Run(); });
  } catch (const Interrupted&) {
    work.Say("ktnotebook: interrupted; the form in hand is left as it was");
    work.Report();
    return kExitInterrupted;
  } catch (const NotebookError&) {
    if (!work.DoneText().empty()) work.Say("note: " + work.DoneText() + " all the same");
    throw;
  }
  if (!work.DoneText().empty()) console.SetDone(work.DoneText());
  work.Report();
  if (work.HasFailures()) return kExitFailed;
  return options.strict && work.ShowsErrors() ? kExitErrorsShown : kExitDone;
}

}  // namespace ktnotebook
