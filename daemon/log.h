// What the daemon says: to the system's log, or with --foreground to standard error, where
// systemd reads the priority from the first characters of a line.
#pragma once

#include <syslog.h>

// The lines go to standard error from now on, or to the system's log.
void OpenLog(bool toStandardError);

// In a child that goes on logging: KeepOpenOnly, with the log opened anew.
int KeepOpenOnlyLog(int kept);

// Writes one line of this priority (LOG_EMERG to LOG_DEBUG). Whatever the text holds, the
// line is printable and one line.
void WriteLog(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));
