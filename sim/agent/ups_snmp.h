// The network side of the simulated UPS: an SNMP version 1 agent for its objects.
#pragma once

#include "sim/model/ups_sim.h"

#include <sys/select.h>
#include <sys/time.h>

// Starts to answer on a UDP address ("192.0.2.10", with ":161" understood); one agent a process.
// Requests with another community or version get no answer. False when that is not possible.
bool OpenAgent(UpsSim& sim, const char* address, const char* community);
// Adds the agent's descriptors and shortens `wait` to the next late answer; result as in select.
int AddAgentFds(fd_set* readers, timeval* wait, int count);
// Handles waiting requests and sends the late answers that are due.
void ServeAgent(fd_set* readers);
void CloseAgent();
