// wardenlink-monitor: the opening screen, where the UPS of this computer or one elsewhere is
// chosen.
#include "front/program.h"
#include "status/tolvstat_monitor.h"

int main(int argc, char* argv[])
{
    return RunProgram({"wardenlink-monitor", "Chooses a UPS, here or elsewhere, and shows it.",
                       false, tolvan_monitor},
                      argc, argv);
}
