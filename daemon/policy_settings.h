// The settings as the policy obeys them: whatever the files hold, every value here is one
// that protects the machine and does not take it down without reason.
#pragma once

#include "settings/tolv_lib.h"

#include <cstdint>

// Settings that are not obeyed as they stand; MakePolicySettings gives their sum.
inline constexpr int BAD_AC_FAIL_DELAY = 1;
inline constexpr int BAD_BATT_LOW_DELAY = 2;
inline constexpr int BAD_OFF_DELAY = 4;
inline constexpr int BAD_SCHEDULE = 8;

struct PolicySettings {
    int64_t acFailDelay;       // milliseconds, 1 to 1440 minutes
    int64_t battLowDelay;      // milliseconds, 1 to 10 minutes
    float offDelay;            // minutes, 0.2 to 10
    bool isScheduleOn;         // the weekly schedule shuts down
    bool tellsUsers;           // the countdown goes to every user, not only to the log
    bool turnsUpsOff;          // the UPS is told before the system goes down
    bool isDamaged;            // the communication mode is none: whatever else they say is chance
    ScheduleEntry schedule[7]; // without the times that no clock shows
};

// A delay outside its range becomes the nearest one in it; an off delay that is zero,
// negative or no number becomes three minutes, since a UPS must not go off under a system
// that is still stopping. A time of the schedule that no clock shows is no event. Gives the
// sum of the BAD_ values that apply. Settings whose communication mode is neither serial nor
// SNMP hold no schedule: where that one is wrong others have slipped into strange places.
int MakePolicySettings(const PowerConfig& cfg, const ScheduleEntry sched[7],
                       PolicySettings& settings);
