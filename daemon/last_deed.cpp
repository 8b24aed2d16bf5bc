#include "daemon/last_deed.h"

#include "base/system.h"
#include "daemon/deed_mark.h"
#include "daemon/log.h"
#include "daemon/process.h"
#include "daemon/serial_line.h"
#include "daemon/state_files.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int64_t EVENT_LIMIT = 5000;
constexpr int64_t SYNC_LIMIT = 10000;
constexpr int64_t UPS_LIMIT = 15000;
constexpr int64_t DELAY_LIMIT = 2000;             // leaves time for what comes after it
constexpr int64_t WRITE_LIMIT = UPS_LIMIT - 1000; // what was written has still to leave
constexpr int64_t LONGEST_PROGRAM = 60000;
constexpr int64_t SHORTEST_PROGRAM = 10000; // that is given up
constexpr int64_t QUIET_LINE = 300;         // milliseconds without a byte: no reply is under way
constexpr double LOOK_PERIOD = 0.02;
constexpr double PAUSE_BETWEEN_TRIES = 10.0;

constexpr const char* const SHUTDOWN[] = {"/sbin/shutdown", "-h", "now", nullptr};
constexpr const char* const POWEROFF[] = {"/sbin/poweroff", nullptr};

// What the process is to do.
struct Deed {
    PolicyOrder order;
    const PowerConfig& cfg;
    UpsPath path;
    int line; // the serial line, -1 without one
    const EventEnvironment& environment;
    bool isDryRun;
    bool isMarked; // a daemon that follows can find it
};

// Waits for a child of this process; false when its time was over.
bool WaitUntil(pid_t pid, int64_t endBy, int* status)
{
    while (waitpid(pid, status, WNOHANG) == 0) {
        if (BootMilliseconds() >= endBy)
            return false;
        PauseSeconds(LOOK_PERIOD);
    }
    return true;
}

void DoNothing(int /*signal*/)
{
}

// In this process; the alarm ends a call that hangs.
template <typename Work> bool DoHereWithin(int64_t limit, Work work)
{
    struct sigaction interrupt = {};
    interrupt.sa_handler = DoNothing;
    sigaction(SIGALRM, &interrupt, nullptr);
    alarm(static_cast<unsigned>(limit / 1000));
    bool isDone = work();
    alarm(0);
    return isDone;
}

// Does something slow in a process of its own, or, where none can be made, in this one; true
// when it was done in time. A descriptor that is the other process's from then on is closed.
template <typename Work> bool DoWithin(int64_t limit, Work work, int handedOver = -1)
{
    pid_t pid = fork();
    if (pid < 0)
        return DoHereWithin(limit, work);
    if (pid == 0)
        _exit(work() ? 0 : 1);
    if (handedOver >= 0)
        close(handedOver);
    int status = -1;
    if (WaitUntil(pid, BootMilliseconds() + limit, &status))
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    kill(pid, SIGKILL);
    return false;
}

void RaiseShutdownEvent(const Deed& deed)
{
    pid_t runner = RaiseEvent(PolicyEvent(POLICY_SHUTDOWN), deed.environment);
    int status = 0;
    if (runner > 0 && !WaitUntil(runner, BootMilliseconds() + EVENT_LIMIT, &status))
        WriteLog(LOG_WARNING, "the programs of the event shutdown are not waited for any longer");
}

// A reply that is still coming would be lost to the UPS's ears as well as ours.
void WaitForQuietLine(int line, int64_t endBy)
{
    char bytes[REPLY_ROOM];
    pollfd input = {line, POLLIN, 0};
    while (BootMilliseconds() < endBy && poll(&input, 1, QUIET_LINE) > 0) {
        if (ReadSerialLine(line, bytes, sizeof(bytes)) < 0)
            return;
    }
}

// The line may be gone at the worst of times: it is opened again as long as there is time.
bool WriteOrder(Deed& deed, const char* text, int64_t endBy)
{
    while (BootMilliseconds() < endBy) {
        if (deed.line >= 0) {
            WaitForQuietLine(deed.line, BootMilliseconds() + 2000);
            if (WriteSerialLine(deed.line, text))
                return true;
            CloseSerialLine(deed.line);
        }
        deed.line = OpenSerialLine(deed.cfg.comPort, false);
        if (deed.line < 0)
            PauseSeconds(0.2);
    }
    return false;
}

