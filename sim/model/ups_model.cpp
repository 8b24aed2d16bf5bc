#include "sim/model/ups_model.h"

#include <algorithm>
#include <cmath>

namespace {

// A battery made for demonstrations: 80 percent in 60 seconds at a load of 35 percent.
constexpr double DRAIN_PER_LOAD = 80.0 / 60.0 / 35.0;
constexpr double LEAST_LOAD = 5.0; // the electronics draw something too
constexpr double CHARGE_PER_SECOND = 2.5;
constexpr double SLICE = 0.25;
constexpr int LOW_PERCENT = 20;
constexpr double EMPTY_VOLTS = 10.5;
constexpr double FULL_VOLTS = 13.6;
constexpr double NOMINAL_VOLTS = 230.0;
constexpr double VOLTS_TOLERANCE = 23.0;
constexpr double NOMINAL_HERTZ = 50.0;

} // namespace

bool OutputOn(const UpsModel& model)
{
    return model.offReason == OffReason::none;
}

bool OnBattery(const UpsModel& model)
{
    return OutputOn(model) &&
           (!model.mains || model.failureSimulated || model.test != UpsTest::none);
}

int ChargePercent(const UpsModel& model)
{
    return static_cast<int>(lround(model.charge));
}

bool BatteryLow(const UpsModel& model)
{
    return ChargePercent(model) <= LOW_PERCENT;
}

bool BoostOrBuck(const UpsModel& model)
{
    return model.mains && OutputOn(model) &&
           std::abs(InputVolts(model) - NOMINAL_VOLTS) > VOLTS_TOLERANCE;
}

bool ShutdownActive(const UpsModel& model)
{
    return model.pending != PendingAction::none ||
           (!OutputOn(model) && model.offReason != OffReason::exhausted);
}

int LoadPercent(const UpsModel& model)
{
    return OutputOn(model) ? static_cast<int>(lround(model.load + model.loadDrift)) : 0;
}

double InputVolts(const UpsModel& model)
{
    return model.mains ? model.mainsVolts + model.voltsDrift : 0.0;
}

double InputHertz(const UpsModel& model)
{
    return model.mains ? model.mainsHertz : 0.0;
}

double OutputVolts(const UpsModel& model)
{
    return OutputOn(model) ? NOMINAL_VOLTS : 0.0;
}

double OutputHertz(const UpsModel& model)
{
    return OutputOn(model) ? NOMINAL_HERTZ : 0.0;
}

double BatteryVolts(const UpsModel& model)
{
    return EMPTY_VOLTS + (FULL_VOLTS - EMPTY_VOLTS) * model.charge / 100.0;
}

int OutputStatus(const UpsModel& model)
{
    if (!OutputOn(model))
        return 5;
    return OnBattery(model) ? 3 : 2;
}

int BatteryStatus(const UpsModel& model)
{
    return BatteryLow(model) ? 3 : 2;
}

void StartTest(UpsModel& model, UpsTest test, double seconds)
{
    if (!OutputOn(model))
        return;
    model.test = test;
    model.testLeft = seconds;
}

void EndTest(UpsModel& model)
{
    model.test = UpsTest::none;
    model.testLeft = 0.0;
    model.failureSimulated = false;
}

void Schedule(UpsModel& model, PendingAction action, double seconds, double sleepSeconds)
{
    model.pending = action;
    model.pendingLeft = seconds;
    model.pendingSleep = sleepSeconds;
}

namespace {

void SwitchOff(UpsModel& model, OffReason reason, double seconds)
{
    EndTest(model);
    model.offReason = reason;
    model.offLeft = seconds;
}

void SwitchOn(UpsModel& model)
{
    model.offReason = OffReason::none;
    model.offLeft = 0.0;
}

void Discharge(UpsModel& model, double seconds)
{
    model.timeOnBattery += seconds;
    double load = std::max(model.load, LEAST_LOAD);
    model.charge = std::max(0.0, model.charge - load * DRAIN_PER_LOAD * seconds);
    // With the mains there a test gives up at a low battery; only a real failure empties it.
    if (model.mains && BatteryLow(model))
        EndTest(model);
    else if (model.charge <= 0.0)
        SwitchOff(model, OffReason::exhausted, 0.0);
}

void StepBattery(UpsModel& model, double seconds)
{
    if (OnBattery(model)) {
        Discharge(model, seconds);
        return;
    }
    if (OutputOn(model))
        model.timeOnBattery = 0.0;
    if (model.mains)
        model.charge = std::min(100.0, model.charge + CHARGE_PER_SECOND * seconds);
}

void TakeEffect(UpsModel& model, PendingAction action)
{
    static constexpr double REBOOT_SECONDS = 5.0;
    switch (action) {
    case PendingAction::off:
        return SwitchOff(model, OffReason::command, 0.0);
    case PendingAction::reboot:
        return SwitchOff(model, OffReason::rebooting, REBOOT_SECONDS);
    case PendingAction::sleep:
        return SwitchOff(model, OffReason::sleeping, model.pendingSleep);
    case PendingAction::conserve:
        if (OnBattery(model)) // with the mains back there is nothing to save
            SwitchOff(model, OffReason::conserving, 0.0);
        return;
    case PendingAction::none:
        return;
    }
}

void StepPending(UpsModel& model, double seconds)
{
    if (model.pending == PendingAction::none || (model.pendingLeft -= seconds) > 0.0)
        return;
    TakeEffect(model, model.pending);
    Schedule(model, PendingAction::none, 0.0, 0.0);
}

bool WakesBySelf(OffReason reason)
{
    return reason == OffReason::sleeping || reason == OffReason::rebooting ||
           reason == OffReason::exhausted;
}

void StepOutput(UpsModel& model, double seconds)
{
    if (OutputOn(model))
        return;
    model.offLeft = std::max(0.0, model.offLeft - seconds);
    if (WakesBySelf(model.offReason) && model.offLeft <= 0.0 && model.mains)
        SwitchOn(model);
}

void StepTest(UpsModel& model, double seconds)
{
    if (model.test != UpsTest::selfTest && model.test != UpsTest::timed)
        return;
    model.testLeft -= seconds;
    if (model.testLeft <= 0.0)
        EndTest(model);
}

void CountDown(double* left, double seconds)
{
    *left = std::max(0.0, *left - seconds);
}

void StepSlice(UpsModel& model, double seconds)
{
    StepPending(model, seconds);
    StepOutput(model, seconds);
    StepBattery(model, seconds);
    StepTest(model, seconds);
    CountDown(&model.flashLeft, seconds);
    CountDown(&model.beepLeft, seconds);
    CountDown(&model.lampLeft, seconds);
}

} // namespace

void StepModel(UpsModel& model, double seconds)
{
    for (double slice = 0.0; seconds > 0.0; seconds -= slice) {
        slice = std::min(seconds, SLICE);
        StepSlice(model, slice);
    }
}

void CancelShutdown(UpsModel& model)
{
    Schedule(model, PendingAction::none, 0.0, 0.0);
    if (model.mains || model.charge > 0.0)
        SwitchOn(model);
}

void FailMains(UpsModel& model)
{
    model.mains = false;
    model.faultVolts = 0.0;
}

void RestoreMains(UpsModel& model)
{
    model.mains = true;
}

void SetCharge(UpsModel& model, double percent)
{
    model.charge = std::clamp(percent, 0.0, 100.0);
}

void Recover(UpsModel& model)
{
    RestoreMains(model);
    SetCharge(model, 100.0);
    EndTest(model);
    SwitchOn(model);
    Schedule(model, PendingAction::none, 0.0, 0.0);
    model.timeOnBattery = 0.0;
}
