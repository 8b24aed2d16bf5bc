#include "front/tolvan.h"

#include "base/system.h"
#include "config/tolvconf.h"
#include "ipc/tolvipc.h"
#include "status/tolvstat.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

constexpr char DAEMON_ARGUMENT[] = "            "; // twelve blanks, expected by the daemon

struct Command {
    const char* word;
    int (*run)();
};

// "issuer" and "help" stand in the usage but are no commands of this version.
constexpr Command COMMANDS[] = {
    {"start", tolvan_start},
    {"stop", tolvan_stop},
    {"config", tolvan_config},
    {"status", tolvan_status},
};

// The trailing tabs and the blank before the tab of "config" belong to the text.
constexpr const char* DESCRIPTIONS[] = {
    "  wardenlink start   - Start the Daemon process\t",
    "  wardenlink stop    - Terminate Resident Daemon process\t",
    "  wardenlink config  - Modify Time Settings \t",
    "  wardenlink status  - Monitor UPS status\t",
};

// What a debug switch writes and shows. The third lines of the two status boxes
// differ, odd spelling included: operators know them so.
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

int ThrowSwitch(const DebugSwitch& wanted)
{
    FILE* file = fopen(wanted.path, "w+");
    if (file == nullptr)
        return -1;
    fputs(wanted.word, file);
    fclose(file);
    for (const char* line : wanted.box)
        fputs(line, stdout);
    return 0;
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
    for (const char* description : DESCRIPTIONS) {
        printf("%s", description);
        printf("\n");
    }
    exit(1);
}

int DispatchCommand(const char* programName, const char* word)
{
    for (const Command& command : COMMANDS) {
        if (strcmp(word, command.word) == 0)
            return command.run();
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
    if (fork() == 0) {
        execlp(DAEMON_PATH, DAEMON_PATH, DAEMON_ARGUMENT, nullptr);
        printf("%s\n", "Error! Daemon program fails!");
    }
    return 0;
}

int tolvan_stop()
{
    if (InstanceExist() == 1) {
        SendMsg(CreateMsgQ(DAEMON_CONTROL_QUEUE), CONTROL_MESSAGE, CONTROL_STOP);
        return 0;
    }
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
