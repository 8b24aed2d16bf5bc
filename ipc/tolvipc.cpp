#include "ipc/tolvipc.h"

#include "base/system.h"

#include <cstring>
#include <initializer_list>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

namespace {

constexpr int PRESENCE_TRIES = 15; // seconds in which a living daemon shows itself again
constexpr int REMAKE_TRIES = 100;  // against somebody who takes a key again at once

// The one record of the process: every send and receive goes through it. It is not
// cleared in between, so a short text may be read with a longer one's tail; kept.
QueueMessage record;

// A queue keeps at most this many older messages besides the one to be sent.
int QueueLimit(int type)
{
    if (type == CONTROL_MESSAGE)
        return 2;
    return type == HEARTBEAT_MESSAGE ? 5 : 9;
}

ssize_t TakeMessage(int queue, int type)
{
    return msgrcv(queue, &record, QUEUE_TEXT_SIZE, type, IPC_NOWAIT | MSG_NOERROR);
}

int OpenQueue(key_t key)
{
    return msgget(key, IPC_CREAT | 0666);
}

// Whoever made a queue, or owns it, can remove it or let it hold nothing: root
// relies on none but its own.
bool IsToBeRemade(int queue)
{
    if (queue == -1 || geteuid() != 0)
        return false;
    msqid_ds state = {};
    bool isThere = msgctl(queue, IPC_STAT, &state) == 0;
    return !isThere || state.msg_perm.uid != 0 || state.msg_perm.cuid != 0;
}

} // namespace

int CreateMsgQ(char id)
{
    key_t key = ftok(SETTINGS_FOLDER, id);
    if (key == -1) // no folder, no key: -1 would name a queue of its own
        return -1;
    int queue = OpenQueue(key);
    for (int tries = REMAKE_TRIES; IsToBeRemade(queue); tries--) {
        if (tries == 0)
            return -1;
        DestroyMsgQ(queue);
        queue = OpenQueue(key);
    }
    return queue;
}

int SendMsg(int queue, int type, const char* text)
{
    size_t length = strnlen(text, QUEUE_TEXT_SIZE - 1);
    record.type = type;
    memcpy(record.text, text, length);
    record.text[length] = '\0';
    return msgsnd(queue, &record, length, IPC_NOWAIT | MSG_NOERROR) == 0 ? 1 : -1;
}

int ReceiveMsg(int queue, int type, char* dst)
{
    memset(dst, 0, QUEUE_TEXT_SIZE);
    if (TakeMessage(queue, type) < 1)
        return -1;
    memcpy(dst, record.text, strnlen(record.text, QUEUE_TEXT_SIZE - 1));
    return 1;
}

int MsgNumber(int queue)
{
    msqid_ds state = {};
    if (msgctl(queue, IPC_STAT, &state) != 0)
        return -1;
    return static_cast<int>(state.msg_qnum);
}

void ClearMsgQ(int queue)
{
    // What waits now and no more: blocked senders fill every gap at once. An empty
    // message ends it early; kept.
    for (int waiting = MsgNumber(queue); waiting > 0 && TakeMessage(queue, 0) > 0; waiting--) {
    }
}

void DestroyMsgQ(int queue)
{
    msgctl(queue, IPC_RMID, nullptr);
}

void Create4MsgQ(int* q1, int* q2, int* q3, int* q4)
{
    *q1 = CreateMsgQ(DATA_QUEUE);
    *q2 = CreateMsgQ(HEARTBEAT_QUEUE);
    *q3 = CreateMsgQ(DAEMON_CONTROL_QUEUE);
    *q4 = CreateMsgQ(SCREEN_CONTROL_QUEUE);
    Clear4MsgQ(*q1, *q2, *q3, *q4);
}

void Clear4MsgQ(int q1, int q2, int q3, int q4)
{
    for (int queue : {q1, q2, q3, q4})
        ClearMsgQ(queue);
}

void Destroy4MsgQ(int q1, int q2, int q3, int q4)
{
    for (int queue : {q1, q2, q3, q4})
        DestroyMsgQ(queue);
}

int SendToMsgQ(int queue, int type, const char* text)
{
    int limit = QueueLimit(type);
    // A message that cannot be taken ends the trimming: better sent late than never. It takes
    // no more than the surplus of now, also under a sender that never rests.
    for (int surplus = MsgNumber(queue) - limit; surplus > 0 && MsgNumber(queue) > limit;
         surplus--) {
        if (TakeMessage(queue, 0) < 1)
            break;
    }
    return SendMsg(queue, type, text);
}

int SendMessages(int queue, MessageText first, MessageText second, MessageText third)
{
    int type = 0;
    for (const MessageText* message : {&first, &second, &third}) {
        if (SendToMsgQ(queue, ++type, message->text) == -1)
            return -1;
    }
    return 1;
}

void SendRedrawMsg()
{
    SendMsg(CreateMsgQ(SCREEN_CONTROL_QUEUE), CONTROL_MESSAGE, CONTROL_REDRAW);
}

int ReadCtrlMsg(int queue)
{
    char text[QUEUE_TEXT_SIZE];
    if (ReceiveMsg(queue, CONTROL_MESSAGE, text) == -1)
        return CTRL_NONE;
    if (text[0] == '1')
        return CTRL_STOP;
    if (text[1] == '1')
        return CTRL_RELOAD;
    return text[2] == '1' ? CTRL_REDRAW : CTRL_UNKNOWN;
}

int InstanceExist()
{
    char text[QUEUE_TEXT_SIZE];
    int queue = CreateMsgQ(HEARTBEAT_QUEUE);
    if (ReceiveMsg(queue, HEARTBEAT_MESSAGE, text) == -1)
        return 0;
    // It may be a leftover of a daemon that died: only a fresh one counts.
    ClearMsgQ(queue);
    for (int attempt = 0; attempt < PRESENCE_TRIES; attempt++) {
        sleep(1);
        if (ReceiveMsg(queue, HEARTBEAT_MESSAGE, text) == 1)
            return 1;
    }
    return 0;
}

int TolvdPresent()
{
    char text[QUEUE_TEXT_SIZE];
    return ReceiveMsg(CreateMsgQ(HEARTBEAT_QUEUE), HEARTBEAT_MESSAGE, text) == 1 ? 1 : 0;
}
