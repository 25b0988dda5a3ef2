// Where commands register themselves: with a name, a help, options and what they do.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "notebook/commands/command_line.h"

namespace CLI {
class App;
}

namespace ktnotebook {

// A line that works as it stands where the folder examples/ is, and what it does.
struct CommandExample {
  std::string line;
  std::string does;
};

struct CommandHelp {
  std::string name;
  std::string summary;
  std::vector<CommandExample> examples = {};
};

// The commands of the program and the one that was chosen. Each family of commands has a file of
// its own, which adds them, and a row in the list of families.
class CommandSet {
 public:
  using Run = std::function<int(Console&)>;

  struct Command {
    CommandHelp help;
    CLI::App* app = nullptr;
  };

  // Gives the program its own options and its help. `console` and `program` live longer.
  CommandSet(CLI::App& program, Console& console);
  CommandSet(const CommandSet&) = delete;
  CommandSet& operator=(const CommandSet&) = delete;

  // Adds a command with the options that all have. The caller adds its own, to be written into
  // variables that `run` keeps alive; texts come as the user gave them.
  CLI::App* Add(const CommandHelp& help, Run run);

  // Options that several commands share: for those that print tables.
  void AddAllRows(CLI::App* command);
  // For commands that print a notebook's tables.
  void AddTableStyle(CLI::App* command);

  const CLI::App& Program() const noexcept { return program_; }
  // In the order in which they were added.
  const std::vector<Command>& All() const noexcept { return commands_; }

  // Runs the command that was chosen by parsing and gives its exit status.
  int RunChosen() const;

 private:
  void AddCommonOptions(CLI::App& app);

  CLI::App& program_;
  Console& console_;
  std::vector<Command> commands_;
  std::string locale_ = "C";
  Run chosen_;
};

// A check of an option: what is wrong with the value, "" when nothing is. An option that is there
// but empty is a mistake of whoever made up the call.
std::string CheckGiven(const std::string& value);

// The families of commands, in the order of the help.
void AddRecalculateCommands(CommandSet& commands);
void AddCheckCommands(CommandSet& commands);
void AddFormulaCommands(CommandSet& commands);
void AddStoreCommands(CommandSet& commands);
void AddStructureCommands(CommandSet& commands);
void AddExplainCommands(CommandSet& commands);
void AddHelpCommands(CommandSet& commands);

}  // namespace ktnotebook
