// The help viewer: text files under /etc/wardenlink/help, shown in pages and
// reached through menus.
#pragma once

#include "help/tolvhelp_windows.h"

// The index of the loaded file's last page that holds text, the page shown and the
// number of the window shown.
extern int pagenum;
extern int currentpage;
extern int currwindow;

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
