// Preloaded into the daemon or a screen: hours of its work in seconds. Its clocks leap over every
// wait in which nothing is under way; an answer that is, of the UPS or of an agent, is waited for
// in real time, and so is a key. The processes that it forks share its clocks.
//
// A test that has made the file WEATHER tells by it, at any time, how many requests to the UPS stay
// without their answer, how far the time of day is off, and how many of a screen's passes are idle:
// they leap over the wait for a key, whatever was typed. It finds there how often a key was waited
// for, how many of these passes were idle, how many keys were read, and how many answers were
// lost or late.

#include "tests/preload/weather.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <dlfcn.h>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int64_t MILLISECOND = 1000000; // in nanoseconds
constexpr int64_t SECOND = 1000 * MILLISECOND;
constexpr int LONGEST_ANSWER = 2000;      // milliseconds, in real time; more counts as a silence
constexpr timespec GLANCE = {0, 200000L}; // between two looks at the shared clock

struct Shared {
    std::atomic<int64_t> leapt;      // nanoseconds that all clocks are ahead of the machine's
    std::atomic<pid_t> child;        // forked last or at work last, or 0
    std::atomic<int64_t> childWaits; // its own wait lasts up to this moment of the shared clock
    std::atomic<pid_t> leader;       // the process that leaps
    std::atomic<bool> isAnswerOpen;  // the leader has asked its line
};

Shared* MakeShared()
{
    void* page =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto* shared = static_cast<Shared*>(page);
    shared->leader = getpid();
    return shared;
}

Shared& Common()
{
    static Shared* const shared = MakeShared();
    return *shared;
}

template <typename Function> Function Next(const char* name, Function /*type*/)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool IsLeader()
{
    return Common().leader == getpid();
}

int64_t RealNow()
{
    static const auto next = Next("clock_gettime", clock_gettime);
    timespec now = {};
    next(CLOCK_MONOTONIC, &now);
    return now.tv_sec * SECOND + now.tv_nsec;
}

int PollReally(pollfd* inputs, nfds_t count, int milliseconds)
{
    static const auto next = Next("poll", poll);
    int found = next(inputs, count, milliseconds);
    if (found > 0)
        Common().isAnswerOpen = false;
    return found;
}

// The clock that all the programs of one daemon share.
int64_t LeaptNow()
{
    return RealNow() + Common().leapt;
}

void LeapTo(int64_t moment)
{
    Common().leapt += std::max<int64_t>(0, moment - LeaptNow());
}

// One that has ended has nothing more to do, also before it was waited for.
bool IsChildBusy()
{
    pid_t child = Common().child;
    siginfo_t ended = {};
    return child != 0 && LeaptNow() >= Common().childWaits &&
           waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0;
}

bool IsUnderWay()
{
    return Common().isAnswerOpen || IsChildBusy();
}

// The end of a wait, or that of the child's own if it comes first: then the child has its turn.
int64_t NextMoment(int64_t end)
{
    int64_t childs = Common().childWaits;
    return LeaptNow() < childs ? std::min(childs, end) : end;
}

// Waits as long as something is under way, and leaps over the rest.
int PollOrLeap(pollfd* inputs, nfds_t count, int milliseconds)
{
    int64_t latest = RealNow() + std::min(milliseconds, LONGEST_ANSWER) * MILLISECOND;
    int64_t end = LeaptNow() + milliseconds * MILLISECOND;
    int found = PollReally(inputs, count, 0);
    while (found == 0 && LeaptNow() < end) {
        if (IsUnderWay() && RealNow() < latest) {
            found = PollReally(inputs, count, 1);
            continue;
        }
        Common().isAnswerOpen = false;
        LeapTo(NextMoment(end));
        found = PollReally(inputs, count, 0);
    }
    return found;
}

Fate fate = IS_ANSWERED; // of the last request

// --- answers that do not come ------------------------------------------------------------------

bool IsWithheld()
{
    if (fate == ANSWER_IS_LOST)
        Outside().lostAnswers++;
    if (fate == ANSWER_IS_LATE)
        Outside().lateAnswers++;
    return fate == ANSWER_IS_LOST || fate == ANSWER_IS_LATE;
}

bool IsUpsLine(int fd)
{
    return IsLeader() && fd > STDERR_FILENO && isatty(fd) != 0;
}

// What the line has brought, or what of it the program is to see: an answer that is late comes
// in front of the next one that is not.
ssize_t TakeFromLine(char* bytes, size_t length, ssize_t count)
{
    static std::string late;
    if (count <= 0)
        return count;
    auto fresh = static_cast<size_t>(count);
    if (IsWithheld()) {
        if (fate == ANSWER_IS_LATE)
            late.append(bytes, fresh);
        errno = EAGAIN;
        return -1;
    }
    late.append(bytes, fresh);
    size_t taken = late.copy(bytes, length);
    late.erase(0, taken);
    return static_cast<ssize_t>(taken);
}

// An agent's answer has come. It is gone, or waits for the next look at the socket, which is one
// for the answer to the same request sent again, or to another one.
int WithholdAnswer(int count, fd_set* sockets)
{
    char scrap = 0;
    for (int fd = 0; fd < count && fate == ANSWER_IS_LOST; fd++) {
        while (FD_ISSET(fd, sockets) && recv(fd, &scrap, sizeof(scrap), MSG_DONTWAIT) >= 0) {
        }
    }
    FD_ZERO(sockets);
    return 0;
}

