// The secret without which a page gives nothing.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace ktnotebook {

// A new one: 160 bits of the operating system's generator as 40 hexadecimal digits.
std::string MakeSecret();

// The one that the file keeps; a new one, and the file, which nobody else can read, when there is
// no file. Throws NotebookError.
std::string KeptSecret(const std::filesystem::path& path);

// Whether both are the same, in a time that tells nothing about how much of them is.
bool AreSameSecret(std::string_view left, std::string_view right);

}  // namespace ktnotebook
