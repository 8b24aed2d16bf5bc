// The running daemon's own state.
#pragma once

#include "daemon/announce.h"
#include "daemon/orders.h"
#include "daemon/policy.h"
#include "daemon/reread.h"
#include "daemon/source.h"
#include "settings/tolv_lib.h"

#include <cstdint>
#include <sys/types.h>

// Everything that the running daemon owns.
struct Daemon {
    bool isDryRun;
    PowerConfig cfg;
    ScheduleEntry sched[7];
    Source source;
    PolicyState policy;
    PolicyKept stored; // what stands in the file of the running outage
    Reading reading;   // the last one
    int64_t readingAt; // its moment, NEVER before the first
    int64_t tickAt;    // when the work of every second is due
    int64_t asleep;    // how long the machine had been suspended at the last decision
    int64_t remindAt;  // when the log says again that a dry run protects nothing
    Reread reread;     // of settings that were refused
    OrderQueues queues;
    Announcers announcers;
    pid_t lastDeed;          // that shuts the system down, -1 without one
    bool isToGoDown;         // the policy said so, or an earlier daemon's did
    bool isDeedDone;         // it did all it had to
    int64_t downAt;          // when it had
    int64_t stillUpAt;       // when to say next that the system is up all the same
    int failedDeeds;         // tries to begin it
    unsigned garbled;        // replies of another shape that were told of
    int64_t garbledAt;       // when they were
    int lineError;           // of the line, as it was told last
    bool isDebug;            // powerd.dbg says so
    bool isStateLost;        // /run cannot be written: told once
    bool isReplyLost;        // a reply file cannot be written: likewise
    bool isReplySilent;      // the reply files were removed, the UPS being silent
    char rating[REPLY_ROOM]; // the reply that could not be written yet, empty without one
    char model[REPLY_ROOM];  // likewise
};
