// The physics of the simulated UPS: mains, battery, load, output and the commands that act on them.
#pragma once

enum class UpsTest { NONE, SELF_TEST, UNTIL_LOW, TIMED, CALIBRATION };
enum class PendingAction { NONE, OFF, SLEEP, CONSERVE, REBOOT };

// Why the output is off; decides what brings it back.
enum class OffReason { NONE, COMMAND, SLEEPING, CONSERVING, REBOOTING, EXHAUSTED };

enum class UpsCommand {
    OFF_DELAY,
    SLEEP_MINUTES,
    CONSERVE,
    OFF,
    REBOOT,
    SLEEP,
    SIMULATE_FAILURE,
    FLASH,
    CANCEL,
    SELF_TEST,
    LAMP_TEST,
    CALIBRATE,
    COUNT
};

inline constexpr double SELF_TEST_SECONDS = 10.0;
inline constexpr int UPS_COMMAND_COUNT = static_cast<int>(UpsCommand::COUNT);

// All times are model seconds; voltages are volts, frequencies hertz, temperature degrees Celsius.
struct UpsModel {
    bool mains = true;
    double mainsVolts = 230.0;
    double mainsHertz = 50.0;
    double faultVolts = 230.0; // what the line read when the mains last failed
    double load = 35.0;        // percent
    double charge = 100.0;     // percent
    double temperature = 25.0;
    bool failed = false;  // the UPS itself is broken, as it says
    bool standby = false; // an off-line type
    double timeOnBattery = 0.0;
    double voltsDrift = 0.0; // added to the readings by a scenario
    double loadDrift = 0.0;

    bool failureSimulated = false;
    OffReason offReason = OffReason::NONE;
    double offLeft = 0.0; // until a sleep or a reboot ends

    PendingAction pending = PendingAction::NONE;
    double pendingLeft = 0.0;
    double pendingSleep = 0.0; // how long a pending sleep will last

    UpsTest test = UpsTest::NONE;
    double testLeft = 0.0;

    double flashLeft = 0.0;
    double beepLeft = 0.0;
    double lampLeft = 0.0;

    long written[UPS_COMMAND_COUNT] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
};

// Advances the model; a long stretch is cut into short slices.
void StepModel(UpsModel& model, double seconds);

void FailMains(UpsModel& model);
void RestoreMains(UpsModel& model);
void SetCharge(UpsModel& model, double percent);
// Tests of `seconds`, where the kind has a limit; without output there is none.
void StartTest(UpsModel& model, UpsTest test, double seconds);
void EndTest(UpsModel& model); // a simulated power failure counts as one
// What happens to the output in `seconds`, in place of what pended; a sleep is that long.
void Schedule(UpsModel& model, PendingAction action, double seconds, double sleepSeconds);
// Nothing pends any more, and an output that is off comes back if anything can feed it.
void CancelShutdown(UpsModel& model);
// Mains present, battery full, output on, nothing pending or under test.
void Recover(UpsModel& model);

bool IsOutputOn(const UpsModel& model);
bool IsOnBattery(const UpsModel& model);
bool IsBatteryLow(const UpsModel& model);
bool IsBoostOrBuck(const UpsModel& model);    // the mains are there, but too low or too high
bool IsShutdownActive(const UpsModel& model); // pending, or the reason why the output is off
int ChargePercent(const UpsModel& model);
int LoadPercent(const UpsModel& model); // 0 with the output off
double InputVolts(const UpsModel& model);
double InputHertz(const UpsModel& model);
double OutputVolts(const UpsModel& model);
double OutputHertz(const UpsModel& model);
double BatteryVolts(const UpsModel& model);
int OutputStatus(const UpsModel& model);  // 2 on line, 3 on battery, 5 off
int BatteryStatus(const UpsModel& model); // 2 normal, 3 low
