#include "fuzz/support/waits.h"

#include <cstdint>
#include <dlfcn.h>
#include <unistd.h>

WaitHook onKeyWait = nullptr;
WaitHook onOtherWait = nullptr;
void (*onSleep)() = nullptr;

namespace {

constexpr int64_t SECOND = 1000000000; // in nanoseconds
constexpr timeval ON_ITS_WAY = {5, 0}; // a limit for what has been sent, never waited out
constexpr timeval NOT_AT_ALL = {0, 0};

int64_t leapt = 0;
time_t timeOfDay = -1;

template <typename Function> Function Next(const char* name, Function /*type*/)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void Leap(int64_t seconds, int64_t nanoseconds)
{
    leapt += seconds * SECOND + nanoseconds;
}

int64_t ToNanoseconds(const timespec& moment)
{
    return moment.tv_sec * SECOND + moment.tv_nsec;
}

} // namespace

void SetTimeOfDay(time_t moment)
{
    timeOfDay = moment;
}

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    static const auto next = Next("clock_gettime", clock_gettime);
    int result = next(clock, now);
    if (result != 0 || clock != CLOCK_MONOTONIC)
        return result;
    int64_t ahead = now->tv_nsec + leapt;
    now->tv_sec += ahead / SECOND;
    now->tv_nsec = ahead % SECOND;
    return 0;
}

time_t time(time_t* now) noexcept
{
    timespec exact = {timeOfDay, 0};
    if (timeOfDay == -1)
        clock_gettime(CLOCK_REALTIME, &exact);
    if (now != nullptr)
        *now = exact.tv_sec;
    return exact.tv_sec;
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* moment, timespec* /*left*/)
{
    timespec now = {};
    if (flags == TIMER_ABSTIME)
        clock_gettime(clock, &now);
    int64_t wait = ToNanoseconds(*moment) - ToNanoseconds(now);
    if (wait > 0)
        Leap(0, wait);
    return 0;
}

unsigned sleep(unsigned seconds)
{
    static const auto next = Next("sleep", sleep);
    if (gettid() != getpid()) // the fuzzer's own watch over the memory
        return next(seconds);
    Leap(seconds, 0);
    if (onSleep != nullptr)
        onSleep();
    return 0;
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* limit)
{
    static const auto next = Next("select", select);
    WaitHook hook = count == STDIN_FILENO + 1 ? onKeyWait : onOtherWait;
    bool isOnItsWay = hook != nullptr && hook(count, readable);
    timeval wait = isOnItsWay ? ON_ITS_WAY : NOT_AT_ALL;
    int found = next(count, readable, writable, failed, &wait);
    if (found == 0 && limit != nullptr)
        Leap(limit->tv_sec, int64_t{limit->tv_usec} * 1000);
    return found;
}
}
