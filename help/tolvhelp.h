// The help viewer: text files under /etc/wardenlink/help, shown in pages and
// reached through menus.
#pragma once

inline constexpr int HELP_PAGES = 8;
inline constexpr int HELP_PAGE_LINES = 17;
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

// Window number 1 is the first entry.
extern const HelpWindow HELP_WINDOW_TABLE[HELP_WINDOWS];

// The text of the loaded file, the index of its last page that holds text, the
// page shown and the number of the window shown.
extern char Page[HELP_PAGES][HELP_PAGE_LINES][HELP_LINE_SIZE];
extern int pagenum;
extern int currentpage;
extern int currwindow;

// Footers: of the contents page, the topic menus, a topic's pages and its last.
inline constexpr int HELP_FOOTER_LINES = 3;
extern const char B_CONTENTS[HELP_FOOTER_LINES][HELP_LINE_SIZE];
extern const char B_INTRO[HELP_FOOTER_LINES][HELP_LINE_SIZE];
extern const char B_TEXT[HELP_FOOTER_LINES][HELP_LINE_SIZE];
extern const char LP_TEXT[HELP_FOOTER_LINES][HELP_LINE_SIZE];

// Runs the viewer; ends the process with status 0.
[[noreturn]] void tolvan_help();

// Loads a file as this window's, at its first page. 0, or -1 when it cannot be
// read: the window stays, the page store is empty.
int Read_text(const char* path, int window);

// Clears the screen and writes one page at rows 3 to 19.
void Print_text(int page);

// Writes a footer at rows 21 to 23.
void Footer(const char table[HELP_FOOTER_LINES][HELP_LINE_SIZE]);

// Draws the page when window, page or the screen's size changed, then the header
// and the footer.
void FirstWindow();

// One key of the contents page and of each topic menu.
void DoContents(int key);
void DoIntro(int key);
void DoInstall(int key);
void DoConfigure(int key);
void DoUsageTolv(int key);

// One key of a topic text, whose menu is the parent.
void DoText(int key, int parentWindow, const char* parentPath);
