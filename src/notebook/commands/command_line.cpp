#include "notebook/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <ostream>

#include "notebook/commands/arguments.h"
#include "notebook/commands/command_set.h"
#include "notebook/commands/commands.h"
#include "notebook/commands/interruption.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "values/raised_error.h"

namespace ktnotebook {

namespace {

// The families of commands in the order of the help, before others' and those about all of them.
constexpr CommandFamily kFamilies[] = {
    &AddRecalculateCommands, &AddFormulaCommands, &AddStoreCommands,
    &AddStructureCommands,   &AddCheckCommands,   &AddExplainCommands,
};

// What to say of arguments that lack a command, or of a word that is no command, or no option of
// its command, whatever else is wrong.
std::optional<std::string> UnknownWord(const std::vector<std::string>& arguments,
                                       const CLI::App& program) {
  const CLI::App* const command = NamedCommand(arguments, program);
  if (command == nullptr && !arguments.empty() && !arguments.front().starts_with('-'))
    return UnknownCommandText(arguments.front(), program);
  for (const std::string& unknown : program.remaining(true)) {
    if (!unknown.starts_with("--")) continue;
    return UnknownOptionText(unknown.substr(0, unknown.find('=')),
                             command != nullptr ? *command : program);
  }
  if (command == nullptr) return "a command is required";
  return std::nullopt;
}

int ParseAndRun(const std::vector<std::string>& arguments, Console& console,
                std::span<const CommandFamily> more) {
  CLI::App program{"Notebooks whose tables calculate themselves.", "ktnotebook"};
  program.require_subcommand(1);
  // A slash begins a path or a formula's text on every system.
  program.allow_windows_style_options(false);
  CommandSet commands(program, console);
  for (const CommandFamily add : kFamilies)
    add(commands);
  for (const CommandFamily add : more)
    add(commands);
  AddHelpCommands(commands);
  UnshieldOptions(program);
  try {
    program.parse(ShieldArguments(arguments, program));
  } catch (const CLI::Success& help) {
    return program.exit(help, console.out, console.err);
  } catch (const CLI::ParseError& error) {
    console.Say(UnknownWord(arguments, program).value_or(WithoutShields(error.what())));
    console.Say("Run with --help for more information.");
    return kExitWrongUsage;
  }
  return commands.RunChosen();
}

// Whether the user wants neither colours nor what moves.
bool WantsPlainText() {
  const char* const no_colour = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
  return no_colour != nullptr && *no_colour != '\0';
}

struct Failure {
  std::string reason;
  ExitStatus status = kExitFailed;
};

// Why the work failed; nothing when it did not.
std::optional<Failure> FailureOf(const Console& console, const std::function<void()>& work) {
  try {
    work();
  } catch (const Interrupted& interrupted) {
    return Failure{interrupted.what(), kExitInterrupted};
  } catch (const ktformula::RaisedError& error) {
    const std::string origin = " (" + ErrorOrigin(error.Number(), error.Source()) + ")";
    return Failure{ToUtf8(error.Description()) + (console.verbose ? origin : "")};
  } catch (const std::bad_alloc&) {
    return Failure{"out of memory"};
  } catch (const std::exception& error) {
    return Failure{error.what()};
  }
  return std::nullopt;
}

}  // namespace

std::string ErrorOrigin(std::int32_t number, std::u16string_view source) {
  return "error " + std::to_string(number) + " from " + ToUtf8(source);
}

std::u16string ArgumentText(const std::string& argument) {
  std::optional<std::u16string> text = FromUtf8(argument);
  if (!text) throw NotebookError("an argument is not UTF-8 text");
  return *std::move(text);
}

int RunCommandLine(const std::vector<std::string>& arguments, const Console& console,
                   std::span<const CommandFamily> more) {
  Console own = console;
  if (WantsPlainText()) own.style.coloured = own.shows_progress = false;
  int status = kExitDone;
  const std::optional<Failure> failure = FailureOf(own, [&] {
    status = ParseAndRun(arguments, own, more);
    own.out.flush();
    if (!own.out) throw NotebookError("the output can not be written");
  });
  if (!failure) return status;
  own.Say("ktnotebook: " + failure->reason);
  if (own.done.empty()) return failure->status;
  own.Say("note: " + own.done + " all the same");
  return status;
}

}  // namespace ktnotebook
