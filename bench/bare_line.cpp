// The least that a round of the daemon takes on a serial line: every second the UPS is asked and
// its reply is read. With --files the queues are looked at, too, a message is sent, and the two
// files are kept that other programs rely on: the same system calls, with nothing between them.
//
// Usage: bare_line DEVICE [--files]

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr char FOLDER[] = "/run/wardenlink-bare"; // beside a daemon that works in its own
constexpr char REPLY_PATH[] = "/run/wardenlink-bare/reply";
constexpr char STATUS_PATH[] = "/run/wardenlink-bare/status.json";
constexpr char SCRATCH_PATH[] = "/run/wardenlink-bare/status.json.new";
constexpr int QUEUES = 3;
constexpr size_t STATUS_LENGTH = 786;
constexpr int PERIOD = 1000; // milliseconds
constexpr unsigned MOST_MESSAGES = 5;

struct Message {
    long type;
    char text[100];
};

int queues[QUEUES];
char statusText[STATUS_LENGTH];

int OpenLine(const char* device)
{
    int fd = open(device, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios mode = {};
    if (fd < 0 || tcgetattr(fd, &mode) != 0)
        return -1;
    cfmakeraw(&mode);
    mode.c_cc[VMIN] = 0;
    return tcsetattr(fd, TCSANOW, &mode) == 0 ? fd : -1;
}

void ReadFile(const char* path)
{
    char text[128];
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    [[maybe_unused]] ssize_t count = read(fd, text, sizeof(text));
    close(fd);
}

void ReplaceFile(const char* path, const void* bytes, size_t length)
{
    int fd = open(SCRATCH_PATH, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        exit(1);
    fchmod(fd, 0644);
    if (write(fd, bytes, length) != static_cast<ssize_t>(length))
        exit(1);
    close(fd);
    rename(SCRATCH_PATH, path);
}

void PrepareFiles()
{
    mkdir(FOLDER, 0755);
    for (int& queue : queues)
        queue = msgget(IPC_PRIVATE, 0600);
    memset(statusText, ' ', sizeof(statusText));
    ReplaceFile(REPLY_PATH, statusText, 47);
}

void LookAtQueues()
{
    struct stat folder = {};
    msqid_ds state = {};
    Message message = {4, "alive"};
    stat(FOLDER, &folder);
    for (int queue : queues)
        msgctl(queue, IPC_STAT, &state);
    msgctl(queues[0], IPC_STAT, &state);
    if (state.msg_qnum > MOST_MESSAGES)
        msgrcv(queues[0], &message, sizeof(message.text), 0, IPC_NOWAIT);
    msgsnd(queues[0], &message, 5, IPC_NOWAIT);
    ReadFile("/run/wardenlink-bare/debug"); // which is not there
}

void ReadReply(int line)
{
    char byte = '\0';
    pollfd input = {line, POLLIN, 0};
    while (byte != '\r' && poll(&input, 1, PERIOD) > 0) {
        char bytes[128];
        ssize_t count = read(line, bytes, sizeof(bytes));
        if (count < 1)
            exit(1);
        byte = bytes[count - 1];
    }
}

} // namespace

int main(int argc, char* argv[])
{
    int line = argc > 1 ? OpenLine(argv[1]) : -1;
    bool hasFiles = argc > 2 && strcmp(argv[2], "--files") == 0;
    if (line < 0)
        return 1;
    if (hasFiles)
        PrepareFiles();
    while (write(line, "Q1\r", 3) == 3) {
        if (hasFiles)
            LookAtQueues();
        ReadReply(line);
        if (hasFiles) {
            ReadFile(REPLY_PATH);
            ReplaceFile(STATUS_PATH, statusText, sizeof(statusText));
        }
        poll(nullptr, 0, PERIOD);
    }
    return 1;
}
