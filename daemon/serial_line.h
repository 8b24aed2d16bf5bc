// The serial line of a UPS: 2400 baud, 8 data bits, no parity, 1 stop bit, no flow control.
#pragma once

#include <cstddef>

// Opens the device for this program, DTR on and RTS off; it never becomes the controlling
// terminal. A broken USB adapter can hold this up for many seconds, and so the next ones. The
// descriptor, or the negative errno: -ENOTTY when the device is no terminal line, -EBUSY when
// mustBeFree and another program holds the line; without that it is opened all the same.
int OpenSerialLine(const char* device, bool mustBeFree);

// False while another program holds the line; else this one does from now on.
bool LockSerialLine(int fd);

// Throws away what was not sent, so that a dead line does not hold up the end.
void CloseSerialLine(int fd);

// Reads what has come, at most size bytes: their number, 0 for none, -1 when the line is gone.
int ReadSerialLine(int fd, char* bytes, size_t size);

// Writes a request and its CR. False when the line is gone or full: it is to be closed then,
// which throws away what was taken of it.
bool WriteSerialLine(int fd, const char* request);

// Throws away what has come.
void FlushSerialInput(int fd);

// Waits until everything that was written has left; a dead line can hold that up for long.
void DrainSerialLine(int fd);
