// A terminal that nobody sees: the screens of the product run on it from their first cell to
// their last, as they are started by a command, with keys that are typed and sizes that change.
#pragma once

// A key press is what is typed, a resize what is done to the terminal.
enum DeedKind { DEED_KEY, DEED_NOTHING, DEED_RESIZE };

struct Deed {
    DeedKind kind;
    char key;
    int rows;
    int cols;
};

// The next thing that the user does; false when the user goes away.
using User = bool (*)(Deed& deed);

// Runs a screen until it ends, ends the process or waits for a user who has gone, and ends
// curses. Whenever it waits for a key, every cell that it has painted has to be printable; no
// byte that reaches the terminal may be DEL or above.
void RunScreen(void (*screen)(), User user);

// Paints what stands there now and checks its cells; the cursor stays.
void CheckCells();

// A user who types nothing and goes at once.
bool NobodyThere(Deed& deed);
