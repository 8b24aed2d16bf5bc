// The rules of the policy word by word, slow: what is so in a round is looked up in the rounds
// before it. Nothing here is the product's but the names of what comes out.
#pragma once

#include "tests/unit/support/policy_lived.h"

#include <cmath>
#include <optional>
#include <vector>

class Rules {
  public:
    explicit Rules(const History& lived) : history(lived)
    {
    }

    // To be asked for every round in turn: what comes out in it.
    std::vector<PolicyAction> Say(size_t i)
    {
        said.clear();
        round = &history.rounds[i];
        before = i == 0 ? nullptr : &history.rounds[i - 1];
        if (order.cause == CAUSE_NONE)
            SayRound(i);
        return said;
    }

    PolicyOrder order = {CAUSE_NONE, false, 0.0F, 0};

  private:
    // What was so at the end of a round.
    struct Facts {
        bool isLost;
        bool isDoubted;
        std::optional<int64_t> outageSince;
        std::optional<int64_t> lowSince;
        std::optional<int64_t> lookedAt; // at the UPS, the last time in the outage
        std::optional<int64_t> told;     // the time left that the outage's countdown stood at
        std::optional<int64_t> toldDue;  // and its end
        std::optional<int64_t> toldNear; // the same of the schedule's
        std::optional<time_t> toldTime;
    };

    // The facts before the first round are those of the start.
    Facts FactsOf(size_t i) const
    {
        if (i > 0)
            return facts[i - 1];
        Facts first = {};
        if (history.kept.outageSince != NEVER) {
            first.outageSince = history.kept.outageSince;
            first.lookedAt = history.kept.lookedAt;
            first.isDoubted = true;
        }
        if (history.kept.lowSince != NEVER)
            first.lowSince = history.kept.lowSince;
        return first;
    }

    int64_t PauseBefore(size_t i) const
    {
        return history.rounds[i].now - (i == 0 ? history.start : history.rounds[i - 1].now);
    }

    bool NobodyWatchedBefore(size_t i) const
    {
        return PauseBefore(i) > 5000;
    }

    // The machine slept or stood still.
    bool IsDoubtfulFrom(size_t i) const
    {
        return NobodyWatchedBefore(i) &&
               (history.rounds[i].slept > 5000 || PauseBefore(i) > 300000);
    }

    // Time without a reading, sleep left out and a round counting five seconds at most; what was
    // before a sleep does not count, unless the outage was in doubt already.
    int64_t Silence(size_t i) const
    {
        int64_t silence = 0;
        for (size_t k = i + 1; k-- > 0;) {
            Ups ups = history.rounds[k].ups;
            if (HasReading(ups) || ups == Ups::none)
                break;
            silence += std::min<int64_t>(PauseBefore(k) - history.rounds[k].slept, 5000);
            if (IsDoubtfulFrom(k) && !FactsOf(k).isDoubted)
                break;
        }
        return silence;
    }

    // Lost since the source said so or twenty seconds were silent, until a reading.
    bool IsLost(size_t i) const
    {
        for (size_t k = i + 1; k-- > 0;) {
            Ups ups = history.rounds[k].ups;
            if (HasReading(ups) || ups == Ups::none)
                return false;
            if (ups == Ups::lost || Silence(k) >= 20000)
                return true;
        }
        return false;
    }

    // The first reading of good mains with nothing but good readings and short silence since.
    int64_t GoodSince(size_t i) const
    {
        int64_t since = history.rounds[i].now;
        for (size_t k = i; !NobodyWatchedBefore(k) && k > 0; k--) {
            const Round& earlier = history.rounds[k - 1];
            if (IsFailed(earlier.ups) || earlier.ups == Ups::none || FactsOf(k).isLost)
                break;
            if (IsGood(earlier.ups))
                since = earlier.now;
        }
        return since;
    }

    int64_t Due(const Facts& fact) const
    {
        int64_t due = *fact.outageSince + round->settings.cfg.acFailDelay * int64_t{60000};
        if (fact.lowSince)
            due = std::min(due, *fact.lowSince + round->settings.cfg.battLowDelay * int64_t{60000});
        return due;
    }

