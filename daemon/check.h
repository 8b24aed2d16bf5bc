// tolvd --check: is the computer protected.
#pragma once

#include <cstdint>

// Asks the UPS once and prints what it said and what the settings mean; touches neither
// queues nor files. 0 when the UPS answered, 1 when not.
int CheckUps();

// The same for settings that the running daemon was told of at this moment (milliseconds of the
// clock that counts suspension): what is said is about them, never about the ones before.
int CheckAfterTelling(int64_t toldAt);

// The running daemon watches this line.
bool IsDaemonsLine(const char* device);
