#include "daemon/holders.h"

#include "base/text.h"
#include "daemon/deed_mark.h"
#include "daemon/explain.h"
#include "daemon/whole_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <initializer_list>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t PATH_SIZE = 320;
constexpr size_t STATUS_SIZE = 1024; // of a process; who runs it stands in its first lines
constexpr char PROGRAM_START[] = "/tolvd";
constexpr char SIGNALS_KIND[] = "anon_inode:[signalfd]";

// What a descriptor of a process may be, by its name below /proc.
using IsSuch = bool (*)(const char* path, dev_t device);

bool IsDevice(const char* path, dev_t device)
{
    struct stat file = {};
    return stat(path, &file) == 0 && S_ISCHR(file.st_mode) && file.st_rdev == device;
}

// By which a daemon hears signals; nothing else that runs its program has one.
bool IsForSignals(const char* path, dev_t /*device*/)
{
    char kind[sizeof(SIGNALS_KIND)] = "";
    return readlink(path, kind, sizeof(kind)) == static_cast<ssize_t>(strlen(SIGNALS_KIND)) &&
           strncmp(kind, SIGNALS_KIND, strlen(SIGNALS_KIND)) == 0;
}

bool HasOpen(const char* pid, IsSuch isSuch, dev_t device)
{
    char path[PATH_SIZE];
    FormatText(path, sizeof(path), "/proc/%s/fd", pid);
    DIR* files = opendir(path);
    bool isFound = false;
    while (files != nullptr && !isFound) {
        const dirent* entry = readdir(files);
        if (entry == nullptr)
            break;
        FormatText(path, sizeof(path), "/proc/%s/fd/%s", pid, entry->d_name);
        isFound = isSuch(path, device);
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

// Whether root runs a tolvd there, of whatever folder, even if its file has been removed or set
// aside since.
bool IsOwnProgram(const char* pid, const char* program)
{
    char path[PATH_SIZE];
    char text[STATUS_SIZE];
    FormatText(path, sizeof(path), "/proc/%s/status", pid);
    ReadSmallFile(path, text, sizeof(text));
    const char* name = strrchr(program, '/');
    return name != nullptr && strncmp(name, PROGRAM_START, strlen(PROGRAM_START)) == 0 &&
           strstr(text, "\nUid:\t0\t") != nullptr;
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

// A container has processes of its own, which are seen from outside.
bool IsOfThisSystem(const char* pid)
{
    char path[PATH_SIZE];
    struct stat own = {};
    struct stat other = {};
    FormatText(path, sizeof(path), "/proc/%s/ns/pid", pid);
    return stat("/proc/self/ns/pid", &own) == 0 && stat(path, &other) == 0 &&
           own.st_ino == other.st_ino;
}

bool IsDaemon(const char* pid)
{
    char program[PATH_SIZE];
    ReadProgram(pid, program);
    return IsOwnProgram(pid, program) && HasOpen(pid, IsForSignals, 0) && IsOfThisSystem(pid);
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
    bool isOwn = IsOwnProgram(pid, program);
    int process = atoi(pid);
    int parent = isOwn ? ParentOf(pid) : 0;
    for (int allowed : {static_cast<int>(getpid()), daemon, static_cast<int>(FindLastDeed())}) {
        if (allowed > 0 && (process == allowed || parent == allowed))
            return;
    }
    PrintHolder(pid, isOwn);
}

// The entry of the next process; null behind the last.
const dirent* NextProcess(DIR* processes)
{
    const dirent* entry = readdir(processes);
    while (entry != nullptr && atoi(entry->d_name) <= 0) // other entries are names
        entry = readdir(processes);
    return entry;
}

} // namespace

pid_t FindDaemon()
{
    DIR* processes = opendir("/proc");
    pid_t found = -1;
    while (processes != nullptr && found < 0) {
        const dirent* entry = NextProcess(processes);
        if (entry == nullptr)
            break;
        if (IsDaemon(entry->d_name))
            found = atoi(entry->d_name);
    }
    if (processes != nullptr)
        closedir(processes);
    return found;
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
    while (const dirent* entry = NextProcess(processes)) {
        if (HasOpen(entry->d_name, IsDevice, line.st_rdev))
            LookAtHolder(entry->d_name, daemon);
    }
    closedir(processes);
}
