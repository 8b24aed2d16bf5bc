#include "sim/model/ups_command.h"

namespace {

constexpr double SIGNAL_SECONDS = 10.0; // flashing, beeping, indicator test
constexpr long DO_IT = 2;               // any other value only stays readable

// The delay is the one written last, and so is the time of a sleep.
void ScheduleWritten(UpsModel& model, PendingAction action)
{
    auto written = [&model](UpsCommand command) {
        return static_cast<double>(model.written[static_cast<int>(command)]);
    };
    bool sleeps = action == PendingAction::sleep;
    Schedule(model, action, written(UpsCommand::offDelay),
             sleeps ? 60.0 * written(UpsCommand::sleepMinutes) : 0.0);
}

void Cancel(UpsModel& model)
{
    EndTest(model);
    CancelShutdown(model);
}

void Act(UpsModel& model, UpsCommand command)
{
    switch (command) {
    case UpsCommand::conserve:
        return ScheduleWritten(model, PendingAction::conserve);
    case UpsCommand::off:
        return ScheduleWritten(model, PendingAction::off);
    case UpsCommand::reboot:
        return ScheduleWritten(model, PendingAction::reboot);
    case UpsCommand::sleep:
        return ScheduleWritten(model, PendingAction::sleep);
    case UpsCommand::simulateFailure:
        model.failureSimulated = OutputOn(model);
        return;
    case UpsCommand::flash:
        model.flashLeft = model.beepLeft = SIGNAL_SECONDS;
        return;
    case UpsCommand::cancel:
        return Cancel(model);
    case UpsCommand::selfTest:
        return StartTest(model, UpsTest::selfTest, SELF_TEST_SECONDS);
    case UpsCommand::lampTest:
        model.lampLeft = SIGNAL_SECONDS;
        return;
    case UpsCommand::calibrate:
        return StartTest(model, UpsTest::calibration, 0.0);
    default:
        return;
    }
}

} // namespace

bool WriteCommand(UpsModel& model, UpsCommand command, long value)
{
    if (value < 0)
        return false;
    model.written[static_cast<int>(command)] = value;
    if (value == DO_IT)
        Act(model, command);
    return true;
}
