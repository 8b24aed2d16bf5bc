// Opens the local status screen, which no command word reaches. Never installed.
#include "ipc/tolvipc.h"
#include "status/tolvstat.h"
#include "status/tolvstat_local.h"

int main()
{
    return tolvan_status_local(TolvdPresent()) == 0 ? 0 : 1;
}
