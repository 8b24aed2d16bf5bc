// Files that are replaced as a whole. Power may fail at any moment: the new content
// stands on the disk before it takes the old one's place, so a reader meets one or
// the other, never a part.
#pragma once

#include <cstddef>
#include <initializer_list>

inline constexpr size_t SCRATCH_PATH_SIZE = 128;

// A new file on its way. Its path is absolute, and short enough for a scratch name.
struct NewFile {
    const char* path;                // the place that it is to take
    char scratch[SCRATCH_PATH_SIZE]; // where it stands until then; empty: nowhere
};

// Removes from the folder of these files what saves of them left behind that a power failure
// cut off; not what is younger than a minute, for that save may still run.
void RemoveLeftovers(const char* folder, std::initializer_list<const char*> paths);

// Writes the new file beside the old one and flushes it to the disk. It gets the old
// one's mode and owner, or a new file's where there is no old one. A user who may
// hand nothing over keeps the new file, with nothing open to more people than it was;
// what such a user could not even read is not replaced. False when anything failed.
bool WriteNewFile(NewFile& file, const void* bytes, size_t length);

// Lets the new file take the old one's place; false when it cannot.
bool TakePlace(NewFile& file);

// Removes a new file that has not taken its place.
void DropNewFile(NewFile& file);

// Flushes the names in a folder to the disk. A file system that cannot do that says
// so and is taken at its word; false is any other failure.
bool FlushFolder(const char* path);
