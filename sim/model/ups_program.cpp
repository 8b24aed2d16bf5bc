#include "sim/model/ups_program.h"

#include "sim/model/ups_clock.h"

#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

volatile sig_atomic_t isEnding;

void End(int)
{
    isEnding = 1;
}

bool TakeOption(std::span<const ProgramOption> options, const char* word, const char* value)
{
    for (const ProgramOption& option : options) {
        if (strcmp(word, option.word) == 0) {
            *option.value = value;
            return true;
        }
    }
    return false;
}

} // namespace

bool ParseOptions(std::span<const ProgramOption> options, int argc, char** argv)
{
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 >= argc || !TakeOption(options, argv[i], argv[i + 1]))
            return false;
    }
    return true;
}

void CatchSignals()
{
    signal(SIGTERM, End);
    signal(SIGINT, End);
    signal(SIGPIPE, SIG_IGN);
}

namespace {

// Time that passed before what is asked now: a stall does not count behind it.
void LetTimePass(UpsSim& sim)
{
    static long last = NowMilliseconds();
    long now = NowMilliseconds();
    AdvanceSim(sim, static_cast<double>(now - last) / 1000.0);
    last = now;
}

void Pass(ControlServer& server, const UpsFace& face, UpsSim& sim)
{
    fd_set readers;
    fd_set writers;
    FD_ZERO(&readers);
    FD_ZERO(&writers);
    timeval wait = {0, 50000};
    int count = face.watch(&readers, &wait, 0);
    count = AddControlFds(server, &readers, &writers, count);
    if (select(count, &readers, &writers, nullptr, &wait) < 0) {
        FD_ZERO(&readers);
        FD_ZERO(&writers);
    }
    LetTimePass(sim);
    // The face first: who asks for the log finds there what was sent before.
    face.serve(&readers);
    ServeControl(server, readers, writers, sim);
}

} // namespace

void RunFace(UpsSim& sim, const UpsFace& face, ControlServer& server)
{
    server.verbs = face.verbs;
    printf("ready\n");
    fflush(stdout);
    while (!isEnding)
        Pass(server, face, sim);
}
