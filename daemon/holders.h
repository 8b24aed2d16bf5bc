// Which processes seem to be a daemon, and which have the UPS's line open.
#pragma once

#include <sys/types.h>

// A daemon that is found by its process alone, not by what it tells: root's tolvd that hears
// signals; -1 without one.
pid_t FindDaemon();

// Prints who else has the serial device open, locked or not: it takes the UPS's words away. The
// daemon, by its process, may, and a shutdown at work; -1 where no daemon watches the line.
void PrintHolders(const char* device, int daemon);
