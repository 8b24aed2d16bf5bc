// A screen of 25 rows for tests that call the painting routines themselves.
#pragma once

#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

// After the standard headers: curses makes macros of common names.
#include <curses.h>

// What stands in count cells from (row, col) on.
inline std::string CellText(int row, int col, int count)
{
    char text[81] = "";
    mvinnstr(row, col, text, count);
    return text;
}

inline std::string Blanks(int count)
{
    return std::string(static_cast<size_t>(count), ' ');
}

// Curses on a pseudo-terminal of its own; nothing is read from it.
struct CursesScreen : testing::Test {
    int master = -1;
    FILE* terminal = nullptr;
    SCREEN* screen = nullptr;

    void SetUp() override
    {
        winsize size = {25, 80, 0, 0};
        int slave = -1;
        ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, &size), 0);
        terminal = fdopen(slave, "r+");
        screen = newterm("linux", terminal, terminal);
        ASSERT_NE(screen, nullptr);
        ASSERT_EQ(LINES, 25);
    }

    void TearDown() override
    {
        endwin();
        delscreen(screen);
        fclose(terminal);
        close(master);
    }
};
