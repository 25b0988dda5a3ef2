#include "notebook/commands/store_options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "notebook/commands/command_set.h"

namespace ktnotebook {

namespace {

struct StoreCommand {
  CLI::App* command;
  std::shared_ptr<StoreOptions> options;
};

// A command over a database; `target` is what it calls its first argument, "" for none.
StoreCommand Add(CommandSet& commands, const CommandHelp& help, const std::string& target,
                 int (*run)(const StoreOptions&, Console&)) {
  const auto options = std::make_shared<StoreOptions>();
  CLI::App* command =
      commands.Add(help, [options, run](Console& console) { return run(*options, console); });
  if (!target.empty()) command->add_option(target, options->target, "")->required();
  command
      ->add_option("--db", options->database,
                   "the database that keeps the notebooks: a file or postgresql://...")
      ->capture_default_str();
  command->add_flag("--json", options->json, "print JSON");
  return {command, options};
}

void AddExport(CommandSet& commands) {
  const auto [command, options] =
      Add(commands, {"export", "print a form as a notebook file"}, "FORM", &Export);
  command->add_option("-o,--output", options->output, "write the notebook file here")
      ->check(&CheckGiven);
}

void AddShow(CommandSet& commands) {
  commands.AddTableStyle(Add(commands, {"show", "print a form's tables"}, "FORM", &Show).command);
}

void AddSet(CommandSet& commands) {
  const auto [command, options] =
      Add(commands, {"set", "type a text into a cell, recalculate, and print what changed"},
          "FORM/TABLE:COLUMN:ROW", &SetCell);
  commands.AddAllRows(command);
  command->add_option("TEXT", options->value, "what the cell holds from now on; '' empties it")
      ->required();
}

void AddFormula(CommandSet& commands) {
  const auto [command, options] =
      Add(commands,
          {"formula", "show a column's formula, or change it, recalculate, and print what changed"},
          "FORM/TABLE:COLUMN", &EditFormula);
  commands.AddAllRows(command);
  command->add_option("FORMULA", options->value, "the new formula; '' removes it");
  command->add_option("--format", options->format, "number pattern, \"%\" for a percentage");
}

void AddDefinition(CommandSet& commands) {
  const auto [command, options] = Add(
      commands,
      {"definition", "show a named definition, or change it, recalculate, and print what changed"},
      "FORM/TABLE:NAME", &EditDefinition);
  commands.AddAllRows(command);
  command->add_option("FORMULA", options->value, "the new formula; '' removes it");
}

}  // namespace

void AddStoreCommands(CommandSet& commands) {
  Add(commands, {"import", "keep a notebook file's forms in the database"}, "FILE", &Import);
  AddExport(commands);
  Add(commands, {"list", "list the forms in the database"}, "", &List);
  AddShow(commands);
  AddSet(commands);
  AddFormula(commands);
  AddDefinition(commands);
}

}  // namespace ktnotebook
