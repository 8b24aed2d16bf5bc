// The environment of event programs.
#include "daemon/events.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

std::vector<std::string> Lines(const EventEnvironment& environment)
{
    std::vector<std::string> lines;
    for (const char* const* line = environment.lines; *line != nullptr; line++)
        lines.emplace_back(*line);
    EXPECT_EQ(static_cast<int>(lines.size()), environment.count);
    return lines;
}

TEST(EventEnvironment, HoldsPathAndLanguageAndWhatIsAdded)
{
    EventEnvironment environment;
    StartEnvironment(environment);
    AddVariable(environment, "UPS_LOAD", "%d", 45);
    AddVariable(environment, "UPS_MODEL", "%s", "");
    const std::vector<std::string> expected = {
        "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "LANG=C",
        "UPS_LOAD=45", "UPS_MODEL="};
    EXPECT_EQ(Lines(environment), expected);
}

TEST(EventEnvironment, HoldsPrintableCharactersOnly)
{
    EventEnvironment environment;
    StartEnvironment(environment);
    AddVariable(environment, "UPS_MODEL", "a\nB=c\x1b[31m\xff");
    std::string line = Lines(environment).back();
    EXPECT_EQ(line.substr(0, 11), "UPS_MODEL=a");
    for (char c : line)
        EXPECT_TRUE(c >= ' ' && c <= '~') << line;
}

TEST(EventEnvironment, LeavesOutWhatDoesNotFit)
{
    EventEnvironment environment;
    StartEnvironment(environment);
    for (int i = 0; i < 2 * EVENT_VARIABLES; i++)
        AddVariable(environment, "N", "%d", i);
    std::vector<std::string> lines = Lines(environment);
    EXPECT_EQ(lines.size(), static_cast<size_t>(EVENT_VARIABLES));
    EXPECT_EQ(lines.back(), "N=" + std::to_string(EVENT_VARIABLES - 3));
}

TEST(EventEnvironment, CutsLongValuesAndEndsWhenItIsFull)
{
    EventEnvironment environment;
    StartEnvironment(environment);
    const std::string longest(500, 'x');
    for (int i = 0; i < EVENT_VARIABLES; i++)
        AddVariable(environment, "LONG", "%s", longest.c_str());
    std::vector<std::string> lines = Lines(environment);
    EXPECT_LT(lines.size(), static_cast<size_t>(EVENT_VARIABLES));
    EXPECT_LE(environment.used, EVENT_TEXT_SIZE);
    EXPECT_EQ(lines.back(), "LONG=" + std::string(127, 'x'));
    AddVariable(environment, "S", "1");
    EXPECT_EQ(Lines(environment).back(), "S=1") << "a short one still fits";
}

} // namespace
