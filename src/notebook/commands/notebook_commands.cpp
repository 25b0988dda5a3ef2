// The commands about notebooks: recalculate, and those over a database.
#include <algorithm>
#include <ostream>

#include "notebook/commands/address.h"
#include "notebook/commands/commands.h"
#include "notebook/commands/formula_edits.h"
#include "notebook/commands/interruption.h"
#include "notebook/commands/json_output.h"
#include "notebook/commands/notebook_input.h"
#include "notebook/commands/problems_output.h"
#include "notebook/commands/progress.h"
#include "notebook/commands/recalculate_form.h"
#include "notebook/commands/recalculate_options.h"
#include "notebook/commands/store_options.h"
#include "notebook/commands/text_output.h"
#include "notebook/commands/typing.h"
#include "notebook/files/csv_file.h"
#include "notebook/files/file.h"
#include "notebook/files/listener_face.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/edits.h"
#include "notebook/tables/recalculation.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::IKtFormulaListener;

std::string Quoted(std::u16string_view text) {
  return "\"" + ToUtf8(text) + "\"";
}

}  // namespace

RecalculationResult RecalculateAndReport(NotebookForm& form, std::optional<int> rounds,
                                         Console& console, const NotebookTable* first) {
  RecalculationResult result;
  RunInterruptibly([&] {
    const ProgressLine progress(form, console);
    result = RecalculateForm(form, rounds.value_or(RoundLimit(form)), first);
  });
  SayUnsettled(form, result, console);
  return result;
}

void SayUnsettled(const NotebookForm& form, const RecalculationResult& result,
                  const Console& console) {
  if (result.settled) return;
  console.Say("warning: form " + Quoted(form.Name()) + " has not settled after " +
              std::to_string(result.rounds) + (result.rounds == 1 ? " round" : " rounds"));
}

std::size_t CountErrors(const NotebookForm& form) {
  std::size_t count = 0;
  for (const NotebookTable* table : form.Tables()) {
    for (const Ref<NotebookColumn>& column : table->Columns()) {
      std::u16string buffer;
      const ColumnData& data = column->Data();
      for (std::size_t row = 0; row < data.Count(); ++row) {
        if (!data.IsGeneralNumber(row) && ShowsError(data.Text(row, buffer))) ++count;
      }
    }
  }
  return count;
}

void SayErrors(std::size_t count, const Console& console) {
  if (count == 0) return;
  console.Say(std::to_string(count) + (count == 1 ? " cell shows" : " cells show") + " an error");
}

