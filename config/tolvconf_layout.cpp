#include "config/tolvconf_layout.h"

#include "base/text.h"
#include "screen/layout_check.h"

#include <curses.h>
#include <string_view>

// Title and vendor notice.
constexpr LayoutLine ct_p[2] = {{0, 1, -1}, {1, 1, -1}};

// The blank labels are intended: this version shows neither the schedule nor the labels
// of the device name and the battery's rating; their keys still work.
constexpr char cw_s[][64] = {
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

// Help lines, and the alerts of the schedule.
constexpr LayoutLine cb_p[3] = {{21, 9, -1}, {22, 9, -1}, {23, 9, -1}};
constexpr LayoutLine t_xy = {cw_p[ITEM_ALERT].row, 37, -1};

namespace {

constexpr char TITLE[] = "(SNMP WardenLink for Linux) UPS Configuration Utility,";
constexpr char TURN_OFF_LABEL[] = "[a] Turn off UPS after System Shutdown:";
constexpr char COMMUNITY_LABEL[] = "[o] Community Name   : ";
constexpr char ADDRESS_LABEL[] = "[p] Ip Address       : ";

constexpr char SAVED_TEXT[] = "(Save Completed!)";
constexpr char ASK_AGAIN_TEXT[] = "(Press [q] again to quit without saving!)";
constexpr char SCHEDULE_FIRST_TEXT[] = "(Turn Schedule Function ON first!)";
constexpr char TOGGLE_REBOOT_TEXT[] = "(Toggle [a] to set Automatic Reboot)";

// Help lines by mode, from mode 1 on. The tabs belong to the text: its line ends a
// column later than the others, with a blank.
constexpr const char* HELP_LINES[][std::size(cb_p)] = {
    {"Press the letters in brackets to select items.         ",
     "Press [+], [-], or [i], [m] to change values.\t\t ", "Press [r] to redraw screen."},
    {"Input the device name then press [Enter] to confirm.   ",
     "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  ", "                           "},
    {"Press [+], [-], or [i], [m] to change values.          ",
     "[r]-right, [l]-left, [u]-up, [d]-down to move cursor.  ", "Press [Enter] to exit.     "},
    {"Input the community name then press [Enter] to confirm.",
     "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  ", "                           "},
    {"Input the ip address then press [Enter] to confirm.    ",
     "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  ", "                           "},
};

constexpr int HELP_WIDTHS[std::size(cb_p)] = {55, 55, 27};

// Cells that a value may take, and those that are wiped for it.
constexpr int NUMBER_WIDTH = 4; // "24.0"
constexpr int HOURS_WIDTH = 9;  // "24.0 Hrs."
constexpr int SWITCH_WIDTH = 3; // "OFF"
constexpr int LINE_STRIP = 65;  // from the label on
constexpr int DEVICE_STRIP = 44;
constexpr int SAVED_STRIP = 20;
constexpr int ASK_AGAIN_STRIP = 44;
constexpr int ALERT_STRIP = 41;

// --- what the tables above have to keep ------------------------------------------------

constexpr int Length(std::string_view text)
{
    return static_cast<int>(text.size());
}

constexpr bool FitsTheBox(Place place, int width)
{
    return place.row > BOX_PLACE.row && place.row < BOX_PLACE.row + BOX_HEIGHT - 1 &&
           place.col > BOX_PLACE.col && place.col + width < BOX_PLACE.col + BOX_WIDTH;
}

constexpr bool DoLabelsFit()
{
    for (int item = 0; item < ITEM_LINES; item++) {
        if (!FitsTheBox(LabelPlace(cw_p[item]), Length(cw_s[item])))
            return false;
    }
    return true;
}

// The column behind a label.
constexpr int EndOf(const LayoutLine& line, std::string_view label)
{
    return line.labelCol + Length(label);
}

// True when the value stands in the box, right of the label or on blanks of it.
constexpr bool FitsTheLabel(ItemLine item, int width)
{
    return FitsTheBox(ValuePlace(cw_p[item]), width) &&
           IsRoomInLabel(cw_p[item], cw_s[item], width);
}

// Each help line has to cover the one of the mode before it.
constexpr bool DoHelpLinesCover()
{
    for (const auto& lines : HELP_LINES) {
        for (size_t line = 0; line < std::size(cb_p); line++) {
            bool hasTabs = std::string_view(lines[line]).find('\t') != std::string_view::npos;
            int width = ColumnBehind(cb_p[line].labelCol, lines[line]) - cb_p[line].labelCol;
            if (width != HELP_WIDTHS[line] + hasTabs)
                return false;
        }
    }
    return true;
}

static_assert(IsTitleOnScreen(ct_p[0], TITLE) && IsOnScreen(LabelPlace(ct_p[1]), VENDOR_NOTICE));
static_assert(std::size(cw_s) == ITEM_LINES && DoLabelsFit());
static_assert(std::size(HELP_LINES) == MODE_ADDRESS && DoHelpLinesCover());
static_assert(cb_p[0].row >= BOX_PLACE.row + BOX_HEIGHT && cb_p[2].row < SCREEN_ROWS);

static_assert(FitsTheLabel(ITEM_AC_FAIL, NUMBER_WIDTH));
static_assert(FitsTheLabel(ITEM_BATT_LOW, NUMBER_WIDTH));
static_assert(FitsTheLabel(ITEM_OFF_DELAY, NUMBER_WIDTH));
static_assert(FitsTheLabel(ITEM_RATING, NUMBER_WIDTH));
static_assert(FitsTheLabel(ITEM_COUNTDOWN, SWITCH_WIDTH));
static_assert(EndOf(TURN_OFF_LINE, TURN_OFF_LABEL) < TURN_OFF_LINE.valueCol);
static_assert(FitsTheBox(ValuePlace(TURN_OFF_LINE), SWITCH_WIDTH));
// Whole hours cover the label's "Min." on purpose, to its last letter.
static_assert(cw_p[ITEM_AC_FAIL].valueCol + HOURS_WIDTH ==
              EndOf(cw_p[ITEM_AC_FAIL], cw_s[ITEM_AC_FAIL]));

static_assert(FitsTheLabel(ITEM_DEVICE, DEVICE_STRIP));
static_assert(FitsTheBox(LabelPlace(cw_p[ITEM_ADDRESS]), LINE_STRIP));
static_assert(EndOf(cw_p[ITEM_DEVICE], COMMUNITY_LABEL) < cw_p[ITEM_DEVICE].valueCol);
static_assert(EndOf(cw_p[ITEM_ADDRESS], ADDRESS_LABEL) < cw_p[ITEM_ADDRESS].valueCol);
static_assert(cw_p[ITEM_ADDRESS].valueCol + ENTRY_LENGTH <=
              cw_p[ITEM_ADDRESS].labelCol + LINE_STRIP);

static_assert(FitsTheLabel(ITEM_SAVE, SAVED_STRIP) && Length(SAVED_TEXT) <= SAVED_STRIP);
static_assert(FitsTheLabel(ITEM_QUIT, ASK_AGAIN_STRIP));
static_assert(Length(ASK_AGAIN_TEXT) <= ASK_AGAIN_STRIP);
static_assert(FitsTheLabel(ITEM_ALERT, ALERT_STRIP) && t_xy.labelCol > cw_p[ITEM_ALERT].valueCol);
static_assert(EndOf(t_xy, SCHEDULE_FIRST_TEXT) <= cw_p[ITEM_ALERT].valueCol + ALERT_STRIP);
static_assert(EndOf(t_xy, TOGGLE_REBOOT_TEXT) <= cw_p[ITEM_ALERT].valueCol + ALERT_STRIP);

// --- the painter -------------------------------------------------------------------------

void PutValue(ItemLine item, const char* text)
{
    PutText(ValuePlace(cw_p[item]), text);
}

void WipeLine(ItemLine item)
{
    PutBlanks(LabelPlace(cw_p[item]), LINE_STRIP);
}

void DrawCommunication(const PowerConfig& config)
{
    if (config.commMode == COMM_SERIAL) {
        WipeLine(ITEM_ADDRESS);
        WipeLine(ITEM_DEVICE);
        PutText(LabelPlace(cw_p[ITEM_DEVICE]), cw_s[ITEM_DEVICE]);
        PutBlanks(ValuePlace(cw_p[ITEM_DEVICE]), DEVICE_STRIP);
        PutValue(ITEM_DEVICE, config.comPort);
    } else if (config.commMode == COMM_SNMP) {
        WipeLine(ITEM_ADDRESS);
        WipeLine(ITEM_DEVICE);
        PutText(LabelPlace(cw_p[ITEM_ADDRESS]), ADDRESS_LABEL);
        PutText(LabelPlace(cw_p[ITEM_DEVICE]), COMMUNITY_LABEL);
        PutValue(ITEM_ADDRESS, config.snmpIp);
        PutValue(ITEM_DEVICE, config.snmpCommunity);
    }
}

void DrawLabels(const PowerConfig& config)
{
    for (int item = 0; item < ITEM_LINES; item++) {
        if (item != ITEM_DEVICE)
            PutText(LabelPlace(cw_p[item]), cw_s[item]);
    }
    if (config.commMode == COMM_SNMP)
        WipeLine(ITEM_RATING);
}

void DrawNumbers(const PowerConfig& config)
{
    char text[32];
    if (config.acFailDelay > 60)
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
    PutText(LabelPlace(TURN_OFF_LINE), TURN_OFF_LABEL);
    if (config.turnOffUps == 1)
        PutText(ValuePlace(TURN_OFF_LINE), "YES");
    if (config.turnOffUps == 0)
        PutText(ValuePlace(TURN_OFF_LINE), "NO ");
}

void DrawHelpLines(int mode)
{
    if (mode < MODE_ITEMS || mode > MODE_ADDRESS)
        return;
    for (size_t line = 0; line < std::size(cb_p); line++)
        PutTabbedText(LabelPlace(cb_p[line]), HELP_LINES[mode - 1][line]);
}

// A message stays exactly as long as the cursor stays on its row.
void WipeMessages(int row, int alertCode)
{
    if (row != cw_p[ITEM_SAVE].row)
        PutBlanks(ValuePlace(cw_p[ITEM_SAVE]), SAVED_STRIP);
    if (row != cw_p[ITEM_QUIT].row)
        PutBlanks(ValuePlace(cw_p[ITEM_QUIT]), ASK_AGAIN_STRIP);
    bool isAlertOver = row != cw_p[ITEM_START_TIMES].row || alertCode == ALERT_NONE;
    if (alertCode != ALERT_TOO_CLOSE && isAlertOver)
        PutBlanks(ValuePlace(cw_p[ITEM_ALERT]), ALERT_STRIP);
}

// The cursor stays behind a message on purpose; only the alert hands it back.
void DrawMessages(const PowerConfig& config, int row, int col, int alertCode)
{
    move(row, col);
    attrset(A_STANDOUT);
    if (row == cw_p[ITEM_SAVE].row)
        PutValue(ITEM_SAVE, SAVED_TEXT);
    if (row == cw_p[ITEM_QUIT].row)
        PutValue(ITEM_QUIT, ASK_AGAIN_TEXT);
    if (row == cw_p[ITEM_START_TIMES].row && config.scheduleOn == 0)
        PutText(LabelPlace(t_xy), SCHEDULE_FIRST_TEXT);
    if (alertCode == ALERT_TOGGLE_REBOOT) {
        PutText(LabelPlace(t_xy), TOGGLE_REBOOT_TEXT);
        move(row, col);
    }
    attrset(A_NORMAL);
}

} // namespace

void SetCursor(Editor& editor, Place place)
{
    editor.cursorRow = place.row;
    editor.cursorCol = place.col;
}

// The schedule is not shown in this version.
void DrawString(const PowerConfig& config, const ScheduleEntry /*schedule*/[7], int row, int col,
                int mode, int alertCode)
{
    DrawCommunication(config);
    DrawHeader(ct_p, TITLE);
    DrawLabels(config);
    DrawNumbers(config);
    DrawSwitches(config);
    DrawHelpLines(mode);
    WipeMessages(row, alertCode);
    DrawMessages(config, row, col, alertCode);
}
