// What the commands do to the model, whether they come over the network or the serial line.
#pragma once

#include "sim/model/ups_model.h"

// A write to a command object; false means a value that no UPS would take.
bool WriteCommand(UpsModel& model, UpsCommand command, long value);
// A command of the serial line: a, b, cNN, d, e or f; false means none of these.
bool SerialCommand(UpsModel& model, const char* letters);
