// Events and the status file with all that the daemon knows.
#pragma once

#include "daemon/daemon.h"
#include "daemon/status_file.h"

#include <cstdint>

StatusView ViewOf(const Daemon& daemon, int64_t now);

// Raises an event; nothing waits for its programs.
void Raise(const Daemon& daemon, const char* event, int64_t now);
