#include "notebook/commands/command_set.h"

#include <CLI/CLI.hpp>
#include <utility>

#include "notebook/commands/locale_names.h"
#include "values/platform.h"

namespace ktnotebook {

namespace {

std::string ExamplesText(const std::vector<CommandExample>& examples) {
  std::string text;
  for (const CommandExample& example : examples) {
    text +=
        (text.empty() ? "Examples:\n  " : "  ") + example.line + "\n      " + example.does + "\n";
  }
  return text;
}

}  // namespace

std::string CheckGiven(const std::string& value) {
  return value.empty() ? "the name is empty" : std::string();
}

CLI::App* CommandSet::Add(const CommandHelp& help, Run run) {
  CLI::App* command = program_.add_subcommand(help.name, help.summary);
  command->set_version_flag("--version", program_.version());
  command->footer(ExamplesText(help.examples));
  AddLocale(command);
  command->add_flag("--verbose", console_.verbose,
                    "tell the numbers of errors and where they come from");
  command->callback([this, run = std::move(run)] { chosen_ = run; });
  return command;
}

void CommandSet::AddAllRows(CLI::App* command) {
  command->add_flag("--all", console_.style.all_rows, "print all rows of long tables");
}

void CommandSet::AddTableStyle(CLI::App* command) {
  AddAllRows(command);
  command->add_flag("--marks", console_.style.marks, "put = in front of what is computed");
}

void CommandSet::AddLocale(CLI::App* app) {
  app->add_option("--locale", locale_, "number separators: \"C\" or a name such as de_DE")
      ->capture_default_str()
      ->check([](const std::string& name) {
        return FindLocale(name) ? std::string() : "unknown locale " + name;
      });
}

int CommandSet::RunChosen() const {
  ktformula::SetUserLocale(*FindLocale(locale_));
  return chosen_(console_);
}

}  // namespace ktnotebook
