#include "daemon/first_aid.h"

#include "base/system.h"
#include "base/text.h"
#include "daemon/deed_mark.h"
#include "daemon/events.h"
#include "daemon/explain.h"
#include "daemon/policy_settings.h"
#include "daemon/state_files.h"
#include "daemon/status_command.h"
#include "daemon/status_file.h"
#include "daemon/tell.h"
#include "daemon/whole_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <initializer_list>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr off_t POWER_INI_SIZE = 232;
constexpr size_t PATH_SIZE = 320;

int troubles;

// The trouble and its remedy, both without a full stop at their ends.
void Tell(const char* trouble, const char* remedy)
{
    troubles++;
    PrintAnswer("Trouble: %s. Remedy: %s.", trouble, remedy);
}

// A path, what is the matter with it, and the remedy.
void TellOfPath(const char* path, const char* matter, const char* remedy)
{
    char trouble[2 * PATH_SIZE];
    FormatText(trouble, sizeof(trouble), "%s %s", path, matter);
    Tell(trouble, remedy);
}

void TellOfOwner(const char* path, const char* matter)
{
    char remedy[2 * PATH_SIZE];
    FormatText(remedy, sizeof(remedy), "chown root %s && chmod go-w %s", path, path);
    TellOfPath(path, matter, remedy);
}

void TellOfFolder(const char* path, const char* matter)
{
    char remedy[2 * PATH_SIZE];
    FormatText(remedy, sizeof(remedy), "mkdir -m 755 %s", path);
    TellOfPath(path, matter, remedy);
}

// True when the folder is there and somebody may look at what it holds.
bool CheckFolder(const char* path, bool isNeeded)
{
    struct stat folder = {};
    if (lstat(path, &folder) != 0) {
        if (isNeeded)
            TellOfFolder(path, "is missing");
        return false;
    }
    if (!S_ISDIR(folder.st_mode))
        TellOfFolder(path, "is no folder and has to go away");
    else if (!IsRootsAlone(folder))
        TellOfOwner(path, "is not root's alone: others can take the protection away");
    return S_ISDIR(folder.st_mode);
}

void CheckOpenToUsers(const char* path)
{
    struct stat folder = {};
    char remedy[2 * PATH_SIZE];
    FormatText(remedy, sizeof(remedy), "chmod 755 %s", path);
    if (stat(path, &folder) == 0 && S_ISDIR(folder.st_mode) && (folder.st_mode & 0005) != 0005)
        TellOfPath(path, "is closed to ordinary users: they see nothing of the UPS", remedy);
}

// ReadConfig takes what it gets: a file of another length is half a file.
void CheckSettingsFile(const char* path, off_t size, const char* remedy)
{
    struct stat file = {};
    if (stat(path, &file) != 0) {
        TellOfPath(path, "is missing", remedy);
        return;
    }
    if (!S_ISREG(file.st_mode))
        TellOfPath(path, "is no plain file", remedy);
    else if (!IsRootsAlone(file))
        TellOfOwner(path, "is not root's alone");
    else if (size != 0 && file.st_size != size)
        TellOfPath(path, "is not 232 bytes long",
                   "wardenlink config, save with [s], and look at all "
                   "that is set, the schedule too");
}

void CheckSwitch(const char* name, int value)
{
    char trouble[128];
    if (value == 0 || value == 1)
        return;
    FormatText(trouble, sizeof(trouble), "%s is %d, neither 0 nor 1", name, value);
    Tell(trouble, "mend the line in /etc/wardenlink/wardenlink.cfg; an empty value moves all that "
                  "follow up by one line");
}

