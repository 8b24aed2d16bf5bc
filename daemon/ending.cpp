#include "daemon/ending.h"

#include "daemon/deed_mark.h"
#include "daemon/events.h"
#include "daemon/hearing.h"
#include "daemon/last_deed.h"
#include "daemon/log.h"
#include "daemon/process.h"
#include "daemon/raise.h"
#include "daemon/reply_files.h"
#include "daemon/state_files.h"

#include <cerrno>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int MOST_FAILED_DEEDS = 3;
constexpr char AFRESH[] = "the system was told to go down long ago, and is up: all begins afresh";
constexpr int64_t MINUTE = 60000;
constexpr int64_t LATEST_REPLIES = 5000;      // after a reading the replies tell nothing of now
constexpr int64_t LONGEST_STOP = 10 * MINUTE; // that a system is given to go down

void TryLastDeed(Daemon& daemon, int64_t now)
{
    EventEnvironment environment;
    FillEnvironment(environment, ViewOf(daemon, now));
    bool inThisProcess = daemon.failedDeeds >= MOST_FAILED_DEEDS;
    daemon.lastDeed = BeginLastDeed(daemon.policy.order, daemon.source, daemon.cfg, environment,
                                    daemon.isDryRun, inThisProcess);
    if (daemon.lastDeed > 0) {
        LeaveSource(daemon.source);
        return;
    }
    daemon.failedDeeds++;
    WriteLog(LOG_EMERG, "the shutdown cannot be begun: %s", strerror(errno));
}

// All that could be done was: at is the moment of it.
void NoteDone(Daemon& daemon, int64_t at)
{
    daemon.isDeedDone = true;
    daemon.downAt = at;
    daemon.stillUpAt = at + LONGEST_STOP;
}

// One that was killed or crashed is begun again: the order stands.
void WatchOwnDeed(Daemon& daemon, int64_t now)
{
    int status = -1;
    if (daemon.lastDeed > 0) {
        if (waitpid(daemon.lastDeed, &status, WNOHANG) == 0)
            return;
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
            NoteDone(daemon, now);
            return;
        }
        WriteLog(LOG_EMERG, "the shutdown was cut off: it is begun again");
    }
    TryLastDeed(daemon, now);
}

void TellStillUp(Daemon& daemon, int64_t now)
{
    if (daemon.isDryRun)
        return;
    WriteLog(LOG_EMERG,
             "the system should be down: it was told to %d minutes ago. Nothing more is done, and "
             "nothing protected, until the daemon is started again",
             static_cast<int>((now - daemon.downAt) / MINUTE));
    daemon.stillUpAt += LONGEST_STOP;
}

// The UPS is asked no more: as with one that fell silent.
void RemoveStaleReplies(Daemon& daemon, int64_t now)
{
    if (daemon.isReplySilent || now - daemon.readingAt < LATEST_REPLIES)
        return;
    RemoveReplyFiles();
    daemon.isReplySilent = true;
}

} // namespace

void GoDown(Daemon& daemon, int64_t now)
{
    daemon.isToGoDown = true;
    TryLastDeed(daemon, now);
}

void ForgetOldDeed()
{
    int64_t at = 0;
    if (!FindDeedDone(&at) || BootMilliseconds() - at < LONGEST_STOP)
        return;
    WriteLog(LOG_ALERT, AFRESH);
    unlink(LAST_DEED_PATH);
    unlink(OUTAGE_PATH);
}

void FindEarlierDeed(Daemon& daemon)
{
    int64_t at = 0;
    daemon.lastDeed = FindLastDeed();
    if (daemon.lastDeed > 0)
        WriteLog(LOG_ALERT, "the system is already being shut down by process %d",
                 static_cast<int>(daemon.lastDeed));
    else if (FindDeedDone(&at) && BootMilliseconds() - at < LONGEST_STOP) {
        WriteLog(LOG_ALERT, "the system was told to go down %d seconds ago: nothing is begun",
                 static_cast<int>((BootMilliseconds() - at) / 1000));
        NoteDone(daemon, at);
    }
    daemon.isToGoDown = daemon.lastDeed > 0 || daemon.isDeedDone;
}

// The own order stands, and was carried out. One that another daemon carried out binds no longer.
void FaceThatItIsUp(Daemon& daemon, int64_t now)
{
    if (daemon.policy.order.cause != CAUSE_NONE) {
        TellStillUp(daemon, now);
        return;
    }
    WriteLog(LOG_ALERT, AFRESH);
    unlink(LAST_DEED_PATH);
    daemon.isDeedDone = false;
    daemon.isToGoDown = false;
}

// Of an earlier daemon's nobody knows the order: when it is gone without having done its work,
// and the system still here, the UPS is watched again.
void WatchDeed(Daemon& daemon, int64_t now)
{
    RemoveStaleReplies(daemon, now);
    if (daemon.isDeedDone) {
        if (now >= daemon.stillUpAt)
            FaceThatItIsUp(daemon, now);
        return;
    }
    if (daemon.policy.order.cause != CAUSE_NONE) {
        WatchOwnDeed(daemon, now);
        return;
    }
    if (FindLastDeed() > 0)
        return;
    FindEarlierDeed(daemon);
    if (!daemon.isToGoDown)
        WriteLog(LOG_ALERT, "the shutdown that an earlier daemon began is over, and the system up");
    StartReading(daemon);
}

bool IsWatching(const Daemon& daemon)
{
    bool wasOwnDeed = daemon.policy.order.cause != CAUSE_NONE;
    return !daemon.isToGoDown || (daemon.isDeedDone && !wasOwnDeed);
}
