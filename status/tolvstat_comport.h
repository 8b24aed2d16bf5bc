// The panels of a UPS on the serial port, painted from the daemon's reply files.
#pragma once

#include "status/tolvstat_data.h"

// One repaint in serial mode: frame, both panels, model line, key prompt.
// shutdownDue is 1 when a scheduled shutdown is near.
void DrawScreen(StatusFields& fields, int shutdownDue);

// The left panel: labels, values, blinking alarms. While the daemon runs, also the
// warning of a mains failure, a low battery or a shutdown that is due.
void DrawComportLeft(StatusFields& fields, int shutdownDue);

// Also overwrites batteryRating by the voltage of one cell, unless the UPS is in standby:
// an on-line UPS reports its battery's voltage by the cell.
void DrawComportRight(StatusFields& fields);
