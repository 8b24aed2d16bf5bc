#include "daemon/first_aid.h"

#include "base/system.h"
#include "base/text.h"
#include "daemon/events.h"
#include "daemon/explain.h"
#include "daemon/holders.h"
#include "daemon/policy_settings.h"
#include "daemon/state_files.h"
#include "daemon/status_command.h"
#include "daemon/status_file.h"
#include "daemon/tell.h"
#include "daemon/whole_file.h"

#include <cstdio>
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

// What is said of a folder in the place of a file stands below.
bool TellIfRefused(const char* path)
{
    struct stat file = {};
    bool isOther = stat(path, &file) == 0 && !S_ISREG(file.st_mode);
    if (isOther || IsSettingsFileReadable(path))
        return false;
    TellOfPath(path, "cannot be read",
               "restore a copy, or mend the disk, and save nothing before: defaults would take its "
               "place");
    return true;
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
        TellOfPath(path, "is no plain file", "restore a copy");
    else if (!IsRootsAlone(file))
        TellOfOwner(path, "is not root's alone");
    else if (size != 0 && file.st_size != size)
        TellOfPath(path, "is not 232 bytes long",
                   "wardenlink config, save with [s], and look at all "
                   "that is set, the schedule too");
}

// Without the first one the defaults are written, over the second one, too.
void CheckSettingsFiles()
{
    struct stat file = {};
    bool hasFirst = stat(POWER_INI_PATH, &file) == 0 && S_ISREG(file.st_mode);
    CheckSettingsFile(POWER_INI_PATH, POWER_INI_SIZE,
                      "restore a copy, or tolvd --setup and then wardenlink config");
    CheckSettingsFile(TEXT_CFG_PATH, 0,
                      hasFirst ? "wardenlink config makes it from power.ini" : "restore a copy");
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
    char trouble[128];
    bool isTelling = ReadRunningStatus(status, sizeof(status));
    pid_t silent = isTelling ? -1 : FindDaemon();
    if (isTelling && IsDryRun(status))
        Tell("the daemon that runs is a dry run: nothing is protected",
             "end it, and systemctl enable --now wardenlink");
    if (isTelling)
        return;
    if (silent < 0) {
        Tell("no daemon runs: nothing is protected", "systemctl enable --now wardenlink");
        return;
    }
    // A full /run is enough for that. A second one would take the first one's replies away.
    FormatText(trouble, sizeof(trouble),
               "process %d is a daemon that tells no status, and may protect all the same", silent);
    Tell(trouble, "see its log");
}

} // namespace

int PrintTroubles(const PowerConfig& cfg, const ScheduleEntry sched[7])
{
    bool areRefused = false; // then no remedy that saves, over what cannot be read
    troubles = 0;
    if (CheckFolder(SETTINGS_FOLDER, true)) {
        areRefused |= TellIfRefused(POWER_INI_PATH);
        areRefused |= TellIfRefused(TEXT_CFG_PATH);
        if (!areRefused)
            CheckSettingsFiles();
        CheckDaemonLink();
        CheckEventPrograms();
    }
    CheckFolder(STATE_FOLDER, false);
    for (const char* path : {SETTINGS_FOLDER, STATE_FOLDER})
        CheckOpenToUsers(path);
    if (!areRefused)
        CheckSettings(cfg, sched);
    CheckCommands(cfg);
    CheckDaemon();
    return troubles;
}
