// Files, read and written whole.
#pragma once

#include <string>
#include <string_view>

namespace ktnotebook {

// The file's bytes; "-" is the standard input. Throws NotebookError when it can not be read.
std::string ReadWholeFile(const std::string& path);

// Replaces the file's content, so that a reader, or what is left after a crash, sees either the
// old content or the new one. Throws NotebookError and leaves the old content when it fails.
void WriteWholeFile(const std::string& path, std::string_view bytes);

}  // namespace ktnotebook
