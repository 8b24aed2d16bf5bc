#include "daemon/raise.h"

#include "daemon/events.h"
#include "daemon/process.h"

StatusView ViewOf(const Daemon& daemon, int64_t now)
{
    return {daemon.cfg,       daemon.source, daemon.policy,   daemon.reading,
            daemon.readingAt, now,           daemon.isDryRun, daemon.isToGoDown};
}

void Raise(const Daemon& daemon, const char* event, int64_t now)
{
    EventEnvironment environment;
    FillEnvironment(environment, ViewOf(daemon, now));
    pid_t runner = RaiseEvent(event, environment);
    if (runner > 0)
        LeaveToCollect(runner);
}
