#include "sim/serial/serial_reply.h"

#include <algorithm>
#include <cstdio>

namespace {

// Voltage, current, battery voltage and frequency.
constexpr char RATING_REPLY[] = "#230.0 004 12.00 50.0\r";
// Company 15, model 10 and firmware version 10 characters wide.
constexpr char MODEL_REPLY[] = "#WardenLink Lab  SIM-1000   1.20      \r";
static_assert(sizeof(RATING_REPLY) == 22 + 1 && sizeof(MODEL_REPLY) == 39 + 1);

// Values that a field of the reply cannot hold stop at its edge: the widths are fixed.
double Fit(double value, double most)
{
    return std::clamp(value, 0.0, most);
}

std::string StatusBits(const UpsModel& model)
{
    const bool bits[] = {!model.mains || model.failureSimulated,
                         IsBatteryLow(model),
                         IsBoostOrBuck(model),
                         model.failed,
                         model.standby,
                         model.test != UpsTest::NONE,
                         IsShutdownActive(model),
                         model.beepLeft > 0.0};
    std::string text;
    for (bool bit : bits)
        text += bit ? '1' : '0';
    return text;
}

std::string StatusReply(const UpsModel& model)
{
    char line[64];
    snprintf(line, sizeof(line), "(%05.1f %05.1f %05.1f %03.0f %04.1f %04.1f %04.1f %s\r",
             Fit(InputVolts(model), 999.9), Fit(model.faultVolts, 999.9),
             Fit(OutputVolts(model), 999.9), Fit(LoadPercent(model), 999.0),
             Fit(InputHertz(model), 99.9), Fit(BatteryVolts(model), 99.9),
             Fit(model.temperature, 99.9), StatusBits(model).c_str());
    return line;
}

} // namespace

std::string ModelReply(const UpsModel& model, LineVerb verb)
{
    switch (verb) {
    case LineVerb::STATUS:
        return StatusReply(model);
    case LineVerb::RATING:
        return RATING_REPLY;
    case LineVerb::NAME:
        return MODEL_REPLY;
    default:
        return "";
    }
}
