// Preloaded into the daemon: a serial line whose adapter is broken. Opening it, named by
// SLOW_LINE, takes as many seconds as SLOW_LINE_SECONDS says.

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

int OpenSlowly(const char* path, int flags, mode_t mode)
{
    using Open = int (*)(const char*, int, ...);
    static const auto next = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "open"));
    const char* line = getenv("SLOW_LINE");
    const char* seconds = getenv("SLOW_LINE_SECONDS");
    if (line != nullptr && seconds != nullptr && strcmp(path, line) == 0)
        sleep(static_cast<unsigned>(strtoul(seconds, nullptr, 10)));
    return next(path, flags, mode);
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return OpenSlowly(path, flags, mode);
}

// What a hardened build calls in its place.
int __open_2(const char* path, int flags)
{
    return OpenSlowly(path, flags, 0);
}
}
