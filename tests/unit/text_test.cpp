// Bounded copies, and the small helpers that turn numbers and replies into screen texts.
#include "base/text.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

// What a helper makes of a text that it changes in place.
std::string Changed(void (*helper)(char*), const char* text)
{
    char buffer[128];
    memset(buffer, '#', sizeof(buffer));
    memcpy(buffer, text, strlen(text) + 1);
    helper(buffer);
    EXPECT_EQ(buffer[strlen(text) + 1], '#') << "wrote behind " << text;
    return buffer;
}

struct TextCase {
    const char* before;
    const char* after;
};

TEST(CopyText, CutsAndTerminatesWhatDoesNotFit)
{
    for (size_t size = 1; size <= 7; size++) {
        char buffer[8] = "#######";
        CopyText(buffer, size, "12345");
        EXPECT_EQ(std::string(buffer), std::string("12345").substr(0, size - 1));
        EXPECT_EQ(std::string(buffer + size), std::string(7 - size, '#')) << "wrote too far";
    }
    char shifted[8] = "  abc";
    CopyText(shifted, sizeof(shifted), shifted + 2);
    EXPECT_STREQ(shifted, "abc");
    char field[4];
    CopyField(field, "12345");
    EXPECT_STREQ(field, "123");
}

TEST(FormatText, CutsAndTerminatesWhatDoesNotFit)
{
    for (size_t size = 1; size <= 7; size++) {
        char buffer[8] = "#######";
        FormatText(buffer, size, "%d%s", 12, "345");
        EXPECT_EQ(std::string(buffer), std::string("12345").substr(0, size - 1));
        EXPECT_EQ(std::string(buffer + size), std::string(7 - size, '#')) << "wrote too far";
    }
}

TEST(TruncateToInt, GoesTowardZeroAndStaysInRange)
{
    struct {
        double number;
        int truncated;
    } const cases[] = {{2.9, 2},
                       {-2.9, -2},
                       {0.999, 0},
                       {-0.999, 0},
                       {2147483647.0, INT_MAX},
                       {2147483648.0, INT_MAX},
                       {-2147483648.0, INT_MIN},
                       {-2147483649.0, INT_MIN},
                       {1e300, INT_MAX},
                       {-1e300, INT_MIN},
                       {HUGE_VAL, INT_MAX},
                       {-HUGE_VAL, INT_MIN},
                       {std::nan(""), 0}};
    for (const auto& test : cases)
        EXPECT_EQ(TruncateToInt(test.number), test.truncated) << test.number;
}

TEST(MakePrintable, LeavesNothingThatATerminalObeys)
{
    const TextCase cases[] = {{"as it is ~", "as it is ~"},  {"a\tb\nc\rd", "a b c d"},
                              {"\x1b[2J\x01\x1f", " [2J  "}, {"\x7f", "?"},
                              {"\x80\x9b\xff", "???"},       {"", ""}};
    for (const TextCase& test : cases)
        EXPECT_EQ(Changed(MakePrintable, test.before), test.after);
}

TEST(IsPrintable, SaysWhetherATerminalObeysNothingOfAText)
{
    for (const char* text : {"", " ", "~", "as it is"})
        EXPECT_TRUE(IsPrintable(text)) << text;
    for (const char* text : {"\n", "a\tb", "a\x1f", "\x7f", "\x80", "b \xff"})
        EXPECT_FALSE(IsPrintable(text)) << text;
}

TEST(CleanString, CutsAfterTheSecondQuote)
{
    const TextCase cases[] = {{"\"word\" and more", "\"word\""},
                              {"STRING: \"a b\"\n", "STRING: \"a b\""},
                              {"\"one\" \"two\"", "\"one\""},
                              {"\"whole\"", "\"whole\""},
                              {"\"\"", "\"\""},
                              {"\"\"\"", "\"\""},
                              {"\"open", "\"open"},
                              {"tail\"", "tail\""},
                              {"none at all", "none at all"},
                              {"'single' quotes", "'single' quotes"},
                              {"", ""}};
    for (const TextCase& test : cases)
        EXPECT_EQ(Changed(CleanString, test.before), test.after);
}

TEST(CutToRange, NeverLeavesTheRange)
{
    struct {
        int value, lowest, highest, cut;
    } const cases[] = {{5, 0, 10, 5},        {-1, 0, 10, 0},      {11, 0, 10, 10},
                       {0, 0, 10, 0},        {10, 0, 10, 10},     {3, 7, 7, 7},
                       {INT_MIN, -5, 5, -5}, {INT_MAX, -5, 5, 5}, {0, INT_MIN, INT_MAX, 0},
                       {1, 10, 0, 0}, // the upper end has the last word
                       {100, 10, 0, 0}};
    for (const auto& test : cases)
        EXPECT_EQ(CutToRange(test.value, test.lowest, test.highest), test.cut)
            << test.value << " in " << test.lowest << ".." << test.highest;
}

