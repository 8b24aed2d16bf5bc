#include "daemon/policy.h"

#include <algorithm>
#include <climits>

namespace {

constexpr int64_t SECOND = 1000;
constexpr int64_t MINUTE = 60 * SECOND;

constexpr int64_t GOOD_MAINS = 10 * SECOND;      // end an outage
constexpr int64_t LOW_FORGOTTEN = 10 * SECOND;   // until a low battery is worth a warning again
constexpr int64_t WATCH_GAP = 5 * SECOND;        // between two calls: nobody watched
constexpr int64_t MOST_OF_ONE_CALL = 5 * SECOND; // that counts as silence
constexpr int64_t LOST_CONFIRMS = 5 * SECOND;    // silence that confirms a doubted outage
constexpr int64_t TOO_LONG_AGO = 5 * MINUTE;     // the last look: silence confirms nothing more
constexpr int64_t SILENT_IS_LOST = 20 * SECOND;  // whatever the source says
constexpr time_t SCHEDULE_GRACE = 300;           // seconds: a time further past was never meant

constexpr int RESTART_AFTER_OUTAGE = 3; // minutes: a UPS whose mains are back must not stay off
constexpr int RESTART_MOST = 9999;      // minutes, all that the order to the UPS holds

// By PolicyWhat.
constexpr const char* EVENTS[] = {"outage",   "mains-back", "battery-low", "ups-lost",
                                  "ups-back", "settings",   "shutdown"};
static_assert(sizeof(EVENTS) / sizeof(EVENTS[0]) == POLICY_SHUTDOWN + 1);

void AddAction(PolicyActions& actions, PolicyWhat what, PolicyCause cause = CAUSE_NONE,
               int64_t number = 0, bool tellUsers = false)
{
    int cut = static_cast<int>(std::min<int64_t>(number, INT_MAX));
    if (actions.count < POLICY_ACTIONS)
        actions.list[actions.count++] = {what, cause, cut, tellUsers};
}

bool HasOutage(const PolicyState& state)
{
    return state.kept.outageSince != NEVER;
}

// Whether the outage is doubted and only a reading can confirm it.
bool IsLongPast(const PolicyState& state, int64_t now)
{
    return state.isDoubted && now - state.kept.lookedAt > TOO_LONG_AGO;
}

void TakeSettings(PolicyState& state, const PowerConfig& cfg, const ScheduleEntry sched[7],
                  PolicyActions& actions)
{
    int bad = MakePolicySettings(cfg, sched, state.settings);
    for (int setting : {BAD_AC_FAIL_DELAY, BAD_BATT_LOW_DELAY, BAD_OFF_DELAY, BAD_SCHEDULE}) {
        if (bad & setting)
            AddAction(actions, POLICY_BAD_SETTING, CAUSE_NONE, setting);
    }
}

// --- announcements -----------------------------------------------------------------------

// The next time left that is announced: every minute, 30 and 10 seconds.
int64_t MarkBelow(int64_t left)
{
    if (left > MINUTE)
        return (left - 1) / MINUTE * MINUTE;
    if (left > 30 * SECOND)
        return 30 * SECOND;
    return left > 10 * SECOND ? 10 * SECOND : NEVER;
}

// A countdown that is new, runs to another end or was put back speaks at once.
void CountDown(PolicyState& state, PolicyCountdown& countdown, PolicyCause cause, int64_t target,
               int64_t left, PolicyActions& actions)
{
    bool isMark = left <= MarkBelow(countdown.left) || left > countdown.left + SECOND;
    if (!countdown.isRunning || countdown.target != target || isMark)
        AddAction(actions, POLICY_COUNTDOWN, cause, (left + SECOND - 1) / SECOND,
                  state.settings.tellsUsers);
    countdown = {true, target, left};
}

void CallOff(PolicyState& state, PolicyCountdown& countdown, PolicyCause cause,
             PolicyActions& actions)
{
    if (countdown.isRunning)
        AddAction(actions, POLICY_CALLED_OFF, cause, 0, state.settings.tellsUsers);
    countdown.isRunning = false;
}

void CountDownBoth(PolicyState& state, const PolicyInput& input, PolicyActions& actions)
{
    if (HasOutage(state) && !state.isDoubted) {
        int64_t due = OutageDue(state);
        CountDown(state, state.outageCountdown, CAUSE_OUTAGE, due, due - input.now, actions);
    }
    time_t at = state.scheduled.at;
    int64_t left = (at - input.wall) * SECOND;
    if (at != -1 && left <= state.settings.acFailDelay)
        CountDown(state, state.scheduleCountdown, CAUSE_SCHEDULE, at, left, actions);
    else
        CallOff(state, state.scheduleCountdown, CAUSE_SCHEDULE, actions);
}

// --- the outage --------------------------------------------------------------------------

void EndOutage(PolicyState& state, PolicyWhat why, PolicyActions& actions)
{
    state.kept = NOTHING_KEPT;
    state.isDoubted = false;
    AddAction(actions, why);
    CallOff(state, state.outageCountdown, CAUSE_OUTAGE, actions);
}

void ConfirmOutage(PolicyState& state, PolicyActions& actions)
{
    if (state.isDoubted)
        AddAction(actions, POLICY_OUTAGE_GOES_ON, CAUSE_OUTAGE);
    state.isDoubted = false;
}

void TakeFailedMains(PolicyState& state, int64_t now, PolicyActions& actions)
{
    state.goodSince = NEVER;
    ConfirmOutage(state, actions);
    if (HasOutage(state))
        return;
    state.kept.outageSince = now;
    AddAction(actions, POLICY_OUTAGE, CAUSE_OUTAGE);
}

// A shutdown that came due before the mains had been good for ten seconds is not stopped,
// even when both lie behind the same round.
void TakeGoodMains(PolicyState& state, int64_t now, PolicyActions& actions)
{
    if (!HasOutage(state))
        return;
    if (state.goodSince == NEVER)
        state.goodSince = now;
    int64_t overAt = state.goodSince + GOOD_MAINS;
    int64_t due = OutageDue(state);
    bool cameDueFirst = !state.isDoubted && due > state.calledAt && due < overAt;
    if (now >= overAt && !cameDueFirst)
        EndOutage(state, POLICY_MAINS_BACK, actions);
}

void TakeLowBattery(PolicyState& state, int64_t now, PolicyActions& actions)
{
    if (HasOutage(state)) {
        if (state.kept.lowSince != NEVER)
            return;
        state.kept.lowSince = now;
        AddAction(actions, POLICY_BATTERY_LOW, CAUSE_OUTAGE);
        return;
    }
    if (state.lowAt == NEVER || now - state.lowAt > LOW_FORGOTTEN)
        AddAction(actions, POLICY_BATTERY_LOW_ON_MAINS);
    state.lowAt = now;
}

// --- what the UPS says, and its silence --------------------------------------------------

void TakeReading(PolicyState& state, const PolicyReading& reading, int64_t now,
                 PolicyActions& actions)
{
    if (state.isLost)
        AddAction(actions, POLICY_UPS_BACK);
    state.isLost = false;
    state.isKnown = true;
    state.last = reading;
    state.silence = 0;
    if (reading.mainsFailed)
        TakeFailedMains(state, now, actions);
    else
        TakeGoodMains(state, now, actions);
    if (reading.batteryLow)
        TakeLowBattery(state, now, actions);
}

// Nobody watched for a while: mains that were seen good do not count. When the machine slept
// or stood still, an outage may be over long since; a daemon that was only held up, by a disk
// or a device, must not put it off for that.
void NoticeGap(PolicyState& state, const PolicyInput& input)
{
    int64_t gap = input.now - state.calledAt;
    if (gap <= WATCH_GAP)
        return;
    state.goodSince = NEVER;
    if (input.slept <= WATCH_GAP && gap <= TOO_LONG_AGO)
        return;
    if (!state.isDoubted)
        state.silence = 0;
    state.isDoubted = HasOutage(state);
}

// There is no UPS to ask, for good or for now.
bool IsWithoutUps(UpsLink link)
{
    return link == LINK_NONE || link == LINK_UNKNOWN;
}

void TakeNoUps(PolicyState& state, UpsLink link, PolicyActions& actions)
{
    ForgetUps(state);
    if (state.isDoubted && link == LINK_NONE && !state.settings.isDamaged)
        EndOutage(state, POLICY_OUTAGE_FORGOTTEN, actions);
}

// An outage goes on while its UPS is silent, and what was seen of good mains is void.
void TakeSilence(PolicyState& state, const PolicyInput& input, PolicyActions& actions)
{
    // A machine that sleeps asks nothing and hears nothing.
    int64_t awake = input.now - state.calledAt - input.slept;
    state.silence += std::clamp<int64_t>(awake, 0, MOST_OF_ONE_CALL);
    if (input.link != LINK_LOST && state.silence < SILENT_IS_LOST && !state.isLost)
        return;
    bool isLongPast = IsLongPast(state, input.now);
    if (!state.isLost)
        AddAction(actions, POLICY_UPS_LOST,
                  HasOutage(state) && !isLongPast ? CAUSE_OUTAGE : CAUSE_NONE);
    state.isLost = true;
    state.isKnown = false;
    state.goodSince = NEVER;
    if (state.silence >= LOST_CONFIRMS && !isLongPast)
        ConfirmOutage(state, actions);
}

void FollowUps(PolicyState& state, const PolicyInput& input, PolicyActions& actions)
{
    NoticeGap(state, input);
    if (input.reading != nullptr)
        TakeReading(state, *input.reading, input.now, actions);
    else if (IsWithoutUps(input.link))
        TakeNoUps(state, input.link, actions);
    else
        TakeSilence(state, input, actions);
    if (HasOutage(state) && !IsWithoutUps(input.link) && !IsLongPast(state, input.now))
        state.kept.lookedAt = input.now;
}

// --- the schedule ------------------------------------------------------------------------

ScheduledShutdown FindScheduled(const PolicyState& state, time_t from)
{
    if (!state.settings.isScheduleOn)
        return {-1, false, 0};
    return NextScheduled(from, state.settings.schedule, state.settings.offDelay);
}

// Keeps the coming time while it is ahead; whether it has come. Settings and clock may have
// changed since the last call: a time that the schedule does not hold any more is dropped,
// and a clock that was set past several leaves the last one to be obeyed.
bool IsScheduleDue(PolicyState& state, time_t wall, PolicyActions& actions)
{
    ScheduledShutdown& next = state.scheduled;
    if (next.at == -1 || wall < next.at || FindScheduled(state, next.at - 60).at != next.at) {
        next = FindScheduled(state, wall);
        return false;
    }
    time_t late = wall - next.at;
    next = FindScheduled(state, std::max<time_t>(next.at - 60, wall - SCHEDULE_GRACE - 1));
    if (next.at != -1 && next.at <= wall)
        return true;
    AddAction(actions, POLICY_SCHEDULE_MISSED, CAUSE_SCHEDULE, late);
    return false;
}

// --- the shutdown ------------------------------------------------------------------------

// Minutes from the UPS's turning off to its coming back. A scheduled time that comes first
// in an outage keeps the schedule's start: the machine is not wanted before it.
int FindRestart(const PolicyState& state, PolicyCause cause, time_t wall, PolicyActions& actions)
{
    if (cause == CAUSE_OUTAGE)
        return RESTART_AFTER_OUTAGE;
    if (!state.scheduled.hasStart)
        return 0;
    int late = static_cast<int>(wall - state.scheduled.at) / 60;
    int uncut = state.scheduled.restartMinutes - late;
    int minutes = std::clamp(uncut, 1, RESTART_MOST);
    if (minutes != uncut)
        AddAction(actions, POLICY_RETURN_CUT, cause, uncut);
    return minutes;
}

void BeginShutdown(PolicyState& state, PolicyCause cause, const PolicyInput& input,
                   PolicyActions& actions)
{
    bool tellUps = state.settings.turnsUpsOff && !IsWithoutUps(input.link);
    int restartMinutes = tellUps ? FindRestart(state, cause, input.wall, actions) : 0;
    state.order = {cause, tellUps, state.settings.offDelay, restartMinutes};
    AddAction(actions, POLICY_SHUTDOWN, cause, 0, state.settings.tellsUsers);
}

} // namespace

