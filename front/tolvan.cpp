#include "front/tolvan.h"

#include "base/system.h"
#include "config/tolvconf.h"
#include "ipc/tolvipc.h"
#include "screen/terminal_check.h"
#include "status/tolvstat.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

constexpr char DAEMON_ARGUMENT[] = "            "; // expected by the daemon
static_assert(sizeof(DAEMON_ARGUMENT) - 1 == 12);

struct Command {
    const char* word;
    int (*run)();
    bool isScreen;
    const char* description; // the usage's line
};

// "issuer" and "help" stand in the usage but are no commands of this version. The trailing
// tabs and the blank before the tab of "config" belong to the text.
constexpr Command COMMANDS[] = {
    {"start", tolvan_start, false, "  wardenlink start   - Start the Daemon process\t"},
    {"stop", tolvan_stop, false, "  wardenlink stop    - Terminate Resident Daemon process\t"},
    {"config", tolvan_config, true, "  wardenlink config  - Modify Time Settings \t"},
    {"status", tolvan_status, true, "  wardenlink status  - Monitor UPS status\t"},
};

// What a debug switch writes and shows. The third lines of the two status boxes
// differ, odd spelling included: kept, operators know them so.
struct DebugSwitch {
    const char* path;
    const char* word;
    const char* box[6];
};

constexpr char BOX_TOP[] = "\n _________________________________";
constexpr char BOX_EMPTY[] = "\n|                                 |";
constexpr char BOX_STARTED[] = "\n|               Debugger Started  |";
constexpr char BOX_STOPPED[] = "\n|               Debugger Stopped  |";
constexpr char BOX_BOTTOM[] = "\n|_________________________________|\n\n";
constexpr char BOX_DAEMON[] = "\n|  TOLVD Daemon Process Debugger  |";
constexpr char BOX_STATUS[] = "\n|for Linux Status Screen Debugger |";

static_assert(sizeof(BOX_TOP) == sizeof(BOX_EMPTY) - 1); // its corners are open
static_assert(sizeof(BOX_STARTED) == sizeof(BOX_EMPTY) && sizeof(BOX_STOPPED) == sizeof(BOX_EMPTY));
static_assert(sizeof(BOX_DAEMON) == sizeof(BOX_EMPTY) && sizeof(BOX_STATUS) == sizeof(BOX_EMPTY));

constexpr DebugSwitch DAEMON_DEBUG_ON = {
    DAEMON_DEBUG_PATH,
    "debug",
    {BOX_TOP, BOX_EMPTY, BOX_DAEMON, BOX_STARTED, BOX_BOTTOM, ""},
};
constexpr DebugSwitch DAEMON_DEBUG_OFF = {
    DAEMON_DEBUG_PATH,
    "nodebug",
    {BOX_TOP, BOX_EMPTY, BOX_DAEMON, BOX_STOPPED, BOX_BOTTOM, ""},
};
constexpr DebugSwitch STATUS_DEBUG_ON = {
    STATUS_DEBUG_PATH,
    "debug",
    {BOX_TOP, BOX_EMPTY, "\n|    SNMP WradenLink for Software |", BOX_STATUS, BOX_STARTED,
     BOX_BOTTOM},
};
constexpr DebugSwitch STATUS_DEBUG_OFF = {
    STATUS_DEBUG_PATH,
    "nodebug",
    {BOX_TOP, BOX_EMPTY, "\n|   SNMP WardenLink for Software  |", BOX_STATUS, BOX_STOPPED,
     BOX_BOTTOM},
};

void PrintBanner(const char* message)
{
    printf("%s\n %s\n", "<SNMP WardenLink for Linux>", message);
}

// A file that cannot be written prints no box either.
int ThrowSwitch(const DebugSwitch& wanted)
{
    FILE* file = fopen(wanted.path, "w+e");
    if (file == nullptr)
        return -1;
    bool isWritten = fputs(wanted.word, file) >= 0;
    if (fclose(file) != 0 || !isWritten)
        return -1;
    for (const char* line : wanted.box)
        fputs(line, stdout);
    return 0;
}

// Becomes the daemon; comes back only when that fails. These two signals end the daemon
// even when its caller ignores them. It gets the standard streams and nothing else that
// the caller has open, or it would hold a lock or a pipe for as long as it runs.
void BecomeDaemon()
{
    auto* pipeAction = signal(SIGPIPE, SIG_DFL);
    auto* sizeAction = signal(SIGXFSZ, SIG_DFL);
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC); // unknown to an old kernel: no loss
    execlp(DAEMON_PATH, DAEMON_PATH, DAEMON_ARGUMENT, nullptr);
    // The message is still the caller's: what it ignores must not end it.
    signal(SIGPIPE, pipeAction);
    signal(SIGXFSZ, sizeAction);
    printf("%s\n", "Error! Daemon program fails!");
}

const char* ErrorLine(int code)
{
    switch (code) {
    case ARGUMENT_MISSING:
        return "One argument needed!";
    case ARGUMENTS_TOO_MANY:
        return "Too many arguments!";
    case ARGUMENT_UNKNOWN:
        return "Argument error!";
    default:
        return nullptr;
    }
}

} // namespace

void ArgError(const char* programName, int code)
{
    const char* error = ErrorLine(code);
    if (error != nullptr)
        printf("%s\n", error);
    printf("Usage: %s %s\n\n", programName, "[start|stop|config|status|issuer|help]");
    for (const Command& command : COMMANDS)
        printf("%s\n", command.description);
    exit(1);
}

int DispatchCommand(const char* programName, const char* word)
{
    for (const Command& command : COMMANDS) {
        if (strcmp(word, command.word) != 0)
            continue;
        return command.isScreen && CheckTerminal() == 0 ? -1 : command.run();
    }
    ArgError(programName, ARGUMENT_UNKNOWN);
}

int OpenToAnyUser(const char* word)
{
    return strcmp(word, "status") == 0 || strcmp(word, "help") == 0 ? 1 : 0;
}

int tolvan_start()
{
    if (InstanceExist() == 1) {
        PrintBanner("is currently running!");
        return 0;
    }
    pid_t child = fork();
    if (child == 0)
        BecomeDaemon();
    return child < 0 ? -1 : 0;
}

int tolvan_stop()
{
    if (InstanceExist() == 1)
        return SendMsg(CreateMsgQ(DAEMON_CONTROL_QUEUE), CONTROL_MESSAGE, CONTROL_STOP);
    DestroyMsgQ(CreateMsgQ(HEARTBEAT_QUEUE));
    PrintBanner("is not running!");
    return 0;
}

int tolvan_debugtolvd()
{
    return ThrowSwitch(DAEMON_DEBUG_ON);
}

int tolvan_debugstatus()
{
    return ThrowSwitch(STATUS_DEBUG_ON);
}

int tolvan_stopdebugtolvd()
{
    return ThrowSwitch(DAEMON_DEBUG_OFF);
}

int tolvan_stopdebugstatus()
{
    return ThrowSwitch(STATUS_DEBUG_OFF);
}
