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

// What comes before a command that needs a database.
const CommandExample kImport{"ktnotebook import examples/aspirin.xml",
                             "keeps the notebook in notebook.db"};

// A command over a database, with its first argument and what that is, "" for none.
StoreCommand Add(CommandSet& commands, const CommandHelp& help, const std::string& target,
                 const std::string& target_help, int (*run)(const StoreOptions&, Console&)) {
  const auto options = std::make_shared<StoreOptions>();
  CLI::App* command =
      commands.Add(help, [options, run](Console& console) { return run(*options, console); });
  if (!target.empty()) command->add_option(target, options->target, target_help)->required();
  command
      ->add_option("--db", options->database,
                   "the database that keeps the notebooks: a file or postgresql://...")
      ->type_name("DATABASE")
      ->capture_default_str();
  command->add_flag("--json", options->json, "print JSON");
  return {command, options};
}

void AddImport(CommandSet& commands) {
  Add(commands,
      {"import",
       "keep a notebook file's forms in the database",
       {kImport,
        {"ktnotebook import examples/puromycin.xml --db kinetics.db", "names the database"}}},
      "FILE", "notebook file; \"-\" is standard input", &Import);
}

void AddExport(CommandSet& commands) {
  const auto [command, options] = Add(commands,
                                      {"export",
                                       "print a form as a notebook file",
                                       {kImport,
                                        {"ktnotebook export Aspirin", "prints it"},
                                        {"ktnotebook export Aspirin -o aspirin.xml", "writes it"}}},
                                      "FORM", "the form's name", &Export);
  command->add_option("-o,--output", options->output, "write the notebook file here")
      ->type_name("FILE")
      ->check(&CheckGiven);
}

void AddList(CommandSet& commands) {
  const auto [command, options] = Add(commands,
                                      {"list",
                                       "list the forms in the database",
                                       {kImport,
                                        {"ktnotebook list", "prints a name on each line"},
                                        {"ktnotebook list --json", "prints them as JSON"}}},
                                      "", "", &List);
  command->add_flag("--outdated", options->is_outdated,
                    "those alone that \"recalculate --all\" would recalculate");
}

void AddShow(CommandSet& commands) {
  const StoreCommand show = Add(commands,
                                {"show",
                                 "print a form's tables",
                                 {kImport,
                                  {"ktnotebook show Aspirin", "prints them as they are kept"},
                                  {"ktnotebook show Aspirin --json", "prints them as JSON"}}},
                                "FORM", "the form's name", &Show);
  commands.AddTableStyle(show.command);
}

void AddSet(CommandSet& commands) {
  const auto [command, options] =
      Add(commands,
          {"set",
           "type a text into a cell, recalculate, and print what changed",
           {kImport,
            {"ktnotebook set Aspirin/Reactants:Mass:SA '2.50 g'", "weighs in another mass"},
            {"ktnotebook set Aspirin/Reactants:Mass:SA ''", "empties the cell"}}},
          "FORM/TABLE:COLUMN:ROW", "the cell; ROW is the row's ID, else its number", &SetCell);
  commands.AddAllRows(command);
  command->add_option("TEXT", options->value, "what the cell holds from now on; '' empties it")
      ->required();
}

void AddFormula(CommandSet& commands) {
  const auto [command, options] =
      Add(commands,
          {"formula",
           "show a column's formula, or change it, recalculate, and print what changed",
           {kImport,
            {"ktnotebook formula Aspirin/Products:Yield", "shows the formula and its format"},
            {"ktnotebook formula Aspirin/Products:Yield --format 0.0%", "changes the format"},
            {"ktnotebook formula Aspirin/Reactants:Moles '[Mass]/[MW]'", "changes the formula"}}},
          "FORM/TABLE:COLUMN", "the column", &EditFormula);
  commands.AddAllRows(command);
  command->add_option("FORMULA", options->value, "the new formula; '' removes it");
  command->add_option("--format", options->format, "number pattern, \"%\" for a percentage")
      ->type_name("PATTERN");
}

void AddDefinition(CommandSet& commands) {
  const auto [command, options] =
      Add(commands,
          {"definition",
           "show a named definition, or change it, recalculate, and print what changed",
           {kImport,
            {"ktnotebook definition Aspirin/Reactants:total 'SUM([Mass])'", "defines a name"},
            {"ktnotebook definition Aspirin/Reactants:total", "shows what it stands for"}}},
          "FORM/TABLE:NAME", "the table and the name that is defined in it", &EditDefinition);
  commands.AddAllRows(command);
  command->add_option("FORMULA", options->value, "the new formula; '' removes it");
}

}  // namespace

void AddStoreCommands(CommandSet& commands) {
  AddImport(commands);
  AddExport(commands);
  AddList(commands);
  AddShow(commands);
  AddSet(commands);
  AddFormula(commands);
  AddDefinition(commands);
}

}  // namespace ktnotebook
