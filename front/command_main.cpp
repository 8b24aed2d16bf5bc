// wardenlink-command: the command center, where a UPS is tested, switched and turned off.
#include "front/program.h"
#include "issuer/tolvissuer.h"

namespace {

int Run()
{
    tolvan_issuer();
    return -1; // it came back: this is not the super-user
}

} // namespace

int main(int argc, char* argv[])
{
    return RunProgram(
        {"wardenlink-command", "Tests the UPS, switches its beeper, turns it off.", true, Run},
        argc, argv);
}
