#include "sim/model/ups_sim.h"

#include "sim/model/ups_clock.h"

#include <cmath>
#include <cstring>

namespace {

constexpr size_t LOG_LINES = 20000;

constexpr double NEVER = INFINITY;

// When the mains fail and return and when all begins again, in model seconds.
struct ScenarioTimes {
    const char* name;
    double failure;
    double restore;
    double round;
};

constexpr ScenarioTimes SCENARIOS[] = {
    {"none", NEVER, NEVER, NEVER},
    {"demo", 15.0, 82.0, 125.0},
    {"outage", 8.0, NEVER, NEVER},
};
static_assert(std::size(SCENARIOS) == static_cast<size_t>(Scenario::OUTAGE) + 1);

} // namespace

const char* ScenarioName(Scenario scenario)
{
    return SCENARIOS[static_cast<int>(scenario)].name;
}

bool FindScenario(const char* name, Scenario* scenario)
{
    for (Scenario each : {Scenario::NONE, Scenario::DEMO, Scenario::OUTAGE}) {
        if (strcmp(name, ScenarioName(each)) == 0) {
            *scenario = each;
            return true;
        }
    }
    return false;
}

void ResetSim(UpsSim& sim)
{
    Scenario scenario = sim.scenario;
    sim = UpsSim();
    sim.scenario = scenario;
}

namespace {

bool Passes(double from, double to, double mark)
{
    return from < mark && mark <= to;
}

// Acts only as a mark is passed, so that commands given in between keep their effect.
void StepScenario(UpsSim& sim, double seconds)
{
    const ScenarioTimes& times = SCENARIOS[static_cast<int>(sim.scenario)];
    double from = sim.scenarioTime;
    double to = from + seconds;
    if (Passes(from, to, times.failure))
        FailMains(sim.model);
    if (Passes(from, to, times.restore))
        RestoreMains(sim.model);
    sim.scenarioTime = fmod(to, times.round);
    sim.model.loadDrift = 4.0 * sin(to / 5.0);
    sim.model.voltsDrift = 2.5 * sin(to / 7.0);
}

} // namespace

void AdvanceSim(UpsSim& sim, double seconds)
{
    static constexpr double STEP = 1.0;
    if (sim.frozen)
        return;
    seconds *= sim.speed;
    sim.passed += seconds;
    bool moving = sim.scenario != Scenario::NONE;
    while (moving && seconds > STEP) {
        StepScenario(sim, STEP);
        StepModel(sim.model, STEP);
        seconds -= STEP;
    }
    if (moving)
        StepScenario(sim, seconds);
    StepModel(sim.model, seconds);
}

void LogRequest(UpsSim& sim, const std::string& line)
{
    sim.log.push_back({NowMilliseconds(), line});
    if (sim.log.size() > LOG_LINES)
        sim.log.pop_front();
}

UpsValue CurrentValue(const UpsSim& sim, int object)
{
    const UpsFault& fault = sim.faults.object[object];
    return fault.overridden ? fault.value : ModelValue(sim.model, object);
}
