#include "notebook/commands/check_options.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "notebook/commands/command_set.h"
#include "notebook/commands/commands.h"
#include "notebook/commands/interruption.h"
#include "notebook/commands/json_output.h"
#include "notebook/commands/problems_output.h"
#include "notebook/commands/progress.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {

namespace {

Notebook ReadChecked(const CheckOptions& options, const Console& console) {
  if (!options.database) {
    return ReadInput(options.target, options.csv, false, console.style.locale);
  }
  const NotebookStore store(OpenDatabase(*options.database, false), false);
  const Transaction reading(store.Connection(), TransactionKind::kReading);
  return store.Load(ArgumentText(options.target));
}

FormProblems RecalculateAndCheck(NotebookForm& form, const Notebook& notebook,
                                 const Console& console) {
  FormProblems problems;
  RunInterruptibly([&] {
    const ProgressLine progress(form, console);
    const RecalculationResult result = RecalculateForm(form, RoundLimit(form));
    problems = ProblemsOf(form, *notebook.framework, result);
  });
  return problems;
}

}  // namespace

int Check(const CheckOptions& options, Console& console) {
  const Notebook notebook = ReadChecked(options, console);
  std::vector<FormProblems> forms;
  for (const Ref<NotebookForm>& form : notebook.forms)
    forms.push_back(RecalculateAndCheck(*form, notebook, console));
  AddUnread(forms, notebook);
  if (options.json) {
    console.out << "{\"problems\":" << ProblemListJson(forms) << "}\n";
  } else {
    console.out << ProblemsText(forms, console.style);
  }
  return options.strict && HaveErrors(forms) ? kExitErrorsShown : kExitDone;
}

void AddCheckCommands(CommandSet& commands) {
  const auto options = std::make_shared<CheckOptions>();
  CLI::App* command = commands.Add(
      {"check",
       "find what is wrong, or odd, with formulas, definitions and formats",
       {{"ktnotebook check examples/aspirin.xml", "looks at every formula of a notebook file"},
        {"ktnotebook check examples/data/puromycin.csv --formula 'Ratio=[rate]/[conc]'",
         "tries a formula on a CSV file"}}},
      [options](Console& console) { return Check(*options, console); });
  command
      ->add_option("FILE or FORM", options->target,
                   "notebook or .csv file; with --db the name of a form")
      ->required();
  command->add_option("--db", options->database,
                      "the database that keeps the form: a file or postgresql://...");
  command->add_flag("--json", options->json, "print JSON");
  command->add_flag("--strict", options->strict,
                    "exit with 3 when there is a problem of severity error");
  AddCsvOptions(command, options->csv);
}

}  // namespace ktnotebook
