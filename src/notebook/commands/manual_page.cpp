// The manual page.
#include <CLI/CLI.hpp>

#include "notebook/commands/help_pages.h"
#include "notebook/commands/option_texts.h"

namespace ktnotebook {

namespace {

// What a shell learns from the program.
constexpr struct {
  ExitStatus status;
  std::string_view meaning;
} kStatuses[] = {
    {kExitDone, "done; an error that a formula gives is a result"},
    {kExitFailed, "the input was refused, or the work failed"},
    {kExitWrongUsage, "wrong usage"},
    {kExitErrorsShown, "with --strict: a cell shows an error, or a problem stands"},
    {kExitInterrupted, "interrupted"},
};

// The text as roff shows it again: hyphens that can be copied, backslashes, and lines that begin
// with no request.
std::string Roff(std::string_view text) {
  std::string escaped;
  if (text.starts_with('.') || text.starts_with('\'')) escaped = "\\&";
  for (const char character : text) {
    if (character == '\\') {
      escaped += "\\e";
    } else if (character == '-') {
      escaped += "\\-";
    } else {
      escaped.push_back(character);
    }
  }
  return escaped;
}

std::string Bold(std::string_view text) {
  return "\\fB" + Roff(text) + "\\fR";
}

std::string Italic(std::string_view text) {
  return "\\fI" + Roff(text) + "\\fR";
}

// A word, or several, and what they mean.
std::string Entry(const std::string& tag, std::string_view meaning) {
  return ".TP\n" + tag + "\n" + Roff(meaning) + "\n";
}

std::string Entries(const std::vector<OptionText>& options) {
  std::string page;
  for (const OptionText& option : options) {
    std::string tag;
    for (const std::string& name : option.names)
      tag += (tag.empty() ? "" : ", ") + Bold(name);
    if (!option.value.empty()) tag += (tag.empty() ? "" : " ") + Italic(option.value);
    page += Entry(tag, option.help);
  }
  return page;
}

std::string Section(const CommandSet::Command& command) {
  const OptionTexts options = OptionTextsOf(*command.app);
  std::string page = ".SS " + command.help.name + "\n.nf\n" + Bold(UsageOf(*command.app)) +
                     "\n.fi\n.PP\n" + Roff(command.help.summary) + "\n" +
                     Entries(options.arguments) + Entries(options.own);
  for (const CommandExample& example : command.help.examples) {
    page += ".PP\n.nf\n" + Bold(example.line) + "\n.fi\n.RS\n" + Roff(example.does) + "\n.RE\n";
  }
  return page;
}

}  // namespace

std::string ManualPage(const CommandSet& commands) {
  const CLI::App& program = commands.Program();
  std::string page = ".TH KTNOTEBOOK 1 \"\" \"" + program.version() + "\" \"User Commands\"\n" +
                     ".SH NAME\nktnotebook \\- " + Roff(program.get_description()) +
                     "\n.SH SYNOPSIS\n" + Bold("ktnotebook") + " " + Italic("COMMAND") + " [" +
                     Italic("OPTIONS") + "] [" + Italic("ARGUMENTS") + "]\n.SH COMMANDS\n";
  for (const CommandSet::Command& command : commands.All())
    page += Section(command);
  page += ".SH COMMON OPTIONS\n" + Entries(OptionTextsOf(program).common);
  page += ".SH EXIT STATUS\n";
  for (const auto& [status, meaning] : kStatuses)
    page += Entry(Bold(std::to_string(status)), meaning);
  page += ".SH ENVIRONMENT\n" +
          Entry(Bold("NO_COLOR"), "when set and not empty: no colours and no progress");
  return page + ".SH FILES\n" + Entry(Italic("notebook.db"), "the database unless --db names one");
}

}  // namespace ktnotebook
