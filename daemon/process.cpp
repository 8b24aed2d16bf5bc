#include "daemon/process.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <initializer_list>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int FIRST_FREE = STDERR_FILENO + 1;

const char* const SHORT_ENVIRONMENT[] = {
    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
    "LANG=C",
    nullptr,
};

[[noreturn]] void Execute(const char* const arguments[], const char* const environment[])
{
    setpgid(0, 0);
    SpareFromMemoryShortage(false);
    PrepareChild(-1);
    if (chdir("/") == 0)
        execve(arguments[0], const_cast<char* const*>(arguments),
               const_cast<char* const*>(environment != nullptr ? environment : SHORT_ENVIRONMENT));
    _exit(127);
}

int64_t MillisecondsOf(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Killed, but perhaps stuck in a read of a dead disk; or at work for themselves.
constexpr int UNWAITED = 256;
pid_t unwaited[UNWAITED];

} // namespace

void ResetActions()
{
    for (int number = 1; number < NSIG; number++)
        signal(number, SIG_DFL);
}

void UnblockSignals()
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void ResetSignals()
{
    ResetActions();
    UnblockSignals();
}

void SendStreamsToNull()
{
    close(STDIN_FILENO); // for the next line, where no other descriptor is free
    int null = open("/dev/null", O_RDWR);
    for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (null >= 0)
            dup2(null, stream);
        else
            close(stream);
    }
    if (null >= FIRST_FREE)
        close(null);
}

int64_t BootMilliseconds()
{
    return MillisecondsOf(CLOCK_BOOTTIME);
}

int64_t AwakeMilliseconds()
{
    return MillisecondsOf(CLOCK_MONOTONIC);
}

int KeepOpenOnly(int kept)
{
    int first = FIRST_FREE;
    if (kept >= 0 && kept != FIRST_FREE && dup2(kept, FIRST_FREE) < 0)
        _exit(1);
    if (kept >= 0)
        first++;
    close_range(static_cast<unsigned>(first), ~0U, 0);
    return kept >= 0 ? FIRST_FREE : -1;
}

int PrepareChild(int kept)
{
    ResetSignals();
    SendStreamsToNull();
    return KeepOpenOnly(kept);
}

void SpareFromMemoryShortage(bool isSpared)
{
    const char* adjustment = isSpared ? "-900" : "0";
    int fd = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    // Where it is not allowed the daemon runs like any other process.
    if (write(fd, adjustment, strlen(adjustment)) < 0)
        errno = 0;
    close(fd);
}

bool StartChild(Child& child, const char* const arguments[], const char* const environment[],
                int64_t endBy)
{
    child = {fork(), endBy};
    if (child.pid == 0)
        Execute(arguments, environment);
    if (child.pid < 0)
        return false;
    setpgid(child.pid, child.pid); // whichever of the two comes first
    return true;
}

bool WatchChild(Child& child, int64_t now, int* status)
{
    *status = -1;
    if (child.pid < 0)
        return false;
    if (waitpid(child.pid, status, WNOHANG) == child.pid) {
        child.pid = -1;
        return false;
    }
    *status = -1;
    if (now < child.endBy)
        return true;
    EndChild(child);
    return false;
}

void EndChild(Child& child)
{
    if (child.pid < 0)
        return;
    kill(-child.pid, SIGKILL);
    LeaveToCollect(child.pid);
    child.pid = -1;
}

void LeaveToCollect(pid_t pid)
{
    CollectUnwaited();
    for (pid_t& place : unwaited) {
        if (place == 0) {
            place = pid;
            return;
        }
    }
}

int CollectUnwaited()
{
    int left = 0;
    for (pid_t& pid : unwaited) {
        if (pid != 0 && waitpid(pid, nullptr, WNOHANG) != 0)
            pid = 0;
        left += pid != 0 ? 1 : 0;
    }
    return left;
}
