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

// The words of a command line; what is in quotes is one.
std::vector<std::string> ShellWords(std::string_view line) {
  std::vector<std::string> words(1);
  char quote = '\0';
  for (const char character : line) {
    if (quote == '\0' && character == ' ') {
      words.emplace_back();
      continue;
    }
    words.back().push_back(character);
    if (quote == character) {
      quote = '\0';
    } else if (quote == '\0' && (character == '\'' || character == '"')) {
      quote = character;
    }
  }
  return words;
}

// The command line of an example, which goes on behind a backslash where it is too long.
std::string ExampleLines(const std::string& line) {
  constexpr std::string_view kBreak = " \\";
  const std::vector<std::string> words = ShellWords(line);
  std::string text;
  std::string shown = "  " + words.front();
  for (auto word = words.begin() + 1; word != words.end(); ++word) {
    if (shown.size() + 1 + word->size() + kBreak.size() > kTerminalWidth) {
      text += shown + std::string(kBreak) + "\n";
      shown = "   ";
    }
    shown += " " + *word;
  }
  return text + shown + "\n";
}

std::string Examples(const std::vector<CommandExample>& examples) {
  if (examples.empty()) return "";
  std::string text = "\nExamples:\n";
  for (const CommandExample& example : examples)
    text += ExampleLines(example.line) + Wrap(example.does, "      ", "      ", kTerminalWidth);
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
