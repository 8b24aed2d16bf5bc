// Opens a serial line in a process of its own, which hands it over: a broken adapter can hold
// that up for as long as it likes, and the daemon has others to look after.
#pragma once

#include <cerrno>
#include <cstdint>
#include <sys/types.h>

struct SerialOpener {
    pid_t child; // -1 while none is at work
    int fd;      // of the socket to it, -1 likewise
};

inline constexpr int STILL_OPENING = -EINPROGRESS;

inline constexpr SerialOpener NO_OPENER = {-1, -1};

// Begins; see OpenSerialLine. 0, or a negative errno when it cannot even begin.
int BeginToOpen(SerialOpener& opener, const char* device, bool mustBeFree);

// What came of it, given once: the descriptor, a negative errno, or STILL_OPENING.
int TakeOpened(SerialOpener& opener);

// Does not wait for it any longer. The process is killed, which a broken adapter can put off.
void GiveUpOpening(SerialOpener& opener);
