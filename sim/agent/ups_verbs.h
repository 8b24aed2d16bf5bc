// The commands of the control channel that mean the agent's objects and how it answers.
#pragma once

#include "sim/model/ups_control.h"

inline constexpr int AGENT_VERB_COUNT = 8;
extern const ControlVerb AGENT_VERBS[AGENT_VERB_COUNT];
