#include "base/newfile.h"

#include "base/text.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr time_t LEFTOVER_AGE = 60; // seconds: long enough for a save that still runs

constexpr std::string_view SCRATCH_MARK = ".save-";   // so odd that it is nobody's backup
constexpr std::string_view SCRATCH_ENDING = "XXXXXX"; // which mkostemp replaces

const char* NameIn(const char* path)
{
    return strrchr(path, '/') + 1;
}

// For "/folder/name" it is "/folder/.name.save-XXXXXX".
void NameScratch(char dst[SCRATCH_PATH_SIZE], const char* path)
{
    const char* name = NameIn(path);
    FormatText(dst, SCRATCH_PATH_SIZE, "%.*s.%s%s%s", static_cast<int>(name - path), path, name,
               SCRATCH_MARK.data(), SCRATCH_ENDING.data());
}

bool IsScratchOf(std::string_view entry, std::string_view name)
{
    return entry.size() == 1 + name.size() + SCRATCH_MARK.size() + SCRATCH_ENDING.size() &&
           entry[0] == '.' && entry.substr(1, name.size()) == name &&
           entry.substr(1 + name.size(), SCRATCH_MARK.size()) == SCRATCH_MARK;
}

// A link is judged by itself: where it leads is nobody's business here.
void RemoveIfOld(int folder, const char* name)
{
    struct stat left = {};
    if (fstatat(folder, name, &left, AT_SYMLINK_NOFOLLOW) == 0 &&
        left.st_mtime < time(nullptr) - LEFTOVER_AGE)
        unlinkat(folder, name, 0);
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

void RemoveLeftovers(const char* folder, std::initializer_list<const char*> paths)
{
    DIR* list = opendir(folder);
    if (list == nullptr)
        return;
    while (const dirent* entry = readdir(list)) {
        for (const char* path : paths) {
            if (IsScratchOf(entry->d_name, NameIn(path)))
                RemoveIfOld(dirfd(list), entry->d_name);
        }
    }
    closedir(list);
}

bool WriteNewFile(NewFile& file, const void* bytes, size_t length)
{
    NameScratch(file.scratch, file.path);
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