TEST(WeekDay, NamesTheSevenDays)
{
    const char* const names[] = {"Sun.", "Mon.", "Tue.", "Wed.", "Thu.", "Fri.", "Sat."};
    for (int day = 0; day < 7; day++) {
        char name[6] = "#####";
        WeekDay(name, day);
        EXPECT_STREQ(name, names[day]);
        EXPECT_EQ(strlen(name), 4U);
        EXPECT_EQ(name[5], '\0') << "five bytes at most";
    }
}

TEST(WeekDay, LeavesTheTextForAnyOtherDay)
{
    for (int day : {7, -1, 8, 100, INT_MAX, INT_MIN}) {
        char name[6] = "kept!";
        WeekDay(name, day);
        EXPECT_STREQ(name, "kept!") << day;
    }
}

struct Verdict {
    const char* text;
    int valid;
};

TEST(ChkFloat, WantsDigitsAndOnePoint)
{
    const Verdict cases[] = {{"2.0", 1},   {"12.", 1},   {".5", 1},    {"0.0", 1},   {"220.0", 1},
                             {"00.50", 1}, {"", 0},      {".", 0},     {"220", 0},   {" 2.0", 0},
                             {"2.0 ", 0},  {"-2.0", 0},  {"+2.0", 0},  {"1.2.3", 0}, {"..", 0},
                             {"1..", 0},   {"1,5", 0},   {"N/A", 0},   {"1.5V", 0},  {"0x1.0", 0},
                             {"1e5.", 0},  {"1.5\n", 0}, {"\xB2.0", 0}};
    for (const Verdict& test : cases)
        EXPECT_EQ(ChkFloat(test.text), test.valid) << '"' << test.text << '"';
}

TEST(ChkInt, WantsNothingButDigits)
{
    const Verdict cases[] = {{"", 1},    {"0", 1},   {"45", 1},    {"0000", 1}, {"99999999999", 1},
                             {" 45", 0}, {"45 ", 0}, {"-1", 0},    {"+1", 0},   {"4.5", 0},
                             {"4a", 0},  {"N/A", 0}, {"\"4\"", 0}, {"4\n", 0},  {"\xB2", 0}};
    for (const Verdict& test : cases)
        EXPECT_EQ(ChkInt(test.text), test.valid) << '"' << test.text << '"';
}

TEST(RpLeadingZeros, BlanksZerosThatADigitFollows)
{
    const TextCase cases[] = {
        {"005", "  5"},           {"000", "  0"}, {"00.5", " 0.5"}, {"0.5", "0.5"},
        {"045", " 45"},           {"100", "100"}, {"0", "0"},       {"", ""},
        {"0a0", "0a0"},           {" 05", " 05"}, {"00", " 0"},     {"010", " 10"},
        {"00000000", "       0"}, {"-05", "-05"}};
    for (const TextCase& test : cases)
        EXPECT_EQ(Changed(RpLeadingZeros, test.before), test.after) << test.before;
}

TEST(RmLeadingSpace, MovesTheTextToTheFront)
{
    const TextCase cases[] = {{"  45", "45"},    {"45", "45"},     {"   ", ""},      {"", ""},
                              {" a b ", "a b "}, {"\t45", "\t45"}, {" \t 1", "\t 1"}};
    for (const TextCase& test : cases)
        EXPECT_EQ(Changed(RmLeadingSpace, test.before), test.after) << test.before;
}

TEST(MakeBar, HasOneCellMoreThanAskedFor)
{
    for (int n = 0; n <= 38; n++) {
        char bar[40];
        memset(bar, '#', sizeof(bar));
        MakeBar(bar, n);
        EXPECT_EQ(std::string(bar), std::string(static_cast<size_t>(n) + 1, ' ')) << n;
    }
}

TEST(MakeBar, IsEmptyBelowZeroAndNeverLongerThan39)
{
    struct {
        int n;
        size_t cells;
    } const cases[] = {{-1, 0},  {-2, 0},    {INT_MIN, 0},  {38, 39},
                       {39, 39}, {1000, 39}, {INT_MAX, 39}, {INT_MAX - 1, 39}};
    for (const auto& test : cases) {
        char bar[48];
        memset(bar, '#', sizeof(bar));
        MakeBar(bar, test.n);
        EXPECT_EQ(std::string(bar), std::string(test.cells, ' ')) << test.n;
        EXPECT_EQ(std::string(bar + 40, 8), "########") << "40 bytes are all it has";
    }
}

TEST(MakeBar, FillsAllCellsBehindAShortBarToo)
{
    char bar[40];
    memset(bar, '#', sizeof(bar));
    MakeBar(bar, 3);
    EXPECT_EQ(std::string(bar, 4), "    ");
    EXPECT_EQ(bar[4], '\0');
    EXPECT_EQ(std::string(bar + 5, 34), std::string(34, ' '));
}

} // namespace
