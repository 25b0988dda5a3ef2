#include "notebook/commands/option_texts.h"

#include <CLI/CLI.hpp>

namespace ktnotebook {

namespace {

OptionText TextOf(const CLI::Option& option) {
  OptionText text;
  for (const std::string& name : option.get_snames())
    text.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames())
    text.names.push_back("--" + name);
  const bool is_flag = option.get_items_expected_max() == 0;
  if (text.IsArgument()) {
    text.value = option.get_name();
  } else if (!is_flag) {
    text.value = option.get_type_name();
  }
  text.help = option.get_description();
  if (!option.get_default_str().empty()) text.help += "; default " + option.get_default_str();
  text.is_required = option.get_required();
  text.is_repeated = option.get_items_expected_max() > 1;
  return text;
}

}  // namespace

std::string OptionText::Syntax() const {
  std::string syntax;
  for (const std::string& name : names)
    syntax += (syntax.empty() ? "" : ", ") + name;
  if (!syntax.empty() && !value.empty()) syntax += " ";
  return syntax + value;
}

OptionTexts OptionTextsOf(const CLI::App& command) {
  OptionTexts texts;
  for (const CLI::Option* option : command.get_options()) {
    OptionText text = TextOf(*option);
    if (text.IsArgument()) {
      texts.arguments.push_back(std::move(text));
    } else if (option->get_group() == kCommonOptions) {
      texts.common.push_back(std::move(text));
    } else {
      texts.own.push_back(std::move(text));
    }
  }
  return texts;
}

std::string UsageOf(const CLI::App& command) {
  std::string usage = "ktnotebook " + command.get_name() + " [OPTIONS]";
  for (const OptionText& argument : OptionTextsOf(command).arguments) {
    const std::string name = argument.value + (argument.is_repeated ? "..." : "");
    usage += argument.is_required ? " " + name : " [" + name + "]";
  }
  return usage;
}

}  // namespace ktnotebook
