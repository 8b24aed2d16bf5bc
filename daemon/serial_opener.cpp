#include "daemon/serial_opener.h"

#include "daemon/process.h"
#include "daemon/serial_line.h"

#include <csignal>
#include <cstring>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// What goes over the socket: a result, and with a descriptor the line itself.
struct Handover {
    int result;
    iovec bytes;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr message;
};

void PrepareHandover(Handover& handover)
{
    handover = {};
    handover.bytes = {&handover.result, sizeof(handover.result)};
    handover.message.msg_iov = &handover.bytes;
    handover.message.msg_iovlen = 1;
}

void AddRoomForLine(Handover& handover)
{
    handover.message.msg_control = handover.control;
    handover.message.msg_controllen = sizeof(handover.control);
}

void SendLine(int socket, int result)
{
    Handover handover;
    PrepareHandover(handover);
    handover.result = result;
    if (result >= 0) {
        AddRoomForLine(handover);
        cmsghdr* header = CMSG_FIRSTHDR(&handover.message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        memcpy(CMSG_DATA(header), &result, sizeof(result));
    }
    sendmsg(socket, &handover.message, MSG_NOSIGNAL);
}

int ReceiveLine(int socket)
{
    Handover handover;
    PrepareHandover(handover);
    AddRoomForLine(handover);
    ssize_t count = recvmsg(socket, &handover.message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (count < 0)
        return errno == EAGAIN || errno == EINTR ? STILL_OPENING : -errno;
    if (count != static_cast<ssize_t>(sizeof(handover.result)))
        return -EIO; // it was killed
    if (handover.result < 0)
        return handover.result;
    const cmsghdr* header = CMSG_FIRSTHDR(&handover.message);
    int line = -EIO;
    if (header != nullptr)
        memcpy(&line, CMSG_DATA(header), sizeof(line));
    return line;
}

[[noreturn]] void OpenAndHandOver(int socket, const char* device, bool mustBeFree, pid_t daemon)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    socket = PrepareChild(socket);
    if (getppid() == daemon)
        SendLine(socket, OpenSerialLine(device, mustBeFree));
    _exit(0);
}

} // namespace

int BeginToOpen(SerialOpener& opener, const char* device, bool mustBeFree)
{
    struct stat found = {};
    int ends[2];
    if (stat(device, &found) != 0) // an adapter that is pulled out costs no process a second
        return -errno;
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return -errno;
    pid_t daemon = getpid();
    opener = {fork(), ends[0]};
    int error = errno;
    if (opener.child == 0)
        OpenAndHandOver(ends[1], device, mustBeFree, daemon);
    close(ends[1]);
    if (opener.child > 0)
        return 0;
    close(ends[0]);
    opener = NO_OPENER;
    return -error;
}

int TakeOpened(SerialOpener& opener)
{
    int line = ReceiveLine(opener.fd);
    if (line != STILL_OPENING)
        GiveUpOpening(opener);
    return line;
}

void GiveUpOpening(SerialOpener& opener)
{
    if (opener.child > 0) {
        kill(opener.child, SIGKILL);
        LeaveToCollect(opener.child);
    }
    if (opener.fd >= 0)
        close(opener.fd);
    opener = NO_OPENER;
}
