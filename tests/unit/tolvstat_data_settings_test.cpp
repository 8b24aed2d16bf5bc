// The settings as the status screens show them.
#include "settings/tolv_lib.h"
#include "status/tolvstat_data.h"
#include "tests/unit/support/one_minute.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace {

// Settings, and what stands on the screen before and after they are rendered.
struct Rendering {
    PowerConfig config;
    ScheduleEntry schedule[7];
    StatusFields fields;
    int shutdownDue;
};

Rendering Prepared()
{
    Rendering rendering = {};
    InitConfig(rendering.config, rendering.schedule);
    return rendering;
}

void Render(Rendering& rendering)
{
    GetFromConfig(rendering.fields, rendering.config, rendering.schedule, &rendering.shutdownDue);
}

std::string AtLeastTwoWide(int number)
{
    std::string text = std::to_string(number);
    return text.size() < 2 ? " " + text : text;
}

TEST(RenderedSettings, ShowTheDefaults)
{
    Rendering rendering = Prepared();
    Render(rendering);
    EXPECT_STREQ(rendering.fields.batteryRating, " 0.0");
    EXPECT_STREQ(rendering.fields.commPort, "/dev/ttyS1");
    EXPECT_STREQ(rendering.fields.countdownText, "ON ");
    EXPECT_STREQ(rendering.fields.scheduleText, "OFF");
    EXPECT_STREQ(rendering.fields.acFailDelayText, " 5.0");
    EXPECT_STREQ(rendering.fields.upsOffDelayText, " 3.0");
    EXPECT_STREQ(rendering.fields.nextShutdown, "---  --:--");
    EXPECT_STREQ(rendering.fields.nextPowerOn, "---  --:--");
    EXPECT_STREQ(rendering.fields.shutdownDue, "NO ");
    EXPECT_EQ(rendering.shutdownDue, 0);
}

TEST(RenderedSettings, ShowTheAcFailDelayInItsThreeWidths)
{
    struct {
        int16_t minutes;
        const char* text;
    } const cases[] = {{5, " 5.0"},  {60, "60.0"},  {61, " 61"},    {120, " 120"},
                       {0, " 0.0"},  {999, " 999"}, {1000, "1000"}, {1440, "1440"},
                       {-1, "-1.0"}, {9999, "9999"}};
    for (const auto& test : cases) {
        Rendering rendering = Prepared();
        rendering.config.acFailDelay = test.minutes;
        Render(rendering);
        EXPECT_STREQ(rendering.fields.acFailDelayText, test.text);
    }
}

TEST(RenderedSettings, ShowEveryAcFailDelay)
{
    Rendering rendering = Prepared();
    for (int minutes = INT16_MIN; minutes <= INT16_MAX; minutes++) {
        rendering.config.acFailDelay = static_cast<int16_t>(minutes);
        strcpy(rendering.fields.acFailDelayText, "before");
        Render(rendering);
        std::string expected = "before"; // five digits have no room
        if (minutes < 61)
            expected = AtLeastTwoWide(minutes) + ".0";
        else if (minutes <= 999)
            expected = " " + std::to_string(minutes);
        else if (minutes <= 9999)
            expected = std::to_string(minutes);
        ASSERT_EQ(std::string(rendering.fields.acFailDelayText), expected) << minutes;
    }
}

TEST(RenderedSettings, ShowTheBatteryRatingUnlessItIsNegative)
{
    struct {
        float volts;
        const char* text;
    } const cases[] = {{0.0F, " 0.0"},    {12.0F, "12.0"}, {9.6F, " 9.6"},  {96.0F, "96.0"},
                       {120.0F, "120.0"}, {-1.0F, "kept"}, {1e9F, "10000"}, {NAN, "kept"}};
    for (const auto& test : cases) {
        Rendering rendering = Prepared();
        strcpy(rendering.fields.batteryRating, "kept");
        rendering.config.batteryRating = test.volts;
        Render(rendering);
        EXPECT_STREQ(rendering.fields.batteryRating, test.text) << test.volts;
    }
}

