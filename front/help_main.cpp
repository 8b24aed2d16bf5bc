// Opens the help viewer, which no command word reaches. Never installed.
#include "help/tolvhelp.h"

int main()
{
    tolvan_help();
}
