// Files, read and written whole. Their names are UTF-8 texts.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace ktnotebook {

// The path that a name stands for, and back.
std::filesystem::path PathOf(const std::string& name);
std::string PathText(const std::filesystem::path& path);

// The file's bytes; "-" is the standard input. Throws NotebookError when it can not be read.
std::string ReadWholeFile(const std::string& name);

// Replaces the file's content, so that a reader, or what is left after a crash, sees either the
// old content or the new one. Throws NotebookError and leaves the old content when it fails.
void WriteWholeFile(const std::string& name, std::string_view bytes);

}  // namespace ktnotebook
