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
    bool sleeps = action == PendingAction::SLEEP;
    Schedule(model, action, written(UpsCommand::OFF_DELAY),
             sleeps ? 60.0 * written(UpsCommand::SLEEP_MINUTES) : 0.0);
}

void Cancel(UpsModel& model)
{
    EndTest(model);
    CancelShutdown(model);
}

void Act(UpsModel& model, UpsCommand command)
{
    switch (command) {
    case UpsCommand::CONSERVE:
        return ScheduleWritten(model, PendingAction::CONSERVE);
    case UpsCommand::OFF:
        return ScheduleWritten(model, PendingAction::OFF);
    case UpsCommand::REBOOT:
        return ScheduleWritten(model, PendingAction::REBOOT);
    case UpsCommand::SLEEP:
        return ScheduleWritten(model, PendingAction::SLEEP);
    case UpsCommand::SIMULATE_FAILURE:
        model.failureSimulated = IsOutputOn(model);
        return;
    case UpsCommand::FLASH:
        model.flashLeft = model.beepLeft = SIGNAL_SECONDS;
        return;
    case UpsCommand::CANCEL:
        return Cancel(model);
    case UpsCommand::SELF_TEST:
        return StartTest(model, UpsTest::SELF_TEST, SELF_TEST_SECONDS);
    case UpsCommand::LAMP_TEST:
        model.lampLeft = SIGNAL_SECONDS;
        return;
    case UpsCommand::CALIBRATE:
        return StartTest(model, UpsTest::CALIBRATION, 0.0);
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
