// What the bare screens share: the least that ncurses takes for the cells that wardenlink shows.
#pragma once

#include <cstddef>

struct BareText {
    int row;
    int col;
    const char* text;
};

// Puts the terminal into its mode, with reads of two seconds at the most.
void StartScreen();

// The next key, or -1 after 3.3 seconds without one.
int NextKey();

void Paint(const BareText& text);

template <size_t count> void PaintAll(const BareText (&texts)[count])
{
    for (const BareText& text : texts)
        Paint(text);
}

void PaintBox(int height, int width, int top, int left);

// A bar of so many cells.
void PaintBar(int row, int cells);

// The vendor's notice with the date and time, on row 1.
void PaintNotice();

// The two boxes, the title and the machine's name of the status screens.
void PaintStatusFrame();

// The names, rules and scales of the five values on the right.
void PaintStatusScales();
