// The pseudo-terminal that stands for a serial line, and the link that leads to it.
#pragma once

#include <string>

struct SerialPty {
    int master = -1;  // -1 while there is no line
    std::string link; // what a client opens
    std::string name; // where that leads, "/dev/pts/N"
};

// Makes the pseudo-terminal and the link; false when that fails or when `link` is in use by
// something that is no link.
bool OpenPty(SerialPty& pty, const std::string& link);
// Takes both away: an open line hangs up.
void ClosePty(SerialPty& pty);
// Whether any client has the line open.
bool HasClient(const SerialPty& pty);
// A new pseudo-terminal in the place of one without a client: on the old one unread bytes,
// settings and the lock of the last client would stay.
void RenewPty(SerialPty& pty);
// How its client has set the line, as "  key value" lines.
std::string DescribeLine(const SerialPty& pty);
