#include "daemon/orders.h"

#include "base/system.h"
#include "ipc/tolvipc.h"

#include <cerrno>
#include <sys/ipc.h>
#include <sys/msg.h>

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

int TakeOverQueue(char id)
{
    key_t key = ftok(SETTINGS_FOLDER, id);
    for (int attempt = 0; key != -1 && attempt < TRIES; attempt++) {
        int queue = msgget(key, 0);
        if (queue == -1 && errno == ENOENT)
            queue = msgget(key, IPC_CREAT | IPC_EXCL | ROOT_ONLY);
        msqid_ds state = {};
        if (queue == -1 || msgctl(queue, IPC_STAT, &state) != 0)
            continue;
        if (IsRoots(state) && Narrow(queue, state))
            return queue;
        msgctl(queue, IPC_RMID, nullptr);
    }
    return -1;
}

// The length is the message's own: the front-end's reading leaves a tail of older texts.
bool TakeText(int queue, int type, char (&text)[COMMAND_ROOM])
{
    QueueMessage message;
    ssize_t length = msgrcv(queue, &message, sizeof(message.text), type, IPC_NOWAIT | MSG_NOERROR);
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
    queues.control = TakeOverQueue(DAEMON_CONTROL_QUEUE);
    queues.command = TakeOverQueue(COMMAND_QUEUE);
}

void DropWaitingOrders(const OrderQueues& queues)
{
    DropEverything(queues.control);
    DropEverything(queues.command);
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

void ShowPresence()
{
    int queue = CreateMsgQ(HEARTBEAT_QUEUE);
    if (SendToMsgQ(queue, HEARTBEAT_MESSAGE, "alive") == 1)
        return;
    // Anybody can fill it, with few messages if they are long.
    DropEverything(queue);
    SendToMsgQ(queue, HEARTBEAT_MESSAGE, "alive");
}
