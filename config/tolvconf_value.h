// What one press of [+], [-], [i] or [m] does to a setting. [i] is a synonym of [+]
// and [m] of [-]; other keys change nothing.
#pragma once

#include "settings/tolv_lib.h"

// Applies a key to the item on this screen row; other rows hold none.
void DoChange(PowerConfig& config, ScheduleEntry schedule[7], int key, int row);

// Steps a value that wraps from above max to min and from below min to max.
void ShortChange(int16_t* field, int key, int max, int min, uint16_t step);
void IntChange(int32_t* field, int key, int max, int min);

// The turn-off delay: 0.2 to 1.0 in tenths, then to 10.0 in whole minutes.
void UPSOffChange(float* field, int key);
