#include "daemon/tell.h"

#include "base/text.h"
#include "daemon/log.h"

namespace {

constexpr size_t DURATION_SIZE = 48;
constexpr int64_t REMINDER_PERIOD = 3600000;

const char* CauseOf(PolicyCause cause)
{
    return cause == CAUSE_SCHEDULE ? "the schedule" : "the power failure";
}

// An agent tells a calibration in the words of a failure.
void LogOutage(const PolicyState& policy, UpsPath path)
{
    if (path == PATH_AGENT)
        WriteLog(LOG_ALERT, "the mains failed: the UPS runs on its battery, or calibrates it "
                            "(for that stop the daemon or use --dry-run first)");
    else
        WriteLog(LOG_ALERT, "the mains failed: the UPS runs on its battery");
    char left[DURATION_SIZE];
    FormatDuration(left, sizeof(left), static_cast<int>(policy.settings.acFailDelay / 1000));
    WriteLog(LOG_ALERT, "the system is shut down %s after the failure", left);
}

void LogCountdown(const PolicyAction& action)
{
    char left[DURATION_SIZE];
    FormatDuration(left, sizeof(left), action.number);
    WriteLog(LOG_WARNING, "shutdown in %s, by %s", left, CauseOf(action.cause));
}

// One line each that has no number to tell.
struct PlainLine {
    PolicyWhat what;
    int priority;
    const char* text;
};

constexpr PlainLine PLAIN_LINES[] = {
    {POLICY_MAINS_BACK, LOG_NOTICE, "the mains are back: the power failure is over"},
    {POLICY_BATTERY_LOW, LOG_ALERT, "the battery is low: the battery-low delay counts"},
    {POLICY_UPS_BACK, LOG_NOTICE, "the UPS answers again"},
    {POLICY_SETTINGS, LOG_NOTICE, "the settings were read again"},
    {POLICY_OUTAGE_GOES_ON, LOG_ALERT,
     "the power failure goes on: its delays count from its begin"},
    {POLICY_OUTAGE_FORGOTTEN, LOG_WARNING,
     "a power failure was under way, and there is no UPS now that could tell of it"},
    {POLICY_BATTERY_LOW_ON_MAINS, LOG_WARNING, "the battery is low although the mains are good"},
};

} // namespace

const char* WordsForBadSetting(int setting)
{
    switch (setting) {
    case BAD_AC_FAIL_DELAY:
        return "the AC failure delay is out of range: the nearest delay in it is obeyed";
    case BAD_BATT_LOW_DELAY:
        return "the battery-low delay is out of range: the nearest delay in it is obeyed";
    case BAD_OFF_DELAY:
        return "the UPS turn-off delay is out of range: one in it is obeyed";
    default:
        return "the schedule holds times that no clock shows: they are left out";
    }
}

void FormatDuration(char* text, size_t size, int seconds)
{
    int minutes = seconds / 60;
    int rest = seconds % 60;
    const char* minuteWord = minutes == 1 ? "minute" : "minutes";
    const char* secondWord = rest == 1 ? "second" : "seconds";
    if (minutes == 0)
        FormatText(text, size, "%d %s", rest, secondWord);
    else if (rest == 0)
        FormatText(text, size, "%d %s", minutes, minuteWord);
    else
        FormatText(text, size, "%d %s %d %s", minutes, minuteWord, rest, secondWord);
}

void LogAction(const PolicyAction& action, const PolicyState& policy, UpsPath path)
{
    for (const PlainLine& line : PLAIN_LINES) {
        if (line.what == action.what)
            WriteLog(line.priority, "%s", line.text);
    }
    switch (action.what) {
    case POLICY_OUTAGE:
        LogOutage(policy, path);
        break;
    case POLICY_UPS_LOST:
        WriteLog(LOG_WARNING, "the UPS does not answer%s",
                 action.cause == CAUSE_OUTAGE ? ": the delays of the power failure go on" : "");
        break;
    case POLICY_SHUTDOWN:
        WriteLog(LOG_EMERG, "the system goes down now, by %s", CauseOf(action.cause));
        break;
    case POLICY_BAD_SETTING:
        WriteLog(LOG_WARNING, "%s", WordsForBadSetting(action.number));
        break;
    case POLICY_COUNTDOWN:
        LogCountdown(action);
        break;
    case POLICY_CALLED_OFF:
        WriteLog(LOG_NOTICE, "no shutdown by %s any more", CauseOf(action.cause));
        break;
    case POLICY_SCHEDULE_MISSED:
        WriteLog(LOG_WARNING, "a scheduled shutdown is %d seconds past: it is left out",
                 action.number);
        break;
    case POLICY_RETURN_CUT:
        WriteLog(LOG_WARNING,
                 "the UPS cannot be told to come back after %d minutes: 9999 at most, "
                 "and 1 at least",
                 action.number);
        break;
    default:
        break;
    }
}

bool WordsForUsers(const PolicyAction& action, const PolicyState& policy, char* words, size_t size)
{
    char left[DURATION_SIZE];
    FormatDuration(left, sizeof(left), action.number);
    const char* why = action.cause == CAUSE_SCHEDULE ? "scheduled" : "power failure";
    switch (action.what) {
    case POLICY_COUNTDOWN:
        FormatText(words, size, "UPS: the system will be shut down in %s (%s).", left, why);
        return true;
    case POLICY_SHUTDOWN:
        FormatText(words, size, "UPS: the system is being shut down NOW (%s).%s", why,
                   policy.order.tellUps ? " The UPS will turn off." : "");
        return true;
    case POLICY_CALLED_OFF:
        FormatText(words, size, "UPS: the shutdown is called off (%s).", why);
        return true;
    default:
        return false;
    }
}

void RemindOfDryRun(Daemon& daemon, int64_t now)
{
    if (!daemon.isDryRun || now < daemon.remindAt)
        return;
    WriteLog(LOG_WARNING, "dry run: nothing is protected");
    daemon.remindAt = now + REMINDER_PERIOD;
}

void LogSource(const Source& source, const PowerConfig& cfg)
{
    switch (source.path) {
    case PATH_SERIAL:
        WriteLog(LOG_NOTICE, "watching the UPS on the serial line %s", cfg.comPort);
        break;
    case PATH_AGENT:
        WriteLog(LOG_NOTICE, "watching the UPS behind the agent %s", cfg.snmpIp);
        break;
    default:
        if (cfg.commMode == COMM_SNMP)
            WriteLog(LOG_WARNING, "the agent's address \"%s\" is none: NOTHING is protected",
                     cfg.snmpIp);
        else
            WriteLog(LOG_WARNING, "there is no UPS in the settings: NOTHING is protected");
        break;
    }
}
