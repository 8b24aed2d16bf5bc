// Preloaded into the daemon: its clocks are ahead of the machine's by the seconds that stand in
// the file CLOCK_AHEAD names, and by as many more as the second number says where the machine is
// to have slept, which CLOCK_MONOTONIC does not count. A test leaps over a time by writing them
// once all is over that is to happen before.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

long SecondsAhead(clockid_t clock)
{
    const char* path = getenv("CLOCK_AHEAD");
    int file = path != nullptr ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0)
        return 0;
    char text[48] = {};
    long ahead = 0;
    long asleep = 0;
    if (read(file, text, sizeof(text) - 1) > 0)
        sscanf(text, "%ld %ld", &ahead, &asleep);
    close(file);
    return clock == CLOCK_MONOTONIC ? ahead : ahead + asleep;
}

template <typename Function> Function Next(const char* name, Function /*type*/)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool IsAhead(clockid_t clock)
{
    return clock == CLOCK_BOOTTIME || clock == CLOCK_MONOTONIC || clock == CLOCK_REALTIME;
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    static const auto next = Next("clock_gettime", clock_gettime);
    int result = next(clock, now);
    if (result == 0 && IsAhead(clock))
        now->tv_sec += SecondsAhead(clock);
    return result;
}

time_t time(time_t* now) noexcept
{
    timespec exact = {};
    clock_gettime(CLOCK_REALTIME, &exact);
    if (now != nullptr)
        *now = exact.tv_sec;
    return exact.tv_sec;
}

// Until a moment of those clocks.
int clock_nanosleep(clockid_t clock, int flags, const timespec* moment, timespec* left)
{
    static const auto next = Next("clock_nanosleep", clock_nanosleep);
    if (flags != TIMER_ABSTIME || !IsAhead(clock))
        return next(clock, flags, moment, left);
    timespec end = *moment;
    end.tv_sec -= SecondsAhead(clock);
    return end.tv_sec >= 0 ? next(clock, flags, &end, left) : 0;
}
}
