// wardenlink-local: the status of the UPS that feeds this computer.
#include "front/program.h"
#include "ipc/tolvipc.h"
#include "status/tolvstat_local.h"

namespace {

int Run()
{
    return tolvan_status_local(TolvdPresent()) == 0 ? 0 : -1;
}

} // namespace

int main(int argc, char* argv[])
{
    return RunProgram(
        {"wardenlink-local", "Shows the UPS of this computer, as its daemon sees it.", false, Run},
        argc, argv);
}
