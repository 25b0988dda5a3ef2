#include "notebook/commands/recalculate_options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "notebook/commands/command_set.h"

namespace ktnotebook {

namespace {

std::string CheckSetting(const std::string& setting) {
  const std::size_t separator = setting.find('=');
  const bool has_name = separator != std::string::npos && separator != 0;
  return has_name ? std::string() : "\"" + setting + "\" is not NAME=VALUE";
}

void AddCsvOptions(CLI::App* command, RecalculateOptions& options) {
  const auto add_setting = [command](const std::string& name, std::vector<std::string>& values,
                                     const std::string& help) {
    command->add_option(name, values, "for CSV files: " + help)
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false)
        ->check(&CheckSetting);
  };
  add_setting("--formula", options.formulas,
              "the formula of a new column, or of the empty "
              "cells of one in the file; may be given more than once");
  add_setting("--format", options.formats, "number pattern of a formula column, or \"%\"");
  add_setting("--unit", options.units, "unit of a column");
  add_setting("--type", options.types,
              "data type of a column: string, number, date, Boolean, structure");
}

}  // namespace

void AddRecalculateCommands(CommandSet& commands) {
  const auto options = std::make_shared<RecalculateOptions>();
  CLI::App* command = commands.Add(
      {"recalculate", "recalculate a notebook file, or a CSV file, and print its tables"},
      [options](Console& console) { return Recalculate(*options, console); });
  command
      ->add_option("FILE", options->file,
                   "notebook or .csv file; \"-\" is a notebook from standard input")
      ->required();
  command
      ->add_option("-o,--output", options->output,
                   "write the notebook, or the .csv file, here instead of printing tables")
      ->check(&CheckGiven);
  command->add_flag("--json", options->json, "print JSON");
  command
      ->add_option("--rounds", options->rounds,
                   "rounds to try until nothing changes; otherwise one more than the form has "
                   "formula cells, at least 8 and at most 10000")
      ->check(CLI::Range(1, 1'000'000));
  commands.AddTableStyle(command);
  command->add_flag("--strict", options->strict, "exit with 3 when a cell shows an error");
  AddCsvOptions(command, *options);
}

}  // namespace ktnotebook
