// The opening screen as a program: its handlers with a key loop around them.
#pragma once

// Shows the opening screen until a status screen that was chosen there has ended, or 'q'. 0, or
// -1 with a message when the settings could be neither read nor written.
int tolvan_monitor();