void StartPolicy(PolicyState& state, const PowerConfig& cfg, const ScheduleEntry sched[7],
                 const PolicyKept& kept, int64_t now, PolicyActions& actions)
{
    actions.count = 0;
    state = {};
    state.kept = NOTHING_KEPT;
    if (kept.outageSince >= 0 && kept.outageSince <= now) {
        state.kept = kept;
        if (kept.lowSince < kept.outageSince || kept.lowSince > now)
            state.kept.lowSince = NEVER;
        if (kept.lookedAt < kept.outageSince || kept.lookedAt > now)
            state.kept.lookedAt = kept.outageSince;
    }
    state.isDoubted = HasOutage(state);
    state.outageCountdown = {HasOutage(state), NEVER, NEVER}; // users were told of it
    state.goodSince = NEVER;
    state.lowAt = NEVER;
    state.calledAt = now;
    state.scheduled.at = -1;
    TakeSettings(state, cfg, sched, actions);
}

void ChangePolicySettings(PolicyState& state, const PowerConfig& cfg, const ScheduleEntry sched[7],
                          PolicyActions& actions)
{
    actions.count = 0;
    AddAction(actions, POLICY_SETTINGS);
    PolicySettings before = state.settings;
    TakeSettings(state, cfg, sched, actions);
    if (!state.settings.isDamaged)
        return;
    state.settings = before;
    state.settings.isDamaged = true;
    state.settings.isScheduleOn = false;
}

