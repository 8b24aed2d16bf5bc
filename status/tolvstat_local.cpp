#include "status/tolvstat_local.h"

#include <cstdio>

int tolvan_status_local(int /*daemonPresent*/)
{
    fputs("wardenlink: the local status screen is not built yet.\n", stderr);
    return -1;
}
