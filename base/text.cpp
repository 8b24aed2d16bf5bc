#include "base/text.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsPrintableByte(char c)
{
    return c >= ' ' && c <= '~';
}

} // namespace

void CopyText(char* dst, size_t size, const char* src)
{
    size_t length = strnlen(src, size - 1);
    memmove(dst, src, length);
    dst[length] = '\0';
}

void FormatText(char* dst, size_t size, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(dst, size, format, arguments);
    va_end(arguments);
}

bool IsPrintable(const char* text)
{
    while (IsPrintableByte(*text))
        text++;
    return *text == '\0';
}

void MakePrintable(char* text)
{
    for (char* c = text; *c != '\0'; c++) {
        if (!IsPrintableByte(*c))
            *c = *c >= 0 && *c < ' ' ? ' ' : '?';
    }
}

void CleanString(char* text)
{
    char* opening = strchr(text, '"');
    if (opening == nullptr)
        return;
    char* closing = strchr(opening + 1, '"');
    if (closing != nullptr)
        closing[1] = '\0';
}

int TruncateToInt(double number)
{
    if (!(number > INT_MIN)) // also for what is not a number
        return number <= INT_MIN ? INT_MIN : 0;
    return number < INT_MAX ? static_cast<int>(number) : INT_MAX;
}

int CutToRange(int value, int lowest, int highest)
{
    if (value < lowest)
        value = lowest;
    return value > highest ? highest : value;
}

void WeekDay(char* dst, int day)
{
    static const char names[7][5] = {"Sun.", "Mon.", "Tue.", "Wed.", "Thu.", "Fri.", "Sat."};
    if (day >= 0 && day < 7)
        memcpy(dst, names[day], sizeof(names[day]));
}

int ChkFloat(const char* text)
{
    int points = 0;
    int digits = 0;
    for (const char* c = text; *c != '\0'; c++) {
        if (*c == '.')
            points++;
        else if (IsDigit(*c))
            digits++;
        else
            return 0;
    }
    return points == 1 && digits > 0 ? 1 : 0;
}

int ChkInt(const char* text)
{
    for (const char* c = text; *c != '\0'; c++) {
        if (!IsDigit(*c))
            return 0;
    }
    return 1;
}

void RpLeadingZeros(char* text)
{
    for (char* c = text; *c == '0' && IsDigit(c[1]); c++)
        *c = ' ';
}

void RmLeadingSpace(char* text)
{
    size_t leading = strspn(text, " ");
    memmove(text, text + leading, strlen(text + leading) + 1);
}

void MakeBar(char* buf, int n)
{
    int cells = CutToRange(n, -1, BAR_CELLS - 1) + 1;
    memset(buf, ' ', static_cast<size_t>(BAR_CELLS));
    buf[cells] = '\0';
}