    // Good for ten seconds, and not less when the shutdown came.
    bool IsOver(size_t i, const Facts& last, bool isDoubted) const
    {
        if (!last.outageSince || !IsGood(round->ups))
            return false;
        int64_t over = GoodSince(i) + 10000;
        int64_t due = Due(last);
        int64_t lastRound = round->now - PauseBefore(i);
        if (!isDoubted && due > lastRound && due < over)
            return false;
        return round->now >= over;
    }

    void Add(PolicyWhat what, PolicyCause cause = CAUSE_NONE, int64_t number = 0)
    {
        bool isTold =
            what == POLICY_COUNTDOWN || what == POLICY_CALLED_OFF || what == POLICY_SHUTDOWN;
        said.push_back({what, cause, static_cast<int>(number),
                        isTold && round->settings.cfg.countdownOn == 1});
    }

    void SayRound(size_t i)
    {
        Facts last = FactsOf(i);
        Facts fact = {};
        fact.isLost = IsLost(i);
        bool isDoubted = last.outageSince && (last.isDoubted || IsDoubtfulFrom(i));
        bool isLongPast = isDoubted && round->now - *last.lookedAt > 300000;
        SayLink(last, fact, isLongPast);
        FindOutage(i, last, fact, isDoubted, isLongPast);
        SayLowBattery(i, last, fact);
        bool isScheduleDue = SayMissed(i);
        if (fact.outageSince && !fact.isDoubted && round->now >= Due(fact))
            ShutDown(CAUSE_OUTAGE);
        else if (isScheduleDue)
            ShutDown(CAUSE_SCHEDULE);
        else
            SayCountdowns(last, fact);
        facts.push_back(fact);
    }

    void SayLink(const Facts& last, const Facts& fact, bool isLongPast)
    {
        if (fact.isLost && !last.isLost)
            Add(POLICY_UPS_LOST, last.outageSince && !isLongPast ? CAUSE_OUTAGE : CAUSE_NONE);
        if (last.isLost && HasReading(round->ups))
            Add(POLICY_UPS_BACK);
    }

    void FindOutage(size_t i, const Facts& last, Facts& fact, bool isDoubted, bool isLongPast)
    {
        if (isDoubted && round->ups == Ups::none) {
            Add(POLICY_OUTAGE_FORGOTTEN);
            Add(POLICY_CALLED_OFF, CAUSE_OUTAGE);
            return;
        }
        if (IsOver(i, last, isDoubted)) {
            Add(POLICY_MAINS_BACK);
            Add(POLICY_CALLED_OFF, CAUSE_OUTAGE);
            return;
        }
        fact.outageSince = last.outageSince;
        if (IsFailed(round->ups) && !last.outageSince) {
            fact.outageSince = round->now;
            Add(POLICY_OUTAGE, CAUSE_OUTAGE);
        }
        bool isConfirmed =
            IsFailed(round->ups) || (fact.isLost && Silence(i) >= 5000 && !isLongPast);
        fact.isDoubted = isDoubted && !isConfirmed;
        bool isLook = round->ups != Ups::none && !(isLongPast && fact.isDoubted);
        if (fact.outageSince)
            fact.lookedAt = isLook ? round->now : last.lookedAt;
        if (isDoubted && isConfirmed)
            Add(POLICY_OUTAGE_GOES_ON, CAUSE_OUTAGE);
    }

    void SayLowBattery(size_t i, const Facts& last, Facts& fact)
    {
        if (fact.outageSince) {
            fact.lowSince = last.lowSince;
            if (IsLow(round->ups) && !last.lowSince) {
                fact.lowSince = round->now;
                Add(POLICY_BATTERY_LOW, CAUSE_OUTAGE);
            }
            return;
        }
        if (!IsLow(round->ups))
            return;
        // Said unless it was low on good mains within ten seconds.
        for (size_t k = i; k > 0 && round->now - history.rounds[k - 1].now <= 10000; k--) {
            if (IsLow(history.rounds[k - 1].ups) && !FactsOf(k).outageSince)
                return;
        }
        Add(POLICY_BATTERY_LOW_ON_MAINS);
    }

