// What the daemon keeps under /run/wardenlink: the lock that makes it the only one, the
// running outage for a daemon that follows, and its last reading for everybody.
#pragma once

#include "daemon/policy.h"

#include <cstddef>
#include <cstdint>

inline constexpr const char STATE_FOLDER[] = "/run/wardenlink";
inline constexpr const char LOCK_PATH[] = "/run/wardenlink/tolvd.lock";
inline constexpr const char OUTAGE_PATH[] = "/run/wardenlink/outage";
inline constexpr const char STATUS_PATH[] = "/run/wardenlink/status.json";
inline constexpr const char LAST_DEED_PATH[] = "/run/wardenlink/shutdown";

inline constexpr int LOCK_FAILED = -1; // the folder or the file cannot be made: errno tells
inline constexpr int LOCK_TAKEN = -2;  // another daemon holds it

// Makes the folder if need be and takes the lock, which ends with the process: no child keeps
// it open. Its descriptor, or a LOCK_ code.
int TakeDaemonLock();

// The number of this boot of the machine. Moments count from its start: those of another one mean
// nothing.
using BootId = char[37];
void ReadBootId(BootId& id);

// Keeps what outlives the daemon, for this boot of the machine; false when it could not.
bool KeepOutage(const PolicyKept& kept);

// What the last daemon of this boot left, or NOTHING_KEPT.
PolicyKept ReadKeptOutage();
