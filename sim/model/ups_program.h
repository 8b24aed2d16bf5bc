// A simulated UPS as a process: its command line, its signals and its loop.
#pragma once

#include "sim/model/ups_server.h"

#include <span>
#include <sys/select.h>
#include <sys/time.h>

inline constexpr const char* DEFAULT_CONTROL = "/run/wardenlink-sim.sock";

// What a program shows of its UPS besides the control channel.
struct UpsFace {
    std::span<const ControlVerb> verbs; // its own commands; they come before the common ones
    // Adds what to read from and shortens the wait; the result is as AddControlFds gives it.
    int (*watch)(fd_set* readers, timeval* wait, int count);
    void (*serve)(fd_set* readers); // never waits
};

struct ProgramOption {
    const char* word;
    const char** value;
};

// Reads pairs of a word and its value; false when one is not among the options.
bool ParseOptions(std::span<const ProgramOption> options, int argc, char** argv);
// SIGTERM and SIGINT are to end the loop.
void CatchSignals();
// Says "ready", and serves the face and the control channel until a signal.
void RunFace(UpsSim& sim, const UpsFace& face, ControlServer& server);
