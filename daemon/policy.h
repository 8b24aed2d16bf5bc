// What is done with what the UPS says: when the system is shut down, what users and
// scripts are told, what the UPS is ordered. A state machine without a clock, file or
// socket of its own: readings, settings and both times go in, actions come out.
//
// Moments are milliseconds of a clock that counts suspension and never goes back
// (CLOCK_BOOTTIME), NEVER where there is none. The time of day serves the schedule alone.
#pragma once

#include "daemon/policy_schedule.h"
#include "daemon/policy_settings.h"

#include <cstdint>
#include <ctime>

inline constexpr int64_t NEVER = -1;

// What the daemon's source knows of its UPS. The source decides when a UPS is lost (five
// seconds without a good reply on a serial line, the input voltage failed twice running on
// an agent); it counts only what it asked itself, never the time of a suspension. The
// policy adds one rule: 20 seconds without a reading is lost too, whatever the source says.
enum UpsLink {
    LINK_NONE,    // there is no UPS to ask
    LINK_UNKNOWN, // the settings that may name one have been refused so far
    LINK_HEARD,   // it answers, or there was no time yet to tell
    LINK_LOST
};

// Whether the mains are good is known, or it is no reading. A source asks for both states first
// in a round, so that readings are not far apart.
struct PolicyReading {
    bool mainsFailed;
    bool batteryLow; // false also where the UPS does not say
};

struct PolicyInput {
    int64_t now;                  // the moment
    int64_t slept;                // milliseconds since the last call in which the machine slept
    time_t wall;                  // the time of day, seconds since the epoch
    UpsLink link;                 // after the reading below
    const PolicyReading* reading; // a new one, each given once; null in between
};

// What outlives the daemon: to be stored whenever it changes, the last look alone once in a
// while, and given back at the next start, within the same boot of the machine only.
struct PolicyKept {
    int64_t outageSince; // first reading of the outage, NEVER without one
    int64_t lowSince;    // first low battery in it, NEVER before that
    int64_t lookedAt;    // the UPS was looked at last in it, NEVER without one
};

inline constexpr PolicyKept NOTHING_KEPT = {NEVER, NEVER, NEVER};

enum PolicyCause { CAUSE_NONE, CAUSE_OUTAGE, CAUSE_SCHEDULE };

// Everything that comes out. The number of an action is 0 where none is named.
enum PolicyWhat {
    // These are events of the same name for scripts.
    POLICY_OUTAGE,      // an outage begins
    POLICY_MAINS_BACK,  // it is over
    POLICY_BATTERY_LOW, // for the first time in it
    POLICY_UPS_LOST,    // a warning; cause OUTAGE: its delays go on
    POLICY_UPS_BACK,
    POLICY_SETTINGS, // new settings are obeyed
    POLICY_SHUTDOWN, // announced: state.order is to be carried out
    // These are for the log, and where announced for users.
    POLICY_OUTAGE_GOES_ON,       // it was doubted after nobody had watched, and is confirmed
    POLICY_OUTAGE_FORGOTTEN,     // it was doubted, and there is no UPS now that could confirm it
    POLICY_BATTERY_LOW_ON_MAINS, // a warning
    POLICY_BAD_SETTING,          // not obeyed as it stands: number is its BAD_ value
    POLICY_COUNTDOWN,            // announced: shutdown by the cause, number is the seconds left
    POLICY_CALLED_OFF,           // announced: no shutdown by the cause
    POLICY_SCHEDULE_MISSED,      // first seen too late to obey: number is the seconds it is past
    POLICY_RETURN_CUT            // the return of the order was cut: number is the uncut minutes
};

struct PolicyAction {
    PolicyWhat what;
    PolicyCause cause;
    int number;
    bool tellUsers; // an announcement, and the countdown is switched on
};

inline constexpr int POLICY_ACTIONS = 16; // more than one call can give

struct PolicyActions {
    int count;
    PolicyAction list[POLICY_ACTIONS];
};

// How the system is shut down.
struct PolicyOrder {
    PolicyCause cause;  // NONE until the shutdown begins
    bool tellUps;       // it is to turn off
    float offDelay;     // in so many minutes, 0.2 to 10
    int restartMinutes; // and to come back so many minutes later, 1 to 9999; 0 = never
};

// One running announcement.
struct PolicyCountdown {
    bool isRunning;
    int64_t target; // what it runs down to: a moment (outage) or a time of day (schedule)
    int64_t left;   // milliseconds at the last call
};

// To be read by the daemon (status, files), changed by the functions below only.
struct PolicyState {
    PolicySettings settings;
    PolicyKept kept;
    bool isDoubted;    // the outage is to be confirmed before it shuts anything down
    int64_t goodSince; // first reading of good mains in the outage, without a break since
    int64_t silence;   // milliseconds watched since the last reading
    int64_t calledAt;  // moment of the last call
    int64_t lowAt;     // last low reading on good mains
    bool isLost;
    bool isKnown; // the last reading below holds
    PolicyReading last;
    ScheduledShutdown scheduled; // the coming one; at is -1 without any
    PolicyCountdown outageCountdown;
    PolicyCountdown scheduleCountdown;
    PolicyOrder order;
};

// Sets everything up. kept is what the last daemon of this boot left, or NOTHING_KEPT; what
// cannot be true is dropped. A kept outage is doubted: its shutdown waits until a reading
// confirms the outage, or five seconds of a lost UPS do. When nobody has looked at the UPS for
// more than five minutes, by then or in a sleep, a reading alone does: the mains may be good
// since long ago, and a cable be loose now.
void StartPolicy(PolicyState& state, const PowerConfig& cfg, const ScheduleEntry sched[7],
                 const PolicyKept& kept, int64_t now, PolicyActions& actions);

// Takes over new settings without resetting what runs. They count from the next StepPolicy,
// which is to follow at once. Of damaged ones only that is taken over: the old ones stay, but
// for the schedule, and so does an outage that is doubted.
void ChangePolicySettings(PolicyState& state, const PowerConfig& cfg, const ScheduleEntry sched[7],
                          PolicyActions& actions);

// From here on another UPS is watched: what the last one said, or did not say, is no word of it.
// An outage goes on.
void ForgetUps(PolicyState& state);

// One round: to be called with every reading, and every second without one. After a sleep of
// more than five seconds, or five minutes without a call for any reason, an outage is doubted as
// at a start. Time in which the daemon alone was held up counts like any other.
// Once the order is given nothing more comes out.
void StepPolicy(PolicyState& state, const PolicyInput& input, PolicyActions& actions);

// When the running outage shuts the system down, NEVER without one.
int64_t OutageDue(const PolicyState& state);

// The exit status of a script's question: 0 mains good, 1 not known, 2 an outage, 3 battery
// low or the shutdown has begun.
int PolicyStatus(const PolicyState& state);

// The event that scripts get for an action, null for none. "start" and "stop" are the
// daemon's own.
const char* PolicyEvent(PolicyWhat what);
