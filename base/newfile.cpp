#include "base/newfile.h"

#include "base/text.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr time_t LEFTOVER_AGE = 60; // seconds: long enough for a save that still runs

// For "/folder/name" it is "/folder/.name.save-" and the ending: so odd that it is
// nobody's backup.
void NameScratch(char dst[SCRATCH_PATH_SIZE], const char* path, const char* ending)
{
    const char* name = strrchr(path, '/') + 1;
    int folderLength = static_cast<int>(name - path);
    FormatText(dst, SCRATCH_PATH_SIZE, "%.*s.%s.save-%s", folderLength, path, name, ending);
}

// Removes what a save leaves behind that a power failure cut off. A link is judged
// by itself: where it leads is nobody's business here.
void RemoveLeftovers(const char* path)
{
    char pattern[SCRATCH_PATH_SIZE];
    NameScratch(pattern, path, "??????");
    glob_t found = {};
    if (glob(pattern, 0, nullptr, &found) == 0) {
        for (size_t i = 0; i < found.gl_pathc; i++) {
            struct stat left = {};
            if (lstat(found.gl_pathv[i], &left) == 0 &&
                left.st_mtime < time(nullptr) - LEFTOVER_AGE)
                unlink(found.gl_pathv[i]);
        }
    }
    globfree(&found);
}

mode_t UsualMode()
{
    mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// For a file that becomes its writer's own: the old mode without the bits that lend
// an identity. A group that is another one may do no more than everybody could.
mode_t OwnMode(mode_t old, bool hasOldGroup)
{
    mode_t everybodys = old & 0007;
    return old & (hasOldGroup ? 0777 : 0707 | everybodys << 3);
}

// Gives the new file the owner and mode of the file that it will replace.
bool TakeOverOwner(int fd, const char* path)
{
    struct stat old = {};
    struct stat fresh = {};
    if (stat(path, &old) != 0)
        return errno == ENOENT && fchmod(fd, UsualMode()) == 0;
    if (fstat(fd, &fresh) != 0)
        return false;
    bool isSameOwner = fresh.st_uid == old.st_uid && fresh.st_gid == old.st_gid;
    if (isSameOwner || fchown(fd, old.st_uid, old.st_gid) == 0)
        return fchmod(fd, old.st_mode & 07777) == 0;
    if (errno != EPERM || faccessat(AT_FDCWD, path, R_OK, AT_EACCESS) != 0)
        return false;
    bool hasOldGroup = fchown(fd, static_cast<uid_t>(-1), old.st_gid) == 0;
    return fchmod(fd, OwnMode(old.st_mode, hasOldGroup)) == 0;
}

bool WriteAll(int fd, const void* bytes, size_t length)
{
    const char* rest = static_cast<const char*>(bytes);
    while (length > 0) {
        ssize_t written = write(fd, rest, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        rest += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}

} // namespace

bool WriteNewFile(NewFile& file, const void* bytes, size_t length)
{
    RemoveLeftovers(file.path);
    NameScratch(file.scratch, file.path, "XXXXXX");
    int fd = mkostemp(file.scratch, O_CLOEXEC);
    if (fd < 0) {
        file.scratch[0] = '\0';
        return false;
    }
    bool isWhole = TakeOverOwner(fd, file.path) && WriteAll(fd, bytes, length) && fsync(fd) == 0;
    return close(fd) == 0 && isWhole;
}

bool TakePlace(NewFile& file)
{
    if (rename(file.scratch, file.path) != 0)
        return false;
    file.scratch[0] = '\0';
    return true;
}

void DropNewFile(NewFile& file)
{
    if (file.scratch[0] != '\0')
        unlink(file.scratch);
    file.scratch[0] = '\0';
}

bool FlushFolder(const char* path)
{
    int fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool isFlushed = fsync(fd) == 0 || errno == EINVAL;
    close(fd);
    return isFlushed;
}
