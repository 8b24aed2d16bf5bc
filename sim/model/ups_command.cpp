#include "sim/model/ups_command.h"

#include <cctype>
#include <cstring>

namespace {

constexpr double SELF_TEST_SECONDS = 10.0;
constexpr double SIGNAL_SECONDS = 10.0; // flashing, beeping, indicator test
constexpr long DO_IT = 2;               // any other value only stays readable

void Schedule(UpsModel& model, PendingAction action)
{
    model.pending = action;
    model.pendingLeft = static_cast<double>(model.written[static_cast<int>(UpsCommand::offDelay)]);
}

void StartTest(UpsModel& model, UpsTest test, double seconds)
{
    if (!OutputOn(model))
        return;
    model.test = test;
    model.testLeft = seconds;
}

void Cancel(UpsModel& model)
{
    EndTest(model);
    model.pending = PendingAction::none;
    model.pendingLeft = 0.0;
    if (!model.mains && model.charge <= 0.0)
        return; // nothing to feed the output from
    model.offReason = OffReason::none;
    model.offLeft = 0.0;
}

void Act(UpsModel& model, UpsCommand command)
{
    switch (command) {
    case UpsCommand::conserve:
        return Schedule(model, PendingAction::conserve);
    case UpsCommand::off:
        return Schedule(model, PendingAction::off);
    case UpsCommand::reboot:
        return Schedule(model, PendingAction::reboot);
    case UpsCommand::sleep:
        return Schedule(model, PendingAction::sleep);
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

namespace {

bool TimedTest(UpsModel& model, const char* digits)
{
    if (strlen(digits) != 2 || !isdigit(static_cast<unsigned char>(digits[0])) ||
        !isdigit(static_cast<unsigned char>(digits[1])))
        return false;
    int minutes = (digits[0] - '0') * 10 + (digits[1] - '0');
    StartTest(model, UpsTest::timed, 60.0 * minutes);
    return true;
}

} // namespace

bool SerialCommand(UpsModel& model, const char* letters)
{
    if (letters[0] == 'c')
        return TimedTest(model, letters + 1);
    if (letters[0] == '\0' || letters[1] != '\0')
        return false;
    switch (letters[0]) {
    case 'a':
        StartTest(model, UpsTest::selfTest, SELF_TEST_SECONDS);
        return true;
    case 'b':
        StartTest(model, UpsTest::untilLow, 0.0);
        return true;
    case 'd':
        Schedule(model, PendingAction::off);
        return true;
    case 'e':
        Cancel(model);
        return true;
    case 'f':
        EndTest(model);
        return true;
    default:
        return false;
    }
}