void ForgetUps(PolicyState& state)
{
    state.isLost = false;
    state.isKnown = false;
    state.goodSince = NEVER;
    state.silence = 0;
}

void StepPolicy(PolicyState& state, const PolicyInput& input, PolicyActions& actions)
{
    actions.count = 0;
    if (state.order.cause != CAUSE_NONE)
        return;
    FollowUps(state, input, actions);
    bool isScheduleDue = IsScheduleDue(state, input.wall, actions);
    state.calledAt = input.now;
    bool isOutageDue = HasOutage(state) && !state.isDoubted && OutageDue(state) <= input.now;
    if (isOutageDue)
        BeginShutdown(state, CAUSE_OUTAGE, input, actions);
    else if (isScheduleDue)
        BeginShutdown(state, CAUSE_SCHEDULE, input, actions);
    else
        CountDownBoth(state, input, actions);
}

int64_t OutageDue(const PolicyState& state)
{
    if (!HasOutage(state))
        return NEVER;
    int64_t due = state.kept.outageSince + state.settings.acFailDelay;
    if (state.kept.lowSince != NEVER)
        due = std::min(due, state.kept.lowSince + state.settings.battLowDelay);
    return due;
}

int PolicyStatus(const PolicyState& state)
{
    bool isLow = state.kept.lowSince != NEVER || (state.isKnown && state.last.batteryLow);
    if (isLow || state.order.cause != CAUSE_NONE)
        return 3;
    if (HasOutage(state))
        return 2;
    return state.isKnown ? 0 : 1;
}

const char* PolicyEvent(PolicyWhat what)
{
    return what <= POLICY_SHUTDOWN ? EVENTS[what] : nullptr;
}