// A broken adapter can hold up every single step for as long as it likes. Were the line kept
// open here, an adapter that is plugged in again would come back under another name.
void TellSerialUps(Deed& deed)
{
    char text[16];
    FormatShutdownText(text, sizeof(text), deed.order.offDelay, deed.order.restartMinutes);
    if (deed.isDryRun) {
        WriteLog(LOG_NOTICE, "dry run: would tell the UPS %s", text);
        return;
    }
    auto tell = [&] {
        if (!WriteOrder(deed, text, BootMilliseconds() + WRITE_LIMIT))
            return false;
        DrainSerialLine(deed.line);
        return true;
    };
    bool isTold = DoWithin(UPS_LIMIT, tell, deed.line);
    deed.line = -1;
    if (isTold)
        WriteLog(LOG_NOTICE, "the UPS was told %s", text);
    else
        WriteLog(LOG_ALERT, "the UPS could not be told to turn off: its line does not work");
}

// The access layer prints what it does, and what an agent did not take.
void LogOutput(int output)
{
    char text[512];
    ssize_t count = read(output, text, sizeof(text) - 1);
    text[count > 0 ? count : 0] = '\0';
    char* rest = text;
    while (const char* line = strtok_r(rest, "\n", &rest)) {
        bool hasFailed = strncmp(line, "failed", strlen("failed")) == 0;
        WriteLog(hasFailed ? LOG_ALERT : LOG_NOTICE, "telling the UPS: %s", line);
    }
}

// A UPS whose own delay is shorter than the one that its agent did not take would cut the
// power under a system that is still stopping. One that is silent gets its order all the same.
bool IsDelayTooShort(const PolicyOrder& order)
{
    int wanted = static_cast<int>(order.offDelay * 60.0F);
    int outcome = SET_UNANSWERED;
    ObjectText kept;
    UPS_setvalue(OID_SHUTDOWN_DELAY, wanted, &outcome);
    if (outcome != SET_REFUSED)
        return false;
    bool isRead = ReadObject(OID_SHUTDOWN_DELAY, kept);
    return !isRead || atoi(kept.text) < wanted;
}

// For what is printed, see LogOutput.
bool OrderAgent(const PolicyOrder& order)
{
    bool isUnsafe = DoWithin(DELAY_LIMIT, [&] { return OpenAgent() && IsDelayTooShort(order); });
    if (isUnsafe) {
        printf("failed to set the turn-off delay, which is too short: the UPS stays on\n");
        return true;
    }
    if (!OpenAgent())
        return false;
    UPS_shutdown(static_cast<double>(order.offDelay), order.restartMinutes, 1);
    if (WasWriteRefused())
        printf("failed to turn the UPS off: its agent refuses it\n");
    return true;
}

