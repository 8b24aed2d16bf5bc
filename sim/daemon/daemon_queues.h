// The daemon's ends of the message queues that it shares with the front-end.
#pragma once

#include <string>

// Throws away what an earlier daemon left unread: an old "stop" must not end a new daemon.
void DiscardOldOrders();
// Puts a presence message on its queue; the oldest goes when too many wait.
void SendPresence();
// Takes the next control text, or false when none waits.
bool TakeControlText(std::string* text);
// Takes the next UPS command, or false when none waits.
bool TakeUpsCommand(std::string* text);
