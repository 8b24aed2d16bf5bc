#include "help/tolvhelp.h"

#include "base/system.h"
#include "base/text.h"
#include "screen/frame.h"
#include "screen/getch.h"

#include <cstdlib>
#include <cstring>
#include <curses.h>

char Page[HELP_PAGES][HELP_PAGE_LINES][HELP_LINE_SIZE];
int pagenum = 0;
int currentpage = 0;
int currwindow = WINDOW_CONTENTS;

#define HELP_FILE(name) "/etc/wardenlink/help/" name

// clang-format off
const HelpWindow HELP_WINDOW_TABLE[HELP_WINDOWS] = {
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
const char B_CONTENTS[HELP_FOOTER_LINES][HELP_LINE_SIZE] = {
    "Press the corresponding letters or numbers to know more about the",
    "      topics listed on your screen.",
    "Press [q] to quit",
};
const char B_INTRO[HELP_FOOTER_LINES][HELP_LINE_SIZE] = {
    "Press the corresponding numbers to know more about the topics",
    "      listed on your screen.",
    "Press [q] to quit,  [p] for Previous Menu",
};
const char B_TEXT[HELP_FOOTER_LINES][HELP_LINE_SIZE] = {
    " \t[n] - Next Page       \t\t\t\t",
    "\t[p] - Previous Page",
    "\t[q] - Quit \t\t",
};
const char LP_TEXT[HELP_FOOTER_LINES][HELP_LINE_SIZE] = { // last page: nothing to turn to
    " \t\t\t      \t\t\t\t\t  ",
    "\t[p] - Previous Page",
    "\t[q] - Quit \t\t",
};
// clang-format on

#undef HELP_FILE

namespace {

constexpr int TEXT_ROW = 3;
constexpr int TEXT_COL = 3;
constexpr int TEXT_WIDTH = 75; // up to the box
constexpr int FOOTER_ROW = 21;
constexpr int FOOTER_COL = 9;

// clang-format off
// Keys of the menus and the windows they open.
struct MenuKey {
    int window;
    int key;
    int target;
};

constexpr MenuKey MENU_KEYS[] = {
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

// The page on the screen, and the size of the screen; another one is drawn only
// when one of them differs. A smaller screen cuts the text, and there is no key
// to redraw it.
struct DrawnPage {
    int window;
    int page;
    int rows;
    int cols;
};
DrawnPage lastDrawn = {WINDOW_CONTENTS, 0, 0, 0};

bool IsDrawn()
{
    return currwindow == lastDrawn.window && currentpage == lastDrawn.page &&
           LINES == lastDrawn.rows && COLS == lastDrawn.cols;
}

const HelpWindow& WindowEntry(int window)
{
    return HELP_WINDOW_TABLE[window - 1];
}

bool IsMenu(int window)
{
    return window == WINDOW_INTRO || window == WINDOW_INSTALL || window == WINDOW_CONFIGURE ||
           window == WINDOW_USAGE;
}

[[noreturn]] void EndHelp()
{
    endwin();
    exit(0);
}

void EndOnQuitKey(int key)
{
    if (key == 'q' || key == KEY_ESCAPE)
        EndHelp();
}

void DoMenu(int window, int key)
{
    EndOnQuitKey(key);
    for (const MenuKey& entry : MENU_KEYS) {
        if (entry.window == window && entry.key == key)
            Read_text(WindowEntry(entry.target).path, entry.target);
    }
}

void EmptyStore()
{
    memset(Page, 0, sizeof(Page));
    pagenum = 0;
}

bool HoldsText(const char* line)
{
    return line[strspn(line, " \t\r\n")] != '\0';
}

// Tabs become the blanks that they stand for; what would pass the box is cut.
void PutLine(int row, const char* text)
{
    char line[TEXT_WIDTH + 1] = "";
    int length = 0;
    for (const char* c = text; *c != '\0' && length < TEXT_WIDTH; c++) {
        line[length++] = *c == '\t' ? ' ' : *c;
        while (*c == '\t' && (TEXT_COL + length) % TABSIZE != 0 && length < TEXT_WIDTH)
            line[length++] = ' ';
    }
    PutText({row, TEXT_COL}, line);
}

// Fills the store with as many lines as it holds; a line that is too long goes on
// in the next. Empty pages at the end do not count.
void StoreLines(FILE* file)
{
    for (int line = 0; line < HELP_PAGES * HELP_PAGE_LINES; line++) {
        int page = line / HELP_PAGE_LINES;
        char* text = Page[page][line % HELP_PAGE_LINES];
        if (fgets(text, HELP_LINE_SIZE, file) == nullptr)
            break;
        if (HoldsText(text))
            pagenum = page;
    }
}

void HandleTextKey(int key)
{
    if (currwindow < 1 || currwindow > HELP_WINDOWS)
        return;
    int parent = WindowEntry(currwindow).parent;
    DoText(key, parent, WindowEntry(parent).path);
}

void HandleKey(int key)
{
    switch (currwindow) {
    case WINDOW_CONTENTS:
        DoContents(key);
        break;
    case WINDOW_INTRO:
        DoIntro(key);
        break;
    case WINDOW_INSTALL:
        DoInstall(key);
        break;
    case WINDOW_CONFIGURE:
        DoConfigure(key);
        break;
    case WINDOW_USAGE:
        DoUsageTolv(key);
        break;
    default:
        HandleTextKey(key);
        break;
    }
}

} // namespace

int Read_text(const char* path, int window)
{
    EmptyStore();
    FILE* file = OpenToRead(path);
    if (file == nullptr)
        return -1;
    StoreLines(file);
    bool isUnreadable = ferror(file) != 0; // a folder can be opened, but not read
    fclose(file);
    if (isUnreadable) {
        EmptyStore();
        return -1;
    }
    currentpage = 0;
    currwindow = window;
    return 0;
}

void Print_text(int page)
{
    clear();
    page = CutToRange(page, 0, HELP_PAGES - 1);
    for (int line = 0; line < HELP_PAGE_LINES; line++)
        PutLine(TEXT_ROW + line, Page[page][line]);
}

void Footer(const char table[HELP_FOOTER_LINES][HELP_LINE_SIZE])
{
    for (int line = 0; line < HELP_FOOTER_LINES; line++) {
        if (move(FOOTER_ROW + line, FOOTER_COL) == OK)
            clrtoeol(); // nothing of a longer footer stays
        PutTabbedText({FOOTER_ROW + line, FOOTER_COL}, table[line]);
    }
}

void FirstWindow()
{
    if (!IsDrawn()) {
        Print_text(currentpage);
        lastDrawn = {currwindow, currentpage, LINES, COLS};
    }
    DrawHeader(st_p, "(SNMP WardenLink for Linux) UPS ONLINE HELP,");
    if (currwindow == WINDOW_CONTENTS)
        Footer(B_CONTENTS);
    else if (IsMenu(currwindow))
        Footer(B_INTRO);
    else
        Footer(currentpage == pagenum ? LP_TEXT : B_TEXT);
}

void DoContents(int key)
{
    DoMenu(WINDOW_CONTENTS, key);
}

void DoIntro(int key)
{
    DoMenu(WINDOW_INTRO, key);
}

void DoInstall(int key)
{
    DoMenu(WINDOW_INSTALL, key);
}

void DoConfigure(int key)
{
    DoMenu(WINDOW_CONFIGURE, key);
}

void DoUsageTolv(int key)
{
    DoMenu(WINDOW_USAGE, key);
}

void DoText(int key, int parentWindow, const char* parentPath)
{
    EndOnQuitKey(key);
    if (key == 'n' && currentpage < pagenum)
        currentpage++;
    else if (key == 'p' && currentpage > 0)
        currentpage--;
    else if (key == 'p')
        Read_text(parentPath, parentWindow);
}

void tolvan_help()
{
    uname(&systemRecord);
    if (Read_text(WindowEntry(WINDOW_CONTENTS).path, WINDOW_CONTENTS) == -1) {
        printf("\nerror.....exiting\n");
        exit(0);
    }
    InitScreen();
    Print_text(0);
    lastDrawn.rows = LINES;
    lastDrawn.cols = COLS;
    while (true) {
        FirstWindow();
        DrawBox(19, 79, 2, 0);
        refresh();
        HandleKey(GetCH());
    }
}
