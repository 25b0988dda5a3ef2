#include "notebook/commands/recalculate_options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "notebook/commands/command_set.h"

namespace ktnotebook {

void AddRecalculateCommands(CommandSet& commands) {
  const auto options = std::make_shared<RecalculateOptions>();
  CLI::App* command = commands.Add(
      {"recalculate",
       "recalculate a notebook file, or a CSV file, and print its tables",
       {{"ktnotebook recalculate examples/aspirin.xml", "prints the tables with all results"},
        {"ktnotebook recalculate examples/puromycin.xml -o puromycin.xml",
         "writes the notebook with all results"},
        {"ktnotebook recalculate examples/data/puromycin.csv "
         "--formula 'Ratio=[rate]/[conc]' -o ratio.csv",
         "adds a column to measured data"}}},
      [options](Console& console) { return Recalculate(*options, console); });
  command
      ->add_option("FILE", options->file,
                   "notebook, .csv or .tsv file; \"-\" is the standard input, a notebook when it "
                   "begins with \"<\" and CSV otherwise")
      ->required();
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
}

}  // namespace ktnotebook
