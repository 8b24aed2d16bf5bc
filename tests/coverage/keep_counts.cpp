// For the build that counts lines. The counts of a process are kept when the library's exit
// runs; but a forked process ends by _exit, and many of a test's are killed. So they are kept
// there, too, and about once a second where a program waits: its calls are led past here. The
// files are everybody's, as some tests run a program as another user. Who cannot write them, as
// without a descriptor, says so on standard error, which tests read: not at the end, when it is
// closed, and until then they go on counting.

#include <ctime>
#include <poll.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr time_t PERIOD = 1; // seconds; every time takes some milliseconds

} // namespace

extern "C" {

void __gcov_dump(void);
void __gcov_reset(void);

static void WriteCounts()
{
    mode_t mask = umask(0);
    __gcov_dump();
    umask(mask);
}

// At the end of the process, and there before the library does it, and instead.
__attribute__((destructor)) static void WriteLastCounts()
{
    close(STDERR_FILENO);
    WriteCounts();
}

static bool HasFreeDescriptor()
{
    int spare = dup(STDERR_FILENO);
    if (spare >= 0)
        close(spare);
    return spare >= 0;
}

static void KeepCounts()
{
    static time_t keptAt = 0;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec < keptAt + PERIOD || !HasFreeDescriptor())
        return;
    keptAt = now.tv_sec;
    WriteCounts();
    __gcov_reset();
}

[[noreturn]] void __real__exit(int status);
int __real_poll(pollfd* inputs, nfds_t count, int milliseconds);
int __real_select(int count, fd_set* in, fd_set* out, fd_set* errors, timeval* limit);
int __real_clock_nanosleep(clockid_t clock, int flags, const timespec* moment, timespec* left);

[[noreturn]] void __wrap__exit(int status)
{
    WriteLastCounts();
    __real__exit(status);
}

int __wrap_poll(pollfd* inputs, nfds_t count, int milliseconds)
{
    KeepCounts();
    return __real_poll(inputs, count, milliseconds);
}

int __wrap_select(int count, fd_set* in, fd_set* out, fd_set* errors, timeval* limit)
{
    KeepCounts();
    return __real_select(count, in, out, errors, limit);
}

int __wrap_clock_nanosleep(clockid_t clock, int flags, const timespec* moment, timespec* left)
{
    KeepCounts();
    return __real_clock_nanosleep(clock, flags, moment, left);
}
}
