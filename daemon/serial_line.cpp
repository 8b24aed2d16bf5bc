#include "daemon/serial_line.h"

#include "base/text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr size_t REQUEST_SIZE = 32;

// Raw bytes; the modem's lines say nothing, and closing the device leaves them as they are:
// a UPS may take their fall for an order.
bool SetLineTerms(int fd)
{
    termios terms = {};
    if (tcgetattr(fd, &terms) != 0)
        return false;
    cfmakeraw(&terms);
    terms.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | PARENB | CRTSCTS | HUPCL);
    terms.c_cflag |= CS8 | CLOCAL | CREAD;
    terms.c_iflag &= ~static_cast<tcflag_t>(IXOFF | IXANY | INPCK);
    terms.c_cc[VMIN] = 0;
    terms.c_cc[VTIME] = 0;
    cfsetispeed(&terms, B2400);
    cfsetospeed(&terms, B2400);
    return tcsetattr(fd, TCSANOW, &terms) == 0;
}

// Simple lines have no modem signals: that is no fault.
void SetModemLines(int fd)
{
    int on = TIOCM_DTR;
    int off = TIOCM_RTS;
    ioctl(fd, TIOCMBIS, &on);
    ioctl(fd, TIOCMBIC, &off);
}

// An empty line and one whose adapter was pulled out both read as nothing.
bool HasHungUp(int fd)
{
    pollfd line = {fd, POLLIN, 0};
    return poll(&line, 1, 0) > 0 && (line.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

int FailToOpen(int fd, int error)
{
    close(fd);
    return -error;
}

} // namespace

int OpenSerialLine(const char* device, bool mustBeFree)
{
    int fd = open(device, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return -errno;
    if (isatty(fd) == 0)
        return FailToOpen(fd, ENOTTY);
    if (!LockSerialLine(fd) && mustBeFree)
        return FailToOpen(fd, EBUSY);
    ioctl(fd, TIOCEXCL);
    if (!SetLineTerms(fd))
        return FailToOpen(fd, errno);
    SetModemLines(fd);
    tcflush(fd, TCIOFLUSH);
    return fd;
}

// Root passes over TIOCEXCL; a check of the line sees the lock.
bool LockSerialLine(int fd)
{
    return flock(fd, LOCK_EX | LOCK_NB) == 0;
}

void CloseSerialLine(int fd)
{
    tcflush(fd, TCIOFLUSH);
    ioctl(fd, TIOCNXCL);
    close(fd);
}

int ReadSerialLine(int fd, char* bytes, size_t size)
{
    ssize_t count = read(fd, bytes, size);
    if (count > 0)
        return static_cast<int>(count);
    bool isIdle = count == 0 || errno == EAGAIN || errno == EINTR;
    return isIdle && !HasHungUp(fd) ? 0 : -1;
}

bool WriteSerialLine(int fd, const char* request)
{
    char bytes[REQUEST_SIZE];
    FormatText(bytes, sizeof(bytes), "%s\r", request);
    size_t length = strlen(bytes);
    ssize_t count = -1;
    do
        count = write(fd, bytes, length);
    while (count < 0 && errno == EINTR); // a signal says nothing about the line
    return count == static_cast<ssize_t>(length);
}

void FlushSerialInput(int fd)
{
    tcflush(fd, TCIFLUSH);
}

void DrainSerialLine(int fd)
{
    tcdrain(fd);
}
