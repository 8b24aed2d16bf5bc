// tolvd --setup: how the UPS is reached.
#pragma once

// Write it into the settings, everything else as it was, tell a running daemon and screen,
// then check. 1 with one line on standard error and nothing written when the settings cannot
// hold it. community null = as it was.
int SetUpSerial(const char* device);
int SetUpAgent(const char* address, const char* community);
