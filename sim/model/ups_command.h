// What the agent's command objects do to the model.
#pragma once

#include "sim/model/ups_model.h"

// A write to a command object; false means a value that no UPS would take.
bool WriteCommand(UpsModel& model, UpsCommand command, long value);
