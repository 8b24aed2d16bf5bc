// The battery's level of a UPS on the serial port, as painted.
#include "status/tolvstat_comport.h"
#include "status/tolvstat_data.h"

#include <cmath>
#include <cstdlib>
#include <curses.h>
#include <gtest/gtest.h>
#include <string>

namespace {

// A screen of 80 by 25 that nobody sees.
class LevelTest : public testing::Test {
  protected:
    void SetUp() override
    {
        setenv("LINES", "25", 1);
        setenv("COLUMNS", "80", 1);
        nowhere = fopen("/dev/null", "r+");
        ASSERT_NE(nowhere, nullptr);
        terminal = newterm("linux", nowhere, nowhere);
        ASSERT_NE(terminal, nullptr);
        ASSERT_EQ(COLS, 80);
    }

    void TearDown() override
    {
        endwin();
        delscreen(terminal);
        fclose(nowhere);
    }

    FILE* nowhere = nullptr;
    SCREEN* terminal = nullptr;
};

// What the panel shows of a level: the text at its place and the cells of its bar.
struct ShownLevel {
    std::string text;
    int cells;
};

ShownLevel PaintLevel(const char* upsType, const std::string& rating, const std::string& voltage,
                      std::string* ratingAfter = nullptr)
{
    StatusFields fields = {};
    InitScreenData(fields);
    snprintf(fields.upsType, sizeof(fields.upsType), "%s", upsType);
    snprintf(fields.batteryRating, sizeof(fields.batteryRating), "%s", rating.c_str());
    snprintf(fields.batteryVoltage, sizeof(fields.batteryVoltage), "%s", voltage.c_str());
    DrawComportRight(fields);
    if (ratingAfter != nullptr)
        *ratingAfter = fields.batteryRating;
    ShownLevel shown = {"", 0};
    for (int col = 62; col < 65; col++)
        shown.text += static_cast<char>(mvinch(15, col) & A_CHARTEXT);
    while (43 + shown.cells < COLS && (mvinch(16, 43 + shown.cells) & A_STANDOUT) != 0)
        shown.cells++;
    return shown;
}

// The level in exact fractions, from tenths of a volt: 21/24 of the nominal voltage is
// empty and 26.67/24 is full. numerator / denominator is a percentage.
struct ExactLevel {
    long numerator;
    long denominator;
};

ExactLevel LevelOf(long measured, long nominal)
{
    // (measured - 21/24 nominal) / (5.67/24 nominal) * 100, both sides times 2400.
    long above = 2400 * measured - 2100 * nominal;
    long range = 567 * nominal;
    if (above <= 0)
        return {0, 1};
    return above >= range ? ExactLevel{100, 1} : ExactLevel{above * 100, range};
}

// A level that lies on the border of two texts or of two bars may be shown as either.
bool IsShownAs(const ExactLevel& level, const ShownLevel& shown)
{
    double percent = static_cast<double>(level.numerator) / static_cast<double>(level.denominator);
    if (fabs(strtod(shown.text.c_str(), nullptr) - percent) > 0.5 + 1e-9)
        return false;
    bool isBetween = level.denominator != 1;
    double slack = isBetween ? 1e-9 : 0;
    return shown.cells >= static_cast<int>((percent - slack) / 4) + 1 &&
           shown.cells <= static_cast<int>((percent + slack) / 4) + 1;
}

std::string Tenths(int value)
{
    char text[20];
    snprintf(text, sizeof(text), "%04.1f", value / 10.0);
    return text;
}

TEST_F(LevelTest, FollowsTheExamples)
{
    struct {
        const char* upsType;
        const char* rating;
        const char* voltage;
        const char* text;
        int cells;
    } const cases[] = {
        {"Standby", "12.00", "13.60", "100", 26}, // the field keeps "13.6"
        {"Standby", "12.00", "13.3", " 99", 25},  // 98.765 percent
        {"Standby", "12.00", "10.5", "  0", 1},
        {"Standby", "12.00", "12.0", " 53", 14}, // 52.91 percent
        {"Standby", "24.00", "24.0", " 53", 14},
        {"Standby", "96.0", "99.9", " 70", 18},  // 70.105 percent
        {"On Line", "12.00", "2.05", " 63", 16}, // 63.49 percent
        {"On Line", "", "1.75", "  0", 1},
        {"On Line", "N/A", "2.22", " 99", 25}, // 99.47 percent
        {"N/A", "48.0", "2.05", " 63", 16},
    };
    for (const auto& test : cases) {
        ShownLevel shown = PaintLevel(test.upsType, test.rating, test.voltage);
        EXPECT_EQ(shown.text, test.text) << test.rating << " at " << test.voltage;
        EXPECT_EQ(shown.cells, test.cells) << test.rating << " at " << test.voltage;
    }
}

TEST_F(LevelTest, IsRightForEveryRatingAndEveryVoltage)
{
    for (int rating = 120; rating <= 960; rating += 5) {
        for (int voltage = 0; voltage <= 999; voltage++) {
            ShownLevel shown = PaintLevel("Standby", Tenths(rating), Tenths(voltage));
            ASSERT_TRUE(IsShownAs(LevelOf(voltage, rating), shown))
                << "rating " << Tenths(rating) << ", measured " << Tenths(voltage) << ": '"
                << shown.text << "', " << shown.cells << " cells";
        }
    }
}

TEST_F(LevelTest, IsThatOfOneCellForAnOnLineUpsAtEveryVoltage)
{
    for (int voltage = 0; voltage <= 999; voltage++) {
        std::string rating;
        ShownLevel shown = PaintLevel("On Line", "48.0", Tenths(voltage), &rating);
        ASSERT_TRUE(IsShownAs(LevelOf(voltage, 20), shown)) << Tenths(voltage);
        ASSERT_EQ(rating, "2.0") << "stays in the record";
    }
    for (int hundredths = 0; hundredths <= 999; hundredths++) {
        char voltage[20];
        snprintf(voltage, sizeof(voltage), "%4.2f", hundredths / 100.0);
        ShownLevel shown = PaintLevel("On Line", "N/A", voltage);
        ASSERT_TRUE(IsShownAs(LevelOf(hundredths, 200), shown)) << voltage;
    }
}

TEST_F(LevelTest, NeverFallsWhileTheVoltageRises)
{
    for (const char* rating : {"12.0", "24.0", "36.0", "48.0", "72.0", "96.0"}) {
        double before = 0;
        for (int voltage = 0; voltage <= 999; voltage++) {
            double level =
                strtod(PaintLevel("Standby", rating, Tenths(voltage)).text.c_str(), nullptr);
            ASSERT_GE(level, before) << rating << " at " << Tenths(voltage);
            before = level;
        }
    }
}

TEST_F(LevelTest, CannotBeToldWithoutARating)
{
    for (const char* rating :
         {"0.0", "00.00", "000.0", ".0", "0.", "N/A", "", " 0.0", " 9.0", "12", "-12.0", "1.2.3"}) {
        for (int voltage = 0; voltage <= 999; voltage += 37) {
            ShownLevel shown = PaintLevel("Standby", rating, Tenths(voltage));
            EXPECT_EQ(shown.text, "N/A") << rating;
            EXPECT_EQ(shown.cells, 0) << rating;
        }
    }
}

TEST_F(LevelTest, CannotBeToldWithoutAVoltage)
{
    for (const char* upsType : {"Standby", "On Line", "N/A"}) {
        for (const char* voltage : {"N/A", "", "13", "1234", "-2.0", " 2.0", ".", "2,05", "2.0V"}) {
            ShownLevel shown = PaintLevel(upsType, "12.00", voltage);
            EXPECT_EQ(shown.text, "N/A") << upsType << ' ' << voltage;
            EXPECT_EQ(shown.cells, 0) << upsType << ' ' << voltage;
        }
    }
}

} // namespace
