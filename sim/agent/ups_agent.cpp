// The simulated UPS as a process: its SNMP agent and its control channel in one loop.
#include "sim/agent/ups_snmp.h"
#include "sim/model/ups_server.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/select.h>
#include <time.h>

namespace {

struct AgentOptions {
    const char* listen = "192.0.2.10";
    const char* community = "public";
    const char* control = "/run/wardenlink-sim.sock";
    const char* scenario = "";
};

struct OptionName {
    const char* word;
    const char* AgentOptions::*member;
};

constexpr OptionName OPTIONS[] = {
    {"--listen", &AgentOptions::listen},
    {"--community", &AgentOptions::community},
    {"--control", &AgentOptions::control},
    {"--scenario", &AgentOptions::scenario},
};

volatile sig_atomic_t isEnding;

void End(int)
{
    isEnding = 1;
}

bool TakeOption(AgentOptions& options, const char* word, const char* value)
{
    for (const OptionName& option : OPTIONS) {
        if (strcmp(word, option.word) == 0) {
            options.*option.member = value;
            return true;
        }
    }
    return false;
}

bool ParseOptions(AgentOptions& options, int argc, char** argv)
{
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 >= argc || !TakeOption(options, argv[i], argv[i + 1]))
            return false;
    }
    return options.scenario[0] == '\0' || strcmp(options.scenario, "demo") == 0;
}

double Now()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void Pass(ControlServer& server, UpsSim& sim)
{
    fd_set readers;
    fd_set writers;
    FD_ZERO(&readers);
    FD_ZERO(&writers);
    timeval wait = {0, 50000};
    int count = AddAgentFds(&readers, &wait, 0);
    count = AddControlFds(server, &readers, &writers, count);
    if (select(count, &readers, &writers, nullptr, &wait) < 0) {
        FD_ZERO(&readers);
        FD_ZERO(&writers);
    }
    ServeControl(server, readers, writers, sim);
    ServeAgent(&readers);
}

void Run(ControlServer& server, UpsSim& sim)
{
    double last = Now();
    while (!isEnding) {
        Pass(server, sim);
        double now = Now();
        AdvanceSim(sim, now - last);
        last = now;
    }
}

void CatchSignals()
{
    signal(SIGTERM, End);
    signal(SIGINT, End);
    signal(SIGPIPE, SIG_IGN);
}

} // namespace

int main(int argc, char** argv)
{
    AgentOptions options;
    if (!ParseOptions(options, argc, argv)) {
        fprintf(stderr,
                "usage: %s [--listen ADDR[:PORT]] [--community NAME] [--control PATH] "
                "[--scenario demo]\n",
                argv[0]);
        return 2;
    }
    UpsSim sim;
    ControlServer server;
    sim.demo = options.scenario[0] != '\0';
    CatchSignals();
    bool opened = OpenAgent(sim, options.listen, options.community);
    if (!opened)
        fprintf(stderr, "%s: cannot answer on %s\n", argv[0], options.listen);
    else if (!OpenControl(server, options.control))
        fprintf(stderr, "%s: cannot open %s\n", argv[0], options.control);
    if (server.listener >= 0) {
        printf("ready\n");
        fflush(stdout);
        Run(server, sim);
    }
    bool served = server.listener >= 0;
    CloseControl(server);
    CloseAgent();
    return served ? 0 : 1;
}
