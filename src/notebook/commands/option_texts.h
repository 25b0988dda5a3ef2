// What there is to tell about the options that a command has registered.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace ktnotebook {

struct OptionText {
  // "-o" and "--output"; none for an argument.
  std::vector<std::string> names;
  // What follows the names, "" for a flag; an argument's name.
  std::string value;
  std::string help;
  bool is_required = false;
  bool is_repeated = false;

  bool IsArgument() const noexcept { return names.empty(); }
  // "-o, --output FILE"; an argument's name.
  std::string Syntax() const;
};

// The group of the options that every command has.
inline constexpr std::string_view kCommonOptions = "Common options";

// Arguments first, as they are written, then the options of the command's own, then the common
// ones.
struct OptionTexts {
  std::vector<OptionText> arguments;
  std::vector<OptionText> own;
  std::vector<OptionText> common;
};
OptionTexts OptionTextsOf(const CLI::App& command);

// "ktnotebook show [OPTIONS] FORM".
std::string UsageOf(const CLI::App& command);

}  // namespace ktnotebook
