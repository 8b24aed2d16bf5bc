#include "daemon/loop.h"

#include "base/system.h"
#include "base/text.h"
#include "daemon/ending.h"
#include "daemon/hearing.h"
#include "daemon/log.h"
#include "daemon/notify.h"
#include "daemon/process.h"
#include "daemon/raise.h"
#include "daemon/reply_files.h"
#include "daemon/state_files.h"
#include "daemon/status_file.h"
#include "daemon/tell.h"
#include "daemon/whole_file.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr int64_t TICK = 1000;
constexpr int64_t LONGEST_NAP = 1000; // after more of sleep an answer is of another time
constexpr int64_t LOOK_LAG = 60000;   // of the last look in the outage's file
constexpr char TURN_OFF = 'S';        // begins every text that turns a UPS off
constexpr int MOST_ORDERS = 16;       // of one tick

// --- what the policy says ----------------------------------------------------------------

// Where the last look alone is newer, the file may stay behind it by so many milliseconds.
void StoreOutage(Daemon& daemon, int64_t mayLag)
{
    if (daemon.isDryRun) // a trial's outage is not to be taken over by a daemon that means it
        return;
    const PolicyKept& kept = daemon.policy.kept;
    bool isStored = kept.outageSince == daemon.stored.outageSince &&
                    kept.lowSince == daemon.stored.lowSince &&
                    kept.lookedAt - daemon.stored.lookedAt <= mayLag;
    if (isStored)
        return;
    if (KeepOutage(kept))
        daemon.stored = kept;
}

void CarryOut(Daemon& daemon, const PolicyActions& actions, int64_t now)
{
    StoreOutage(daemon, LOOK_LAG);
    for (int i = 0; i < actions.count; i++) {
        const PolicyAction& action = actions.list[i];
        char words[160];
        LogAction(action, daemon.policy, daemon.source.path);
        if (action.tellUsers && WordsForUsers(action, daemon.policy, words, sizeof(words)))
            Announce(daemon.announcers, words, now);
        if (action.what == POLICY_SHUTDOWN)
            GoDown(daemon, now); // which raises the event itself
        else if (PolicyEvent(action.what) != nullptr)
            Raise(daemon, PolicyEvent(action.what), now);
    }
}

UpsLink LinkOf(const Daemon& daemon)
{
    if (daemon.source.path == PATH_NONE)
        return daemon.reread.at == NEVER ? LINK_NONE : LINK_UNKNOWN;
    return daemon.source.state == SOURCE_LOST ? LINK_LOST : LINK_HEARD;
}

// How long the machine has been suspended since its start.
int64_t AsleepMilliseconds()
{
    return BootMilliseconds() - AwakeMilliseconds();
}

void Decide(Daemon& daemon, int64_t now, const Reading* reading)
{
    PolicyReading told = {};
    if (reading != nullptr)
        told = {reading->mainsFailed, reading->batteryLow};
    int64_t asleep = AsleepMilliseconds();
    PolicyInput input = {now, asleep - daemon.asleep, time(nullptr), LinkOf(daemon),
                         reading != nullptr ? &told : nullptr};
    daemon.asleep = asleep;
    PolicyActions actions;
    StepPolicy(daemon.policy, input, actions);
    CarryOut(daemon, actions, now);
}

// --- orders ------------------------------------------------------------------------------

void TellOfDamage(const Daemon& daemon)
{
    if (daemon.policy.settings.isDamaged)
        WriteLog(LOG_ALERT,
                 "the settings are damaged, their communication mode being %d: NOTHING is "
                 "protected, and no schedule obeyed",
                 daemon.cfg.commMode);
}

// Nobody may learn of that only when the mains fail.
void TellOfNoUps(Daemon& daemon, bool tellUsers, int64_t now)
{
    WriteLog(LOG_ALERT, "the new settings took the UPS away: NOTHING is protected any more");
    Raise(daemon, PolicyEvent(POLICY_UPS_LOST), now);
    if (tellUsers)
        Announce(daemon.announcers,
                 "UPS: the settings name no UPS any more: this system is NOT protected.", now);
}

// Watches the UPS that the new settings name.
void ChangeSource(Daemon& daemon, int64_t now)
{
    bool wasWatched = daemon.source.path != PATH_NONE;
    StopSource(daemon.source);
    RemoveReplyFiles();
    StartReading(daemon);
    ForgetUps(daemon.policy);
    if (wasWatched && daemon.source.path == PATH_NONE)
        TellOfNoUps(daemon, daemon.policy.settings.tellsUsers, now);
}

