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

bool IsOutputOn(const UpsModel& model)
{
    return model.offReason == OffReason::NONE;
}

bool IsOnBattery(const UpsModel& model)
{
    return IsOutputOn(model) &&
           (!model.mains || model.failureSimulated || model.test != UpsTest::NONE);
}

int ChargePercent(const UpsModel& model)
{
    return static_cast<int>(lround(model.charge));
}

bool IsBatteryLow(const UpsModel& model)
{
    return ChargePercent(model) <= LOW_PERCENT;
}

bool IsBoostOrBuck(const UpsModel& model)
{
    return model.mains && IsOutputOn(model) &&
           std::abs(InputVolts(model) - NOMINAL_VOLTS) > VOLTS_TOLERANCE;
}

bool IsShutdownActive(const UpsModel& model)
{
    return model.pending != PendingAction::NONE ||
           (!IsOutputOn(model) && model.offReason != OffReason::EXHAUSTED);
}

int LoadPercent(const UpsModel& model)
{
    return IsOutputOn(model) ? static_cast<int>(lround(model.load + model.loadDrift)) : 0;
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
    return IsOutputOn(model) ? NOMINAL_VOLTS : 0.0;
}

double OutputHertz(const UpsModel& model)
{
    return IsOutputOn(model) ? NOMINAL_HERTZ : 0.0;
}

double BatteryVolts(const UpsModel& model)
{
    return EMPTY_VOLTS + (FULL_VOLTS - EMPTY_VOLTS) * model.charge / 100.0;
}

int OutputStatus(const UpsModel& model)
{
    if (!IsOutputOn(model))
        return 5;
    return IsOnBattery(model) ? 3 : 2;
}

int BatteryStatus(const UpsModel& model)
{
    return IsBatteryLow(model) ? 3 : 2;
}

void StartTest(UpsModel& model, UpsTest test, double seconds)
{
    if (!IsOutputOn(model))
        return;
    model.test = test;
    model.testLeft = seconds;
}

void EndTest(UpsModel& model)
{
    model.test = UpsTest::NONE;
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
    model.offReason = OffReason::NONE;
    model.offLeft = 0.0;
}

void Discharge(UpsModel& model, double seconds)
{
    model.timeOnBattery += seconds;
    double load = std::max(model.load, LEAST_LOAD);
    model.charge = std::max(0.0, model.charge - load * DRAIN_PER_LOAD * seconds);
    // With the mains there a test gives up at a low battery; only a real failure empties it.
    if (model.mains && IsBatteryLow(model))
        EndTest(model);
    else if (model.charge <= 0.0)
        SwitchOff(model, OffReason::EXHAUSTED, 0.0);
}

void StepBattery(UpsModel& model, double seconds)
{
    if (IsOnBattery(model)) {
        Discharge(model, seconds);
        return;
    }
    if (IsOutputOn(model))
        model.timeOnBattery = 0.0;
    if (model.mains)
        model.charge = std::min(100.0, model.charge + CHARGE_PER_SECOND * seconds);
}

void TakeEffect(UpsModel& model, PendingAction action)
{
    static constexpr double REBOOT_SECONDS = 5.0;
    switch (action) {
    case PendingAction::OFF:
        return SwitchOff(model, OffReason::COMMAND, 0.0);
    case PendingAction::REBOOT:
        return SwitchOff(model, OffReason::REBOOTING, REBOOT_SECONDS);
    case PendingAction::SLEEP:
        return SwitchOff(model, OffReason::SLEEPING, model.pendingSleep);
    case PendingAction::CONSERVE:
        if (IsOnBattery(model)) // with the mains back there is nothing to save
            SwitchOff(model, OffReason::CONSERVING, 0.0);
        return;
    case PendingAction::NONE:
        return;
    }
}

void StepPending(UpsModel& model, double seconds)
{
    if (model.pending == PendingAction::NONE || (model.pendingLeft -= seconds) > 0.0)
        return;
    TakeEffect(model, model.pending);
    Schedule(model, PendingAction::NONE, 0.0, 0.0);
}

bool WakesBySelf(OffReason reason)
{
    return reason == OffReason::SLEEPING || reason == OffReason::REBOOTING ||
           reason == OffReason::EXHAUSTED;
}

void StepOutput(UpsModel& model, double seconds)
{
    if (IsOutputOn(model))
        return;
    model.offLeft = std::max(0.0, model.offLeft - seconds);
    if (WakesBySelf(model.offReason) && model.offLeft <= 0.0 && model.mains)
        SwitchOn(model);
}

void StepTest(UpsModel& model, double seconds)
{
    if (model.test != UpsTest::SELF_TEST && model.test != UpsTest::TIMED)
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
    Schedule(model, PendingAction::NONE, 0.0, 0.0);
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
    Schedule(model, PendingAction::NONE, 0.0, 0.0);
    model.timeOnBattery = 0.0;
}
