#include "daemon/deed_mark.h"

#include "base/text.h"
#include "daemon/process.h"
#include "daemon/state_files.h"
#include "daemon/whole_file.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

// When a living process began, in the kernel's own ticks: a number that comes again belongs
// to another one. 0 when there is none.
long long StartOfProcess(pid_t pid)
{
    char path[64];
    char text[512];
    FormatText(path, sizeof(path), "/proc/%d/stat", static_cast<int>(pid));
    ReadSmallFile(path, text, sizeof(text));
    const char* afterName = strrchr(text, ')');
    char state = 'Z';
    long long start = 0;
    if (afterName != nullptr)
        sscanf(afterName + 1,
               " %c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d"
               " %*d %*d %lld",
               &state, &start);
    return state != 'Z' ? start : 0;
}

bool WriteMark(const char* text)
{
    return ReplaceWholeFile(LAST_DEED_PATH, text, strlen(text), 0644);
}

} // namespace

bool MarkDeedBegun()
{
    char text[64];
    pid_t pid = getpid();
    FormatText(text, sizeof(text), "%d %lld\n", static_cast<int>(pid), StartOfProcess(pid));
    return WriteMark(text);
}

bool MarkDeedDone()
{
    BootId id;
    char text[128];
    ReadBootId(id);
    FormatText(text, sizeof(text), "done %s %" PRId64 "\n", id, BootMilliseconds());
    return WriteMark(text);
}

pid_t FindLastDeed()
{
    char text[64];
    int pid = 0;
    long long start = 0;
    ReadSmallFile(LAST_DEED_PATH, text, sizeof(text));
    if (sscanf(text, "%d %lld", &pid, &start) != 2 || pid < 2 || start <= 0)
        return -1;
    return StartOfProcess(pid) == start ? pid : -1;
}

bool FindDeedDone(int64_t* at)
{
    BootId id;
    BootId markedId;
    char text[128];
    ReadBootId(id);
    ReadSmallFile(LAST_DEED_PATH, text, sizeof(text));
    return sscanf(text, "done %36s %" SCNd64, markedId, at) == 2 && strcmp(id, markedId) == 0;
}