// --- an idle pass ------------------------------------------------------------------------------

bool isPassIdle = false; // until the terminal is read

int64_t Nanoseconds(const timeval& time)
{
    return time.tv_sec * SECOND + time.tv_usec * 1000;
}

// Begins a pass. A key that is typed already comes in a later one, if this one is to be idle.
bool IsKeyWaitInVain()
{
    static uint64_t state = 2;
    Outside().passes++;
    isPassIdle = HappensByChance(state, Outside().idlePercent);
    return isPassIdle;
}

// The terminal has nothing for as long as a read of it waits.
ssize_t ReadNoKey()
{
    termios mode = {};
    tcgetattr(STDIN_FILENO, &mode);
    LeapTo(LeaptNow() + mode.c_cc[VTIME] * SECOND / 10);
    isPassIdle = false;
    Outside().idlePasses++;
    return 0;
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    static const auto next = Next("clock_gettime", clock_gettime);
    if (next(clock, now) != 0)
        return -1;
    int64_t ahead = now->tv_nsec + Common().leapt;
    now->tv_sec += ahead / SECOND + (clock == CLOCK_REALTIME ? Outside().clockShift.load() : 0);
    now->tv_nsec = ahead % SECOND;
    return 0;
}

time_t time(time_t* now) noexcept
{
    timespec exact = {};
    clock_gettime(CLOCK_REALTIME, &exact);
    if (now != nullptr)
        *now = exact.tv_sec;
    return exact.tv_sec;
}

int poll(pollfd* inputs, nfds_t count, int milliseconds)
{
    if (milliseconds <= 0 || !IsLeader())
        return PollReally(inputs, count, milliseconds);
    return PollOrLeap(inputs, count, milliseconds);
}

// What a hardened build calls in its place.
int __poll_chk(pollfd* inputs, nfds_t count, int milliseconds, size_t /*room*/)
{
    return poll(inputs, count, milliseconds);
}

ssize_t read(int fd, void* bytes, size_t length)
{
    static const auto next = Next("read", read);
    if (fd == STDIN_FILENO && isPassIdle)
        return ReadNoKey();
    ssize_t count = next(fd, bytes, length);
    if (fd == STDIN_FILENO)
        Outside().keys += std::max<ssize_t>(0, count);
    return IsUpsLine(fd) ? TakeFromLine(static_cast<char*>(bytes), length, count) : count;
}

ssize_t write(int fd, const void* bytes, size_t length)
{
    static const auto next = Next("write", write);
    if (!IsUpsLine(fd))
        return next(fd, bytes, length);
    fate = ChooseFate();
    if (fate == REQUEST_IS_LOST)
        return static_cast<ssize_t>(length);
    Common().isAnswerOpen = true;
    return next(fd, bytes, length);
}

// A datagram to an agent.
ssize_t sendmsg(int fd, const msghdr* message, int flags)
{
    static const auto next = Next("sendmsg", sendmsg);
    const auto* to = static_cast<const sockaddr*>(message->msg_name);
    if (to == nullptr || to->sa_family != AF_INET)
        return next(fd, message, flags);
    fate = ChooseFate();
    return fate == REQUEST_IS_LOST ? static_cast<ssize_t>(message->msg_iov->iov_len)
                                   : next(fd, message, flags);
}

// The wait for a key is the one on the standard input alone; any other is for an agent.
int select(int count, fd_set* in, fd_set* out, fd_set* errors, timeval* limit)
{
    static const auto next = Next("select", select);
    if (limit == nullptr || (limit->tv_sec == 0 && limit->tv_usec == 0))
        return next(count, in, out, errors, limit);
    int64_t end = LeaptNow() + Nanoseconds(*limit);
    if (count == STDIN_FILENO + 1) {
        if (!IsKeyWaitInVain())
            return next(count, in, out, errors, limit);
        FD_ZERO(in);
        LeapTo(end);
        return 0;
    }
    if (fate == REQUEST_IS_LOST)
        *limit = {};
    int found = next(count, in, out, errors, limit);
    if (found > 0 && IsWithheld())
        found = WithholdAnswer(count, in);
    if (found == 0)
        LeapTo(end);
    return found;
}

pid_t fork() noexcept
{
    static const auto next = Next("fork", fork);
    pid_t child = next();
    if (child > 0 && IsLeader()) {
        Common().child = child;
        Common().childWaits = 0;
    }
    return child;
}

pid_t waitpid(pid_t pid, int* status, int options)
{
    static const auto next = Next("waitpid", waitpid);
    pid_t ended = next(pid, status, options);
    if (ended > 0 && ended == Common().child)
        Common().child = 0;
    return ended;
}

// A screen's own pause is leapt over; a child's pause between its rounds is over when the leader's
// leaps have come so far.
int clock_nanosleep(clockid_t clock, int flags, const timespec* moment, timespec* left)
{
    static const auto next = Next("clock_nanosleep", clock_nanosleep);
    if (flags != TIMER_ABSTIME)
        return next(clock, flags, moment, left);
    int64_t end = moment->tv_sec * SECOND + moment->tv_nsec;
    if (IsLeader()) {
        LeapTo(end);
        return 0;
    }
    Common().child = getpid();
    Common().childWaits = end;
    while (LeaptNow() < end)
        next(CLOCK_MONOTONIC, 0, &GLANCE, nullptr);
    return 0;
}
}
