// Random histories of mains, battery, silence, sleep, settings and clocks: the policy against
// what its rules say word by word, looked up in the whole history at every round.
#include "base/system.h"
#include "tests/unit/support/policy_rules.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <tuple>

namespace {

constexpr int HISTORIES = 110000;
constexpr unsigned FIXED_SEED = 20240501;

// --- histories ---------------------------------------------------------------------------

// A generator that is quickly seeded anew for every history.
struct Dice {
    uint64_t state;

    int Below(int end)
    {
        state += 0x9e3779b97f4a7c15;
        uint64_t mixed = (state ^ (state >> 30)) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
        return static_cast<int>((mixed ^ (mixed >> 31)) % static_cast<uint64_t>(end));
    }

    bool OneIn(int many)
    {
        return Below(many) == 0;
    }

    template <size_t count> auto Of(const int (&choices)[count])
    {
        return choices[Below(static_cast<int>(count))];
    }
};

// A time of the week about now, so that it comes while the history lasts.
void SetTimeNear(Dice& dice, time_t wall, Week& week)
{
    tm local = LocalTime(wall + dice.Below(300) - 60);
    ScheduleEntry& entry = week.days[local.tm_wday];
    entry.shutdownHour = local.tm_hour;
    entry.shutdownMinute = local.tm_min;
    if (dice.OneIn(4)) // where clocks skip and repeat
        entry.shutdownHour = 2;
}

Week MakeWeek(Dice& dice, time_t wall)
{
    Week week;
    SetTimeNear(dice, wall, week);
    if (dice.OneIn(3))
        SetTimeNear(dice, wall + DAY, week);
    for (int starts = dice.Below(4); starts > 0; starts--) {
        ScheduleEntry& entry = week.days[dice.Below(7)];
        entry.startHour = 5 + dice.Below(19); // clocks are left alone then
        entry.startMinute = dice.Below(60);
    }
    return week;
}

PowerConfig MakeConfig(Dice& dice)
{
    PowerConfig cfg = {};
    ScheduleEntry none[7];
    InitConfig(cfg, none);
    cfg.acFailDelay = static_cast<int16_t>(dice.Of({1, 1, 2, 3}));
    cfg.battLowDelay = static_cast<int16_t>(dice.Of({1, 1, 2}));
    cfg.upsOffDelay = static_cast<float>(dice.Of({2, 5, 10, 29, 30, 100})) / 10.0F;
    cfg.countdownOn = static_cast<int16_t>(dice.Below(2));
    cfg.scheduleOn = static_cast<int16_t>(dice.Below(2));
    cfg.turnOffUps = dice.Below(2);
    return cfg;
}

// Some histories are lived in the two nights of the year when clocks change.
time_t MakeWall(Dice& dice)
{
    constexpr time_t PUT_FORWARD = 1711846800;
    constexpr time_t PUT_BACK = 1729990800;
    switch (dice.Below(4)) {
    case 0:
        return PUT_FORWARD - 3600 + dice.Below(7200);
    case 1:
        return PUT_BACK - 3600 + dice.Below(7200);
    default:
        return 1714557600 + dice.Below(7 * 86400);
    }
}

Ups MakeWord(Dice& dice, Ups before)
{
    if (!dice.OneIn(4))
        return before;
    constexpr Ups WORDS[] = {Ups::good,   Ups::good,    Ups::good,   Ups::good,   Ups::failed,
                             Ups::failed, Ups::failed,  Ups::failed, Ups::failed, Ups::low,
                             Ups::low,    Ups::goodLow, Ups::silent, Ups::lost,   Ups::lost,
                             Ups::lost,   Ups::none};
    int last = dice.OneIn(4) ? 17 : 16; // no UPS at all is rare
    return WORDS[dice.Below(last)];
}

int MakePause(Dice& dice)
{
    if (dice.OneIn(60))
        return dice.Of({5001, 5250, 8000, 61000, 130000, 299000, 300000, 300001, 4000000});
    return dice.Of({0, 250, 500, 1000, 1000, 1000, 2000, 2500, 3000, 4000, 5000, 5000});
}

// How much of a pause the machine slept; the rest it was held up.
int64_t MakeSleep(Dice& dice, int pause)
{
    if (pause <= 5000)
        return dice.OneIn(20) ? pause : 0;
    return dice.Of({0, std::min(pause, 5000), std::min(pause, 5001), pause, pause});
}

time_t MakeJump(Dice& dice)
{
    if (dice.OneIn(500))
        return dice.Of({86400, -86400, 604800, 86401});
    return dice.Of({-1, 1, 2, -30, 60, -61, 240, 299, 300, 301, 360, -360, 3600, -3600});
}

History MakeHistory(Dice& dice)
{
    History history;
    int64_t now = 50000000 + dice.Below(1000);
    time_t wall = MakeWall(dice);
    history.start = now;
    history.kept = NOTHING_KEPT;
    if (dice.OneIn(4)) {
        history.kept.outageSince = now - dice.Of({0, 1000, 55000, 70000, 5000000});
        if (dice.OneIn(3))
            history.kept.lowSince = (history.kept.outageSince + now) / 2;
        int64_t unwatched = dice.Of({0, 1000, 290000, 299999, 300000, 301000, 4000000});
        history.kept.lookedAt = std::max(history.kept.outageSince, now - unwatched);
    }
    Settings settings = {MakeConfig(dice), MakeWeek(dice, wall)};
    Ups ups = Ups::good;
    int rounds = 10 + dice.Below(51);
    int64_t rest = 0;
    for (int i = 0; i < rounds; i++) {
        int pause = MakePause(dice);
        now += pause;
        wall += (rest + pause) / 1000;
        rest = (rest + pause) % 1000;
        if (dice.OneIn(50) && pause <= 5000)
            settings = {MakeConfig(dice), dice.OneIn(2) ? settings.week : MakeWeek(dice, wall)};
        else if (dice.OneIn(50))
            wall += MakeJump(dice);
        ups = MakeWord(dice, ups);
        history.rounds.push_back({now, MakeSleep(dice, pause), wall, ups, settings});
    }
    return history;
}

// --- the policy --------------------------------------------------------------------------

struct Outcome {
    std::vector<std::vector<PolicyAction>> actions; // of each round
    PolicyOrder order;
};

bool SameSettings(const Settings& one, const Settings& other)
{
    return memcmp(&one, &other, sizeof(one)) == 0;
}

Outcome AskPolicy(const History& history)
{
    PolicyState state;
    PolicyActions actions;
    Outcome outcome = {};
    const Settings* settings = &history.rounds[0].settings;
    StartPolicy(state, settings->cfg, settings->week.days, history.kept, history.start, actions);
    for (const Round& round : history.rounds) {
        if (!SameSettings(round.settings, *settings))
            ChangePolicySettings(state, round.settings.cfg, round.settings.week.days, actions);
        settings = &round.settings;
        PolicyReading reading = {IsFailed(round.ups), IsLow(round.ups)};
        PolicyInput input = {round.now, round.slept, round.wall, LINK_HEARD, nullptr};
        if (HasReading(round.ups))
            input.reading = &reading;
        if (round.ups == Ups::lost)
            input.link = LINK_LOST;
        if (round.ups == Ups::none)
            input.link = LINK_NONE;
        StepPolicy(state, input, actions);
        outcome.actions.emplace_back(actions.list, actions.list + actions.count);
    }
    outcome.order = state.order;
    return outcome;
}

// --- what holds whatever the rules say in detail -------------------------------------------

int FindShutdown(const Outcome& outcome)
{
    for (size_t i = 0; i < outcome.actions.size(); i++) {
        for (const PolicyAction& action : outcome.actions[i]) {
            if (action.what == POLICY_SHUTDOWN)
                return static_cast<int>(i);
        }
    }
    return -1;
}

// Mains failed a minute ago or earlier, and were not good for ten seconds of readings just now.
::testing::AssertionResult HasOutageBehind(const History& history, int down)
{
    bool hadFailed = history.kept.outageSince != NEVER;
    for (int i = 0; i <= down; i++) {
        const Round& round = history.rounds[static_cast<size_t>(i)];
        bool isOld = round.now <= history.rounds[static_cast<size_t>(down)].now - 60000;
        hadFailed = hadFailed || (IsFailed(round.ups) && isOld);
    }
    if (!hadFailed)
        return ::testing::AssertionFailure() << "no outage was behind it";
    int good = down - 1; // the round of the shutdown itself may complete ten seconds
    while (good > 0 && IsGood(history.rounds[static_cast<size_t>(good - 1)].ups) &&
           history.rounds[static_cast<size_t>(good)].now -
                   history.rounds[static_cast<size_t>(good - 1)].now <=
               5000)
        good--;
    if (down > 0 && IsGood(history.rounds[static_cast<size_t>(down - 1)].ups) &&
        history.rounds[static_cast<size_t>(down - 1)].now -
                history.rounds[static_cast<size_t>(good)].now >=
            10000)
        return ::testing::AssertionFailure() << "the mains were good";
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult HasScheduleBehind(const History& history, int down)
{
    const Round& round = history.rounds[static_cast<size_t>(down)];
    for (time_t at = round.wall - 300; at <= round.wall; at++) {
        if (IsScheduled(at, round.settings))
            return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "no scheduled time was behind it";
}

// With a failed reading, none good since and no sleep, however long the daemon was held up, the
// sooner delay brings the system down in its round.
::testing::AssertionResult CameInTime(const History& history, int down)
{
    const Round* begin = nullptr;
    const Round* low = nullptr;
    int64_t before = history.start;
    for (int i = 0; i < static_cast<int>(history.rounds.size()); i++) {
        const Round& round = history.rounds[static_cast<size_t>(i)];
        bool isDoubtful = round.slept > 5000 || round.now - before > 300000;
        if (IsGood(round.ups) || isDoubtful || history.kept.outageSince != NEVER)
            begin = low = nullptr;
        before = round.now;
        if (IsFailed(round.ups) && begin == nullptr)
            begin = &round;
        if (begin != nullptr && IsLow(round.ups) && low == nullptr)
            low = &round;
        bool isDue = (begin != nullptr &&
                      round.now >= begin->now + round.settings.cfg.acFailDelay * int64_t{60000}) ||
                     (low != nullptr &&
                      round.now >= low->now + round.settings.cfg.battLowDelay * int64_t{60000});
        if (isDue && (down == -1 || down > i))
            return ::testing::AssertionFailure() << "it was due in round " << i;
    }
    return ::testing::AssertionSuccess();
}

void CheckInvariants(const History& history, const Outcome& outcome)
{
    int down = FindShutdown(outcome);
    EXPECT_TRUE(CameInTime(history, down));
    if (down == -1)
        return;
    if (outcome.order.cause == CAUSE_OUTAGE)
        EXPECT_TRUE(HasOutageBehind(history, down));
    else
        EXPECT_TRUE(HasScheduleBehind(history, down));
    for (size_t i = static_cast<size_t>(down) + 1; i < outcome.actions.size(); i++)
        EXPECT_TRUE(outcome.actions[i].empty()) << "it is done once";
}

// --- both ----------------------------------------------------------------------------------

std::string SortedText(const std::vector<PolicyAction>& actions)
{
    std::vector<std::string> lines;
    for (const PolicyAction& action : actions)
        lines.push_back(ActionText(action));
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (const std::string& line : lines)
        text += line + "; ";
    return text;
}

bool SameActions(std::vector<PolicyAction> one, std::vector<PolicyAction> other)
{
    auto order = [](const PolicyAction& left, const PolicyAction& right) {
        return std::tie(left.what, left.cause, left.number) <
               std::tie(right.what, right.cause, right.number);
    };
    std::sort(one.begin(), one.end(), order);
    std::sort(other.begin(), other.end(), order);
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](const PolicyAction& left, const PolicyAction& right) {
                          return left.what == right.what && left.cause == right.cause &&
                                 left.number == right.number && left.tellUsers == right.tellUsers;
                      });
}

std::string Transcript(const History& history, size_t end)
{
    static const char* const words[] = {"good",   "failed", "low", "goodLow",
                                        "silent", "lost",   "none"};
    std::ostringstream text;
    text << "kept " << history.kept.outageSince << " " << history.kept.lowSince << " "
         << history.kept.lookedAt << " at " << history.start << "\n";
    for (size_t i = 0; i <= end; i++) {
        const Round& round = history.rounds[i];
        text << i << ": +" << static_cast<double>(round.now - history.start) / 1000.0 << " wall "
             << round.wall << " slept " << round.slept << " " << words[static_cast<int>(round.ups)]
             << ", delays " << round.settings.cfg.acFailDelay << " "
             << round.settings.cfg.battLowDelay << ", schedule (start-shutdown) "
             << round.settings.cfg.scheduleOn;
        for (const ScheduleEntry& entry : round.settings.week.days)
            text << " " << entry.startHour << ":" << entry.startMinute << "-" << entry.shutdownHour
                 << ":" << entry.shutdownMinute;
        text << "\n";
    }
    return text.str();
}

bool Agree(const History& history, const Outcome& outcome)
{
    Rules rules(history);
    for (size_t i = 0; i < history.rounds.size(); i++) {
        std::vector<PolicyAction> wanted = rules.Say(i);
        if (SameActions(wanted, outcome.actions[i]))
            continue;
        ADD_FAILURE() << "round " << i << "\npolicy: " << SortedText(outcome.actions[i])
                      << "\nrules:  " << SortedText(wanted) << "\n"
                      << Transcript(history, i);
        return false;
    }
    const PolicyOrder& order = outcome.order;
    EXPECT_EQ(order.cause, rules.order.cause);
    EXPECT_EQ(order.tellUps, rules.order.tellUps);
    EXPECT_EQ(order.restartMinutes, rules.order.restartMinutes);
    return !::testing::Test::HasFailure();
}

// WARDENLINK_SEED in the environment gives another seed; each history has one of its own.
unsigned ReadSeed()
{
    const char* text = getenv("WARDENLINK_SEED");
    return text == nullptr ? FIXED_SEED : static_cast<unsigned>(strtoul(text, nullptr, 10));
}

TEST(PolicyHistory, AgreesWithItsRulesWordByWord)
{
    UseZone(BERLIN);
    unsigned seed = ReadSeed();
    printf("seed %u\n", seed);
    int byCause[3] = {};
    for (unsigned i = 0; i < HISTORIES; i++) {
        Dice dice = {seed + i};
        History history = MakeHistory(dice);
        Outcome outcome = AskPolicy(history);
        byCause[outcome.order.cause]++;
        CheckInvariants(history, outcome);
        ASSERT_TRUE(Agree(history, outcome)) << "seed " << seed + i;
    }
    printf("%d went on, %d ended by an outage, %d by the schedule\n", byCause[CAUSE_NONE],
           byCause[CAUSE_OUTAGE], byCause[CAUSE_SCHEDULE]);
    for (int count : byCause)
        EXPECT_GT(count, HISTORIES / 20) << "histories that say little";
}

} // namespace
