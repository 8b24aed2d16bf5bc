// What others tell the daemon, by way of the message queues, and how it shows that it lives.
// The front-end makes queues that everybody may write to; whoever can write to these two can
// stop the daemon or turn the UPS off, so the daemon makes them root's alone.
#pragma once

#include <cstddef>
#include <sys/types.h>

struct OrderQueue {
    int number;   // its identifier, -1 while there is none
    bool isEmpty; // it was when it was last looked at
};

struct OrderQueues {
    OrderQueue control;
    OrderQueue command;
    int presence;
    dev_t device; // of the folder that gives the queues their keys
    ino_t folder;
};

// The control texts.
enum Order { ORDER_NONE, ORDER_STOP, ORDER_RELOAD, ORDER_UNKNOWN };

inline constexpr size_t COMMAND_ROOM = 101;

// No queue is known yet.
inline constexpr OrderQueues NO_QUEUES = {{-1, true}, {-1, true}, -1, 0, 0};

// To be called at the start and every second after it: any command may have made the queues
// anew. What waits in one that others could write to is thrown away.
void TakeOverQueues(OrderQueues& queues);

// At the start: what waited is no order to this daemon.
void DropWaitingOrders(const OrderQueues& queues);

// Takes one control message of those that waited at the last look.
Order TakeOrder(const OrderQueues& queues);

// Takes one UPS command, as it was sent; false when none waits.
bool TakeCommand(const OrderQueues& queues, char (&text)[COMMAND_ROOM]);

// Puts a presence message on its queue; to be called every second.
void ShowPresence(OrderQueues& queues);
