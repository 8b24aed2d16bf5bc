// The commands of the control channel, one line in, some lines out.
#pragma once

#include <string>

#include "sim/model/ups_sim.h"

// Carries out one line; the result is the whole reply, its last line "ok" or "error TEXT".
std::string ControlCommand(UpsSim& sim, const std::string& line);

// The model as "  key value" lines, as the command "state" gives them.
std::string DescribeState(const UpsSim& sim);
