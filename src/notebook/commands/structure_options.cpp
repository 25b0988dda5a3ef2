#include "notebook/commands/structure_options.h"

#include <CLI/CLI.hpp>
#include <limits>
#include <memory>

#include "notebook/commands/command_set.h"

namespace ktnotebook {

namespace {

constexpr const char* kPart = "FORM, FORM/TABLE, FORM/TABLE:COLUMN or, for a row, FORM/TABLE::ROW";

struct StructureCommand {
  CLI::App* command;
  std::shared_ptr<StructureOptions> options;
};

StructureCommand Add(CommandSet& commands, const CommandHelp& help, const std::string& target,
                     const std::string& target_help,
                     int (*run)(const StructureOptions&, Console&)) {
  const auto options = std::make_shared<StructureOptions>();
  CLI::App* command =
      commands.Add(help, [options, run](Console& console) { return run(*options, console); });
  command->add_option(target, options->target, target_help)->required();
  CLI::Option* const file =
      command->add_option("--file", options->file, "the notebook file that is changed")
          ->check(&CheckGiven);
  command
      ->add_option("--db", options->database,
                   "the database that keeps the notebooks, unless there is a file: a file or "
                   "postgresql://...")
      ->capture_default_str()
      ->excludes(file);
  command->add_flag("--json", options->json, "print JSON");
  commands.AddAllRows(command);
  return {command, options};
}

void AddPlace(const StructureCommand& to) {
  const auto [command, options] = to;
  CLI::Option* const before =
      command->add_option("--before", options->before, "in front of this table, column or row");
  CLI::Option* const after =
      command->add_option("--after", options->after, "behind this one")->excludes(before);
  command->add_option("--at", options->at, "at this place, counted from 1")
      ->type_name("N")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()).description(""))
      ->excludes(before)
      ->excludes(after);
}

void AddNew(CommandSet& commands) {
  Add(commands,
      {"new",
       "make an empty form, and the notebook file or database if there is none",
       {{"ktnotebook new Weighings --file weighings.xml", "a notebook with an empty form"}}},
      "FORM", "the form's name", &NewForm);
}

void AddAdd(CommandSet& commands) {
  const StructureCommand add =
      Add(commands,
          {"add",
           "add a table, a column or a row, recalculate, and print what changed",
           {{"ktnotebook add Weighings/Samples --file weighings.xml", "a table"},
            {"ktnotebook add Weighings/Samples:Mass --unit mg --file weighings.xml",
             "a column of numbers in mg"},
            {"ktnotebook add Weighings/Samples::A1 --tag Lot=B-17 --file weighings.xml",
             "a row with a tag"}}},
          "PART", "FORM/TABLE, FORM/TABLE:COLUMN or, for a row, FORM/TABLE::ROW", &AddPart);
  AddPlace(add);
  const auto [command, options] = add;
  command->add_option(
      "--type", options->type,
      "of a column: string, number, date, Boolean, structure; number where there is a unit, "
      "otherwise string");
  command->add_option("--unit", options->unit,
                      "of a column: the unit of numbers typed without one; with it numbers are "
                      "formatted");
  command->add_flag("--number-formatting", options->number_formatting,
                    "of a column of numbers: results with the digits and units of what was typed "
                    "in");
  command->add_option("--tag", options->tags, "of a row; may be given more than once")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false)
      ->check([](const std::string& tag) {
        const std::size_t separator = tag.find('=');
        return separator == 0 || separator == tag.npos ? "\"" + tag + "\" is not NAME=VALUE"
                                                       : std::string();
      });
}

void AddRename(CommandSet& commands) {
  const auto [command, options] =
      Add(commands,
          {"rename",
           "give a part another name, in every formula too, recalculate, and print what changed",
           {{"ktnotebook rename Weighings/Samples:Mass Weight --file weighings.xml",
             "[Mass] becomes [Weight] in every formula that means this column"}}},
          "PART", kPart, &RenamePart);
  command->add_option("NAME", options->name, "the new name, or the row's new id")->required();
}

void AddMove(CommandSet& commands) {
  const StructureCommand move =
      Add(commands,
          {"move",
           "move a part among its siblings, recalculate, and print what changed",
           {{"ktnotebook move Weighings/Samples:Weight --at 1 --file weighings.xml",
             "the column becomes the first"}}},
          "PART", kPart, &MovePart);
  AddPlace(move);
  move.command->parse_complete_callback([options = move.options] {
    if (!options->HasPlace()) throw CLI::RequiredError("--before, --after or --at");
  });
}

void AddRemove(CommandSet& commands) {
  const auto [command, options] =
      Add(commands,
          {"remove",
           "remove a part with all that is in it, recalculate, and print what changed",
           {{"ktnotebook remove Weighings/Samples::A1 --file weighings.xml", "the row is gone"}}},
          "PART", kPart, &RemovePart);
  command->add_flag("--force", options->force, "also where formulas refer to it");
}

}  // namespace

void AddStructureCommands(CommandSet& commands) {
  AddNew(commands);
  AddAdd(commands);
  AddRename(commands);
  AddMove(commands);
  AddRemove(commands);
}

}  // namespace ktnotebook