void CheckSettings(const PowerConfig& cfg, const ScheduleEntry sched[7])
{
    PolicySettings settings;
    int bad = MakePolicySettings(cfg, sched, settings);
    for (int setting = BAD_AC_FAIL_DELAY; setting <= BAD_SCHEDULE; setting *= 2) {
        if ((bad & setting) != 0)
            Tell(WordsForBadSetting(setting), setting == BAD_SCHEDULE
                                                  ? "restore a copy of /etc/wardenlink/power.ini"
                                                  : "wardenlink config, [+] or [-], and [s]");
    }
    if (cfg.commMode != COMM_SERIAL && cfg.commMode != COMM_SNMP)
        Tell("the communication mode is neither 0 nor 1: there is no UPS and no schedule",
             "tolvd --setup");
    if (cfg.batteryRating != 0.0F && !(cfg.batteryRating >= 12.0F && cfg.batteryRating <= 96.0F))
        Tell("the battery rating is out of range: the local screen's battery level is wrong",
             "wardenlink config, [v], [+] or [-], and [s]");
    CheckSwitch("Turn Off UPS?", cfg.turnOffUps);
    CheckSwitch("Schedule Function", cfg.scheduleOn);
    CheckSwitch("Countdown Function", cfg.countdownOn);
}

void CheckDaemonLink()
{
    char own[PATH_SIZE] = "";
    char remedy[2 * PATH_SIZE];
    if (access(DAEMON_PATH, X_OK) == 0 || readlink("/proc/self/exe", own, sizeof(own) - 1) < 0)
        return;
    FormatText(remedy, sizeof(remedy), "ln -sf %s %s", own, DAEMON_PATH);
    Tell("\"wardenlink start\" finds no daemon", remedy);
}

void CheckEventPrograms()
{
    DIR* folder = CheckFolder(EVENT_FOLDER, false) ? opendir(EVENT_FOLDER) : nullptr;
    if (folder == nullptr)
        return;
    while (const dirent* entry = readdir(folder)) {
        char path[PATH_SIZE];
        struct stat file = {};
        FormatText(path, sizeof(path), "%s/%s", EVENT_FOLDER, entry->d_name);
        if (entry->d_name[0] == '.' || lstat(path, &file) != 0 || (file.st_mode & 0111) == 0)
            continue;
        if (!IsEventProgramName(entry->d_name))
            TellOfPath(path, "never runs: its name", "name it by letters, digits, '_' and '-'");
        else if (!S_ISREG(file.st_mode))
            TellOfPath(path, "never runs: it is no plain file", "put a copy in its place");
        else if (!IsRootsAlone(file))
            TellOfOwner(path, "never runs: it is not root's alone");
    }
    closedir(folder);
}

void CheckCommands(const PowerConfig& cfg)
{
    for (const char* path : {"/sbin/shutdown", "/sbin/poweroff"}) {
        if (access(path, X_OK) != 0)
            TellOfPath(path, "cannot be run: nothing shuts the system down",
                       "install the package that holds it, such as systemd-sysv");
    }
    if (cfg.countdownOn == 1 && access("/usr/bin/wall", X_OK) != 0)
        TellOfPath("/usr/bin/wall", "cannot be run: users are not told",
                   "install the package that holds it, such as bsdutils");
}

void CheckDaemon()
{
    char status[STATUS_TEXT_SIZE];
    if (!ReadRunningStatus(status, sizeof(status)))
        Tell("no daemon runs: nothing is protected", "systemctl enable --now wardenlink");
    else if (IsDryRun(status))
        Tell("the daemon that runs is a dry run: nothing is protected",
             "end it, and systemctl enable --now wardenlink");
}

// --- who holds a device -------------------------------------------------------------------

bool HasOpen(const char* pid, dev_t device)
{
    char path[PATH_SIZE];
    FormatText(path, sizeof(path), "/proc/%s/fd", pid);
    DIR* files = opendir(path);
    bool isFound = false;
    while (files != nullptr && !isFound) {
        const dirent* entry = readdir(files);
        struct stat file = {};
        if (entry == nullptr)
            break;
        FormatText(path, sizeof(path), "/proc/%s/fd/%s", pid, entry->d_name);
        isFound = stat(path, &file) == 0 && S_ISCHR(file.st_mode) && file.st_rdev == device;
    }
    if (files != nullptr)
        closedir(files);
    return isFound;
}

