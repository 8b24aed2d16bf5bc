// What the layout tables prove of themselves while they are compiled.
#pragma once

#include "screen/place.h"

#include <cstddef>
#include <string_view>

inline constexpr int SCREEN_ROWS = 24; // all that is shown; below them only the cursor rests
inline constexpr int SCREEN_COLS = 80;

// The column behind a text that begins in a column; a tab goes to the next multiple of 8.
constexpr int ColumnBehind(int col, std::string_view text)
{
    for (char letter : text)
        col = letter == '\t' ? (col / 8 + 1) * 8 : col + 1;
    return col;
}

// True when so many cells from a place on are on the screen.
constexpr bool IsOnScreen(Place place, int width)
{
    return place.row >= 0 && place.row < SCREEN_ROWS && place.col >= 0 &&
           place.col + width <= SCREEN_COLS;
}

// True when a text stands on one row of the screen, whole.
constexpr bool IsOnScreen(Place place, std::string_view text)
{
    return IsOnScreen(place, ColumnBehind(place.col, text) - place.col);
}

// True when lines of text, from a place on downwards, do.
template <size_t lines, size_t width>
constexpr bool AreOnScreen(Place place, const char (&texts)[lines][width])
{
    for (const char* text : texts) {
        if (!IsOnScreen(place, text))
            return false;
        place = Below(place, 1);
    }
    return true;
}

// True when every label of a table does.
template <size_t lines, size_t width>
constexpr bool AreOnScreen(const LayoutLine (&places)[lines], const char (&labels)[lines][width])
{
    for (size_t line = 0; line < lines; line++) {
        if (!IsOnScreen(LabelPlace(places[line]), labels[line]))
            return false;
    }
    return true;
}

// True when a value of so many cells stands behind the label or in a gap of it.
constexpr bool IsRoomInLabel(const LayoutLine& line, std::string_view label, int width)
{
    auto start = static_cast<size_t>(line.valueCol - line.labelCol);
    return IsOnScreen(ValuePlace(line), width) && line.valueCol > line.labelCol &&
           (start >= label.size() ||
            label.substr(start, static_cast<size_t>(width)).find_first_not_of(' ') ==
                std::string_view::npos);
}