    // The scheduled times that came since the round before are looked at second by second,
    // the last five minutes first. A time that was edited just now was not ahead before.
    bool SayMissed(size_t i)
    {
        if (i == 0)
            return false;
        for (time_t at = round->wall; at > before->wall && at >= round->wall - 300; at--) {
            if (IsScheduled(at, round->settings) && IsScheduled(at, before->settings)) {
                scheduledAt = at;
                return true;
            }
        }
        for (time_t at = before->wall - before->wall % 60 + 60; at < round->wall - 300; at += 60) {
            if (IsScheduled(at, round->settings)) {
                Add(POLICY_SCHEDULE_MISSED, CAUSE_SCHEDULE, round->wall - at);
                return false;
            }
        }
        return false;
    }

    void ShutDown(PolicyCause cause)
    {
        const PowerConfig& cfg = round->settings.cfg;
        order = {cause, cfg.turnOffUps == 1 && round->ups != Ups::none, cfg.upsOffDelay, 0};
        if (order.tellUps)
            order.restartMinutes = cause == CAUSE_OUTAGE ? 3 : MinutesToStart(cfg);
        Add(POLICY_SHUTDOWN, cause);
    }

    int MinutesToStart(const PowerConfig& cfg)
    {
        std::optional<time_t> start = FindStart(scheduledAt, round->settings.week);
        if (!start)
            return 0;
        auto minutes = static_cast<int>(*start - scheduledAt) / 60;
        minutes -= std::max(1, static_cast<int>(std::floor(cfg.upsOffDelay)));
        minutes -= static_cast<int>(round->wall - scheduledAt) / 60;
        int cut = std::min(std::max(minutes, 1), 9999);
        if (cut != minutes)
            Add(POLICY_RETURN_CUT, CAUSE_SCHEDULE, minutes);
        return cut;
    }

    // Every full minute, half a minute and ten seconds.
    static bool IsMarkBetween(int64_t left, int64_t leftBefore)
    {
        for (int64_t mark = 60000; mark < leftBefore; mark += 60000) {
            if (left <= mark)
                return true;
        }
        return (left <= 30000 && leftBefore > 30000) || (left <= 10000 && leftBefore > 10000);
    }

    void SayLeft(PolicyCause cause, int64_t left)
    {
        Add(POLICY_COUNTDOWN, cause, left / 1000 + (left % 1000 != 0 ? 1 : 0));
    }

    void SayCountdowns(const Facts& last, Facts& fact)
    {
        if (fact.outageSince) {
            fact.told = last.told;
            fact.toldDue = last.toldDue;
        }
        if (fact.outageSince && !fact.isDoubted) {
            int64_t left = Due(fact) - round->now;
            if (!last.told || *last.toldDue != Due(fact) || IsMarkBetween(left, *last.told))
                SayLeft(CAUSE_OUTAGE, left);
            fact.told = left;
            fact.toldDue = Due(fact);
        }
        int64_t window = round->settings.cfg.acFailDelay * int64_t{60};
        for (time_t at = round->wall - round->wall % 60 + 60; at <= round->wall + window;
             at += 60) {
            if (IsScheduled(at, round->settings)) {
                SayNear(last, fact, at);
                return;
            }
        }
        if (last.toldTime)
            Add(POLICY_CALLED_OFF, CAUSE_SCHEDULE);
    }

    void SayNear(const Facts& last, Facts& fact, time_t at)
    {
        int64_t left = (at - round->wall) * 1000;
        bool isNew = !last.toldTime || *last.toldTime != at;
        if (isNew || IsMarkBetween(left, *last.toldNear) || left > *last.toldNear + 1000)
            SayLeft(CAUSE_SCHEDULE, left);
        fact.toldNear = left;
        fact.toldTime = at;
    }

    const History& history;
    const Round* round = nullptr;
    const Round* before = nullptr;
    time_t scheduledAt = -1; // the time that has come
    std::vector<Facts> facts;
    std::vector<PolicyAction> said;
};
