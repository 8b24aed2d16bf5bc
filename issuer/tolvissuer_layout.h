// What the command center shows: its menus, its texts and where they stand.
#pragma once

#include "screen/layout_check.h"

// The menu of each mode, and the description line of each option; option 0 asks
// for a choice.
inline constexpr int ISSUER_SNMP_LINES = 11;
inline constexpr int ISSUER_SERIAL_LINES = 10;
inline constexpr int ISSUER_SNMP_OPTIONS = 10;
inline constexpr int ISSUER_SERIAL_OPTIONS = 6;

// clang-format off
inline constexpr char ISSNMP[ISSUER_SNMP_LINES][80] = {
    "[s]  Shut Down UPS\t            [f]  Flash and Beep",
    "[c]  Cancel Shut Down Command\t    [i]  Test Indicators",
    "[o]  Turn On UPS\t\t\t\t\t",
    "\t\t\t\t\t\t\t",
    "[u]  Reboot UPS\t\t\t\t\t",
    "[l]  Put UPS to Sleep\t\t\t\t\t",
    "[m]  Simulate Power Fail\t\t\t\t",
    "[b]  Conserve Battery\t\t\t\t\t",
    "\t\t\t\t\t\t\t",
    "[d]  Diagnostic Self Test              [r]  Redraw\t",
    "[t]  Test Run Time Calibration         [q]  Quit\t",
};

inline constexpr char ISCOMPORT[ISSUER_SERIAL_LINES][50] = {
    "[s]  10 Seconds Test\t\t\t",
    "[b]  Test until Battery Low\t\t",
    "                                \t", // the timed test has no key
    "[c]  Cancel Test Command\t\t",
    "\t\t\t\t\t",
    "[n]  Shut Down UPS \t\t\t",
    "[a]  Cancel Shut Down Command          ",
    "\t\t\t\t\t",
    "[r]  Redraw\t\t\t\t",
    "[q]  Quit\t\t\t\t",
};

inline constexpr char IS_SNMP_DESC[ISSUER_SNMP_OPTIONS + 1][79] = {
    "\tPress the letter of your choice.\t\t\t",
    "\tUPS will shut down in 12 seconds.  \t\t\t",
    "\tReboots the UPS.\t\t  \t\t\t",
    "\tPut UPS to sleep.\t\t\t\t\t",
    "\tSwitch to Battery Power.\t\t\t\t",
    "\tLights up all indicators and starts beeping.\t\t",
    "\tSwitch back to utility power.\t\t\t\t",
    "\tUPS on battery will go to sleep mode.  \t\t\t",
    "\t10 seconds self-test.\t\t\t\t\t",
    "\tPerform a front panel lights test.\t\t\t",
    "\tDischarge to calibrate the UPS\t\t\t\t",
};

inline constexpr char IS_CPORT_DESC[ISSUER_SERIAL_OPTIONS + 1][79] = {
    "\tPress the letter of your choice.\t\t\t",
    "\tTest for 10 seconds then return to utility.\t\t",
    "\tTest until battery low then return to utility. \t\t",
    "\tTest for <n> minutes.\t\t\t\t\t",
    "\tUPS will shut down in a few seconds.\t\t\t",
    "\tCancel Shut Down Command or Turn on UPS Output.\t\t",
    "\tCancel Test Command.\t\t\t\t\t",
};
// clang-format on

// Rows 3 to 13 hold the menu, rows 16 to 22 the panel of the pending command.
inline constexpr Place MENU_PLACE = {3, 6};
inline constexpr Place DESCRIPTION_PLACE = {16, 2};
inline constexpr Place PANEL_PLACE = {17, 8}; // on the first row that a cancelled command wipes
inline constexpr Place DURATION_PLACE = {17, 33};
inline constexpr Place WARNING_PLACE = {18, 5};
inline constexpr Place CONDITION_PLACE = {21, 5};
inline constexpr Place UTILITY_PLACE = {21, 18};
inline constexpr Place OUTPUT_PLACE = {21, 37};
inline constexpr Place PROMPT_PLACE = {22, 15};
inline constexpr int WIPE_COL = 1;
inline constexpr int OUTCOME_WIPE_COL = 5;
inline constexpr int WIPE_WIDTH = 73;

inline constexpr char TITLE[] =
    "(wardenlink Power Management Software for Linux) UPS COMMAND CENTER,";
inline constexpr char SLEEP_LABEL[] = "   Duration of Sleep  :   0 Minutes";
inline constexpr char SELF_TEST_LABEL[] = "Duration of Self Test :   0 Minutes";
inline constexpr char CONSERVE_WARNING[] =
    "(WARNING) UPS has to be turned on manually after issuing this command";
inline constexpr char NO_CONNECTION[] = "No Connection (check Ip Address and Community Name)";
inline constexpr char CONDITION_LABEL[] = "UPS Status (";
inline constexpr char WITH_UTILITY[] = "With Utility power.";
inline constexpr char WITHOUT_UTILITY[] = "w/o  Utility power.";
inline constexpr char WITH_OUTPUT[] = "With output power.)";
inline constexpr char WITHOUT_OUTPUT[] = "w/o  output power.)";

// --- what all this has to keep ----------------------------------------------------------

template <size_t count> constexpr bool DoDescriptionsFit(const char (&descriptions)[count][79])
{
    for (const char* description : descriptions) {
        if (description[0] == '\0' || !IsOnScreen(DESCRIPTION_PLACE, description))
            return false;
    }
    return true;
}

// The two digits stand over the label's "0", behind its colon.
constexpr bool IsRoomForDigits(std::string_view label)
{
    int start = DURATION_PLACE.col - PANEL_PLACE.col;
    return label.substr(static_cast<size_t>(start), 4) == " 0 M";
}

static_assert(DoDescriptionsFit(IS_SNMP_DESC) && DoDescriptionsFit(IS_CPORT_DESC));
static_assert(AreOnScreen(MENU_PLACE, ISSNMP) && AreOnScreen(MENU_PLACE, ISCOMPORT) &&
              Below(MENU_PLACE, ISSUER_SNMP_LINES).row < DESCRIPTION_PLACE.row - 1);
static_assert(IsRoomForDigits(SLEEP_LABEL) && IsRoomForDigits(SELF_TEST_LABEL));
static_assert(IsOnScreen(WARNING_PLACE, CONSERVE_WARNING) &&
              IsOnScreen(CONDITION_PLACE, NO_CONNECTION));
static_assert(ColumnBehind(CONDITION_PLACE.col, CONDITION_LABEL) <= UTILITY_PLACE.col &&
              ColumnBehind(UTILITY_PLACE.col, WITH_UTILITY) <= OUTPUT_PLACE.col);
// A text wipes the other one that it replaces.
static_assert(sizeof(WITH_UTILITY) == sizeof(WITHOUT_UTILITY) &&
              sizeof(WITH_OUTPUT) == sizeof(WITHOUT_OUTPUT));
// What is shown goes when it is wiped.
static_assert(ColumnBehind(CONDITION_PLACE.col, NO_CONNECTION) <= WIPE_COL + WIPE_WIDTH &&
              ColumnBehind(OUTPUT_PLACE.col, WITH_OUTPUT) <= WIPE_COL + WIPE_WIDTH &&
              IsOnScreen({PROMPT_PLACE.row, OUTCOME_WIPE_COL}, WIPE_WIDTH));
