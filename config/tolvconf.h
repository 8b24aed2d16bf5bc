// The config command: the full-screen editor of the settings.
#pragma once

#include "settings/tolv_lib.h"

// Runs the editor; 0 after a normal quit, -1 when the settings could be neither
// read nor written.
int tolvan_config();

// One key of the item selection. 0 = the editor is to end, else 1. The saved
// texts are copies that text entry can restore; modified tells of unsaved changes.
int ScreenFunc1(PowerConfig& config, ScheduleEntry schedule[7], int key, int* cursorRow,
                int* cursorCol, int16_t* mode, char* savedDevice, char* savedCommunity,
                char* savedIp, int* modified, int* justSaved, int* savePasses);

// Tells the reader of this queue that the settings changed: 1, or -1 when the
// message could not be sent.
int SendConfigChngMsg(int queue);

// Switches between serial port and SNMP. No key of this version leads here.
void ToggleMode(PowerConfig& config);
