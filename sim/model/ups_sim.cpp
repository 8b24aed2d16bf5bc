#include "sim/model/ups_sim.h"

#include <cmath>

static constexpr size_t kLogLines = 20000;

// One round of the demonstration, in model seconds.
static constexpr double kDemoFailure = 15.0;
static constexpr double kDemoRestore = 82.0;
static constexpr double kDemoRound = 125.0;

void ResetSim(UpsSim& sim)
{
    bool demo = sim.demo;
    sim = UpsSim();
    sim.demo = demo;
}

static bool Passes(double from, double to, double mark)
{
    return from < mark && mark <= to;
}

// Acts only as a mark is passed, so that commands given in between keep their effect.
static void StepDemo(UpsSim& sim, double seconds)
{
    double from = sim.demoTime;
    double to = from + seconds;
    if (Passes(from, to, kDemoFailure))
        FailMains(sim.model);
    if (Passes(from, to, kDemoRestore))
        RestoreMains(sim.model);
    sim.demoTime = std::fmod(to, kDemoRound);
    sim.model.loadDrift = 4.0 * std::sin(to / 5.0);
    sim.model.voltsDrift = 2.5 * std::sin(to / 7.0);
}

void AdvanceSim(UpsSim& sim, double seconds)
{
    static constexpr double kDemoStep = 1.0;
    if (sim.frozen)
        return;
    seconds *= sim.speed;
    while (sim.demo && seconds > kDemoStep) {
        StepDemo(sim, kDemoStep);
        StepModel(sim.model, kDemoStep);
        seconds -= kDemoStep;
    }
    if (sim.demo)
        StepDemo(sim, seconds);
    StepModel(sim.model, seconds);
}

void LogDatagram(UpsSim& sim, const std::string& line)
{
    sim.log.push_back(line);
    if (sim.log.size() > kLogLines)
        sim.log.pop_front();
}

UpsValue CurrentValue(const UpsSim& sim, int object)
{
    const UpsFault& fault = sim.faults.object[object];
    return fault.overridden ? fault.value : ModelValue(sim.model, object);
}
