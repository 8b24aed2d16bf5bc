// All that one simulated UPS is made of, and how its time passes.
#pragma once

#include "sim/model/ups_faults.h"
#include "sim/model/ups_model.h"

#include <deque>
#include <string>

struct UpsSim {
    UpsModel model;
    UpsFaults faults;
    std::deque<std::string> log; // one line for each datagram, oldest first
    double speed = 1.0;          // model seconds per second
    bool frozen = false;
    bool demo = false;     // the moving scenario; survives a reset, which starts it anew
    double demoTime = 0.0; // model seconds into the scenario's round
};

// Everything as at the start.
void ResetSim(UpsSim& sim);
// Lets that many real seconds pass.
void AdvanceSim(UpsSim& sim, double seconds);
// Adds a line to the log; the oldest go when it grows beyond what a test looks at.
void LogDatagram(UpsSim& sim, const std::string& line);
// What the object answers now: its override or the model's value.
UpsValue CurrentValue(const UpsSim& sim, int object);
