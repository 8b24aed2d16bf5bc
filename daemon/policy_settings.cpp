#include "daemon/policy_settings.h"

#include <algorithm>

namespace {

constexpr int64_t MILLISECONDS_PER_MINUTE = 60000;

// The ranges that the settings editor keeps to, in minutes.
constexpr int AC_FAIL_DELAY_MOST = 1440;
constexpr int BATT_LOW_DELAY_MOST = 10;
constexpr float OFF_DELAY_LEAST = 0.2F;
constexpr float OFF_DELAY_MOST = 10.0F;
constexpr float OFF_DELAY_DEFAULT = 3.0F;

int64_t TakeDelay(int minutes, int most)
{
    return std::clamp(minutes, 1, most) * MILLISECONDS_PER_MINUTE;
}

float TakeOffDelay(float minutes)
{
    if (!(minutes > 0.0F)) // also for what is not a number
        return OFF_DELAY_DEFAULT;
    return std::clamp(minutes, OFF_DELAY_LEAST, OFF_DELAY_MOST);
}

bool NoClockShows(int hour, int minute)
{
    return hour != -1 && (hour < 0 || hour > 23 || minute < 0 || minute > 59);
}

// Takes out the times that no clock shows; whether there were any.
bool CleanSchedule(ScheduleEntry sched[7])
{
    bool isBad = false;
    for (int day = 0; day < 7; day++) {
        ScheduleEntry& entry = sched[day];
        if (NoClockShows(entry.startHour, entry.startMinute)) {
            entry.startHour = -1;
            isBad = true;
        }
        if (NoClockShows(entry.shutdownHour, entry.shutdownMinute)) {
            entry.shutdownHour = -1;
            isBad = true;
        }
    }
    return isBad;
}

} // namespace

int MakePolicySettings(const PowerConfig& cfg, const ScheduleEntry sched[7],
                       PolicySettings& settings)
{
    settings.acFailDelay = TakeDelay(cfg.acFailDelay, AC_FAIL_DELAY_MOST);
    settings.battLowDelay = TakeDelay(cfg.battLowDelay, BATT_LOW_DELAY_MOST);
    settings.offDelay = TakeOffDelay(cfg.upsOffDelay);
    settings.isDamaged = cfg.commMode != COMM_SERIAL && cfg.commMode != COMM_SNMP;
    settings.isScheduleOn = cfg.scheduleOn == 1 && !settings.isDamaged;
    settings.tellsUsers = cfg.countdownOn == 1;
    settings.turnsUpsOff = cfg.turnOffUps == 1;
    std::copy_n(sched, 7, settings.schedule);

    int bad = 0;
    if (settings.acFailDelay != cfg.acFailDelay * MILLISECONDS_PER_MINUTE)
        bad |= BAD_AC_FAIL_DELAY;
    if (settings.battLowDelay != cfg.battLowDelay * MILLISECONDS_PER_MINUTE)
        bad |= BAD_BATT_LOW_DELAY;
    if (!(settings.offDelay == cfg.upsOffDelay))
        bad |= BAD_OFF_DELAY;
    if (CleanSchedule(settings.schedule))
        bad |= BAD_SCHEDULE;
    return bad;
}
