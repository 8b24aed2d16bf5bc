// The local status screen: the UPS that powers this computer, as the daemon sees
// it, or behind its agent when the settings say so.
#pragma once

#include "status/tolvstat_data.h"

// Runs the local screen until 'q'. daemonPresent is what the caller's presence
// test gave. The result of endwin, or of the message that no settings were found.
int tolvan_status_local(int daemonPresent);

// One SNMP pass of the local screen. mode, redraw, snmpUp and pagePending (the
// information page is still to be drawn) are the caller's; key is the last one.
void SNMP_actions(int key, int* mode, int* redraw, int* snmpUp, int* pagePending,
                  StatusFields& fields, const PowerConfig& config, int daemonPresent);

// Reads the settings again and follows their changes, to another agent or to
// another way of reaching the UPS.
void ReConfig(StatusFields& fields, PowerConfig& config, ScheduleEntry schedule[7],
              int* lastCommMode, int* shutdownDue, int* mode, int* snmpUp);
