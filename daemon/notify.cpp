#include "daemon/notify.h"

#include <csignal>
#include <cstdlib>
#include <systemd/sd-daemon.h>
#include <unistd.h>

namespace {

constexpr unsigned LONGEST = 1; // seconds

void DoNothing(int /*signal*/)
{
}

// A systemd that hangs reads no message any more, and the one for which there is no room would
// wait for ever: the alarm ends that.
void Tell(const char* state)
{
    if (getenv("NOTIFY_SOCKET") == nullptr)
        return;
    struct sigaction interrupt = {};
    interrupt.sa_handler = DoNothing;
    sigaction(SIGALRM, &interrupt, nullptr);
    alarm(LONGEST);
    sd_notify(0, state);
    alarm(0);
}

} // namespace

void TellReady()
{
    Tell("READY=1");
}

void TellAlive()
{
    Tell("WATCHDOG=1");
}

void TellStopping()
{
    Tell("STOPPING=1");
}
