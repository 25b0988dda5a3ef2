#include "notebook/commands/recalculate_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <memory>

#include "notebook/commands/command_set.h"

namespace ktnotebook {

namespace {

// What goes with a database too.
constexpr std::array<const char*, 6> kWithDatabase{"--all",    "--json",    "--strict",
                                                   "--locale", "--verbose", "--help"};

// The option --db, which stands in for the file.
void AddDatabase(CLI::App* command, std::optional<std::string>& database, CLI::Option* file) {
  const std::vector<CLI::Option*> others = command->get_options();
  CLI::Option* const option =
      command
          ->add_option("--db", database,
                       "recalculate the forms of this database, a file or postgresql://..., whose "
                       "results are not known to be current; needs --all")
          ->type_name("DATABASE")
          ->check(&CheckGiven);
  CLI::Option* const all = command->get_option("--all");
  all->description("print all rows of long tables; with --db recalculate all forms");
  option->needs(all);
  for (CLI::Option* const other : others) {
    const bool goes_with_it =
        std::any_of(kWithDatabase.begin(), kWithDatabase.end(),
                    [other](const char* name) { return other->check_name(name); });
    if (!goes_with_it) option->excludes(other);
  }
  command->parse_complete_callback([file, option] {
    if (file->count() + option->count() == 0) throw CLI::RequiredError("FILE, or --db with --all,");
  });
}

}  // namespace

void AddRecalculateCommands(CommandSet& commands) {
  const auto options = std::make_shared<RecalculateOptions>();
  CLI::App* command = commands.Add(
      {"recalculate",
       "recalculate a notebook file, or a CSV file, and print its tables; or all forms of a "
       "database",
       {{"ktnotebook recalculate examples/aspirin.xml", "prints the tables with all results"},
        {"ktnotebook recalculate examples/puromycin.xml -o puromycin.xml",
         "writes the notebook with all results"},
        {"ktnotebook recalculate examples/data/puromycin.csv "
         "--formula 'Ratio=[rate]/[conc]' -o ratio.csv",
         "adds a column to measured data"},
        {"ktnotebook import examples/aspirin.xml", "keeps the notebook in notebook.db"},
        {"ktnotebook recalculate --db notebook.db --all",
         "recalculates the forms of a database that need it, together with everybody who runs the "
         "same command"}}},
      [options](Console& console) {
        return options->database ? RecalculateStored(*options, console)
                                 : Recalculate(*options, console);
      });
  CLI::Option* const file = command->add_option(
      "FILE", options->file,
      "notebook, .csv or .tsv file; \"-\" is the standard input, a notebook when it "
      "begins with \"<\" and CSV otherwise");
  command
      ->add_option("-o,--output", options->output,
                   "write the notebook, or a .csv or .tsv file, here instead of printing tables")
      ->type_name("FILE")
      ->check(&CheckGiven);
  command->add_flag("--json", options->json, "print JSON");
  command
      ->add_option("--rounds", options->rounds,
                   "rounds to try until nothing changes; otherwise one more than the form has "
                   "formula cells, at least 8 and at most 10000")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000).description(""));
  commands.AddTableStyle(command);
  command->add_flag("--strict", options->strict, "exit with 3 when a cell shows an error");
  AddCsvOptions(command, options->csv);
  command->add_flag(
      "--spreadsheet-safe", options->is_spreadsheet_safe,
      "when a CSV file is written: an apostrophe in front of texts that a spreadsheet "
      "would take for formulas");
  AddDatabase(command, options->database, file);
}

}  // namespace ktnotebook
