#include "notebook/commands/command_set.h"

#include <CLI/CLI.hpp>
#include <utility>

#include "notebook/commands/help_pages.h"
#include "notebook/commands/option_texts.h"
#include "notebook/tables/locale_names.h"

namespace ktnotebook {

namespace {

constexpr const char* kVersion = "ktnotebook " KT_VERSION;

}  // namespace

std::string CheckGiven(const std::string& value) {
  return value.empty() ? "the name is empty" : std::string();
}

CommandSet::CommandSet(CLI::App& program, Console& console) : program_(program), console_(console) {
  program_.formatter_fn([this](const CLI::App* app, const std::string&, CLI::AppFormatMode) {
    for (const Command& command : commands_) {
      if (command.app == app) return CommandHelpText(command);
    }
    return ProgramHelpText(*this);
  });
  AddCommonOptions(program_);
}

void CommandSet::AddCommonOptions(CLI::App& app) {
  const std::string group(kCommonOptions);
  app.set_help_flag("-h,--help", "explain this and do nothing else")->group(group);
  app.set_version_flag("--version", kVersion, "print the version and do nothing else")
      ->group(group);
  app.add_option("--locale", locale_,
                 "separators of numbers that are typed and shown: \"C\" or a name such as de_DE")
      ->type_name("LOCALE")
      ->capture_default_str()
      ->group(group)
      ->check([](const std::string& name) {
        return FindLocale(name) ? std::string() : "unknown locale " + name;
      });
  app.add_flag("--verbose", console_.verbose, "tell the numbers of errors and where they come from")
      ->group(group);
}

CLI::App* CommandSet::Add(const CommandHelp& help, Run run) {
  CLI::App* command = program_.add_subcommand(help.name, help.summary);
  commands_.push_back({help, command});
  AddCommonOptions(*command);
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

int CommandSet::RunChosen() const {
  console_.style.locale = *FindLocale(locale_);
  return chosen_(console_);
}

}  // namespace ktnotebook
