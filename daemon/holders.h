// Which processes have the UPS's line open.
#pragma once

// Prints who else has the serial device open, locked or not: it takes the UPS's words away. The
// daemon, by its process, may, and a shutdown at work; -1 where no daemon watches the line.
void PrintHolders(const char* device, int daemon);