// A file that cannot be read leaves everything as it was, but where part of the settings names a
// UPS and none is watched. What a disk refuses again without an order is not told again.
void ReloadSettings(Daemon& daemon, bool isOrdered, int64_t now)
{
    if (daemon.policy.order.cause != CAUSE_NONE) // nothing is called off any more
        return;
    PowerConfig cfg = daemon.cfg;
    ScheduleEntry sched[7];
    memcpy(sched, daemon.sched, sizeof(sched));
    SettingsRead read = ReadOrTryAgain(daemon.reread, cfg, sched);
    bool isBetterThanNone = read == SETTINGS_REFUSED && daemon.source.path == PATH_NONE &&
                            PathOfSettings(cfg) != PATH_NONE;
    if (read != SETTINGS_WHOLE && !isBetterThanNone) {
        if (isOrdered)
            WriteLog(LOG_ERR, "the settings cannot be read: the old ones stay");
        return;
    }
    if (isBetterThanNone)
        WriteLog(LOG_ALERT, "the settings cannot be read whole: what is missing stays as it was");
    bool isOtherSource = IsOtherSource(daemon.source, cfg);
    daemon.cfg = cfg;
    memcpy(daemon.sched, sched, sizeof(sched));
    if (isOtherSource) // while the policy still has the old settings
        ChangeSource(daemon, now);
    PolicyActions actions;
    ChangePolicySettings(daemon.policy, cfg, sched, actions);
    TellOfDamage(daemon);
    CarryOut(daemon, actions, now);
}

void ObeyCommand(Daemon& daemon, const char* command)
{
    char text[8];
    char shown[COMMAND_ROOM];
    CopyField(shown, command);
    MakePrintable(shown);
    if (daemon.source.path != PATH_SERIAL)
        WriteLog(LOG_WARNING, "command \"%s\" is dropped: there is no UPS on a serial line", shown);
    else if (!CommandToSerialText(command, text, sizeof(text)))
        WriteLog(LOG_WARNING, "command \"%s\" is dropped: it is none", shown);
    else if (daemon.isDryRun && text[0] == TURN_OFF)
        WriteLog(LOG_NOTICE, "dry run: command \"%s\" would tell the UPS %s", shown, text);
    else if (!SendUpsText(daemon.source, text))
        WriteLog(LOG_WARNING, "command \"%s\" is lost: the line does not take it", shown);
    else
        WriteLog(LOG_NOTICE, "command \"%s\": the UPS was told %s", shown, text);
}

// True when the daemon is to end.
bool ObeyOrders(Daemon& daemon, int64_t now)
{
    for (int i = 0; i < MOST_ORDERS; i++) {
        Order order = TakeOrder(daemon.queues);
        if (order == ORDER_STOP)
            return true;
        if (order == ORDER_NONE)
            break;
        if (order == ORDER_RELOAD)
            ReloadSettings(daemon, true, now);
    }
    char command[COMMAND_ROOM];
    if (!daemon.isToGoDown && IsReadyForText(daemon.source) && TakeCommand(daemon.queues, command))
        ObeyCommand(daemon, command);
    return false;
}

// --- the rounds --------------------------------------------------------------------------

void ReadDebugSwitch(Daemon& daemon)
{
    char word[8];
    ReadSmallFile(DAEMON_DEBUG_PATH, word, sizeof(word));
    daemon.isDebug = strncmp(word, "debug", 5) == 0;
}

void WriteStatus(Daemon& daemon, int64_t now)
{
    bool isKept = KeepStatus(ViewOf(daemon, now));
    StoreOutage(daemon, LOOK_LAG); // where it could not be stored before
    if (!isKept && !daemon.isStateLost)
        WriteLog(LOG_ERR, "%s cannot be written: a daemon that follows will not know of an outage",
                 STATE_FOLDER);
    daemon.isStateLost = !isKept;
}

// The work of every second; true when the daemon is to end.
bool Tick(Daemon& daemon, int64_t now)
{
    TakeOverQueues(daemon.queues);
    ShowPresence(daemon.queues);
    TellAlive();
    RemindOfDryRun(daemon, now);
    ReadDebugSwitch(daemon);
    CollectUnwaited();
    WatchAnnouncers(daemon.announcers, now);
    if (daemon.isToGoDown)
        WatchDeed(daemon, now);
    if (IsRereadDue(daemon.reread, now, daemon.source.path == PATH_NONE))
        ReloadSettings(daemon, false, now);
    daemon.tickAt = now + TICK;
    return ObeyOrders(daemon, now);
}

int TimeLeft(const Daemon& daemon)
{
    int64_t left = daemon.tickAt - BootMilliseconds();
    if (IsWatching(daemon))
        left = std::min(left, NextSourceMoment(daemon.source) - AwakeMilliseconds());
    return static_cast<int>(std::clamp<int64_t>(left, 0, TICK));
}