namespace {

void PrintForms(const std::vector<Ref<NotebookForm>>& forms, Console& console) {
  const char* separator = "";
  for (const Ref<NotebookForm>& form : forms) {
    console.out << separator << FormText(*form, console.style);
    separator = "\n";
  }
}

// To be said where a file's content is kept elsewhere.
void SayDropped(const Notebook& notebook, const std::string& file, Console& console) {
  if (!notebook.dropped.empty())
    console.Say("note: " + file + ": " + notebook.dropped + " left out");
}

// Writes the text, or prints it when no file is named; "-" is the standard output.
void WriteOrPrint(const std::string& path, const std::string& text, Console& console) {
  if (path.empty() || path == "-") {
    console.out << text;
  } else {
    WriteWholeFile(path, text);
    console.SetDone(path + " is written");
  }
}

std::vector<const NotebookTable*> TablesOf(const Notebook& notebook) {
  std::vector<const NotebookTable*> tables;
  for (const Ref<NotebookForm>& form : notebook.forms) {
    for (const NotebookTable* table : form->Tables())
      tables.push_back(table);
  }
  return tables;
}

// Refuses what no CSV file can hold.
void CheckOneTable(const Notebook& notebook, const RecalculateOptions& options) {
  const std::vector<const NotebookTable*> tables = TablesOf(notebook);
  if (tables.size() == 1) return;
  std::string names;
  for (const NotebookTable* table : tables)
    names += (names.empty() ? ": " : ", ") + Quoted(table->Name());
  throw NotebookError(options.output + ": a CSV file holds one table, " + InputName(options.file) +
                      " has " + std::to_string(tables.size()) + names +
                      "; write a notebook file, such as out.xml, or take --json");
}

bool HasOwnIds(const NotebookTable& table) {
  for (const NotebookRow row : table.Rows()) {
    if (row.ID() != ktformula::ToDecimalText(row.Position())) return true;
  }
  return false;
}

// The notebook's only table; says what else the notebook has.
std::string CsvTextOf(const Notebook& notebook, const RecalculateOptions& options,
                      Console& console) {
  const NotebookTable& table = *TablesOf(notebook).front();
  std::string left_out = HasOwnIds(table) ? ", row IDs" : "";
  for (const Ref<NotebookForm>& form : notebook.forms) {
    for (const Ref<NotebookField>& field : form->Fields())
      if (!field->OwnTable()) left_out += ", " + Quoted(field->Name());
  }
  if (!left_out.empty()) console.Say("note: " + options.output + ": without " + left_out.substr(2));
  return WriteCsv(table, {DelimiterOf(options.output, options.csv), options.is_spreadsheet_safe,
                          console.style.locale});
}

// A form of the database as it is at one moment.
Notebook LoadForm(const StoreOptions& options) {
  const NotebookStore store(OpenDatabase(options.database, false), false);
  const Transaction reading(store.Connection(), TransactionKind::kReading);
  return store.Load(ArgumentText(options.target));
}

// The forms of the database that an address may mean: to be asked, or locked against others who
// would change them until the change to one of them is committed.
class FormChange {
 public:
  FormChange(const StoreOptions& options, Console& console, TransactionKind kind)
      : console_(console),
        is_json_(options.json),
        store_(OpenDatabase(options.database, false), false),
        transaction_(store_.Connection(), kind) {
    const Names names = FindFormNames(store_.FormNames(), ArgumentText(options.target));
    notebook_ =
        kind == TransactionKind::kReading ? store_.Load(names) : store_.LoadForChange(names);
    for (const Ref<NotebookForm>& form : notebook_.forms) {
      form->Log().keep_cells = true;
    }
  }

  const std::vector<Ref<NotebookForm>>& Forms() const { return notebook_.forms; }

  NotebookFramework& Framework() const { return *notebook_.framework; }

  void SaveListener(NotebookTable& table, IKtFormulaListener& listener) {
    store_.SaveListener(notebook_, table, FaceOf<ktformula::IKtFieldListener>(listener));
  }

  // Recalculates, stores what changed and prints it; `set` are cells that the user changed, and
  // `is_edited` tells which problems are those of a formula that the user changed.
  void Finish(const NotebookTable& table, const std::vector<NotebookCell>& set,
              const ProblemTest& is_edited = {}) {
    NotebookForm& form = table.Parent();
    const RecalculationResult result = RecalculateAndReport(form, std::nullopt, console_, &table);
    std::vector<NotebookCell>& cells = form.Log().cells;
    cells.insert(cells.end(), set.begin(), set.end());
    const std::vector<NotebookCell> changed = InFormOrder(cells);
    store_.SaveRecalculated(form, changed);
    transaction_.Commit();
    console_.SetDone("the form " + Quoted(form.Name()) + " is changed");
    const std::vector<FormProblems> problems{ProblemsOf(form, *notebook_.framework, result)};
    if (is_json_) {
      WriteFormsJson({{&form, result, changed}}, console_.out, problems);
    } else if (!changed.empty()) {
      console_.out << CellsText(changed, console_.style);
    }
    console_.out.flush();
    SayProblems(problems, console_, is_edited);
  }

