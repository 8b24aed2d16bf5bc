// The local status screen: the UPS that powers this computer, as the daemon sees
// it, or behind its agent when the settings say so.
#pragma once

#include "status/tolvstat_data.h"

// Runs the local screen until 'q'. daemonPresent is what the caller's presence
// test gave. The result of endwin, or negative without readable settings.
int tolvan_status_local(int daemonPresent);

// One repaint in serial mode: frame, both panels, model line, key prompt.
void DrawScreen(StatusFields& fields, int shutdownDue);

void DrawComportLeft(StatusFields& fields, int shutdownDue);
void DrawComportRight(StatusFields& fields);