// True when the signal that came ends the daemon.
bool ObeySignal(Daemon& daemon, int signals)
{
    signalfd_siginfo signal = {};
    if (read(signals, &signal, sizeof(signal)) != static_cast<ssize_t>(sizeof(signal)))
        return false;
    if (signal.ssi_signo != SIGHUP)
        return true;
    ReloadSettings(daemon, true, BootMilliseconds());
    return false;
}

// Waits for input, a signal or the next moment; true when a signal ends the daemon.
bool WaitForWork(Daemon& daemon, int signals)
{
    int line = IsWatching(daemon) ? SourceDescriptor(daemon.source) : -1;
    pollfd inputs[] = {{signals, POLLIN, 0}, {line, POLLIN, 0}};
    poll(inputs, 2, TimeLeft(daemon));
    return inputs[0].revents != 0 && ObeySignal(daemon, signals);
}

// Hears the UPS, decides, and only then touches files on a disk, which may hang; true when a round
// is complete.
bool Watch(Daemon& daemon, int64_t now, bool isTick)
{
    SourceNews news = {};
    int64_t asleep = AsleepMilliseconds();
    if (asleep - daemon.asleep > LONGEST_NAP)
        ForgetAnswers(daemon.source, AwakeMilliseconds());
    if (daemon.isToGoDown) // no decision notes it any more
        daemon.asleep = asleep;
    RunSource(daemon.source, AwakeMilliseconds(), news);
    const Reading* reading = TakeNews(daemon, now, news);
    if (!daemon.isToGoDown && (reading != nullptr || isTick))
        Decide(daemon, now, reading);
    if (!daemon.isToGoDown)
        KeepNews(daemon, news);
    return news.isWhole;
}

// One pass of the loop; true when the daemon is to end.
bool RunPass(Daemon& daemon)
{
    int64_t now = BootMilliseconds();
    bool isTick = now >= daemon.tickAt;
    bool isRound = IsWatching(daemon) && Watch(daemon, now, isTick);
    bool isToEnd = isTick && Tick(daemon, now);
    if (isRound || (isTick && now - daemon.readingAt > TICK))
        WriteStatus(daemon, now);
    return isToEnd;
}

void LoadSettings(Daemon& daemon)
{
    InitConfig(daemon.cfg, daemon.sched);
    daemon.reread = NO_REREAD;
    SettingsRead read = ReadOrTryAgain(daemon.reread, daemon.cfg, daemon.sched);
    if (read != SETTINGS_WHOLE)
        WriteLog(read == SETTINGS_REFUSED ? LOG_ALERT : LOG_WARNING,
                 "the settings cannot be read whole: what is missing has its default%s",
                 read == SETTINGS_REFUSED ? " until the disk gives it" : "");
}

void StartWork(Daemon& daemon)
{
    int64_t now = BootMilliseconds();
    StartAnnouncers(daemon.announcers);
    daemon.queues = NO_QUEUES;
    TakeOverQueues(daemon.queues);
    DropWaitingOrders(daemon.queues);
    LoadSettings(daemon); // a save after this is told by an order that is not dropped
    RemoveReplyFiles();
    ForgetOldDeed();
    daemon.stored = ReadKeptOutage();
    PolicyActions actions;
    StartPolicy(daemon.policy, daemon.cfg, daemon.sched, daemon.stored, now, actions);
    TellOfDamage(daemon);
    StartReading(daemon);
    FindEarlierDeed(daemon);
    CarryOut(daemon, actions, now);
    Raise(daemon, "start", now);
    daemon.tickAt = now;
    daemon.asleep = AsleepMilliseconds();
}

void EndWork(Daemon& daemon)
{
    TellStopping();
    Raise(daemon, "stop", BootMilliseconds());
    EndChild(daemon.reread.trial);
    StopSource(daemon.source);
    RemoveReplyFiles();
    StoreOutage(daemon, 0);
    unlink(STATUS_PATH);
    WriteLog(LOG_NOTICE, "ended");
}

} // namespace

int OpenSignals()
{
    sigset_t obeyed;
    sigemptyset(&obeyed);
    for (int number : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&obeyed, number);
    sigprocmask(SIG_BLOCK, &obeyed, nullptr);
    signal(SIGCHLD, SIG_DFL); // whoever started the daemon may not have waited for children
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    return signalfd(-1, &obeyed, SFD_CLOEXEC | SFD_NONBLOCK);
}

int RunDaemon(Daemon& daemon, int signals)
{
    StartWork(daemon);
    TellReady();
    bool isToEnd = false;
    while (!isToEnd)
        isToEnd = WaitForWork(daemon, signals) || RunPass(daemon);
    EndWork(daemon);
    return 0;
}
