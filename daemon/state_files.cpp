#include "daemon/state_files.h"

#include "base/text.h"
#include "daemon/whole_file.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char BOOT_ID_PATH[] = "/proc/sys/kernel/random/boot_id";

// A folder that anybody else could change would let him keep the daemon from starting, or
// tell it of an outage.
bool IsRootsFolder()
{
    struct stat folder = {};
    if (lstat(STATE_FOLDER, &folder) != 0)
        return false;
    if (S_ISDIR(folder.st_mode) && IsRootsAlone(folder))
        return true;
    errno = EPERM;
    return false;
}

bool MakeStateFolder()
{
    if (mkdir(STATE_FOLDER, 0755) == 0)
        return chmod(STATE_FOLDER, 0755) == 0; // whatever the umask is
    return errno == EEXIST && IsRootsFolder();
}

} // namespace

int TakeDaemonLock()
{
    if (!MakeStateFolder())
        return LOCK_FAILED;
    int fd = open(LOCK_PATH, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return LOCK_FAILED;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0)
        return fd;
    int error = errno;
    close(fd);
    errno = error;
    return error == EWOULDBLOCK ? LOCK_TAKEN : LOCK_FAILED;
}

void ReadBootId(BootId& id)
{
    ReadSmallFile(BOOT_ID_PATH, id, sizeof(id));
    id[strcspn(id, "\n")] = '\0';
}

bool KeepOutage(const PolicyKept& kept)
{
    if (kept.outageSince == NEVER)
        return unlink(OUTAGE_PATH) == 0 || errno == ENOENT;
    BootId bootId;
    char text[128];
    ReadBootId(bootId);
    FormatText(text, sizeof(text), "%s %" PRId64 " %" PRId64 " %" PRId64 "\n", bootId,
               kept.outageSince, kept.lowSince, kept.lookedAt);
    return ReplaceWholeFile(OUTAGE_PATH, text, strlen(text), 0644);
}

PolicyKept ReadKeptOutage()
{
    PolicyKept kept = NOTHING_KEPT;
    BootId bootId;
    char text[128];
    BootId keptId;
    ReadBootId(bootId);
    ReadSmallFile(OUTAGE_PATH, text, sizeof(text));
    int found = sscanf(text, "%36s %" SCNd64 " %" SCNd64 " %" SCNd64, keptId, &kept.outageSince,
                       &kept.lowSince, &kept.lookedAt);
    return found == 4 && strcmp(bootId, keptId) == 0 ? kept : NOTHING_KEPT;
}
