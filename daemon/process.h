// Time and child processes of the daemon: what is slow is done by a child, which the loop
// never waits for.
#pragma once

#include <cstdint>
#include <sys/types.h>

// Milliseconds of the clock that counts suspension and that nobody sets.
int64_t BootMilliseconds();

// Milliseconds of the clock that stands still while the machine is suspended.
int64_t AwakeMilliseconds();

// In a child: closes everything above the standard streams but kept (-1 = nothing), which is
// given back under its new number. Neither the daemon's lock nor its line is to outlive it.
int KeepOpenOnly(int kept);

// Standard streams on /dev/null.
void SendStreamsToNull();

// Default actions for all signals.
void ResetActions();

// No signal is blocked.
void UnblockSignals();

// Both.
void ResetSignals();

// In a child, right after fork: default signals, none blocked, standard streams on
// /dev/null, the rest as by KeepOpenOnly.
int PrepareChild(int kept);

// Lets the kernel end almost every other process first when memory runs out, or makes this
// one like any other again, as every program that the daemon starts is.
void SpareFromMemoryShortage(bool isSpared);

// A program that runs beside the daemon, in a process group of its own.
struct Child {
    pid_t pid;     // -1 while none runs
    int64_t endBy; // when its group is killed
};

// Starts a program with these arguments and this environment (null = a short one: PATH and
// LANG). False when it could not be forked; one that cannot be executed exits with 127.
bool StartChild(Child& child, const char* const arguments[], const char* const environment[],
                int64_t endBy);

// Looks whether the child ended, and kills its group when its time is over. True while it
// runs; otherwise *status is as waitpid gives it, or -1 when it was killed for its time.
bool WatchChild(Child& child, int64_t now, int* status);

// Kills the child's group.
void EndChild(Child& child);

// A child that nobody waits for: it is collected when it can be.
void LeaveToCollect(pid_t pid);

// Collects those that ended; how many are left.
int CollectUnwaited();
