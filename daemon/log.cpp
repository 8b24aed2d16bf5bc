#include "daemon/log.h"

#include "base/text.h"
#include "daemon/process.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr char SYSTEM_LOG[] = "/dev/log";
constexpr size_t LINE_SIZE = 512;

bool isOnStandardError = false;
int systemLog = -1; // a socket; the library's own syslog would wait for a log that is stuck

void ConnectSystemLog()
{
    if (systemLog >= 0)
        close(systemLog);
    systemLog = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    CopyField(address.sun_path, SYSTEM_LOG);
    // Without a log there is nobody to tell; the next line tries again.
    if (connect(systemLog, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        close(systemLog);
        systemLog = -1;
    }
}

bool SendToSystemLog(const char* line)
{
    return systemLog >= 0 && send(systemLog, line, strlen(line), MSG_NOSIGNAL) >= 0;
}

void WriteToSystemLog(int priority, const char* text)
{
    char line[LINE_SIZE + 32];
    FormatText(line, sizeof(line), "<%d>tolvd[%d]: %s", LOG_DAEMON | priority,
               static_cast<int>(getpid()), text);
    if (SendToSystemLog(line))
        return;
    ConnectSystemLog(); // it may have been started anew
    SendToSystemLog(line);
}

// A reader that is gone or does not read costs the line, never the daemon.
void WriteToStandardError(int priority, const char* text)
{
    char line[LINE_SIZE + 8];
    FormatText(line, sizeof(line), "<%d>%s\n", priority, text);
    pollfd output = {STDERR_FILENO, POLLOUT, 0};
    if (poll(&output, 1, 0) != 1 || write(STDERR_FILENO, line, strlen(line)) < 0)
        return;
}

} // namespace

void OpenLog(bool toStandardError)
{
    isOnStandardError = toStandardError;
    if (!toStandardError)
        ConnectSystemLog();
}

int KeepOpenOnlyLog(int kept)
{
    if (systemLog >= 0)
        close(systemLog);
    systemLog = -1;
    kept = KeepOpenOnly(kept);
    OpenLog(isOnStandardError);
    return kept;
}

void WriteLog(int priority, const char* format, ...)
{
    char text[LINE_SIZE];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    MakePrintable(text);
    if (isOnStandardError)
        WriteToStandardError(priority, text);
    else
        WriteToSystemLog(priority, text);
}