 private:
  Console& console_;
  bool is_json_;
  NotebookStore store_;
  Transaction transaction_;
  Notebook notebook_;
};

// Prints a formula that was asked for.
void PrintFormula(const std::optional<ktformula::FormulaEntry>& known, Console& console) {
  if (!known) {
    console.Say("there is no formula");
    return;
  }
  // Its lines stay lines, so that what is printed can be typed in again.
  for (const std::u16string_view line : ktformula::Split(known->formula, u'\n')) {
    console.out << ToUtf8(Printable(line)) << '\n';
  }
  if (!known->string_format.empty()) {
    console.out << "format " << ToUtf8(Printable(known->string_format)) << '\n';
  }
}

// The same in JSON; `owner` is the column or definition in the table that has it.
void PrintFormulaJson(const NotebookTable& table, TextField owner,
                      const std::optional<ktformula::FormulaEntry>& known, Console& console) {
  std::vector<TextField> fields{
      {"form", table.Parent().Name()}, {"table", table.Name()}, std::move(owner)};
  fields.emplace_back("formula", known ? std::optional(known->formula) : std::nullopt);
  if (fields[2].first == "column")
    fields.emplace_back("format", known ? std::optional(known->string_format) : std::nullopt);
  console.out << TextsJson(fields) << '\n';
}

TransactionKind KindOf(const StoreOptions& options) {
  return options.value || options.format ? TransactionKind::kChangingForms
                                         : TransactionKind::kReading;
}

}  // namespace

int Recalculate(const RecalculateOptions& options, Console& console) {
  const bool writes_csv = IsCsvName(options.output);
  if (options.is_spreadsheet_safe && !writes_csv) {
    throw NotebookError("--spreadsheet-safe goes with -o and the name of a CSV file");
  }
  const Notebook notebook = ReadInput(options.file, options.csv, writes_csv, console.style.locale);
  if (writes_csv) CheckOneTable(notebook, options);
  for (const CsvNote& note : notebook.notes)
    console.Say("note: " + InputName(options.file) + ": " + NoteText(note));
  std::vector<FormReport> recalculated;
  std::vector<FormProblems> problems;
  std::size_t errors = 0;
  for (const Ref<NotebookForm>& form : notebook.forms) {
    const RecalculationResult result = RecalculateAndReport(*form, options.rounds, console);
    recalculated.push_back({form.get(), result});
    problems.push_back(ProblemsOf(*form, *notebook.framework, result));
    errors += CountErrors(*form);
  }
  AddUnread(problems, notebook);
  if (!options.output.empty()) {
    SayDropped(notebook, InputName(options.file), console);
    WriteOrPrint(options.output,
                 writes_csv ? CsvTextOf(notebook, options, console) : WriteNotebook(notebook),
                 console);
  }
  if (options.json) {
    WriteFormsJson(recalculated, console.out, problems);
  } else if (options.output.empty()) {
    PrintForms(notebook.forms, console);
  }
  console.out.flush();
  SayProblems(problems, console);
  SayErrors(errors, console);
  const bool is_bad = errors > 0 || HaveErrors(problems);
  return options.strict && is_bad ? kExitErrorsShown : kExitDone;
}

int Import(const StoreOptions& options, Console& console) {
  RequireNotebookName(options.target);
  Notebook notebook = ReadNotebookFile(options.target);
  SayDropped(notebook, options.target, console);
  std::vector<FormProblems> problems;
  for (const Ref<NotebookForm>& form : notebook.forms) {
    const RecalculationResult result = RecalculateAndReport(*form, std::nullopt, console);
    problems.push_back(ProblemsOf(*form, *notebook.framework, result));
  }
  const NotebookStore store(OpenDatabase(options.database, true), true);
  Transaction transaction(store.Connection(), store.KindOfAdding());
  for (const Ref<NotebookForm>& form : notebook.forms) {
    store.Add(notebook, *form);
    store.SaveRecalculated(*form, {});
  }
  transaction.Commit();
  console.SetDone(options.target + " is imported");
  std::vector<std::u16string> names;
  for (const Ref<NotebookForm>& form : notebook.forms)
    names.push_back(form->Name());
  if (options.json) {
    console.out << NameListJson(names) << '\n';
  } else {
    for (const std::u16string& name : names)
      console.out << "imported " << ToUtf8(Printable(u"\"" + name + u"\"")) << '\n';
  }
  console.out.flush();
  SayProblems(problems, console);
  return kExitDone;
}

