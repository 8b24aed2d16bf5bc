// The commands of the control channel, one line in, some lines out.
#pragma once

#include "sim/model/ups_sim.h"

#include <string>

// Carries out one line; the result is the whole reply, its last line "ok" or "error TEXT".
std::string ControlCommand(UpsSim& sim, const std::string& line);
