#include "sim/model/ups_state.h"

#include <cstdio>

namespace {

constexpr const char* TEST_NAMES[] = {"none", "self-test", "until-low", "timed", "calibration"};
constexpr const char* PENDING_NAMES[] = {"none", "off", "sleep", "conserve", "reboot"};
constexpr const char* OFF_NAMES[] = {"none",       "command",   "sleeping",
                                     "conserving", "rebooting", "exhausted"};

// True when a table has a name for each enumerator up to the last one.
template <size_t count, typename Enum>
constexpr bool IsNamedUpTo(const char* const (&)[count], Enum last)
{
    return count == static_cast<size_t>(last) + 1;
}
static_assert(IsNamedUpTo(TEST_NAMES, UpsTest::CALIBRATION) &&
              IsNamedUpTo(PENDING_NAMES, PendingAction::REBOOT) &&
              IsNamedUpTo(OFF_NAMES, OffReason::EXHAUSTED));

void Number(std::string& text, const char* key, double value, int decimals)
{
    char line[80];
    snprintf(line, sizeof(line), "  %s %.*f\n", key, decimals, value);
    text += line;
}

void Flag(std::string& text, const char* key, bool set)
{
    text += std::string("  ") + key + (set ? " on\n" : " off\n");
}

void Word(std::string& text, const char* key, const char* word)
{
    text += std::string("  ") + key + " " + word + "\n";
}

void DescribeReadings(const UpsModel& model, std::string& text)
{
    Number(text, "input", InputVolts(model), 1);
    Number(text, "fault", model.faultVolts, 1);
    Number(text, "output", OutputVolts(model), 1);
    Number(text, "load", LoadPercent(model), 0);
    Number(text, "charge", ChargePercent(model), 0);
    Number(text, "battery_voltage", BatteryVolts(model), 1);
    Number(text, "temperature", model.temperature, 1);
    Number(text, "input_frequency", InputHertz(model), 1);
    Number(text, "output_frequency", OutputHertz(model), 1);
    Number(text, "time_on_battery", static_cast<int>(model.timeOnBattery), 0);
    Number(text, "output_status", OutputStatus(model), 0);
    Number(text, "battery_status", BatteryStatus(model), 0);
}

void DescribeFlags(const UpsModel& model, std::string& text)
{
    bool sleeping =
        model.offReason == OffReason::SLEEPING || model.offReason == OffReason::CONSERVING;
    Flag(text, "mains", model.mains);
    Flag(text, "output_on", IsOutputOn(model));
    Flag(text, "sleeping", sleeping);
    Flag(text, "shutdown_active", IsShutdownActive(model));
    Flag(text, "boost_buck", IsBoostOrBuck(model));
    Flag(text, "failed", model.failed);
    Flag(text, "standby", model.standby);
    Word(text, "test", TEST_NAMES[static_cast<int>(model.test)]);
    Flag(text, "failure_simulated", model.failureSimulated);
    Flag(text, "flashing", model.flashLeft > 0.0);
    Flag(text, "beeping", model.beepLeft > 0.0);
    Flag(text, "indicator_test", model.lampLeft > 0.0);
}

// What will happen to the output, and why it is off; the times are seconds from now.
void DescribeOutput(const UpsModel& model, std::string& text)
{
    Word(text, "pending", PENDING_NAMES[static_cast<int>(model.pending)]);
    Number(text, "pending_left", model.pendingLeft, 0);
    Number(text, "pending_sleep", model.pendingSleep, 0);
    Word(text, "off_reason", OFF_NAMES[static_cast<int>(model.offReason)]);
    Number(text, "off_left", model.offLeft, 0);
}

} // namespace

std::string DescribeState(const UpsSim& sim)
{
    std::string text;
    DescribeReadings(sim.model, text);
    DescribeFlags(sim.model, text);
    DescribeOutput(sim.model, text);
    Number(text, "speed", sim.speed, 3);
    Flag(text, "frozen", sim.frozen);
    Word(text, "scenario", ScenarioName(sim.scenario));
    return text;
}
