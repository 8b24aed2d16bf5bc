// The daemon's words.
#include "daemon/tell.h"

#include <gtest/gtest.h>

namespace {

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
