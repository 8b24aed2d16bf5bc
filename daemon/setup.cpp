#include "daemon/setup.h"

#include "base/system.h"
#include "base/text.h"
#include "daemon/check.h"
#include "daemon/process.h"
#include "daemon/status_command.h"
#include "ipc/tolvipc.h"
#include "settings/tolv_lib.h"
#include "snmp/snmplib.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int LONGEST_TEXT = SETTINGS_TEXT_SIZE - 1;
constexpr size_t EDITOR_COMMUNITY_LIMIT = 8; // what the editor's save keeps

int Refuse(const char* what, const char* why)
{
    char shown[80];
    CopyField(shown, what);
    MakePrintable(shown);
    fprintf(stderr, "tolvd: %s: %s\n", shown, why);
    return 1;
}

// The text file of the settings parts its values by blanks and ends them by brackets.
bool CanBeHeld(const char* text)
{
    size_t length = strlen(text);
    if (length == 0 || length > LONGEST_TEXT)
        return false;
    for (const char* c = text; *c != '\0'; c++) {
        if (*c <= ' ' || *c > '~' || *c == '[' || *c == ']')
            return false;
    }
    return true;
}

// Closing a line lets its signals fall as well, unless it is told to leave them: a UPS may take
// their fall for an order. False when it is no line.
bool KeepSignals(int fd)
{
    termios terms = {};
    if (tcgetattr(fd, &terms) != 0)
        return false;
    terms.c_cflag &= ~static_cast<tcflag_t>(HUPCL);
    return tcsetattr(fd, TCSANOW, &terms) == 0;
}

// A line that the daemon watches is left alone: opening it raises its signals.
bool IsLineDevice(const char* device)
{
    if (IsDaemonsLine(device))
        return true;
    int fd = open(device, O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    // A line that a program holds for itself alone is a line all the same.
    bool isLine = fd >= 0 ? KeepSignals(fd) : errno == EBUSY;
    if (fd >= 0)
        close(fd);
    return isLine;
}

// False when there are settings that cannot be read: they would be lost.
bool LoadConfig(PowerConfig& cfg, ScheduleEntry sched[7])
{
    InitConfig(cfg, sched);
    return ReadSettings(cfg, sched) != SETTINGS_REFUSED;
}

int SaveAndCheck(const PowerConfig& cfg, const ScheduleEntry sched[7])
{
    if (WriteConfig(cfg, sched) == 0)
        return Refuse(SETTINGS_FOLDER, "the settings cannot be written");
    SendMsg(CreateMsgQ(SCREEN_CONTROL_QUEUE), CONTROL_MESSAGE, CONTROL_RELOAD);
    bool isRunning = IsDaemonRunning();
    int64_t toldAt = BootMilliseconds();
    bool isTold = SendMsg(CreateMsgQ(DAEMON_CONTROL_QUEUE), CONTROL_MESSAGE, CONTROL_RELOAD) == 1;
    if (isRunning && !isTold)
        return Refuse("the running daemon",
                      "it takes no order: SIGHUP lets it read the settings that were written");
    return isRunning ? CheckAfterTelling(toldAt) : CheckUps();
}

} // namespace

int SetUpSerial(const char* device)
{
    if (!CanBeHeld(device) || device[0] != '/')
        return Refuse(device, "a line is a path from / on; the settings hold 1 to 29 printable "
                              "characters without blanks");
    if (!IsLineDevice(device))
        return Refuse(device, "this is no serial line");
    PowerConfig cfg = {};
    ScheduleEntry sched[7];
    if (!LoadConfig(cfg, sched))
        return Refuse(SETTINGS_FOLDER, "the settings that are there cannot be read");
    cfg.commMode = COMM_SERIAL;
    CopyField(cfg.comPort, device);
    return SaveAndCheck(cfg, sched);
}

int SetUpAgent(const char* address, const char* community)
{
    if (!CanBeHeld(address) || IsAgentAddress(address) == 0)
        return Refuse(address,
                      "an agent's address is a dotted number that does not begin with 127");
    if (community != nullptr && !CanBeHeld(community))
        return Refuse(community, "the settings hold 1 to 29 printable characters without blanks");
    if (community != nullptr && strlen(community) > EDITOR_COMMUNITY_LIMIT)
        printf("Note: the settings editor cuts a community name to %zu characters.\n",
               EDITOR_COMMUNITY_LIMIT);
    PowerConfig cfg = {};
    ScheduleEntry sched[7];
    if (!LoadConfig(cfg, sched))
        return Refuse(SETTINGS_FOLDER, "the settings that are there cannot be read");
    cfg.commMode = COMM_SNMP;
    CopyField(cfg.snmpIp, address);
    if (community != nullptr)
        CopyField(cfg.snmpCommunity, community);
    return SaveAndCheck(cfg, sched);
}
