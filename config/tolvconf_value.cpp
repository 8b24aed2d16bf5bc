#include "config/tolvconf_value.h"

#include "base/text.h"

#include <algorithm>

namespace {

constexpr int AC_FAIL_MAX = 1440; // minutes

// The step of the shutdown delay by its present value, up to and including upTo.
struct DelayStep {
    int upTo;
    int down;
    int otherwise;
};

constexpr DelayStep DELAY_STEPS[] = {
    {29, 1, 1}, {30, 1, 10}, {59, 10, 10}, {60, 10, 60}, {1439, 60, 60},
};

// The steps change at rising delays, up to the last one that may still grow.
constexpr bool DoStepsRise()
{
    for (size_t step = 1; step < std::size(DELAY_STEPS); step++) {
        if (DELAY_STEPS[step].upTo <= DELAY_STEPS[step - 1].upTo)
            return false;
    }
    return DELAY_STEPS[std::size(DELAY_STEPS) - 1].upTo == AC_FAIL_MAX - 1;
}
static_assert(DoStepsRise());

bool IsIncrease(int key)
{
    return key == '+' || key == 'i';
}

bool IsDecrease(int key)
{
    return key == '-' || key == 'm';
}

// At the upper end, and above it, an increase chooses no step of its own: the
// last one is used again.
int ChooseStep(int minutes, int key, int lastStep)
{
    for (const DelayStep& step : DELAY_STEPS) {
        if (minutes <= step.upTo)
            return IsDecrease(key) ? step.down : step.otherwise;
    }
    return minutes == AC_FAIL_MAX && IsDecrease(key) ? 60 : lastStep;
}

template <typename Number>
void StepAround(Number* field, int key, int64_t max, int64_t min, int64_t step)
{
    int64_t changed = *field;
    if (IsIncrease(key)) {
        changed += step;
        if (changed > max)
            changed = min;
    } else if (IsDecrease(key)) {
        changed -= step;
        if (changed < min)
            changed = max;
    }
    *field = static_cast<Number>(changed);
}

// Minutes, down to the delay of [b].
void ChangeAcFail(PowerConfig& config, int key, int* lastStep)
{
    *lastStep = ChooseStep(config.acFailDelay, key, *lastStep);
    ShortChange(&config.acFailDelay, key, AC_FAIL_MAX, config.battLowDelay,
                static_cast<uint16_t>(*lastStep));
}

// Minutes, from 1 to the delay of [d], 10 at the most.
void ChangeBattLow(PowerConfig& config, int key, int* /*lastStep*/)
{
    ShortChange(&config.battLowDelay, key, std::min<int>(config.acFailDelay, 10), 1, 1);
}

// Minutes, from 0.2 to 10.0.
void ChangeOffDelay(PowerConfig& config, int key, int* /*lastStep*/)
{
    UPSOffChange(&config.upsOffDelay, key);
}

// Volts, from 0 to 96 in twelves; a fraction is dropped first.
void ChangeRating(PowerConfig& config, int key, int* /*lastStep*/)
{
    int16_t volts = static_cast<int16_t>(TruncateToInt(static_cast<double>(config.batteryRating)));
    ShortChange(&volts, key, 96, 0, 12);
    config.batteryRating = static_cast<float>(volts);
}

void TurnOverTurnOff(PowerConfig& config)
{
    TurnOver(&config.turnOffUps);
}

void TurnOverCountdown(PowerConfig& config)
{
    TurnOver(&config.countdownOn);
}

void TurnOverSchedule(PowerConfig& config)
{
    TurnOver(&config.scheduleOn);
}

} // namespace

// One row for each number: its key, its line, and what [+] does between which limits.
constexpr NumberItem NUMBERS[] = {
    {'d', cw_p[ITEM_AC_FAIL], ChangeAcFail},
    {'b', cw_p[ITEM_BATT_LOW], ChangeBattLow},
    {'u', cw_p[ITEM_OFF_DELAY], ChangeOffDelay},
    {'v', cw_p[ITEM_RATING], ChangeRating},
};

// One row for each switch.
constexpr SwitchItem SWITCHES[] = {
    {'a', TURN_OFF_LINE, TurnOverTurnOff},
    {'n', cw_p[ITEM_COUNTDOWN], TurnOverCountdown},
    {'l', cw_p[ITEM_SCHEDULE], TurnOverSchedule},
};

// True when no two rows of a table share their key or their line.
template <typename Item, size_t count> static constexpr bool AreApart(const Item (&items)[count])
{
    for (size_t one = 0; one < count; one++) {
        for (size_t other = one + 1; other < count; other++) {
            if (items[one].key == items[other].key || items[one].line.row == items[other].line.row)
                return false;
        }
    }
    return true;
}
static_assert(AreApart(NUMBERS) && AreApart(SWITCHES));

void DoChange(PowerConfig& config, ScheduleEntry /*schedule*/[7], int key, int row)
{
    // Kept from press to press on purpose: see ChooseStep.
    static int AC_step = 1;
    for (const NumberItem& number : NUMBERS) {
        if (number.line.row == row)
            number.change(config, key, &AC_step);
    }
}

void ShortChange(int16_t* field, int key, int max, int min, uint16_t step)
{
    StepAround(field, key, max, min, step);
}

void IntChange(int32_t* field, int key, int max, int min)
{
    StepAround(field, key, max, min, 1);
}

// The odd limits absorb the rounding of repeated steps of 0.1.
void UPSOffChange(float* field, int key)
{
    if (IsIncrease(key)) {
        if (*field < 0.99F)
            *field += 0.1F;
        else if (*field <= 9.9F)
            *field += 1.0F;
        else
            *field = 0.2F;
    } else if (IsDecrease(key)) {
        if (*field > 1.01F)
            *field -= 1.0F;
        else if (*field >= 0.21F)
            *field -= 0.1F;
        else
            *field = 10.0F;
    }
}
