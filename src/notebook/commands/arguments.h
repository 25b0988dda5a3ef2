// Arguments between the user and the parser, which takes some texts for what they are not.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ktnotebook {

// The arguments in the order that the parser wants, the last one first. What the parser would not
// take as it is gets a shield: "-5" and "--5", which are formulas and no options, and "[Mass]",
// which is no list.
std::vector<std::string> ShieldArguments(const std::vector<std::string>& arguments,
                                         const CLI::App& program);

// Lets every option of every command take its arguments without their shields.
void UnshieldOptions(CLI::App& program);

// A message of the parser about arguments, which it repeats with their shields.
std::string WithoutShields(const std::string& message);

// The command that the arguments name, which is the first of them that names one; null when none
// does.
const CLI::App* NamedCommand(const std::vector<std::string>& arguments, const CLI::App& program);

// What to say of a name that is no command's, or no option's of an app; "--name" with its dashes.
std::string UnknownCommandText(const std::string& name, const CLI::App& program);
std::string UnknownOptionText(const std::string& name, const CLI::App& app);

}  // namespace ktnotebook
