// What the commands of ktnotebook share.
#pragma once

#include <string>

#include "notebook/commands/command_line.h"

namespace ktnotebook {

// An argument as text. Throws NotebookError when it is not UTF-8.
std::u16string ArgumentText(const std::string& argument);

}  // namespace ktnotebook
