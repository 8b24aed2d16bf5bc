// What one press of a key does to a number or a switch. [i] is a synonym of [+] and
// [m] of [-]; other keys change nothing.
#pragma once

#include "config/tolvconf_layout.h"

// A number on the screen. Its own key only chooses it.
struct NumberItem {
    int key;
    LayoutLine line;
    // What [+] and [-] do, between the number's limits. lastStep is the step that the
    // shutdown delay went by last.
    void (*change)(PowerConfig& config, int key, int* lastStep);
};
extern const NumberItem NUMBERS[4];

// A switch of 0 and 1. Its own key turns it over.
struct SwitchItem {
    int key;
    LayoutLine line;
    void (*turn)(PowerConfig& config);
};
extern const SwitchItem SWITCHES[3];

// Turns 0 to 1 and 1 to 0; a state that is neither stays.
template <typename State> void TurnOver(State* state)
{
    if (*state == 0 || *state == 1)
        *state = *state == 0;
}

// Applies a key to the number on this screen row; other rows hold none.
void DoChange(PowerConfig& config, ScheduleEntry schedule[7], int key, int row);

// Steps a value that wraps from above max to min and from below min to max.
void ShortChange(int16_t* field, int key, int max, int min, uint16_t step);
void IntChange(int32_t* field, int key, int max, int min);

// The turn-off delay: 0.2 to 1.0 in tenths, then to 10.0 in whole minutes.
void UPSOffChange(float* field, int key);
