#include "notebook/commands/recalculate_options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "notebook/commands/command_set.h"

namespace ktnotebook {

void AddRecalculateCommands(CommandSet& commands) {
  const auto options = std::make_shared<RecalculateOptions>();
  CLI::App* command = commands.Add(
      {"recalculate", "recalculate a notebook file, or a CSV file, and print its tables"},
      [options](Console& console) { return Recalculate(*options, console); });
  command
      ->add_option("FILE", options->file,
                   "notebook, .csv or .tsv file; \"-\" is the standard input, a notebook when it "
                   "begins with \"<\" and CSV otherwise")
      ->required();
  command
      ->add_option("-o,--output", options->output,
                   "write the notebook, or a .csv or .tsv file, here instead of printing tables")
      ->check(&CheckGiven);
  command->add_flag("--json", options->json, "print JSON");
  command
      ->add_option("--rounds", options->rounds,
                   "rounds to try until nothing changes; otherwise one more than the form has "
                   "formula cells, at least 8 and at most 10000")
      ->check(CLI::Range(1, 1'000'000));
  commands.AddTableStyle(command);
  command->add_flag("--strict", options->strict, "exit with 3 when a cell shows an error");
  AddCsvOptions(command, options->csv);
  command->add_flag(
      "--spreadsheet-safe", options->is_spreadsheet_safe,
      "when a CSV file is written: an apostrophe in front of texts that a spreadsheet "
      "would take for formulas");
}

}  // namespace ktnotebook
