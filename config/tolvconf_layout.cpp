#include "config/tolvconf_layout.h"

#include "base/text.h"

#include <curses.h>

// Title and vendor notice.
const LayoutLine ct_p[2] = {{0, 1, -1}, {1, 1, -1}};

// The items: rows 3 to 19 from column 9, help lines on rows 21 to 23. The blank
// labels are intentional: this version shows neither the schedule nor the device
// name's label; their keys still work.
// clang-format off
const LayoutLine cw_p[ITEMS] = {
    { 3, 9, 62}, { 4, 9, 62}, { 5, 9, 62}, { 7, 9, 33}, { 9, 9, 42}, {10, 9, 42}, {12, 9, 36},
    {14, 9, -1}, {15, 9, -1}, {16, 9, -1}, {18, 9, 35}, {19, 9, 19}, { 6, 9, 62}, { 8, 9, 33},
};

const char cw_s[ITEMS][64] = {
    "[d] System Shutdown Delay Time When AC Power Failed:      Min.",
    "[b] System Shutdown Delay Time When Battery Low    :      Min.",
    "[u] UPS Turn Off Delay Time                        :      Min.",
    "                                ",
    "[n] Shutdown Count Down Display:",
    "                                ",
    "                                ",
    "                                ",
    "                                                           ",
    "                                                           ",
    "[s] Save Configuration. ",
    "[q] Quit. ",
    "                                                           ",
    "",
};

const LayoutLine cb_p[3] = {{21, 9, -1}, {22, 9, -1}, {23, 9, -1}};
const LayoutLine t_xy = {ROW_ALERT, 37, -1};

