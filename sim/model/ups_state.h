// The state of the simulated UPS in words, for the control channel.
#pragma once

#include "sim/model/ups_sim.h"

#include <string>

// The model as "  key value" lines, as the command "state" gives them.
std::string DescribeState(const UpsSim& sim);
