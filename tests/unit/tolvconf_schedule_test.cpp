// The weekly schedule as the editor changes it cell by cell, and the check before its table
// may be left.
#include "config/tolvconf_schedule.h"
#include "config/tolvconf_value.h"
#include "settings/tolv_lib.h"
#include "tests/unit/support/held.h"
#include "tests/unit/support/settings_image.h"

#include <climits>
#include <gtest/gtest.h>

namespace {

TEST(ScheduleTable, TakesEachCellThroughAllItsValuesAndRound)
{
    for (int row : {15, 16, 3, 0}) {
        for (int column = 0; column < 14; column++) {
            int most = column % 2 == 0 ? 23 : 59;
            Held held = Defaults();
            Held wanted = Defaults();
            for (int press = 0; press <= most + 2; press++) {
                int now = press % (most + 2);
                SchdlChange(held.schedule, press % 2 == 0 ? '+' : 'i', column, row);
                Cell(wanted.schedule, row, column) = now > most ? -1 : now;
                ASSERT_EQ(ImageOf(held.config, held.schedule),
                          ImageOf(wanted.config, wanted.schedule))
                    << row << " " << column << " " << press;
            }
            Cell(held.schedule, row, column) = -1;
            for (int press = 0; press <= most + 2; press++) {
                SchdlChange(held.schedule, press % 2 == 0 ? '-' : 'm', column, row);
                ASSERT_EQ(Cell(held.schedule, row, column),
                          press == most + 2 ? most : most - press);
            }
        }
    }
}

TEST(ScheduleTable, TakesCellsOutsideTheirRangeBackIntoIt)
{
    for (int column = 0; column < 14; column++) {
        int most = column % 2 == 0 ? 23 : 59;
        for (int wild : {INT_MIN, -77, most + 1, 99, INT_MAX}) {
            Held held = Defaults();
            Cell(held.schedule, 16, column) = wild;
            SchdlChange(held.schedule, '+', column, 16);
            EXPECT_EQ(Cell(held.schedule, 16, column), wild > 0 ? -1 : wild + 1);
            Cell(held.schedule, 16, column) = wild;
            SchdlChange(held.schedule, '-', column, 16);
            EXPECT_EQ(Cell(held.schedule, 16, column), wild > 0 ? wild - 1 : most);
        }
    }
}

int Check(float offDelay, const ScheduleEntry& entry, int day = 0)
{
    Held held = Defaults();
    held.config.upsOffDelay = offDelay;
    held.schedule[day] = entry;
    return ChkSchedule(held.config, held.schedule);
}

TEST(ScheduleCheck, RefusesAStartWithinTheDelayAfterTheShutdown)
{
    for (int day = 0; day < 7; day++) {
        EXPECT_EQ(Check(3.0F, {8, 3, 8, 0}, day), 0);
        EXPECT_EQ(Check(3.0F, {8, 0, 8, 0}, day), 0);
        EXPECT_EQ(Check(3.0F, {8, 4, 8, 0}, day), 1);
        EXPECT_EQ(Check(3.0F, {7, 59, 8, 0}, day), 1);
        EXPECT_EQ(Check(3.0F, {9, 1, 8, 59}, day), 0);
        EXPECT_EQ(Check(3.0F, {0, 1, 23, 59}, day), 1);
    }
}

TEST(ScheduleCheck, CountsTheWholeMinutesOfTheDelay)
{
    struct {
        float delay;
        int whole;
    } const cases[] = {{0.2F, 0}, {0.9F, 0}, {1.0F, 1}, {2.9F, 2}, {3.0F, 3}, {10.0F, 10}};
    for (const auto& test : cases) {
        for (int shutdown = 0; shutdown < 1440; shutdown += 7) {
            for (int after = -3; after <= 13; after++) {
                int start = shutdown + after;
                if (start < 0 || start >= 1440)
                    continue;
                ScheduleEntry entry = {start / 60, start % 60, shutdown / 60, shutdown % 60};
                ASSERT_EQ(Check(test.delay, entry), after >= 0 && after <= test.whole ? 0 : 1)
                    << test.delay << " " << shutdown << " " << after;
            }
        }
    }
}

TEST(ScheduleCheck, LetsADayPassThatLacksAnHour)
{
    EXPECT_EQ(Check(10.0F, {-1, 0, 8, 0}), 1);
    EXPECT_EQ(Check(10.0F, {8, 0, -1, 0}), 1);
    EXPECT_EQ(Check(10.0F, {-1, -1, -1, -1}), 1);
    EXPECT_EQ(Check(3.0F, {INT_MAX, 0, INT_MIN, 0}), 1);
    EXPECT_EQ(Check(3.0F, {INT_MIN, INT_MIN, INT_MAX, INT_MAX}), 1);
}

TEST(ScheduleCheck, CompletesHalfSetTimes)
{
    Held held = Defaults();
    held.schedule[0] = {7, -1, -1, 30};
    held.schedule[3] = {-1, 15, 18, -1};
    held.schedule[6] = {0, -1, 23, -1};
    EXPECT_EQ(ChkSchedule(held.config, held.schedule), 1);
    Held wanted = Defaults();
    wanted.schedule[0] = {7, 0, -1, -1};
    wanted.schedule[3] = {-1, -1, 18, 0};
    wanted.schedule[6] = {0, 0, 23, 0};
    EXPECT_EQ(ImageOf(held.config, held.schedule), ImageOf(wanted.config, wanted.schedule));
}

TEST(ScheduleCheck, EndsAtTheDayItRefuses)
{
    Held held = Defaults();
    held.schedule[1] = {7, -1, -1, -1};
    held.schedule[2] = {8, -1, 8, -1};
    held.schedule[3] = {9, -1, -1, -1};
    EXPECT_EQ(ChkSchedule(held.config, held.schedule), 0);
    EXPECT_EQ(held.schedule[1].startMinute, 0);
    EXPECT_EQ(held.schedule[2].startMinute, 0);
    EXPECT_EQ(held.schedule[2].shutdownMinute, 0);
    EXPECT_EQ(held.schedule[3].startMinute, -1) << "not looked at any more";
}

} // namespace
