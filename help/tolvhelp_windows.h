// The windows of the help viewer: their files and footers, and the keys between them.
#pragma once

#include <string_view>

// A footer table.
inline constexpr int HELP_FOOTER_LINES = 3;
inline constexpr int HELP_LINE_SIZE = 75; // with its terminator

// Windows are numbered; these are the contents page and the topic menus.
inline constexpr int WINDOW_CONTENTS = 1;
inline constexpr int WINDOW_INTRO = 2;
inline constexpr int WINDOW_INSTALL = 8;
inline constexpr int WINDOW_CONFIGURE = 11;
inline constexpr int WINDOW_USAGE = 17;
inline constexpr int HELP_WINDOWS = 25;

// One window: its file, and the window that [p] leads back to (0 = none).
struct HelpWindow {
    const char* path;
    int parent;
};

#define HELP_FILE(name) "/etc/wardenlink/help/" name

// clang-format off
// Window number 1 is the first entry.
inline constexpr HelpWindow HELP_WINDOW_TABLE[HELP_WINDOWS] = {
    {HELP_FILE("textroot.txt"), 0},
    {HELP_FILE("text_m1.txt"), WINDOW_CONTENTS},
    {HELP_FILE("text1_1.txt"), WINDOW_INTRO},
    {HELP_FILE("text1_2.txt"), WINDOW_INTRO},
    {HELP_FILE("text1_3.txt"), WINDOW_INTRO},
    {HELP_FILE("text1_4.txt"), WINDOW_INTRO},
    {HELP_FILE("text1_5.txt"), WINDOW_INTRO},
    {HELP_FILE("text_m2.txt"), WINDOW_CONTENTS},
    {HELP_FILE("text2_1.txt"), WINDOW_INSTALL},
    {HELP_FILE("text2_2.txt"), WINDOW_INSTALL},
    {HELP_FILE("text_m3.txt"), WINDOW_CONTENTS},
    {HELP_FILE("text3_1.txt"), WINDOW_CONFIGURE},
    {HELP_FILE("text3_2.txt"), WINDOW_CONFIGURE},
    {HELP_FILE("text3_3.txt"), WINDOW_CONFIGURE},
    {HELP_FILE("text3_4.txt"), WINDOW_CONFIGURE},
    {HELP_FILE("text3_5.txt"), WINDOW_CONFIGURE},
    {HELP_FILE("text_m4.txt"), WINDOW_CONTENTS},
    {HELP_FILE("text4_1.txt"), WINDOW_USAGE},
    {HELP_FILE("text4_2.txt"), WINDOW_USAGE},
    {HELP_FILE("text5.txt"), WINDOW_CONTENTS},
    {HELP_FILE("text6.txt"), WINDOW_CONTENTS},
    {HELP_FILE("text7.txt"), WINDOW_CONTENTS},
    {HELP_FILE("textapa.txt"), WINDOW_CONTENTS},
    {HELP_FILE("textapb.txt"), WINDOW_CONTENTS},
    {HELP_FILE("textapc.txt"), WINDOW_CONTENTS},
};

// Footers: of the contents page, the topic menus, a topic's pages and its last.
inline constexpr char B_CONTENTS[HELP_FOOTER_LINES][HELP_LINE_SIZE] = {
    "Press the corresponding letters or numbers to know more about the",
    "      topics listed on your screen.",
    "Press [q] to quit",
};
inline constexpr char B_INTRO[HELP_FOOTER_LINES][HELP_LINE_SIZE] = {
    "Press the corresponding numbers to know more about the topics",
    "      listed on your screen.",
    "Press [q] to quit,  [p] for Previous Menu",
};
inline constexpr char B_TEXT[HELP_FOOTER_LINES][HELP_LINE_SIZE] = {
    " \t[n] - Next Page       \t\t\t\t",
    "\t[p] - Previous Page",
    "\t[q] - Quit \t\t",
};
inline constexpr char LP_TEXT[HELP_FOOTER_LINES][HELP_LINE_SIZE] = { // last page: nothing to turn to
    " \t\t\t      \t\t\t\t\t  ",
    "\t[p] - Previous Page",
    "\t[q] - Quit \t\t",
};
// clang-format on

