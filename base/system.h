// What every program of the package asks of the system: its paths under
// /etc/wardenlink, standard streams and files opened with care, clocks and pauses,
// the super-user rule.
#pragma once

#include <cstdio>
#include <ctime>

inline constexpr const char SETTINGS_FOLDER[] = "/etc/wardenlink"; // also the queues' key
inline constexpr const char STATUS_DEBUG_PATH[] = "/etc/wardenlink/status.dbg";
inline constexpr const char POWER_INI_PATH[] = "/etc/wardenlink/power.ini";
inline constexpr const char TEXT_CFG_PATH[] = "/etc/wardenlink/wardenlink.cfg";
inline constexpr const char STATUS_REPLY_PATH[] = "/etc/wardenlink/wardenlink.q1";
inline constexpr const char RATING_REPLY_PATH[] = "/etc/wardenlink/wardenlink.rtg";
inline constexpr const char MODEL_REPLY_PATH[] = "/etc/wardenlink/wardenlink.mdl";
inline constexpr const char DAEMON_PATH[] = "/etc/wardenlink/daemon";
inline constexpr const char DAEMON_DEBUG_PATH[] = "/etc/wardenlink/powerd.dbg";

// Opens /dev/null in the place of every standard stream that is closed. To be called
// before anything else is opened: a socket that became the standard input would let
// whoever sends to it press keys. 1, or 0 when a stream stays closed.
int OpenStandardStreams();

// 1 when the real user is the super-user; otherwise prints the refusal on standard
// error and gives 0.
int ChkUserID();

// Opens a file for reading; a negative number when it cannot be. Waits for nobody, so
// that a pipe in a file's place is just empty.
int OpenToRead(const char* path);

// The same as a stream; null when the file cannot be opened.
FILE* OpenStreamToRead(const char* path);

// Reads what a file still holds, at most size bytes; how many these were. An error counts as its
// end.
size_t ReadBytes(int fd, void* bytes, size_t size);

// The moment in local time. A program that runs for months follows a change of the
// machine's time zone: localtime looks for one, localtime_r does not. All zero for a year
// that no calendar can say.
tm LocalTime(time_t moment);

// Seconds of a clock that nobody sets; only differences mean something.
double Now();

// Waits; a signal that is swallowed meanwhile shortens nothing.
void PauseSeconds(double seconds);
