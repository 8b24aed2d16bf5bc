#include "base/system.h"

#include <cerrno>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

int OpenStandardStreams()
{
    for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        bool isOpen = fcntl(stream, F_GETFD) >= 0;
        // The lowest free number is taken, and those below are in use by now.
        if (!isOpen && open("/dev/null", O_RDWR) != stream)
            return 0;
    }
    return 1;
}

int ChkUserID()
{
    uid_t uid = getuid();
    if (uid == 0)
        return 1;
    fputs("\nSorry. You must login as super-user to run this program (User ID: ", stderr);
    fprintf(stderr, "%d", static_cast<int>(uid));
    fputs(")!!\n", stderr);
    return 0;
}

tm LocalTime(time_t moment)
{
    const tm* local = localtime(&moment);
    return local != nullptr ? *local : tm{};
}

int OpenToRead(const char* path)
{
    return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

FILE* OpenStreamToRead(const char* path)
{
    int fd = OpenToRead(path);
    if (fd < 0)
        return nullptr;
    FILE* file = fdopen(fd, "r");
    if (file == nullptr)
        close(fd);
    return file;
}

size_t ReadBytes(int fd, void* bytes, size_t size)
{
    size_t length = 0;
    while (length < size) {
        ssize_t count = read(fd, static_cast<char*>(bytes) + length, size - length);
        if (count <= 0)
            break;
        length += static_cast<size_t>(count);
    }
    return length;
}

double Now()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void PauseSeconds(double seconds)
{
    if (seconds <= 0)
        return;
    double until = Now() + seconds;
    timespec moment = {};
    moment.tv_sec = static_cast<time_t>(until);
    moment.tv_nsec = static_cast<long>((until - static_cast<double>(moment.tv_sec)) * 1e9);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &moment, nullptr) == EINTR) {
    }
}
