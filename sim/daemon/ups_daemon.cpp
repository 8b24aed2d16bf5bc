// The stand-in for the resident daemon: presence, control texts, commands and reply files.
#include "sim/daemon/daemon_files.h"
#include "sim/daemon/daemon_queues.h"
#include "sim/daemon/daemon_settings.h"
#include "sim/daemon/daemon_source.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr const char* LOCK_FILE = "/run/wardenlink-daemon.lock";
constexpr const char* DEFAULT_CONTROL = "/run/wardenlink-sim.sock";

volatile sig_atomic_t isEnding;

void End(int)
{
    isEnding = 1;
}

// Held as long as the process lives; a second daemon finds it taken.
bool TakeLock()
{
    int fd = open(LOCK_FILE, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    return fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0;
}

// Started from a terminal, it outlives the terminal's keys and the terminal itself.
void SetUpSignals()
{
    for (int number : {SIGINT, SIGHUP, SIGQUIT, SIGTSTP, SIGTTOU, SIGPIPE})
        signal(number, SIG_IGN);
    signal(SIGTERM, End);
}

double Now()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The first position that holds '1' decides.
void ObeyControlText(const std::string& text)
{
    size_t position = text.substr(0, 3).find('1');
    if (position == 0)
        isEnding = 1;
    else if (position == 1)
        RereadSettings();
}

void ObeyQueues(UpsSource& source)
{
    std::string text;
    while (!isEnding && TakeControlText(&text))
        ObeyControlText(text);
    while (!isEnding && TakeUpsCommand(&text))
        PassCommand(source, text);
}

void Tick(UpsSource& source)
{
    SendPresence();
    WriteReplyFiles(TakeReadings(source));
}

void Run(UpsSource& source)
{
    static constexpr timespec PAUSE = {0, 100000000};
    double last = Now();
    double next = last;
    while (!isEnding) {
        double now = Now();
        AdvanceSource(source, now - last);
        last = now;
        if (now >= next) {
            Tick(source);
            next = now + 1.0;
        }
        ObeyQueues(source);
        if (!isEnding)
            nanosleep(&PAUSE, nullptr);
    }
}

} // namespace

int main()
{
    const char* control = getenv("WARDENLINK_SIM_CONTROL");
    SetUpSignals();
    if (!TakeLock())
        return 1;
    UpsSource source;
    source.control = control != nullptr ? control : DEFAULT_CONTROL;
    DiscardOldOrders();
    Run(source);
    RemoveReplyFiles();
    return 0;
}
