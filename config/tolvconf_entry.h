// The text entry line of the editor: the device name, the community name and the
// agent's address, typed in place.
#pragma once

#include "settings/tolv_lib.h"

inline constexpr int ENTRY_COL = 33;    // first column of each of the fields
inline constexpr int ENTRY_LENGTH = 29; // characters that a field takes
inline constexpr int ROW_DEVICE = 7;    // in serial mode
inline constexpr int ROW_COMMUNITY = 7; // in SNMP mode
inline constexpr int ROW_ADDRESS = 8;

// One key of text entry in modes 2 (comPort), 4 (snmpCommunity) and 5 (snmpIp).
// The screen's cursor is the edit position; savedCopy is what Escape restores.
void ScreenFunc2(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified);
void ScreenFunc4(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified);
void ScreenFunc5(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified);