// The agent is not asked first whether it is there: when only its answers are lost, the
// order still reaches it.
void TellAgent(const Deed& deed)
{
    const PolicyOrder& order = deed.order;
    if (deed.isDryRun) {
        WriteLog(LOG_NOTICE, "dry run: would tell the agent: off in %.1f minutes, back after %d",
                 static_cast<double>(order.offDelay), order.restartMinutes);
        return;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        ends[0] = ends[1] = -1;
    bool isDone = DoWithin(UPS_LIMIT, [&] {
        dup2(ends[1], STDOUT_FILENO);
        setvbuf(stdout, nullptr, _IONBF, 0);
        upsconf_load(deed.cfg.snmpIp, deed.cfg.snmpCommunity);
        return OrderAgent(order);
    });
    LogOutput(ends[0]);
    if (!isDone)
        WriteLog(LOG_ALERT, "the UPS could not be told to turn off in %d seconds",
                 static_cast<int>(UPS_LIMIT / 1000));
    close(ends[0]);
    close(ends[1]);
}

// For a daemon that follows. To be called again and again: there may be room later.
void LeaveMark(Deed& deed)
{
    if (deed.isDryRun || deed.isMarked)
        return;
    deed.isMarked = MarkDeedBegun();
    if (!deed.isMarked)
        WriteLog(LOG_ERR, "%s cannot be written: %s", LAST_DEED_PATH, strerror(errno));
}

// Where no process can be made for it nothing is flushed, since a disk that hangs cannot be
// interrupted: the programs that follow flush as well.
void FlushDisks()
{
    pid_t deed = getpid();
    DoWithin(SYNC_LIMIT, [&] {
        if (getpid() != deed)
            sync();
        return true;
    });
}

// How long a program that hangs is waited for: the UPS may go off meanwhile.
int64_t ProgramLimit(const PolicyOrder& order)
{
    if (!order.tellUps)
        return LONGEST_PROGRAM;
    auto third = static_cast<int64_t>(order.offDelay * 60000.0F / 3.0F);
    return std::clamp(third, SHORTEST_PROGRAM, LONGEST_PROGRAM);
}

enum ProgramEnd { PROGRAM_DONE, PROGRAM_FAILED, PROGRAM_HUNG };

// Where no process can be made any more the program takes this one's place.
ProgramEnd RunToTheEnd(const char* const arguments[], int64_t limit)
{
    Child child = {-1, 0};
    int status = -1;
    if (!StartChild(child, arguments, nullptr, BootMilliseconds() + limit)) {
        execv(arguments[0], const_cast<char* const*>(arguments));
        return PROGRAM_FAILED;
    }
    while (WatchChild(child, BootMilliseconds(), &status))
        PauseSeconds(LOOK_PERIOD);
    if (status == -1)
        return PROGRAM_HUNG;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? PROGRAM_DONE : PROGRAM_FAILED;
}

// Nothing may keep the machine up now: what fails is tried by the other way, for ever.
void ShutDown(Deed& deed)
{
    if (deed.isDryRun) {
        WriteLog(LOG_NOTICE, "dry run: would run /sbin/shutdown -h now");
        return;
    }
    const char* const* programs[] = {SHUTDOWN, POWEROFF};
    for (int attempt = 0;; attempt++) {
        const char* const* program = programs[attempt % 2];
        LeaveMark(deed);
        WriteLog(LOG_ALERT, "running %s", program[0]);
        ProgramEnd end = RunToTheEnd(program, ProgramLimit(deed.order));
        if (end == PROGRAM_DONE)
            return;
        WriteLog(LOG_EMERG, "%s %s: the system does not go down", program[0],
                 end == PROGRAM_HUNG ? "hangs" : "failed");
        if (end == PROGRAM_FAILED)
            PauseSeconds(PAUSE_BETWEEN_TRIES);
    }
}

[[noreturn]] void DoLastDeed(Deed& deed)
{
    setsid();
    ResetActions();
    for (int ignored : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE})
        signal(ignored, SIG_IGN);
    UnblockSignals();
    LeaveMark(deed);
    deed.line = KeepOpenOnlyLog(deed.line);
    RaiseShutdownEvent(deed);
    LeaveMark(deed);
    FlushDisks();
    if (deed.order.tellUps && deed.path == PATH_SERIAL)
        TellSerialUps(deed);
    if (deed.order.tellUps && deed.path == PATH_AGENT)
        TellAgent(deed);
    ShutDown(deed);
    if (!deed.isDryRun && !MarkDeedDone())
        WriteLog(LOG_ERR, "%s cannot be written: %s", LAST_DEED_PATH, strerror(errno));
    _exit(0);
}

} // namespace

pid_t BeginLastDeed(const PolicyOrder& order, const Source& source, const PowerConfig& cfg,
                    const EventEnvironment& environment, bool isDryRun, bool inThisProcess)
{
    Deed deed = {
        order,       cfg,      source.path, source.path == PATH_SERIAL ? source.serial.fd : -1,
        environment, isDryRun, false};
    pid_t pid = inThisProcess ? 0 : fork();
    if (pid == 0)
        DoLastDeed(deed);
    return pid;
}
