// The text entry line of the editor: the device name, the community name and the
// agent's address, typed in place.
#pragma once

#include "config/tolvconf_layout.h"

// A text setting. Its own key begins its entry, a mode of the editor.
struct TextItem {
    int key;
    int16_t mode;
    int unusedIn; // the communication mode in which the key does nothing
    LayoutLine line;
    char (PowerConfig::*field)[SETTINGS_TEXT_SIZE];
    bool isExtended;     // typing extends the old text; otherwise it replaces it
    size_t lengthOnSave; // what is longer is cut
};

extern const TextItem TEXTS[TEXT_LINES];

// Begins an entry; savedCopy receives the text as it is.
void StartEntry(Editor& editor, const TextItem& item, char* savedCopy);

// One key of text entry in modes 2 (comPort), 4 (snmpCommunity) and 5 (snmpIp).
// The screen's cursor is the edit position; savedCopy is what Escape restores.
void ScreenFunc2(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified);
void ScreenFunc4(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified);
void ScreenFunc5(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified);
