#include "sim/model/ups_sim.h"

#include <cmath>

namespace {

constexpr size_t LOG_LINES = 20000;

// One round of the demonstration, in model seconds.
constexpr double DEMO_FAILURE = 15.0;
constexpr double DEMO_RESTORE = 82.0;
constexpr double DEMO_ROUND = 125.0;

} // namespace

void ResetSim(UpsSim& sim)
{
    bool demo = sim.demo;
    sim = UpsSim();
    sim.demo = demo;
}

namespace {

bool Passes(double from, double to, double mark)
{
    return from < mark && mark <= to;
}

// Acts only as a mark is passed, so that commands given in between keep their effect.
void StepDemo(UpsSim& sim, double seconds)
{
    double from = sim.demoTime;
    double to = from + seconds;
    if (Passes(from, to, DEMO_FAILURE))
        FailMains(sim.model);
    if (Passes(from, to, DEMO_RESTORE))
        RestoreMains(sim.model);
    sim.demoTime = fmod(to, DEMO_ROUND);
    sim.model.loadDrift = 4.0 * sin(to / 5.0);
    sim.model.voltsDrift = 2.5 * sin(to / 7.0);
}

} // namespace

void AdvanceSim(UpsSim& sim, double seconds)
{
    static constexpr double DEMO_STEP = 1.0;
    if (sim.frozen)
        return;
    seconds *= sim.speed;
    while (sim.demo && seconds > DEMO_STEP) {
        StepDemo(sim, DEMO_STEP);
        StepModel(sim.model, DEMO_STEP);
        seconds -= DEMO_STEP;
    }
    if (sim.demo)
        StepDemo(sim, seconds);
    StepModel(sim.model, seconds);
}

void LogDatagram(UpsSim& sim, const std::string& line)
{
    sim.log.push_back(line);
    if (sim.log.size() > LOG_LINES)
        sim.log.pop_front();
}

UpsValue CurrentValue(const UpsSim& sim, int object)
{
    const UpsFault& fault = sim.faults.object[object];
    return fault.overridden ? fault.value : ModelValue(sim.model, object);
}