#undef HELP_FILE

// clang-format off
// Keys of the menus and the windows they open.
struct MenuKey {
    int window;
    int key;
    int target;
};

inline constexpr MenuKey MENU_KEYS[] = {
    {WINDOW_CONTENTS, '1', WINDOW_INTRO},
    {WINDOW_CONTENTS, '2', WINDOW_INSTALL},
    {WINDOW_CONTENTS, '3', WINDOW_CONFIGURE},
    {WINDOW_CONTENTS, '4', WINDOW_USAGE},
    {WINDOW_CONTENTS, '5', 20}, {WINDOW_CONTENTS, '6', 21}, {WINDOW_CONTENTS, '7', 22},
    {WINDOW_CONTENTS, 'a', 23}, {WINDOW_CONTENTS, 'b', 24}, {WINDOW_CONTENTS, 'c', 25},
    {WINDOW_INTRO, '1', 3}, {WINDOW_INTRO, '2', 4}, {WINDOW_INTRO, '3', 5},
    {WINDOW_INTRO, '4', 6}, {WINDOW_INTRO, '5', 7},
    {WINDOW_INTRO, 'p', WINDOW_CONTENTS},
    {WINDOW_INSTALL, '1', 9}, {WINDOW_INSTALL, '2', 10},
    {WINDOW_INSTALL, 'p', WINDOW_CONTENTS},
    {WINDOW_CONFIGURE, '1', 12}, {WINDOW_CONFIGURE, '2', 13}, {WINDOW_CONFIGURE, '3', 14},
    {WINDOW_CONFIGURE, '4', 15}, {WINDOW_CONFIGURE, '5', 16},
    {WINDOW_CONFIGURE, 'p', WINDOW_CONTENTS},
    {WINDOW_USAGE, '1', 18}, {WINDOW_USAGE, '2', 19},
    {WINDOW_USAGE, 'p', WINDOW_CONTENTS},
};
// clang-format on

constexpr const HelpWindow& WindowEntry(int window)
{
    return HELP_WINDOW_TABLE[window - 1];
}

constexpr bool IsMenu(int window)
{
    return window == WINDOW_INTRO || window == WINDOW_INSTALL || window == WINDOW_CONFIGURE ||
           window == WINDOW_USAGE;
}

// --- what the tables above have to keep ------------------------------------------------

// [p] leads to the parent; every other key leads to a child.
constexpr bool LeadsRight(const MenuKey& entry)
{
    if (entry.target < 1 || entry.target > HELP_WINDOWS)
        return false;
    if (entry.key == 'p')
        return WindowEntry(entry.window).parent == entry.target;
    return WindowEntry(entry.target).parent == entry.window;
}

constexpr bool DoKeysLeadRight()
{
    for (const MenuKey& entry : MENU_KEYS) {
        if (!LeadsRight(entry))
            return false;
    }
    return true;
}

// True when every window has a file, and each but the first one key that opens it.
constexpr bool IsEveryWindowReached()
{
    for (int window = 1; window <= HELP_WINDOWS; window++) {
        int opening = 0;
        for (const MenuKey& entry : MENU_KEYS)
            opening += entry.target == window && entry.key != 'p' ? 1 : 0;
        if (std::string_view(WindowEntry(window).path).empty() ||
            opening != (window == WINDOW_CONTENTS ? 0 : 1))
            return false;
    }
    return true;
}

// Only the contents page has no parent; the parents of all others are menus.
constexpr bool AreParentsMenus()
{
    for (int window = WINDOW_CONTENTS + 1; window <= HELP_WINDOWS; window++) {
        int parent = WindowEntry(window).parent;
        if (parent != WINDOW_CONTENTS && (!IsMenu(parent) || IsMenu(window)))
            return false;
    }
    return WindowEntry(WINDOW_CONTENTS).parent == 0;
}

static_assert(DoKeysLeadRight() && IsEveryWindowReached() && AreParentsMenus());
