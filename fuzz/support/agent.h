// The agent's place at 192.0.2.10, taken by the target itself: real datagrams both ways, but no
// thread. What the session sent is answered when it begins to wait.
#pragma once

#include "tests/unit/support/wire_codec.h"

#include <string>
#include <vector>

inline constexpr char AGENT_ADDRESS[] = "192.0.2.10";

// The datagrams to send back for a request, none for silence.
using AgentAnswer = std::vector<std::string> (*)(const WireMessage& request);

// Takes the place, at the first call, and answers so from now on.
void AnswerAsAgent(AgentAnswer answer);

// How many datagrams came of the request that came last; waits for so many of them.
int CountLastRequest(int expected);
