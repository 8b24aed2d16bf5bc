// The commands of the control channel that mean the serial line.
#pragma once

#include "sim/model/ups_control.h"
#include "sim/serial/serial_line.h"

// The commands, from now on for that line; one line a process.
std::span<const ControlVerb> SerialVerbs(SerialLine& line);
