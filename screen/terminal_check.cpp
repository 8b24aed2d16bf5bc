#include "screen/terminal_check.h"

#include <cstdio>
#include <cstdlib>
#include <curses.h>
#include <term.h> // apart from all other sources: it takes plain words for itself
#include <unistd.h>

int CheckTerminal()
{
    const char* name = getenv("TERM");
    if (name == nullptr || name[0] == '\0')
        name = "unknown";
    int reason = 0;
    if (setupterm(name, STDOUT_FILENO, &reason) == OK) {
        del_curterm(cur_term); // the screen makes its own
        return 1;
    }
    fprintf(stderr, "Error opening terminal: %s.\n", name);
    return 0;
}