TEST(RenderedSettings, CutTheSerialDeviceTo12Characters)
{
    struct {
        const char* device;
        const char* text;
    } const cases[] = {{"/dev/ttyS1", "/dev/ttyS1"},
                       {"/dev/ttyS123", "/dev/ttyS123"},
                       {"/dev/ttyUSB10", "/dev/ttyUSB1"},
                       {"/dev/serial/by-id/usb-0123456", "/dev/serial/"},
                       {"", ""}};
    for (const auto& test : cases) {
        Rendering rendering = Prepared();
        strcpy(rendering.config.comPort, test.device);
        Render(rendering);
        EXPECT_STREQ(rendering.fields.commPort, test.text);
    }
}

TEST(RenderedSettings, ShowTheSwitchesAndLeaveThemForOtherNumbers)
{
    struct {
        int16_t state;
        const char* text;
    } const cases[] = {{0, "OFF"}, {1, "ON "}, {2, "old"}, {-1, "old"}};
    for (const auto& test : cases) {
        Rendering rendering = Prepared();
        strcpy(rendering.fields.countdownText, "old");
        strcpy(rendering.fields.scheduleText, "old");
        rendering.config.countdownOn = test.state;
        Render(rendering);
        EXPECT_STREQ(rendering.fields.countdownText, test.text);
        EXPECT_STREQ(rendering.fields.scheduleText, "OFF");
        rendering.config.scheduleOn = test.state;
        rendering.config.countdownOn = 1;
        strcpy(rendering.fields.scheduleText, "old");
        Render(rendering);
        EXPECT_STREQ(rendering.fields.scheduleText, test.text);
        EXPECT_STREQ(rendering.fields.countdownText, "ON ");
    }
}

TEST(RenderedSettings, ShowTheTurnOffDelay)
{
    struct {
        float minutes;
        const char* text;
    } const cases[] = {{3.0F, " 3.0"}, {10.0F, "10.0"}, {0.2F, " 0.2"},
                       {2.5F, " 2.5"}, {-1.0F, "-1.0"}, {12345.0F, "1234"}};
    for (const auto& test : cases) {
        Rendering rendering = Prepared();
        rendering.config.upsOffDelay = test.minutes;
        Render(rendering);
        EXPECT_STREQ(rendering.fields.upsOffDelayText, test.text);
    }
}

Rendering Scheduled()
{
    Rendering rendering = Prepared();
    rendering.config.scheduleOn = 1;
    rendering.schedule[5] = {-1, -1, 17, 30};
    rendering.schedule[1] = {7, 5, -1, -1};
    return rendering;
}

TEST(RenderedSettings, ShowTheNextShutdownAndPowerOn)
{
    Rendering rendering = Scheduled();
    Render(rendering);
    EXPECT_STREQ(rendering.fields.nextShutdown, "Fri. 17:30");
    EXPECT_STREQ(rendering.fields.nextPowerOn, "Mon. 07:05");
}

TEST(RenderedSettings, NameEveryWeekday)
{
    const char* const names[] = {"Sun.", "Mon.", "Tue.", "Wed.", "Thu.", "Fri.", "Sat."};
    for (int day = 0; day < 7; day++) {
        Rendering rendering = Prepared();
        rendering.config.scheduleOn = 1;
        rendering.schedule[day] = {23, 59, 0, 0};
        Render(rendering);
        EXPECT_EQ(std::string(rendering.fields.nextShutdown), names[day] + std::string(" 00:00"));
        EXPECT_EQ(std::string(rendering.fields.nextPowerOn), names[day] + std::string(" 23:59"));
    }
}

TEST(RenderedSettings, ShowNoEventWhileTheScheduleIsOff)
{
    for (int16_t state : {0, 2, -1}) {
        Rendering rendering = Scheduled();
        rendering.config.scheduleOn = state;
        rendering.config.acFailDelay = 32767; // every shutdown would be near
        strcpy(rendering.fields.nextShutdown, "old");
        strcpy(rendering.fields.shutdownDue, "YES");
        Render(rendering);
        EXPECT_STREQ(rendering.fields.nextShutdown, "---  --:--");
        EXPECT_STREQ(rendering.fields.nextPowerOn, "---  --:--");
        EXPECT_STREQ(rendering.fields.shutdownDue, "NO ");
        EXPECT_EQ(rendering.shutdownDue, 0);
    }
}

