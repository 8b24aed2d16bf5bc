// What the daemon decides, whatever the UPS, the clocks and the settings do. Each letter of an
// input is one round or one deed, some with numbers behind them:
//     g f l b  good mains, failed ones, failed and battery low, good and battery low
//     s x n    silence, the UPS is lost, there is none
//     0 to 9   how long the rounds after it take, see PAUSES
//     z        the machine sleeps in the next round
//     S W C    other settings, another time of the week, another time of day
//     R u      the daemon ends, and the next one begins with what is kept; another UPS is watched
#include "daemon/policy.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "tests/unit/support/policy_lived.h"

namespace {

constexpr int PAUSES[] = {0, 250, 1000, 2500, 5000, 5001, 60000, 300000, 300001, 4000000};
constexpr time_t LATEST_CLOCK = 9223372036; // the kernel holds no later one
constexpr int64_t GRACE = 300;              // seconds in which a scheduled time is obeyed
constexpr size_t MOST_DEEDS = 2000;

// What was seen, apart from the policy.
struct Seen {
    bool hasOutage;      // the mains failed, and were not declared good since
    int64_t failedSince; // earliest moment that an outage can have begun
    int64_t knownSince;  // of failed mains, no good ones and nothing unwatched since; or NEVER
    int64_t goodSince;   // of good mains, and no failed ones since; or NEVER
};

PolicyBench bench;
Seen seen;
int length; // of the rounds, the index into PAUSES
bool isSlept;

void CheckActions()
{
    Require(bench.actions.count >= 0 && bench.actions.count <= POLICY_ACTIONS, "actions fit");
    for (int i = 0; i < bench.actions.count; i++) {
        const PolicyAction& action = bench.actions.list[i];
        Require(action.what >= POLICY_OUTAGE && action.what <= POLICY_RETURN_CUT,
                "actions are known");
        if (action.what == POLICY_COUNTDOWN)
            Require(action.number >= 0, "a countdown has not passed its end");
        if (action.what == POLICY_MAINS_BACK)
            Require(seen.goodSince != NEVER && bench.now - seen.goodSince >= 10000,
                    "an outage ends with ten seconds of good mains");
        if (action.what == POLICY_MAINS_BACK || action.what == POLICY_OUTAGE_FORGOTTEN)
            seen.hasOutage = false;
    }
}

void CheckOrder()
{
    const PolicyOrder& order = bench.state.order;
    Require(order.offDelay >= 0.2F && order.offDelay <= 10.0F, "the UPS turns off in time");
    Require(order.restartMinutes >= 0 && order.restartMinutes <= 9999, "the UPS knows the return");
    Require(order.tellUps || order.restartMinutes == 0, "who is not told does not return");
    if (order.cause == CAUSE_OUTAGE) {
        Require(seen.hasOutage, "nothing is shut down while the mains are good");
        Require(bench.now - seen.failedSince >= 60000, "nothing is shut down within a minute");
        return;
    }
    Settings settings = {bench.cfg, {}};
    std::copy_n(bench.sched, 7, settings.week.days);
    bool isMeant = false;
    for (time_t at = bench.wall - GRACE; at <= bench.wall && !isMeant; at++)
        isMeant = IsScheduled(at, settings);
    Require(isMeant, "only what the schedule holds shuts down by it");
}

void CheckStatus()
{
    int status = PolicyStatus(bench.state);
    bool hasOutage = bench.state.kept.outageSince != NEVER;
    Require(status >= 0 && status <= 3, "a script understands the status");
    Require(!hasOutage || status >= 2, "an outage shows in the status");
    Require(hasOutage || !seen.hasOutage || bench.state.isLost || status != 0 || !bench.HasBegun(),
            "what was seen counts");
    Require((OutageDue(bench.state) == NEVER) == !hasOutage, "an outage has its end");
}

void NoteWord(Ups ups)
{
    bool isUnwatched = bench.slept > 5000 || PAUSES[length] > 300000;
    if (IsGood(ups) || isUnwatched)
        seen.knownSince = NEVER;
    if (IsGood(ups) && seen.goodSince == NEVER)
        seen.goodSince = bench.now;
    if (!IsFailed(ups))
        return;
    seen.goodSince = NEVER;
    if (seen.knownSince == NEVER)
        seen.knownSince = bench.now;
    if (!seen.hasOutage)
        seen.failedSince = bench.now;
    seen.hasOutage = true;
}

void CheckInTime()
{
    if (seen.knownSince != NEVER && bench.now - seen.knownSince >= bench.state.settings.acFailDelay)
        Require(bench.HasBegun(), "the machine is shut down in time");
}

void Round(Ups ups)
{
    bool hadBegun = bench.HasBegun();
    bench.Pass(static_cast<double>(PAUSES[length]) / 1000.0);
    bench.slept = isSlept ? PAUSES[length] : 0;
    isSlept = false;
    NoteWord(ups);
    bench.Ask(ups);
    CheckActions();
    CheckStatus();
    CheckInTime();
    Require(!hadBegun || bench.actions.count == 0, "nothing comes out behind the order");
    if (bench.HasBegun() && !hadBegun)
        CheckOrder();
}

void ChangeSettings(Input& input)
{
    bench.cfg.acFailDelay = TakeNumber<int16_t>(input);
    bench.cfg.battLowDelay = TakeNumber<int16_t>(input);
    bench.cfg.upsOffDelay = TakeNumber<float>(input);
    int switches = TakeByte(input);
    bench.cfg.scheduleOn = static_cast<int16_t>(switches & 3);
    bench.cfg.countdownOn = static_cast<int16_t>(switches >> 2 & 3);
    bench.cfg.turnOffUps = switches >> 4 & 3;
    bench.cfg.commMode = switches >> 6;
    bench.Change();
    CheckActions();
}

void ChangeWeek(Input& input)
{
    ScheduleEntry& entry = bench.sched[TakeByte(input) % 7];
    entry = {TakeNumber<int16_t>(input), TakeNumber<int16_t>(input), TakeNumber<int16_t>(input),
             TakeNumber<int16_t>(input)};
    bench.Change();
    CheckActions();
}

void ChangeClock(Input& input)
{
    bench.wall = static_cast<time_t>(TakeNumber<uint64_t>(input) % uint64_t{LATEST_CLOCK});
}

void Restart()
{
    if (bench.HasBegun())
        return;
    bench.Start(bench.state.kept);
    seen.knownSince = NEVER;
    CheckActions();
    Require(seen.hasOutage || bench.state.kept.outageSince == NEVER,
            "no outage comes from nowhere");
}

void Do(char deed, Input& input)
{
    constexpr std::string_view WORDS = "gflbsxn";
    constexpr Ups MEANT[] = {Ups::good,   Ups::failed, Ups::low, Ups::goodLow,
                             Ups::silent, Ups::lost,   Ups::none};
    if (size_t word = WORDS.find(deed); word != std::string_view::npos)
        Round(MEANT[word]);
    else if (deed >= '0' && deed <= '9')
        length = deed - '0';
    else if (deed == 'z')
        isSlept = true;
    else if (deed == 'S')
        ChangeSettings(input);
    else if (deed == 'W')
        ChangeWeek(input);
    else if (deed == 'C')
        ChangeClock(input);
    else if (deed == 'R')
        Restart();
    else if (deed == 'u')
        ForgetUps(bench.state);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    UseZone(BERLIN);
    bench = {};
    seen = {false, 0, NEVER, NEVER};
    length = 2;
    isSlept = false;
    bench.Start();
    Input input = MakeInput(bytes, size);
    for (size_t deeds = 0; deeds < MOST_DEEDS && !IsUsedUp(input); deeds++)
        Do(static_cast<char>(TakeByte(input)), input);
    return 0;
}
