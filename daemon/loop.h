// The resident daemon at work: one loop that asks the UPS, lets the policy decide, and
// carries out what it says.
#pragma once

#include "daemon/daemon.h"

// Runs until a stop order, SIGTERM or SIGINT; the daemon's exit status. SIGHUP reads the
// settings again. signals is a descriptor that becomes readable when one of them came.
int RunDaemon(Daemon& daemon, int signals);

// Blocks the signals that the daemon obeys and gives the descriptor that tells of them.
int OpenSignals();
