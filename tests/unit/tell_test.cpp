// The daemon's words.
#include "daemon/tell.h"

#include "daemon/log.h"

#include <gtest/gtest.h>

namespace {

TEST(LogAction, TellsTheNumbersOfAScheduledShutdown)
{
    struct {
        PolicyAction action;
        const char* line;
    } const cases[] = {
        {{POLICY_RETURN_CUT, CAUSE_SCHEDULE, 10020, false},
         "<4>the UPS cannot be told to come back after 10020 minutes: 9999 at most, and 1 at least"
         "\n"},
        {{POLICY_SCHEDULE_MISSED, CAUSE_SCHEDULE, 301, false},
         "<4>a scheduled shutdown is 301 seconds past: it is left out\n"},
    };
    OpenLog(true);
    for (const auto& one : cases) {
        testing::internal::CaptureStderr();
        LogAction(one.action, {}, PATH_SERIAL);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), one.line);
    }
}

TEST(FormatDuration, SaysMinutesAndSeconds)
{
    struct {
        int seconds;
        const char* text;
    } const cases[] = {{0, "0 seconds"},          {1, "1 second"},
                       {59, "59 seconds"},        {60, "1 minute"},
                       {61, "1 minute 1 second"}, {179, "2 minutes 59 seconds"},
                       {7200, "120 minutes"}};
    for (const auto& one : cases) {
        char text[48] = "";
        FormatDuration(text, sizeof(text), one.seconds);
        EXPECT_STREQ(text, one.text);
    }
}

} // namespace
