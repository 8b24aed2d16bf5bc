// The end: the system is shut down, the UPS told before it. A process of its own does it,
// so that neither a UPS that does not answer nor the end of the daemon can stop it.
#pragma once

#include "daemon/events.h"
#include "daemon/policy.h"
#include "daemon/source.h"
#include "settings/tolv_lib.h"

#include <sys/types.h>

// Begins it. With isDryRun everything is only logged; the event is raised all the same. The
// process's number, to be waited for: it exits with 0 when all is done. -1 when it could not
// be forked: to be tried again then, or, with inThisProcess, to be done by the daemon itself,
// which ends with it. The process takes over a serial line that is open.
pid_t BeginLastDeed(const PolicyOrder& order, const Source& source, const PowerConfig& cfg,
                    const EventEnvironment& environment, bool isDryRun, bool inThisProcess);
