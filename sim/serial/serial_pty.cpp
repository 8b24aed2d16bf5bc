#include "sim/serial/serial_pty.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace {

// The client's end, opened beside the client; -1 when that is refused.
int OpenPeer(int master)
{
    return ioctl(master, TIOCGPTPEER, O_RDWR | O_NOCTTY | O_CLOEXEC);
}

// Opened and closed once, since only then the master says that there is no client.
bool TouchPeer(int master)
{
    int peer = OpenPeer(master);
    if (peer < 0)
        return false;
    close(peer);
    return true;
}

bool MakePty(SerialPty& pty)
{
    char name[64];
    int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master < 0)
        return false;
    if (grantpt(master) != 0 || unlockpt(master) != 0 || !TouchPeer(master) ||
        ptsname_r(master, name, sizeof(name)) != 0) {
        close(master);
        return false;
    }
    pty.master = master;
    pty.name = name;
    return true;
}

// Only a link may be replaced: a mistyped path must not cost somebody a file.
bool MayReplace(const std::string& path)
{
    struct stat status;
    return lstat(path.c_str(), &status) != 0 || S_ISLNK(status.st_mode);
}

bool MakeLink(const SerialPty& pty)
{
    std::string fresh = pty.link + ".new";
    if (!MayReplace(pty.link) || !MayReplace(fresh))
        return false;
    unlink(fresh.c_str());
    return symlink(pty.name.c_str(), fresh.c_str()) == 0 &&
           rename(fresh.c_str(), pty.link.c_str()) == 0;
}

// The link may lead to another simulator's line by now.
void RemoveLink(const SerialPty& pty)
{
    char target[64];
    ssize_t size = readlink(pty.link.c_str(), target, sizeof(target));
    if (size > 0 && pty.name == std::string(target, static_cast<size_t>(size)))
        unlink(pty.link.c_str());
}

} // namespace

bool OpenPty(SerialPty& pty, const std::string& link)
{
    pty.link = link;
    if (!MakePty(pty))
        return false;
    if (MakeLink(pty))
        return true;
    close(pty.master);
    pty.master = -1;
    return false;
}

void ClosePty(SerialPty& pty)
{
    if (pty.master < 0)
        return;
    RemoveLink(pty);
    close(pty.master);
    pty.master = -1;
}

bool HasClient(const SerialPty& pty)
{
    pollfd watched = {pty.master, POLLIN, 0};
    return pty.master >= 0 && poll(&watched, 1, 0) >= 0 && (watched.revents & POLLHUP) == 0;
}

void RenewPty(SerialPty& pty)
{
    SerialPty fresh;
    fresh.link = pty.link;
    if (!MakePty(fresh))
        return;
    // A client that was quick enough to open the old one again keeps it.
    if (HasClient(pty) || !MakeLink(fresh)) {
        close(fresh.master);
        return;
    }
    close(pty.master);
    pty = fresh;
}

namespace {

void Flag(std::string& text, const char* key, bool set)
{
    text += std::string("  ") + key + (set ? " on\n" : " off\n");
}

long SpeedNumber(speed_t speed)
{
    static constexpr struct {
        speed_t speed;
        long number;
    } SPEEDS[] = {{B1200, 1200},   {B2400, 2400},   {B4800, 4800},    {B9600, 9600},
                  {B19200, 19200}, {B38400, 38400}, {B115200, 115200}};
    for (const auto& known : SPEEDS) {
        if (known.speed == speed)
            return known.number;
    }
    return 0;
}

bool IsRaw(const termios& terms)
{
    constexpr tcflag_t INPUT =
        IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF;
    return (terms.c_iflag & INPUT) == 0 && (terms.c_oflag & OPOST) == 0 &&
           (terms.c_lflag & (ICANON | ISIG | IEXTEN)) == 0;
}

// The master cannot see it. With the lock on, a process without the right to pass it is refused.
bool IsExclusive(int master)
{
    int peer = OpenPeer(master);
    if (peer < 0)
        return errno == EBUSY;
    int exclusive = 0;
    ioctl(peer, TIOCGEXCL, &exclusive);
    close(peer);
    return exclusive != 0;
}

void DescribeTerms(const termios& terms, std::string& text)
{
    text += "  speed " + std::to_string(SpeedNumber(cfgetospeed(&terms))) + "\n";
    text += (terms.c_cflag & CSTOPB) != 0 ? "  stop_bits 2\n" : "  stop_bits 1\n";
    Flag(text, "raw", IsRaw(terms));
    Flag(text, "echo", (terms.c_lflag & ECHO) != 0);
    Flag(text, "local", (terms.c_cflag & CLOCAL) != 0);
    Flag(text, "receiver", (terms.c_cflag & CREAD) != 0);
    Flag(text, "hang_up", (terms.c_cflag & HUPCL) != 0);
    Flag(text, "hardware_flow", (terms.c_cflag & CRTSCTS) != 0);
    Flag(text, "software_flow", (terms.c_iflag & (IXON | IXOFF)) != 0);
}

} // namespace

std::string DescribeLine(const SerialPty& pty)
{
    std::string text = "  device " + pty.link + "\n";
    Flag(text, "present", pty.master >= 0);
    Flag(text, "open", HasClient(pty));
    termios terms;
    if (pty.master < 0 || tcgetattr(pty.master, &terms) != 0)
        return text;
    text += "  pty " + pty.name + "\n";
    DescribeTerms(terms, text);
    Flag(text, "exclusive", IsExclusive(pty.master));
    return text;
}
