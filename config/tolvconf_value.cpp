#include "config/tolvconf_value.h"

#include "base/text.h"
#include "config/tolvconf_layout.h"

namespace {

constexpr int AC_FAIL_MAX = 1440; // minutes
constexpr int BATT_LOW_MIN = 1;
constexpr int BATT_LOW_MAX = 10;
constexpr int RATING_MAX = 96; // volts
constexpr int RATING_STEP = 12;
// The step of the AC-fail delay by its present value, up to and including upTo.
struct DelayStep {
    int upTo;
    int down;
    int otherwise;
};

constexpr DelayStep DELAY_STEPS[] = {
    {29, 1, 1}, {30, 1, 10}, {59, 10, 10}, {60, 10, 60}, {1439, 60, 60},
};

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

void ChangeBatteryRating(PowerConfig& config, int key)
{
    int16_t volts = static_cast<int16_t>(TruncateToInt(static_cast<double>(config.batteryRating)));
    ShortChange(&volts, key, RATING_MAX, 0, RATING_STEP);
    config.batteryRating = static_cast<float>(volts);
}

} // namespace

void DoChange(PowerConfig& config, ScheduleEntry /*schedule*/[7], int key, int row)
{
    static int AC_step = 1;
    switch (row) {
    case ROW_AC_FAIL_DELAY:
        AC_step = ChooseStep(config.acFailDelay, key, AC_step);
        ShortChange(&config.acFailDelay, key, AC_FAIL_MAX, config.battLowDelay,
                    static_cast<uint16_t>(AC_step));
        break;
    case ROW_BATT_LOW_DELAY:
        ShortChange(&config.battLowDelay, key,
                    config.acFailDelay < BATT_LOW_MAX ? config.acFailDelay : BATT_LOW_MAX,
                    BATT_LOW_MIN, 1);
        break;
    case ROW_UPS_OFF_DELAY:
        UPSOffChange(&config.upsOffDelay, key);
        break;
    case ROW_BATTERY_RATING:
        ChangeBatteryRating(config, key);
        break;
    default:
        break;
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
