// The simulated UPS on a serial line: a pseudo-terminal behind a link.
#include "sim/model/ups_program.h"
#include "sim/serial/serial_verbs.h"

#include <cstdio>

namespace {

UpsSim sim;
SerialLine line;

int Watch(fd_set* readers, timeval* wait, int count)
{
    return WatchLine(line, readers, wait, count);
}

void Serve(fd_set*)
{
    ServeLine(line, sim);
}

} // namespace

int main(int argc, char** argv)
{
    const char* device = "/run/wardenlink-sim-tty";
    const char* control = DEFAULT_CONTROL;
    const char* scenario = "none";
    const ProgramOption options[] = {
        {"--device", &device}, {"--control", &control}, {"--scenario", &scenario}};
    if (!ParseOptions(options, argc, argv) || !FindScenario(scenario, &sim.scenario)) {
        fprintf(stderr, "usage: %s [--device PATH] [--control PATH] [--scenario demo|outage]\n",
                argv[0]);
        return 2;
    }
    CatchSignals();
    ControlServer server;
    // First, so that a second simulator leaves the link of the one that runs alone.
    if (!OpenControl(server, control)) {
        fprintf(stderr, "%s: cannot open %s\n", argv[0], control);
        return 1;
    }
    bool opened = OpenPty(line.pty, device);
    if (opened)
        RunFace(sim, {SerialVerbs(line), Watch, Serve}, server);
    else
        fprintf(stderr, "%s: cannot make %s\n", argv[0], device);
    ClosePty(line.pty);
    CloseControl(server);
    return opened ? 0 : 1;
}
