// The commands about the commands: help, completion.
#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "notebook/commands/arguments.h"
#include "notebook/commands/help_pages.h"

namespace ktnotebook {

namespace {

struct HelpOptions {
  std::string command;
  bool manual = false;
};

int PrintHelp(const HelpOptions& options, const CommandSet& commands, Console& console) {
  if (options.manual) {
    console.out << ManualPage(commands);
    return kExitDone;
  }
  if (options.command.empty()) {
    console.out << ProgramHelpText(commands);
    return kExitDone;
  }
  for (const CommandSet::Command& command : commands.All()) {
    if (command.help.name != options.command) continue;
    console.out << CommandHelpText(command);
    return kExitDone;
  }
  console.Say(UnknownCommandText(options.command, commands.Program()));
  return kExitWrongUsage;
}

void AddHelp(CommandSet& commands) {
  const auto options = std::make_shared<HelpOptions>();
  CLI::App* command = commands.Add(
      {"help",
       "explain the program, or one of its commands",
       {{"ktnotebook help recalculate", "prints what recalculate does, with its options"},
        {"ktnotebook help --man > ktnotebook.1",
         "makes the manual page, which man ./ktnotebook.1 "
         "shows"}}},
      [options, &commands](Console& console) { return PrintHelp(*options, commands, console); });
  command->add_option("COMMAND", options->command, "explain this command");
  command->add_flag("--man", options->manual, "print the manual page, in roff");
}

using ScriptOf = std::string (*)(const CommandSet&);

// What makes the script for a shell; null for one that there is none for.
ScriptOf FindShell(const std::string& name) {
  return name == "bash" ? &BashCompletion : nullptr;
}

void AddCompletion(CommandSet& commands) {
  const auto shell = std::make_shared<std::string>();
  commands
      .Add({"completion",
            "print a script that completes command lines in a shell",
            {{"source <(ktnotebook completion bash)", "completes them in this shell"},
             {"ktnotebook completion bash > ktnotebook.bash",
              "keeps the script, to be sourced by ~/.bashrc"}}},
           [shell, &commands](Console& console) {
             console.out << FindShell(*shell)(commands);
             return kExitDone;
           })
      ->add_option("SHELL", *shell, "the shell: bash")
      ->required()
      ->check([](const std::string& name) {
        return FindShell(name) ? std::string() : "there is no completion for " + name;
      });
}

}  // namespace

void AddHelpCommands(CommandSet& commands) {
  AddHelp(commands);
  AddCompletion(commands);
}

}  // namespace ktnotebook
