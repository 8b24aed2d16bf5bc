// Places on the screen, and the lines of a layout table that name them.
#pragma once

#include <cstdint>

// A place on the screen, row 0 at the top.
struct Place {
    int row;
    int col;
};

constexpr Place RightOf(Place place, int cols)
{
    return {place.row, place.col + cols};
}

constexpr Place Below(Place place, int rows)
{
    return {place.row + rows, place.col};
}

// One line of a layout table; valueCol -1 = the line carries no value.
struct LayoutLine {
    int32_t row;
    int32_t labelCol;
    int32_t valueCol;
};

constexpr Place LabelPlace(const LayoutLine& line)
{
    return {line.row, line.labelCol};
}

constexpr Place ValuePlace(const LayoutLine& line)
{
    return {line.row, line.valueCol};
}
