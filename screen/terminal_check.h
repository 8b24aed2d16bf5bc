// Whether a screen can be shown on this terminal at all.
#pragma once

// 1 when TERM names a terminal that is known, else 0 and a line on standard error: the one with
// which the terminal library would end the process, but before anything was done.
int CheckTerminal();
