// The simulated UPS's objects as the agent library knows them.
#pragma once

#include "sim/model/ups_sim.h"

// Registers every object of the table; false when the library refuses one.
bool RegisterObjects(UpsSim& sim);
void UnregisterObjects();
