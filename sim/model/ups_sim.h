// All that one simulated UPS is made of, and how its time passes.
#pragma once

#include "sim/model/ups_faults.h"
#include "sim/model/ups_model.h"

#include <deque>
#include <string>

// What happens to the mains by itself: demo is a round that repeats, outage has no end.
enum class Scenario { NONE, DEMO, OUTAGE };

struct LogLine {
    long when = 0; // milliseconds of the monotonic clock
    std::string text;
};

struct UpsSim {
    UpsModel model;
    UpsFaults faults;
    std::deque<LogLine> log; // what was asked, oldest first
    double speed = 1.0;      // model seconds per second
    bool frozen = false;
    double passed = 0.0;                // model seconds since the start or the last reset
    Scenario scenario = Scenario::NONE; // survives a reset, which starts it anew
    double scenarioTime = 0.0;          // model seconds into its round
};

// The words for the scenarios, "none" among them.
const char* ScenarioName(Scenario scenario);
// False when there is no scenario of that name.
bool FindScenario(const char* name, Scenario* scenario);

// Everything as at the start.
void ResetSim(UpsSim& sim);
// Lets that many real seconds pass.
void AdvanceSim(UpsSim& sim, double seconds);
// Adds a line to the log; the oldest go when it grows beyond what a test looks at.
void LogRequest(UpsSim& sim, const std::string& line);
// What the object answers now: its override or the model's value.
UpsValue CurrentValue(const UpsSim& sim, int object);
