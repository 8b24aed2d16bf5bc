#include "sim/daemon/daemon_queues.h"

#include <cstring>
#include <sys/ipc.h>
#include <sys/msg.h>

namespace {

struct Message {
    long type;
    char text[100];
};

enum MessageType : long { PRESENCE = 4, CONTROL = 5, UPS_COMMAND = 9 };

constexpr char HEARTBEAT_QUEUE = '2';
constexpr char DAEMON_CONTROL_QUEUE = '3';
constexpr char COMMAND_QUEUE = '5';
constexpr msgqnum_t MOST_PRESENCE = 6;

// Opened anew for each use: the front-end may remove a queue at any time.
int OpenQueue(char id)
{
    key_t key = ftok("/etc/wardenlink", id);
    return key == -1 ? -1 : msgget(key, IPC_CREAT | 0666);
}

bool Take(int queue, long type, std::string* text)
{
    Message message = {};
    ssize_t size = msgrcv(queue, &message, sizeof(message.text), type, IPC_NOWAIT | MSG_NOERROR);
    if (size < 0)
        return false;
    text->assign(message.text, strnlen(message.text, static_cast<size_t>(size)));
    return true;
}

} // namespace

void DiscardOldOrders()
{
    std::string text;
    for (char id : {DAEMON_CONTROL_QUEUE, COMMAND_QUEUE}) {
        int queue = OpenQueue(id);
        while (Take(queue, 0, &text)) {
        }
    }
}

void SendPresence()
{
    static constexpr char TEXT[] = "alive";
    int queue = OpenQueue(HEARTBEAT_QUEUE);
    std::string old;
    msqid_ds status = {};
    while (msgctl(queue, IPC_STAT, &status) == 0 && status.msg_qnum >= MOST_PRESENCE) {
        if (!Take(queue, 0, &old))
            break;
    }
    Message message = {};
    message.type = PRESENCE;
    memcpy(message.text, TEXT, sizeof(TEXT));
    msgsnd(queue, &message, sizeof(TEXT) - 1, IPC_NOWAIT);
}

bool TakeControlText(std::string* text)
{
    return Take(OpenQueue(DAEMON_CONTROL_QUEUE), CONTROL, text);
}

bool TakeUpsCommand(std::string* text)
{
    return Take(OpenQueue(COMMAND_QUEUE), UPS_COMMAND, text);
}