TEST(RenderedSettings, ShowNoPowerOnWhenTheUpsStaysOnOrNoneIsSet)
{
    Rendering rendering = Scheduled();
    rendering.config.turnOffUps = 0;
    Render(rendering);
    EXPECT_STREQ(rendering.fields.nextShutdown, "Fri. 17:30");
    EXPECT_STREQ(rendering.fields.nextPowerOn, "---  --:--");
    rendering.config.turnOffUps = 1;
    rendering.schedule[1] = {-1, -1, -1, -1};
    Render(rendering);
    EXPECT_STREQ(rendering.fields.nextShutdown, "Fri. 17:30");
    EXPECT_STREQ(rendering.fields.nextPowerOn, "---  --:--");
    rendering.schedule[5] = {9, 0, -1, -1};
    Render(rendering);
    EXPECT_STREQ(rendering.fields.nextShutdown, "---  --:--") << "a start alone is no event";
    EXPECT_STREQ(rendering.fields.nextPowerOn, "---  --:--");
}

// What is shown less than so many minutes before a shutdown, by a second at least.
Rendering RenderedBefore(int minutes, int16_t acFailDelay)
{
    return InOneMinute([=](time_t minute) {
        while (time(nullptr) == minute) // so many minutes to the second: no nearer than a delay of
            usleep(10'000);             // as many
        Rendering rendering = Prepared();
        rendering.config.scheduleOn = 1;
        rendering.config.acFailDelay = acFailDelay;
        time_t at = minute + minutes * 60;
        tm local = {};
        localtime_r(&at, &local);
        rendering.schedule[local.tm_wday] = {-1, -1, local.tm_hour, local.tm_min};
        Render(rendering);
        return rendering;
    });
}

TEST(RenderedSettings, WarnWhenTheShutdownIsNearerThanTheAcFailDelay)
{
    struct {
        int ahead;
        int16_t delay;
        bool isNear;
    } const cases[] = {{1, 5, true},        {5, 5, true},        {6, 5, false},  {1, 1, true},
                       {2, 1, false},       {1, 0, false},       {1, -5, false}, {1440, 1440, true},
                       {1441, 1440, false}, {10079, 32767, true}};
    for (const auto& test : cases) {
        Rendering rendering = RenderedBefore(test.ahead, test.delay);
        EXPECT_STREQ(rendering.fields.shutdownDue, test.isNear ? "YES" : "NO ")
            << test.ahead << " minutes ahead, delay " << test.delay;
        EXPECT_EQ(rendering.shutdownDue, test.isNear ? 1 : 0);
    }
}

TEST(RenderedSettings, NeverClearTheCallersFlag)
{
    Rendering rendering = Scheduled();
    rendering.config.acFailDelay = 0;
    rendering.shutdownDue = 1;
    Render(rendering);
    EXPECT_STREQ(rendering.fields.shutdownDue, "NO ");
    EXPECT_EQ(rendering.shutdownDue, 1);
}

TEST(RenderedSettings, SurviveNonsenseInTheSchedule)
{
    for (int number : {INT_MAX, INT_MIN, 99, -2, 1234567}) {
        Rendering rendering = Prepared();
        memset(&rendering.fields, 'x', sizeof(rendering.fields));
        rendering.config.scheduleOn = 1;
        rendering.config.upsOffDelay = INFINITY;
        for (ScheduleEntry& day : rendering.schedule)
            day = {number, number, number, number};
        Render(rendering);
        EXPECT_LT(strnlen(rendering.fields.nextShutdown, 11), 11U);
        EXPECT_LT(strnlen(rendering.fields.nextPowerOn, 11), 11U);
        EXPECT_EQ(std::string(rendering.fields.nextShutdown + 3, 2), ". ");
    }
}

} // namespace
