#include "daemon/events.h"

#include "base/system.h"
#include "base/text.h"
#include "daemon/log.h"
#include "daemon/process.h"
#include "daemon/whole_file.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int EVENTS_AT_ONCE = 16;
constexpr int64_t LONGEST = 30000;
constexpr size_t PATH_SIZE = 320;
constexpr double LOOK_PERIOD = 0.05;
constexpr char NAME_CHARACTERS[] =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";

bool IsSafeFolder(const char* path)
{
    struct stat folder = {};
    if (lstat(path, &folder) != 0)
        return false;
    if (S_ISDIR(folder.st_mode) && IsRootsAlone(folder))
        return true;
    WriteLog(LOG_WARNING, "no event programs run: %s is not a folder of root's alone", path);
    return false;
}

int IsChosen(const dirent* entry)
{
    return IsEventProgramName(entry->d_name) ? 1 : 0;
}

int CompareNames(const dirent** one, const dirent** other)
{
    return strcmp((*one)->d_name, (*other)->d_name);
}

// A file without an executable bit is switched off, which is nobody's mistake.
bool IsSafeProgram(const char* path)
{
    struct stat file = {};
    if (lstat(path, &file) != 0 || (file.st_mode & 0111) == 0)
        return false;
    if (S_ISREG(file.st_mode) && IsRootsAlone(file))
        return true;
    WriteLog(LOG_WARNING, "%s does not run: it is no plain file of root's alone", path);
    return false;
}

void ReportEnd(const char* program, const char* event, int status)
{
    if (status == -1)
        WriteLog(LOG_WARNING, "event %s: %s took longer than 30 seconds and was killed", event,
                 program);
    else if (WIFSIGNALED(status))
        WriteLog(LOG_WARNING, "event %s: %s was ended by signal %d", event, program,
                 WTERMSIG(status));
    else if (WEXITSTATUS(status) != 0)
        WriteLog(LOG_WARNING, "event %s: %s ended with status %d", event, program,
                 WEXITSTATUS(status));
}

void RunEventProgram(const char* program, const char* event, const EventEnvironment& environment)
{
    char path[PATH_SIZE];
    FormatText(path, sizeof(path), "%s/%s", EVENT_FOLDER, program);
    if (!IsSafeProgram(path))
        return;
    const char* const arguments[] = {path, event, nullptr};
    Child child = {-1, 0};
    if (!StartChild(child, arguments, environment.lines, BootMilliseconds() + LONGEST)) {
        WriteLog(LOG_ERR, "event %s: %s cannot be started: %s", event, program, strerror(errno));
        return;
    }
    int status = 0;
    while (WatchChild(child, BootMilliseconds(), &status))
        PauseSeconds(LOOK_PERIOD);
    ReportEnd(program, event, status);
}

void RunEventPrograms(const char* event, const EventEnvironment& environment)
{
    if (!IsSafeFolder(SETTINGS_FOLDER) || !IsSafeFolder(EVENT_FOLDER))
        return;
    dirent** programs = nullptr;
    int count = scandir(EVENT_FOLDER, &programs, IsChosen, CompareNames);
    for (int i = 0; i < count; i++) {
        RunEventProgram(programs[i]->d_name, event, environment);
        free(programs[i]);
    }
    free(programs);
}

void AddLine(EventEnvironment& environment, const char* line)
{
    size_t size = strlen(line) + 1;
    if (environment.count >= EVENT_VARIABLES || environment.used + size > EVENT_TEXT_SIZE)
        return;
    char* place = environment.text + environment.used;
    memcpy(place, line, size);
    environment.used += size;
    environment.lines[environment.count] = place;
    environment.count++;
    environment.lines[environment.count] = nullptr;
}

} // namespace

bool IsEventProgramName(const char* name)
{
    size_t length = strspn(name, NAME_CHARACTERS);
    return length > 0 && name[length] == '\0';
}

void StartEnvironment(EventEnvironment& environment)
{
    environment = {};
    AddLine(environment, "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin");
    AddLine(environment, "LANG=C");
}

void AddVariable(EventEnvironment& environment, const char* name, const char* format, ...)
{
    char value[128];
    char line[192];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(value, sizeof(value), format, arguments);
    va_end(arguments);
    MakePrintable(value);
    FormatText(line, sizeof(line), "%s=%s", name, value);
    AddLine(environment, line);
}

pid_t RaiseEvent(const char* name, const EventEnvironment& environment)
{
    if (CollectUnwaited() > EVENTS_AT_ONCE) {
        WriteLog(LOG_WARNING, "event %s is dropped: too many others are still at work", name);
        return -1;
    }
    pid_t runner = fork();
    if (runner < 0)
        WriteLog(LOG_ERR, "event %s is dropped: %s", name, strerror(errno));
    if (runner != 0)
        return runner;
    setsid();
    ResetSignals();
    KeepOpenOnlyLog(-1);
    RunEventPrograms(name, environment);
    _exit(0);
}
