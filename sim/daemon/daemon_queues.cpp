#include "sim/daemon/daemon_queues.h"

#include <cstring>
#include <sys/ipc.h>
#include <sys/msg.h>

struct Message {
    long type;
    char text[100];
};

enum MessageType : long { kPresence = 4, kControl = 5, kUpsCommand = 9 };

static constexpr char kHeartbeatQueue = '2';
static constexpr char kDaemonControlQueue = '3';
static constexpr char kCommandQueue = '5';
static constexpr msgqnum_t kMostPresence = 6;

// Opened anew for each use: the front-end may remove a queue at any time.
static int OpenQueue(char id)
{
    key_t key = ftok("/etc/wardenlink", id);
    return key == -1 ? -1 : msgget(key, IPC_CREAT | 0666);
}

static bool Take(int queue, long type, std::string* text)
{
    Message message = {};
    ssize_t size = msgrcv(queue, &message, sizeof message.text, type, IPC_NOWAIT | MSG_NOERROR);
    if (size < 0)
        return false;
    text->assign(message.text, strnlen(message.text, static_cast<size_t>(size)));
    return true;
}

void DiscardOldOrders()
{
    std::string text;
    for (char id : {kDaemonControlQueue, kCommandQueue}) {
        int queue = OpenQueue(id);
        while (Take(queue, 0, &text)) {
        }
    }
}

void SendPresence()
{
    static constexpr char kText[] = "alive";
    int queue = OpenQueue(kHeartbeatQueue);
    std::string old;
    msqid_ds status = {};
    while (msgctl(queue, IPC_STAT, &status) == 0 && status.msg_qnum >= kMostPresence) {
        if (!Take(queue, 0, &old))
            break;
    }
    Message message = {};
    message.type = kPresence;
    std::memcpy(message.text, kText, sizeof kText);
    msgsnd(queue, &message, sizeof kText - 1, IPC_NOWAIT);
}

bool TakeControlText(std::string* text)
{
    return Take(OpenQueue(kDaemonControlQueue), kControl, text);
}

bool TakeUpsCommand(std::string* text)
{
    return Take(OpenQueue(kCommandQueue), kUpsCommand, text);
}
