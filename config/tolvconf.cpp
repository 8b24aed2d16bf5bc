#include "config/tolvconf.h"

#include <cstdio>

int tolvan_config()
{
    fputs("wardenlink: the settings editor is not built yet.\n", stderr);
    return -1;
}