// The program that a process runs; empty for one that is ending, or not to be looked into.
void ReadProgram(const char* pid, char (&program)[PATH_SIZE])
{
    char path[PATH_SIZE];
    FormatText(path, sizeof(path), "/proc/%s/exe", pid);
    ssize_t length = readlink(path, program, sizeof(program) - 1);
    program[length > 0 ? length : 0] = '\0';
}

// Whether it is this one, even if its file has been replaced since.
bool IsOwnProgram(const char* program)
{
    char own[PATH_SIZE];
    ReadProgram("self", own);
    size_t length = strlen(own);
    return strncmp(program, own, length) == 0 &&
           (program[length] == '\0' || strcmp(program + length, " (deleted)") == 0);
}

// 0 where there is none, or no such process.
int ParentOf(const char* pid)
{
    char path[PATH_SIZE];
    char text[128];
    FormatText(path, sizeof(path), "/proc/%s/stat", pid);
    ReadSmallFile(path, text, sizeof(text));
    const char* behindName = strrchr(text, ')');
    int parent = 0;
    if (behindName != nullptr)
        sscanf(behindName + 1, " %*c %d", &parent);
    return parent;
}

void PrintHolder(const char* pid, bool isOwn)
{
    char path[PATH_SIZE];
    char name[64];
    FormatText(path, sizeof(path), "/proc/%s/comm", pid);
    ReadSmallFile(path, name, sizeof(name));
    name[strcspn(name, "\n")] = '\0';
    if (isOwn) // a daemon that cannot write its status looks as if none ran
        PrintAnswer("Trouble: process %s (%s) has it open, and may protect all the same. "
                    "Remedy: see its log.",
                    pid, name);
    else
        PrintAnswer("Trouble: process %s (%s) has it open. Remedy: end it, or take it off this "
                    "line.",
                    pid, name);
}

// This process, the daemon and one that shuts the system down may have it open, and what they have
// just made to open it: it runs this program, too, and may not quite have ended.
void LookAtHolder(const char* pid, int daemon)
{
    char program[PATH_SIZE];
    ReadProgram(pid, program);
    if (program[0] == '\0')
        return;
    bool isOwn = IsOwnProgram(program);
    int process = atoi(pid);
    int parent = isOwn ? ParentOf(pid) : 0;
    for (int allowed : {static_cast<int>(getpid()), daemon, static_cast<int>(FindLastDeed())}) {
        if (allowed > 0 && (process == allowed || parent == allowed))
            return;
    }
    PrintHolder(pid, isOwn);
}

} // namespace

int PrintTroubles(const PowerConfig& cfg, const ScheduleEntry sched[7])
{
    troubles = 0;
    if (CheckFolder(SETTINGS_FOLDER, true)) {
        // Without the first one the defaults are written, over the second one, too.
        CheckSettingsFile(POWER_INI_PATH, POWER_INI_SIZE,
                          "restore a copy, or tolvd --setup and then wardenlink config");
        CheckSettingsFile(TEXT_CFG_PATH, 0, "wardenlink config makes it from power.ini");
        CheckDaemonLink();
        CheckEventPrograms();
    }
    CheckFolder(STATE_FOLDER, false);
    for (const char* path : {SETTINGS_FOLDER, STATE_FOLDER})
        CheckOpenToUsers(path);
    CheckSettings(cfg, sched);
    CheckCommands(cfg);
    CheckDaemon();
    return troubles;
}

void PrintHolders(const char* device, int daemon)
{
    struct stat line = {};
    DIR* processes = opendir("/proc");
    if (processes == nullptr || stat(device, &line) != 0) {
        if (processes != nullptr)
            closedir(processes);
        return;
    }
    while (const dirent* entry = readdir(processes)) {
        bool isProcess = atoi(entry->d_name) > 0; // other entries are names
        if (isProcess && HasOpen(entry->d_name, line.st_rdev))
            LookAtHolder(entry->d_name, daemon);
    }
    closedir(processes);
}
