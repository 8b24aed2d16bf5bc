// The command words, the daemon's start and stop, and the debug switches.
#pragma once

// Codes of ArgError; any other prints the usage without a line before it.
inline constexpr int ARGUMENT_MISSING = 0;
inline constexpr int ARGUMENTS_TOO_MANY = 2;
inline constexpr int ARGUMENT_UNKNOWN = -1;

// Prints the line for the code and the usage on standard output, then ends the
// process with status 1. programName is shown as the user typed it.
[[noreturn]] void ArgError(const char* programName, int code);

// Runs the command of this word and gives its result: 0 or more when it did its
// work, negative when it could not. An unknown word ends in ArgError.
int DispatchCommand(const char* programName, const char* word);

// 1 when the word runs for any user: "status", and "help", which then turns out
// to be no command.
int OpenToAnyUser(const char* word);

// Launches /etc/wardenlink/daemon unless one is running; does not wait for it. Where
// no process can be made it gives -1 and stays silent.
int tolvan_start();

// Asks a running daemon to end; says so when there is none. A message that cannot be
// queued is lost silently: -1.
int tolvan_stop();

// Switch the debug output of the daemon and of the status screen on and off
// through their marker files. No command word reaches them.
int tolvan_debugtolvd();
int tolvan_debugstatus();
int tolvan_stopdebugtolvd();
int tolvan_stopdebugstatus();
