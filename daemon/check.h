// tolvd --check: is the computer protected.
#pragma once

// Asks the UPS once and prints what it said and what the settings mean; touches neither
// queues nor files. 0 when the UPS answered, 1 when not.
int CheckUps();

// The same for settings that a running daemon was just told of: it is the one that asks.
int CheckAfterSetup();

// The running daemon watches this line.
bool IsDaemonsLine(const char* device);