int Export(const StoreOptions& options, Console& console) {
  RequireNotebookName(options.output);
  const std::string text = WriteNotebook(LoadForm(options));
  const bool is_printed = options.output.empty() || options.output == "-";
  if (!is_printed || !options.json) WriteOrPrint(options.output, text, console);
  if (options.json) {
    const TextField result = is_printed ? TextField("notebook", FromStoredUtf8(text))
                                        : TextField("written", ArgumentText(options.output));
    console.out << TextsJson({{"form", ArgumentText(options.target)}, result}) << '\n';
  }
  return kExitDone;
}

int List(const StoreOptions& options, Console& console) {
  const NotebookStore store(OpenDatabase(options.database, false), false);
  const std::vector<std::u16string> names =
      options.is_outdated
          ? NamesOf(store.OutdatedForms(), [](const auto& form) { return form.name; })
          : store.FormNames();
  if (options.json) {
    console.out << NameListJson(names) << '\n';
  } else {
    for (const std::u16string& name : names)
      console.out << ToUtf8(Printable(name)) << '\n';
  }
  return kExitDone;
}

int Show(const StoreOptions& options, Console& console) {
  const Notebook notebook = LoadForm(options);
  if (options.json) {
    WriteFormsJson({{notebook.forms.front().get()}}, console.out);
  } else {
    PrintForms(notebook.forms, console);
  }
  return kExitDone;
}

int SetCell(const StoreOptions& options, Console& console) {
  FormChange change(options, console, TransactionKind::kChangingForms);
  const NotebookCell cell = FindCell(change.Forms(), ArgumentText(options.target));
  const std::u16string text = ArgumentText(*options.value);
  const ktformula::Locale& locale = console.style.locale;
  if (const auto refusal = WhyNotTyped(cell, text, locale)) throw NotebookError(refusal->reason);
  cell.Enter(text, locale);
  change.Finish(cell.OwningRow().Parent(), {cell});
  return kExitDone;
}

int EditFormula(const StoreOptions& options, Console& console) {
  FormChange change(options, console, KindOf(options));
  NotebookColumn& column = FindColumn(change.Forms(), ArgumentText(options.target));
  if (!options.value && !options.format) {
    const std::optional<ktformula::FormulaEntry> known = FormulaOf(column);
    if (options.json) {
      PrintFormulaJson(column.Parent(), {"column", column.Definition().name}, known, console);
    } else {
      PrintFormula(known, console);
    }
    return kExitDone;
  }
  const auto text_of = [](const std::optional<std::string>& argument) {
    return argument ? std::optional(ArgumentText(*argument)) : std::nullopt;
  };
  FormEdits edits{Ref<NotebookForm>(&column.Parent().Parent())};
  const EditedFormula edited = EditFormulaOf(edits, change.Framework(), column,
                                             text_of(options.value), text_of(options.format));
  change.SaveListener(column.Parent(), *edited.listener);
  change.Finish(column.Parent(), edited.emptied, [&column](const ktformula::Problem& problem) {
    return ktformula::IsSameObject(problem.column.get(), &column);
  });
  return kExitDone;
}

int EditDefinition(const StoreOptions& options, Console& console) {
  FormChange change(options, console, KindOf(options));
  const auto [table, name] = FindDefinition(change.Forms(), ArgumentText(options.target));
  if (!options.value) {
    const auto known = DefinitionOf(*table, name);
    if (!known) throw NotebookError("there is no definition " + Quoted(name));
    if (options.json) {
      PrintFormulaJson(*table, {"definition", name}, known, console);
    } else {
      PrintFormula(known, console);
    }
    return kExitDone;
  }
  FormEdits edits{Ref<NotebookForm>(&table->Parent())};
  const EditedFormula edited =
      EditDefinitionOf(edits, change.Framework(), *table, name, ArgumentText(*options.value));
  change.SaveListener(*table, *edited.listener);
  change.Finish(*table, {}, [table = table, &name = name](const ktformula::Problem& problem) {
    return problem.definition == name && ktformula::IsSameObject(problem.table.get(), table);
  });
  return kExitDone;
}

}  // namespace ktnotebook
