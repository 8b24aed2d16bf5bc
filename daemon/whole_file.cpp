#include "daemon/whole_file.h"

#include "base/text.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t PATH_ROOM = 128;

} // namespace

bool ReplaceWholeFile(const char* path, const char* bytes, size_t length, mode_t mode)
{
    char scratch[PATH_ROOM];
    FormatText(scratch, sizeof(scratch), "%s.new", path);
    unlink(scratch); // of a daemon that was killed
    int fd = open(scratch, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
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