namespace {

// Help lines by mode, from mode 1 on.
const char* const HELP_LINES[5][3] = {
    {"Press the letters in brackets to select items.         ",
     "Press [+], [-], or [i], [m] to change values.\t\t ",
     "Press [r] to redraw screen."},
    {"Input the device name then press [Enter] to confirm.   ",
     "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  ",
     "                           "},
    {"Press [+], [-], or [i], [m] to change values.          ",
     "[r]-right, [l]-left, [u]-up, [d]-down to move cursor.  ",
     "Press [Enter] to exit.     "},
    {"Input the community name then press [Enter] to confirm.",
     "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  ",
     "                           "},
    {"Input the ip address then press [Enter] to confirm.    ",
     "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  ",
     "                           "},
};
// clang-format on

constexpr int LABEL_COL = 9;
constexpr int STRIP_LENGTH = 65; // blanks over a whole item line

void PutValue(ItemLine item, const char* text)
{
    PutText(ValuePlace(cw_p[item]), text);
}

void WipeLine(int row)
{
    PutBlanks({row, LABEL_COL}, STRIP_LENGTH);
}

void DrawCommunication(const PowerConfig& config)
{
    if (config.commMode == COMM_SERIAL) {
        WipeLine(ROW_ADDRESS);
        WipeLine(ROW_DEVICE);
        PutText(LabelPlace(cw_p[ITEM_DEVICE]), cw_s[ITEM_DEVICE]);
        PutBlanks({ROW_DEVICE, ENTRY_COL}, 44);
        PutText({ROW_DEVICE, ENTRY_COL}, config.comPort);
    } else if (config.commMode == COMM_SNMP) {
        WipeLine(ROW_ADDRESS);
        WipeLine(ROW_COMMUNITY);
        PutText({ROW_ADDRESS, LABEL_COL}, "[p] Ip Address       : ");
        PutText({ROW_COMMUNITY, LABEL_COL}, "[o] Community Name   : ");
        PutText({ROW_ADDRESS, ENTRY_COL}, config.snmpIp);
        PutText({ROW_COMMUNITY, ENTRY_COL}, config.snmpCommunity);
    }
}

void DrawLabels(const PowerConfig& config)
{
    for (int item = 0; item < ITEMS; item++) {
        if (item != ITEM_DEVICE)
            PutText(LabelPlace(cw_p[item]), cw_s[item]);
    }
    if (config.commMode == COMM_SNMP)
        WipeLine(ROW_BATTERY_RATING);
}

void DrawDelays(const PowerConfig& config)
{
    char text[32];
    if (config.acFailDelay > 60) // the longer text covers the label's "Min."
        FormatText(text, sizeof(text), "%2d.0 Hrs.", config.acFailDelay / 60);
    else
        FormatText(text, sizeof(text), "%2d.0", config.acFailDelay);
    PutValue(ITEM_AC_FAIL, text);
    FormatText(text, sizeof(text), "%2d.0", config.battLowDelay);
    PutValue(ITEM_BATT_LOW, text);
    FormatText(text, sizeof(text), "%4.1f", static_cast<double>(config.upsOffDelay));
    PutValue(ITEM_OFF_DELAY, text);
    if (config.batteryRating > 0 && config.commMode != COMM_SNMP) {
        FormatText(text, sizeof(text), "%4.1f", static_cast<double>(config.batteryRating));
        PutValue(ITEM_RATING, text);
    }
}

void DrawSwitches(const PowerConfig& config)
{
    PutValue(ITEM_COUNTDOWN, config.countdownOn == 1 ? "ON " : "OFF");
    PutText(LabelPlace(TURN_OFF_PLACE), "[a] Turn off UPS after System Shutdown:");
    if (config.turnOffUps == 1)
        PutText(ValuePlace(TURN_OFF_PLACE), "YES");
    if (config.turnOffUps == 0)
        PutText(ValuePlace(TURN_OFF_PLACE), "NO ");
}

void DrawHelpLines(int mode)
{
    if (mode < MODE_ITEMS || mode > MODE_ADDRESS)
        return;
    for (int line = 0; line < 3; line++)
        PutTabbedText(LabelPlace(cb_p[line]), HELP_LINES[mode - 1][line]);
}

// A message stays exactly as long as the cursor stays on its row.
void WipeMessages(int row, int alertCode)
{
    if (row != cw_p[ITEM_SAVE].row)
        PutBlanks(ValuePlace(cw_p[ITEM_SAVE]), 20);
    if (row != cw_p[ITEM_QUIT].row)
        PutBlanks(ValuePlace(cw_p[ITEM_QUIT]), 44);
    bool isAlertOver = row != ROW_START_TIME || alertCode == ALERT_NONE;
    if (alertCode != ALERT_TOO_CLOSE && isAlertOver)
        PutBlanks({ROW_ALERT, COL_ALERT_STRIP}, 41);
}

void DrawMessages(const PowerConfig& config, int row, int col, int alertCode)
{
    move(row, col);
    attrset(A_STANDOUT);
    if (row == cw_p[ITEM_SAVE].row)
        PutValue(ITEM_SAVE, "(Save Completed!)");
    if (row == cw_p[ITEM_QUIT].row)
        PutValue(ITEM_QUIT, "(Press [q] again to quit without saving!)");
    if (row == ROW_START_TIME && config.scheduleOn == 0)
        PutText(LabelPlace(t_xy), "(Turn Schedule Function ON first!)");
    if (alertCode == ALERT_TOGGLE_REBOOT) {
        PutText(LabelPlace(t_xy), "(Toggle [a] to set Automatic Reboot)");
        move(row, col);
    }
    attrset(A_NORMAL);
}

} // namespace

void DrawString(const PowerConfig& config, const ScheduleEntry /*schedule*/[7], int row, int col,
                int mode, int alertCode)
{
    DrawCommunication(config);
    DrawHeader(ct_p, "(SNMP WardenLink for Linux) UPS Configuration Utility,");
    DrawLabels(config);
    DrawDelays(config);
    DrawSwitches(config);
    DrawHelpLines(mode);
    WipeMessages(row, alertCode);
    DrawMessages(config, row, col, alertCode);
}
