// For what goes by the minute of the clock.
#pragma once

#include <ctime>

// Carries an action out within one minute of the clock, whose start it is handed: once more
// whenever the minute ended meanwhile. Gives the action's result.
template <typename Action> auto InOneMinute(Action action)
{
    while (true) {
        time_t minute = time(nullptr) / 60 * 60;
        auto result = action(minute);
        if (time(nullptr) / 60 * 60 == minute)
            return result;
    }
}
