// Small files: replaced while others read them, read in one go, and whose they are.
#pragma once

#include <cstddef>
#include <sys/stat.h>
#include <sys/types.h>

// Puts the content under a name of its own beside path and renames it: a reader sees the old
// content or the new. Not flushed to disk: what it holds is worth nothing after a power cut.
// False, with path as it was, when any step fails.
bool ReplaceWholeFile(const char* path, const char* bytes, size_t length, mode_t mode);

// Whether nobody but root can write to a file or folder.
bool IsRootsAlone(const struct stat& file);

// Reads at most size - 1 bytes and terminates them; their number, or -1.
long ReadSmallFile(const char* path, char* text, size_t size);
