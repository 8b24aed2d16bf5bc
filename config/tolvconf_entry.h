// The text entry line of the editor: the device name, the community name and the
// agent's address, typed in place.
#pragma once

#include "config/tolvconf_layout.h"

// One key of text entry in modes 2 (comPort), 4 (snmpCommunity) and 5 (snmpIp).
// The screen's cursor is the edit position; savedCopy is what Escape restores.
void ScreenFunc2(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified);
void ScreenFunc4(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified);
void ScreenFunc5(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified);
