// What the process that shuts the system down leaves in /run/wardenlink for daemons that follow.
#pragma once

#include <cstdint>
#include <sys/types.h>

// By that process itself, so that its own cannot be killed in between: it is at work, or it has
// done all it had to. False when the mark could not be written.
bool MarkDeedBegun();
bool MarkDeedDone();

// The process that is at work, or -1.
pid_t FindLastDeed();

// The moment when one of this boot of the machine had done all it had to; false without one.
bool FindDeedDone(int64_t* at);
