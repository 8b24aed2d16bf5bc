#include "daemon/whole_file.h"

#include "base/text.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t PATH_ROOM = 128;

int Create(const char* path, mode_t mode)
{
    return open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
}

} // namespace

bool ReplaceWholeFile(const char* path, const char* bytes, size_t length, mode_t mode)
{
    char scratch[PATH_ROOM];
    FormatText(scratch, sizeof(scratch), "%s.new", path);
    int fd = Create(scratch, mode);
    if (fd < 0 && errno == EEXIST && unlink(scratch) == 0) // of a daemon that was killed
        fd = Create(scratch, mode);
    if (fd < 0)
        return false;
    bool isWhole =
        fchmod(fd, mode) == 0 && write(fd, bytes, length) == static_cast<ssize_t>(length);
    isWhole = close(fd) == 0 && isWhole;
    if (isWhole && rename(scratch, path) == 0)
        return true;
    unlink(scratch);
    return false;
}

bool IsRootsAlone(const struct stat& file)
{
    return file.st_uid == 0 && (file.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

long ReadSmallFile(const char* path, char* text, size_t size)
{
    text[0] = '\0';
    int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    ssize_t count = read(fd, text, size - 1);
    close(fd);
    text[count > 0 ? count : 0] = '\0';
    return count;
}
