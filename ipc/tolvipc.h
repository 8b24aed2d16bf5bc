// The five System V message queues that the front-end shares with the daemon.
// Nothing here ever waits on a queue; only InstanceExist sleeps. Queue
// identifiers are what msgget gave: on -1 every operation fails and gives -1, so
// a queue that cannot be opened is as good as an empty one.
#pragma once

#include <cstddef>

inline constexpr int QUEUE_TEXT_SIZE = 100;

// Queue ids, the second argument of ftok.
inline constexpr char DATA_QUEUE = '1';           // dataQueue: types 1, 2 and 3
inline constexpr char HEARTBEAT_QUEUE = '2';      // heartbeatQueue: type 4
inline constexpr char DAEMON_CONTROL_QUEUE = '3'; // daemonControlQueue: type 5
inline constexpr char SCREEN_CONTROL_QUEUE = '4'; // screenControlQueue: type 5
inline constexpr char COMMAND_QUEUE = '5';        // commandQueue: type 9

inline constexpr int HEARTBEAT_MESSAGE = 4; // the daemon is alive; its text is not examined
inline constexpr int CONTROL_MESSAGE = 5;   // one of the control texts below
inline constexpr int COMMAND_MESSAGE = 9;   // a UPS command for the daemon

// Control texts: the first position that holds '1' decides.
inline constexpr const char CONTROL_STOP[] = "100";
inline constexpr const char CONTROL_RELOAD[] = "010";
inline constexpr const char CONTROL_REDRAW[] = "001";

static_assert(sizeof(CONTROL_STOP) == 4 && sizeof(CONTROL_RELOAD) == 4 &&
              sizeof(CONTROL_REDRAW) == 4);

// What ReadCtrlMsg makes of them.
inline constexpr int CTRL_NONE = -1;
inline constexpr int CTRL_UNKNOWN = -2;
inline constexpr int CTRL_RELOAD = 1;
inline constexpr int CTRL_STOP = 2;
inline constexpr int CTRL_REDRAW = 3;

// The record handed to msgsnd and msgrcv.
struct QueueMessage {
    long type;
    char text[QUEUE_TEXT_SIZE];
};

static_assert(offsetof(QueueMessage, text) == sizeof(long)); // as the kernel has it

// One text of SendMessages.
struct MessageText {
    char text[QUEUE_TEXT_SIZE];
};

// Opens the queue with this id, creating it for all to read and write if need be;
// its identifier or -1. For root one that another user made or owns is removed and
// made anew; -1 also when that user is too quick again and again.
int CreateMsgQ(char id);

// Sends text without its terminator, cut to 99 bytes. 1, or -1 when the queue
// is full or gone.
int SendMsg(int queue, int type, const char* text);

// Takes the oldest message of the type (0 = any) into dst, 100 bytes. 1, or -1
// when there is none or an empty one was taken. A tail of an older, longer text
// may follow the new one.
int ReceiveMsg(int queue, int type, char* dst);

// Messages waiting, or -1.
int MsgNumber(int queue);

// Throws away the messages that wait when it begins; an empty one ends it early.
void ClearMsgQ(int queue);

// Removes the queue from the system.
void DestroyMsgQ(int queue);

// Opens the queues '1' to '4' into the four places, then empties all four.
void Create4MsgQ(int* q1, int* q2, int* q3, int* q4);
void Clear4MsgQ(int q1, int q2, int q3, int q4);
void Destroy4MsgQ(int q1, int q2, int q3, int q4);

// SendMsg after the oldest messages were thrown away, so that a queue nobody
// reads never fills up. Of a queue that others keep filling it takes the surplus
// once, and its send may fail.
int SendToMsgQ(int queue, int type, const char* text);

// The three texts as types 1, 2 and 3; 1, or -1 at the first that failed.
int SendMessages(int queue, MessageText first, MessageText second, MessageText third);

// Asks a running status screen to redraw.
void SendRedrawMsg();

// Takes one control message; a CTRL_ value.
int ReadCtrlMsg(int queue);

// 1 when a daemon is running, 0 otherwise. Takes up to 15 seconds to tell a
// leftover presence message from a living daemon's.
int InstanceExist();

// 1 when a presence message was waiting (it is taken), 0 otherwise.
int TolvdPresent();
