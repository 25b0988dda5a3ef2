#include "notebook/commands/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>

#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

// Put in front of arguments that the parser would not take as they are.
constexpr char kShield = '\x01';

bool IsOption(const std::string& argument, const CLI::App* command) {
  if (argument == "--" || argument == "-h") return true;
  if (argument.size() == 2) {
    return command != nullptr && command->get_option_no_throw(argument) != nullptr;
  }
  return argument[1] == '-' && ktformula::IsLetter(static_cast<unsigned char>(argument[2]));
}

std::string Unshielded(std::string argument) {
  if (argument.starts_with(kShield)) argument.erase(0, 1);
  return argument;
}

}  // namespace

const CLI::App* NamedCommand(const std::vector<std::string>& arguments, const CLI::App& program) {
  for (const std::string& argument : arguments) {
    const auto named = program.get_subcommands(
        [&](const CLI::App* command) { return command->check_name(argument); });
    if (!named.empty()) return named.front();
  }
  return nullptr;
}

std::vector<std::string> ShieldArguments(const std::vector<std::string>& arguments,
                                         const CLI::App& program) {
  const CLI::App* const command = NamedCommand(arguments, program);
  std::vector<std::string> shielded;
  for (const std::string& argument : arguments) {
    const bool is_text =
        argument.starts_with('[') || argument.starts_with(kShield) ||
        (argument.size() > 1 && argument.starts_with('-') && !IsOption(argument, command));
    shielded.push_back(is_text ? kShield + argument : argument);
  }
  std::reverse(shielded.begin(), shielded.end());
  return shielded;
}

void UnshieldOptions(CLI::App& program) {
  for (CLI::App* command : program.get_subcommands({})) {
    for (CLI::Option* option : command->get_options()) {
      option->transform(&Unshielded);
    }
  }
}

std::string UnknownCommandText(const std::string& name, const CLI::App& program) {
  std::vector<std::u16string> names;
  for (const CLI::App* command : program.get_subcommands({}))
    names.push_back(ktformula::Widen(command->get_name()));
  return "there is no command \"" + name + "\"" + DidYouMean(FromStoredUtf8(name), names);
}

std::string UnknownOptionText(const std::string& name, const CLI::App& app) {
  std::vector<std::u16string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& long_name : option->get_lnames())
      names.push_back(u"--" + ktformula::Widen(long_name));
  }
  return "there is no option \"" + name + "\"" + DidYouMean(FromStoredUtf8(name), names);
}

std::string WithoutShields(const std::string& message) {
  constexpr std::string_view kShielded = {"-[\x01", 3};
  std::string plain;
  for (std::size_t i = 0; i < message.size(); ++i) {
    const bool is_shield = message[i] == kShield && i + 1 < message.size() &&
                           kShielded.find(message[i + 1]) != std::string_view::npos;
    if (is_shield) ++i;
    plain.push_back(message[i]);
  }
  return plain;
}

}  // namespace ktnotebook
