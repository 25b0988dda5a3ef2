#include "notebook/commands/help_pages.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "notebook/commands/option_texts.h"
#include "notebook/commands/wrap.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kTerminalWidth = 80;
// Where explanations begin.
constexpr std::size_t kHelpColumn = 26;

std::string Entry(const std::string& syntax, const std::string& help) {
  const std::string indent(kHelpColumn, ' ');
  std::string first = "  " + syntax;
  std::string text;
  if (first.size() + 2 > kHelpColumn) {
    text = first + "\n";
    first.clear();
  }
  first.resize(kHelpColumn, ' ');
  return text + Wrap(help, first, indent, kTerminalWidth);
}

std::string Entries(const std::string& heading, const std::vector<OptionText>& options) {
  if (options.empty()) return "";
  std::string text = "\n" + heading + ":\n";
  for (const OptionText& option : options)
    text += Entry(option.Syntax(), option.help);
  return text;
}

// An example's line, or lines, below one another.
std::string Lines(const std::string& line) {
  std::string text = "  ";
  for (const char character : line) {
    text += character;
    if (character == '\n') text += "    ";
  }
  return text + "\n";
}

std::string Examples(const std::vector<CommandExample>& examples) {
  if (examples.empty()) return "";
  std::string text = "\nExamples:\n";
  for (const CommandExample& example : examples)
    text += Lines(example.line) + Wrap(example.does, "      ", "      ", kTerminalWidth);
  return text;
}

}  // namespace

std::string ProgramHelpText(const CommandSet& commands) {
  std::string text = commands.Program().get_description() +
                     "\n\nUsage: ktnotebook COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands:\n";
  for (const CommandSet::Command& command : commands.All())
    text += Entry(command.help.name, command.help.summary);
  return text + Entries("Options", OptionTextsOf(commands.Program()).common) +
         "\n\"ktnotebook help COMMAND\" tells more about a command, with examples.\n";
}

std::string CommandHelpText(const CommandSet::Command& command) {
  const OptionTexts options = OptionTextsOf(*command.app);
  return Wrap(command.help.summary, "", "", kTerminalWidth) + "\nUsage: " + UsageOf(*command.app) +
         "\n" + Entries("Arguments", options.arguments) + Entries("Options", options.own) +
         Entries(std::string(kCommonOptions), options.common) + Examples(command.help.examples);
}

}  // namespace ktnotebook
