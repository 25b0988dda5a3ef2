// What the commands of ktnotebook share.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "notebook/commands/command_line.h"

namespace ktnotebook {

// An argument as text. Throws NotebookError when it is not UTF-8.
std::u16string ArgumentText(const std::string& argument);

// "error 11 from CellValue.Divide", for whoever looks for the place in the program.
std::string ErrorOrigin(std::int32_t number, std::u16string_view source);

}  // namespace ktnotebook
