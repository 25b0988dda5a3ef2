#include "notebook/commands/explain_options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "notebook/commands/command_set.h"

namespace ktnotebook {

void AddExplainCommands(CommandSet& commands) {
  const auto options = std::make_shared<ExplainOptions>();
  CLI::App* command =
      commands.Add({"explain",
                    "tell why a cell shows what it shows",
                    {{"ktnotebook explain 'Aspirin/Products:Yield:ASA' --file examples/aspirin.xml",
                      "What the yield is computed from, and why it has its digits."},
                     {"ktnotebook explain 'Aspirin/Products:Yield:ASA' --file examples/aspirin.xml "
                      "--depth 1",
                      "The same, without what is behind the yield's own inputs."}}},
                   [options](Console& console) { return Explain(*options, console); });
  command->add_option("FORM/TABLE:COLUMN:ROW", options->cell, "the cell")->required();
  CLI::Option* file =
      command->add_option("--file", options->file, "the notebook or .csv file that holds the cell")
          ->check(&CheckGiven);
  command
      ->add_option("--db", options->database,
                   "the database that keeps the notebook: a file or postgresql://...")
      ->capture_default_str()
      ->excludes(file);
  command
      ->add_option("--depth", options->depth,
                   "how far to follow what the cell is computed from: 1 for its own inputs")
      ->capture_default_str()
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000).description(""));
  command->add_flag("--json", options->json, "print JSON");
  AddCsvOptions(command, options->csv);
}

}  // namespace ktnotebook
