// The simulated UPS behind an SNMP agent.
#include "sim/agent/ups_snmp.h"
#include "sim/agent/ups_verbs.h"
#include "sim/model/ups_program.h"

#include <cstdio>

int main(int argc, char** argv)
{
    const char* address = "192.0.2.10";
    const char* community = "public";
    const char* control = DEFAULT_CONTROL;
    const char* scenario = "none";
    const ProgramOption options[] = {{"--listen", &address},
                                     {"--community", &community},
                                     {"--control", &control},
                                     {"--scenario", &scenario}};
    UpsSim sim;
    if (!ParseOptions(options, argc, argv) || !FindScenario(scenario, &sim.scenario)) {
        fprintf(stderr,
                "usage: %s [--listen ADDR[:PORT]] [--community NAME] [--control PATH] "
                "[--scenario demo|outage]\n",
                argv[0]);
        return 2;
    }
    CatchSignals();
    ControlServer server;
    if (!OpenControl(server, control)) {
        fprintf(stderr, "%s: cannot open %s\n", argv[0], control);
        return 1;
    }
    bool opened = OpenAgent(sim, address, community);
    if (opened)
        RunFace(sim, {AGENT_VERBS, AddAgentFds, ServeAgent}, server);
    else
        fprintf(stderr, "%s: cannot answer on %s\n", argv[0], address);
    CloseAgent();
    CloseControl(server);
    return opened ? 0 : 1;
}
