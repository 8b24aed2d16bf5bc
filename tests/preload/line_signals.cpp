// Preloaded into the daemon: writes down what it does to the signals of its line, which a
// pseudo-terminal does not have: DTR and RTS switched, and whether closing lets them fall.

#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr char RECORD[] = "/run/wardenlink-line-signals";

template <typename Function> Function Next(const char* name, Function /*type*/)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void Write(const char* word)
{
    int fd = open(RECORD, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    dprintf(fd, "%s\n", word);
    syscall(SYS_close, fd);
}

void WriteSignal(int signal, const char* word)
{
    char line[16];
    snprintf(line, sizeof(line), "%s %s",
             signal == TIOCM_DTR   ? "DTR"
             : signal == TIOCM_RTS ? "RTS"
                                   : "other",
             word);
    Write(line);
}

} // namespace

extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept
{
    static const auto next = Next("ioctl", ioctl);
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == TIOCMBIS || request == TIOCMBIC)
        WriteSignal(*static_cast<int*>(argument), request == TIOCMBIS ? "on" : "off");
    if (request == TIOCMSET)
        Write("all set");
    return next(fd, request, argument);
}

int close(int fd)
{
    static const auto next = Next("close", close);
    termios terms = {};
    if (tcgetattr(fd, &terms) == 0)
        Write((terms.c_cflag & HUPCL) != 0 ? "closed, they fall" : "closed, they stay");
    return next(fd);
}
}
