// The command that explains a cell.
#include <ostream>

#include "notebook/commands/address.h"
#include "notebook/commands/commands.h"
#include "notebook/commands/explain_options.h"
#include "notebook/commands/explanation_json.h"
#include "notebook/commands/explanation_text.h"
#include "notebook/commands/interruption.h"
#include "notebook/commands/problems_output.h"
#include "notebook/commands/progress.h"
#include "notebook/files/watched_form.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {

namespace {

// The forms that the address may mean.
Notebook LoadForms(const ExplainOptions& options, std::u16string_view address,
                   const ktformula::Locale& locale) {
  if (!options.file.empty()) return ReadInput(options.file, options.csv, false, locale);
  const NotebookStore store(OpenDatabase(options.database, false), false);
  const Transaction reading(store.Connection(), TransactionKind::kReading);
  return store.Load(FindFormNames(store.FormNames(), address));
}

}  // namespace

int Explain(const ExplainOptions& options, Console& console) {
  const std::u16string address = ArgumentText(options.cell);
  const Notebook notebook = LoadForms(options, address, console.style.locale);
  const Ref<CellObject> cell = FindCell(notebook.forms, address).Object();
  NotebookForm& form = cell->Cell().OwningRow().Parent().Parent();
  ktformula::Explanation explanation;
  std::vector<FormProblems> forms;
  RunInterruptibly([&] {
    const ProgressLine progress(form, console);
    const RecalculationResult result = RecalculateForm(form, RoundLimit(form));
    const ktformula::LocaleScope kept_in(form.OwnLocale().separators);
    explanation = ExplainCell(WatchForm(form, *notebook.framework), *cell, options.depth);
    forms.push_back(ProblemsOf(form, *notebook.framework, result));
  });
  AddUnread(forms, notebook);
  FormProblems& problems = forms.front();
  std::erase_if(problems.problems, [&](const ktformula::Problem& problem) {
    return !Concerns(problem, cell->Cell());
  });
  if (options.json) {
    console.out << ExplanationJson(explanation, problems) << '\n';
  } else {
    console.out << ExplanationText(explanation, console.style);
    if (!problems.problems.empty()) console.out << '\n' << ProblemsText(forms, console.style);
  }
  return kExitDone;
}

}  // namespace ktnotebook
