// Messages of any kind in the five queues, sent by whoever may, and what front-end and daemon make
// of them. Each deed of an input is a letter, a byte that names a queue, and for a message its
// type, two bytes of length and its text:
//     m  a message is sent by system call       s  the same by the front-end's own routine
//     c  the front-end takes a control message  t  the daemon takes an order, and a command
//     p  presence is shown and asked for        x  a queue is cleared
//     r  a queue is removed                     o  the daemon takes its queues over
#include "daemon/orders.h"
#include "daemon/serial_source.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "ipc/tolvipc.h"
#include "tests/unit/support/raw_queue.h"

namespace {

constexpr size_t MOST_DEEDS = 500;
constexpr int MOST_KEPT = 10; // messages behind SendToMsgQ, unless it was full of others

int queues[5];
OrderQueues orders = NO_QUEUES;

void OpenQueues()
{
    for (int i = 0; i < 5; i++) {
        queues[i] = CreateMsgQ(static_cast<char>(DATA_QUEUE + i));
        Require(queues[i] >= 0, "a queue is there");
    }
    TakeOverQueues(orders);
    Require(orders.control.number >= 0 && orders.command.number >= 0, "the daemon has its queues");
}

void SendRaw(int queue, Input& input)
{
    long type = TakeNumber<int16_t>(input);
    RawSend(queue, type, TakeBytes(input, TakeNumber<uint16_t>(input) % sizeof(RawRecord::text)));
}

void SendOwn(int queue, Input& input)
{
    int type = TakeNumber<int16_t>(input);
    std::string text = TakeBytes(input, TakeNumber<uint16_t>(input));
    int before = MsgNumber(queue);
    int result = SendToMsgQ(queue, type, text.c_str());
    Require(result == 1 || result == -1, "a message is sent or not");
    Require(MsgNumber(queue) <= std::max(before, MOST_KEPT), "nobody's queue grows without end");
}

void TakeControl(int queue)
{
    int control = ReadCtrlMsg(queue);
    Require(control >= CTRL_UNKNOWN && control <= CTRL_REDRAW && control != 0,
            "a control message has a meaning or none");
    char text[QUEUE_TEXT_SIZE];
    memset(text, 'x', sizeof(text));
    ReceiveMsg(queue, 0, text);
    Require(memchr(text, '\0', sizeof(text)) != nullptr, "a message is terminated");
}

void TakeOrders()
{
    TakeOverQueues(orders);
    Order order = TakeOrder(orders);
    Require(order >= ORDER_NONE && order <= ORDER_UNKNOWN, "an order is known or unknown");
    char text[COMMAND_ROOM];
    char serial[8];
    if (!TakeCommand(orders, text) || !CommandToSerialText(text, serial, sizeof(serial)))
        return;
    Require(text[0] >= 'a' && text[0] <= 'f' && strlen(serial) <= 3, "only a command goes out");
}

// Each empty message before the daemon's own hides it for one look.
void ShowAndFindPresence()
{
    ShowPresence(orders);
    bool isSeen = false;
    for (int looks = MsgNumber(queues[1]); looks > 0 && !isSeen; looks--)
        isSeen = TolvdPresent() == 1;
    Require(isSeen, "a daemon that shows itself is seen");
}

void Clear(int queue)
{
    ClearMsgQ(queue);
    DropWaitingOrders(orders);
    Require(MsgNumber(orders.control.number) < 1 && MsgNumber(orders.command.number) < 1,
            "what waited is gone");
}

void Remove(int queue)
{
    DestroyMsgQ(queue);
    Require(MsgNumber(queue) == -1 && SendMsg(queue, CONTROL_MESSAGE, "x") == -1,
            "a queue that is gone takes nothing");
    OpenQueues();
}

void Do(int deed, int queue, Input& input)
{
    switch (deed) {
    case 'm':
        SendRaw(queue, input);
        break;
    case 's':
        SendOwn(queue, input);
        break;
    case 'c':
        TakeControl(queue);
        break;
    case 't':
        TakeOrders();
        break;
    case 'p':
        ShowAndFindPresence();
        break;
    case 'x':
        Clear(queue);
        break;
    case 'r':
        Remove(queue);
        break;
    case 'o':
        OpenQueues();
        break;
    default:
        break;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    OpenQueues();
    Input input = MakeInput(bytes, size);
    for (size_t deeds = 0; deeds < MOST_DEEDS && !IsUsedUp(input); deeds++) {
        int deed = TakeByte(input);
        Do(deed, queues[TakeByte(input) % 5], input);
    }
    for (int queue : queues)
        TakeAll(queue);
    return 0;
}
