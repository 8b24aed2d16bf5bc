#include "help/tolvhelp.h"

#include "base/system.h"
#include "base/text.h"
#include "help/tolvhelp_windows.h"
#include "screen/frame.h"
#include "screen/getch.h"
#include "screen/layout_check.h"

#include <cstdlib>
#include <cstring>
#include <curses.h>

static constexpr int HELP_PAGES = 8;
static constexpr int HELP_PAGE_LINES = 17;

// The text of the loaded file.
static char Page[HELP_PAGES][HELP_PAGE_LINES][HELP_LINE_SIZE];

int pagenum = 0;
int currentpage = 0;
int currwindow = WINDOW_CONTENTS;

namespace {

constexpr char TITLE[] = "(SNMP WardenLink for Linux) UPS ONLINE HELP,";
constexpr Place TEXT_PLACE = {3, 3};
constexpr int TEXT_WIDTH = 75; // up to the box
constexpr Place FOOTER_PLACE = {21, 9};
constexpr Place BOX_PLACE = {2, 0};
constexpr int BOX_HEIGHT = 19;
constexpr int BOX_WIDTH = 79;

// The text fills the box, the footer stands below it.
static_assert(TEXT_PLACE.row > BOX_PLACE.row && TEXT_PLACE.col > BOX_PLACE.col &&
              TEXT_PLACE.row + HELP_PAGE_LINES == BOX_PLACE.row + BOX_HEIGHT - 1 &&
              TEXT_PLACE.col + TEXT_WIDTH == BOX_PLACE.col + BOX_WIDTH - 1 &&
              TEXT_WIDTH >= HELP_LINE_SIZE - 1);
static_assert(IsTitleOnScreen(st_p[0], TITLE));
static_assert(FOOTER_PLACE.row == BOX_PLACE.row + BOX_HEIGHT);
static_assert(AreOnScreen(FOOTER_PLACE, B_CONTENTS) && AreOnScreen(FOOTER_PLACE, B_INTRO) &&
              AreOnScreen(FOOTER_PLACE, B_TEXT) && AreOnScreen(FOOTER_PLACE, LP_TEXT));

// --- the viewer --------------------------------------------------------------------------

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
void PutLine(Place place, const char* text)
{
    char line[TEXT_WIDTH + 1] = "";
    int length = 0;
    for (const char* c = text; *c != '\0' && length < TEXT_WIDTH; c++) {
        line[length++] = *c == '\t' ? ' ' : *c;
        while (*c == '\t' && (place.col + length) % TABSIZE != 0 && length < TEXT_WIDTH)
            line[length++] = ' ';
    }
    PutText(place, line);
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
    FILE* file = OpenStreamToRead(path);
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
        PutLine(Below(TEXT_PLACE, line), Page[page][line]);
}

void Footer(const char table[HELP_FOOTER_LINES][HELP_LINE_SIZE])
{
    for (int line = 0; line < HELP_FOOTER_LINES; line++) {
        Place place = Below(FOOTER_PLACE, line);
        if (move(place.row, place.col) == OK)
            clrtoeol(); // nothing of a longer footer stays
        PutTabbedText(place, table[line]);
    }
}

void FirstWindow()
{
    if (!IsDrawn()) {
        Print_text(currentpage);
        lastDrawn = {currwindow, currentpage, LINES, COLS};
    }
    DrawHeader(st_p, TITLE);
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
        DrawBox(BOX_HEIGHT, BOX_WIDTH, BOX_PLACE.row, BOX_PLACE.col);
        refresh();
        HandleKey(GetCH());
    }
}
