#include "daemon/orders.h"

#include "base/system.h"
#include "ipc/tolvipc.h"

#include <cerrno>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/stat.h>

namespace {

constexpr mode_t ROOT_ONLY = 0600;
constexpr int TRIES = 8; // against somebody who makes the queue again and again

// Also over empty messages, which end the front-end's own clearing early.
void DropEverything(int queue)
{
    QueueMessage message;
    msqid_ds state = {};
    if (msgctl(queue, IPC_STAT, &state) != 0)
        return;
    for (msgqnum_t left = state.msg_qnum; left > 0; left--) {
        if (msgrcv(queue, &message, sizeof(message.text), 0, IPC_NOWAIT | MSG_NOERROR) < 0)
            return;
    }
}

bool IsRoots(const msqid_ds& state)
{
    return state.msg_perm.uid == 0 && state.msg_perm.cuid == 0;
}

// True when the queue is root's alone now; what came in before that is dropped.
bool Narrow(int queue, msqid_ds& state)
{
    if ((state.msg_perm.mode & 0777) == ROOT_ONLY)
        return true;
    state.msg_perm.mode = ROOT_ONLY;
    state.msg_perm.gid = 0;
    if (msgctl(queue, IPC_SET, &state) != 0)
        return false;
    DropEverything(queue);
    return true;
}

bool IsOpen(int queue, msqid_ds& state)
{
    return queue != -1 && msgctl(queue, IPC_STAT, &state) == 0;
}

int FindOrMake(char id)
{
    key_t key = ftok(SETTINGS_FOLDER, id);
    if (key == -1)
        return -1;
    int queue = msgget(key, 0);
    return queue == -1 && errno == ENOENT ? msgget(key, IPC_CREAT | IPC_EXCL | ROOT_ONLY) : queue;
}

// A queue that is still there has kept its key: no other can have taken it meanwhile.
void TakeOverQueue(OrderQueue& queue, char id)
{
    msqid_ds state = {};
    for (int attempt = 0; attempt < TRIES; attempt++) {
        if (!IsOpen(queue.number, state)) {
            queue.number = FindOrMake(id);
            if (!IsOpen(queue.number, state))
                continue;
        }
        if (IsRoots(state) && Narrow(queue.number, state)) {
            queue.isEmpty = state.msg_qnum == 0;
            return;
        }
        msgctl(queue.number, IPC_RMID, nullptr);
    }
    queue = {-1, true};
}

// Another folder in its place gives other keys.
bool IsFolderTheSame(OrderQueues& queues)
{
    struct stat folder = {};
    if (stat(SETTINGS_FOLDER, &folder) != 0)
        return false;
    bool isSame = folder.st_dev == queues.device && folder.st_ino == queues.folder;
    queues.device = folder.st_dev;
    queues.folder = folder.st_ino;
    return isSame;
}

// The length is the message's own: the front-end's reading leaves a tail of older texts.
bool TakeText(const OrderQueue& queue, int type, char (&text)[COMMAND_ROOM])
{
    QueueMessage message;
    if (queue.isEmpty)
        return false;
    ssize_t length =
        msgrcv(queue.number, &message, sizeof(message.text), type, IPC_NOWAIT | MSG_NOERROR);
    if (length < 0)
        return false;
    for (ssize_t i = 0; i < length; i++)
        text[i] = message.text[i];
    text[length] = '\0';
    return true;
}

} // namespace

void TakeOverQueues(OrderQueues& queues)
{
    if (!IsFolderTheSame(queues))
        queues.control.number = queues.command.number = queues.presence = -1;
    TakeOverQueue(queues.control, DAEMON_CONTROL_QUEUE);
    TakeOverQueue(queues.command, COMMAND_QUEUE);
}

void DropWaitingOrders(const OrderQueues& queues)
{
    DropEverything(queues.control.number);
    DropEverything(queues.command.number);
}

Order TakeOrder(const OrderQueues& queues)
{
    char text[COMMAND_ROOM];
    if (!TakeText(queues.control, CONTROL_MESSAGE, text))
        return ORDER_NONE;
    if (text[0] == '1')
        return ORDER_STOP;
    return text[0] != '\0' && text[1] == '1' ? ORDER_RELOAD : ORDER_UNKNOWN;
}

bool TakeCommand(const OrderQueues& queues, char (&text)[COMMAND_ROOM])
{
    return TakeText(queues.command, COMMAND_MESSAGE, text);
}

// Everybody may look at this one, so the front-end's way of making it will do.
void ShowPresence(OrderQueues& queues)
{
    msqid_ds state = {};
    if (!IsOpen(queues.presence, state) || !IsRoots(state))
        queues.presence = CreateMsgQ(HEARTBEAT_QUEUE);
    if (SendToMsgQ(queues.presence, HEARTBEAT_MESSAGE, "alive") == 1)
        return;
    // Anybody can fill it, with few messages if they are long.
    DropEverything(queues.presence);
    SendToMsgQ(queues.presence, HEARTBEAT_MESSAGE, "alive");
}
