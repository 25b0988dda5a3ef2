// What the notebook asks of the operating system beyond the standard library. Each system has its
// own file of answers.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>

namespace ktnotebook {

// Opens the file for writing bytes, emptied or new; the caller closes it. nullptr, with the reason
// in errno, when it can not be opened.
std::FILE* OpenForWriting(const std::filesystem::path& path);

// Returns when the disk has what was flushed to the file. False, with the reason in errno, when it
// has not.
bool SyncToDisk(std::FILE* file);

// Tells the programs that run at the same time apart.
std::int64_t ProcessNumber();

// The file of the running program; empty when it is not known.
std::filesystem::path ProgramPath();

}  // namespace ktnotebook
