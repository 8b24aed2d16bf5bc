// The status file and the environment of events: the same members in both.
#include "daemon/status_file.h"

#include "base/text.h"
#include "tests/unit/support/files.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <string>

namespace {

// A daemon's whole state, to be changed at will.
struct View {
    PowerConfig cfg = {};
    ScheduleEntry sched[7];
    Source source = {};
    PolicyState policy = {};
    Reading reading = {};
    int64_t readingAt = 99000;
    int64_t now = 100000;
    bool isDryRun = false;
    bool isGoingDown = false;

    View()
    {
        InitConfig(cfg, sched);
        PolicyActions actions;
        StartPolicy(policy, cfg, sched, NOTHING_KEPT, now, actions);
        ClearReading(reading);
        ClearNames(source.names);
        source.path = PATH_SERIAL;
        source.state = SOURCE_HEARD;
        policy.isKnown = true;
    }

    StatusView Get() const
    {
        return {cfg, source, policy, reading, readingAt, now, isDryRun, isGoingDown};
    }

    std::string Text() const
    {
        static char text[STATUS_TEXT_SIZE];
        size_t length = FormatStatus(text, Get());
        EXPECT_EQ(length, strlen(text));
        return text;
    }

    // The value of a member as it stands there.
    std::string Member(const std::string& name) const
    {
        std::string text = Text();
        size_t at = text.find("\n  \"" + name + "\": ");
        if (at == std::string::npos)
            return "<none>";
        at = text.find(": ", at) + 2;
        std::string value = text.substr(at, text.find('\n', at) - at);
        if (!value.empty() && value.back() == ',')
            value.pop_back();
        return value;
    }
};

TEST(StatusFile, IsOneObjectWithAMemberALine)
{
    View view;
    std::string text = view.Text();
    EXPECT_EQ(text.substr(0, 2), "{\n");
    EXPECT_EQ(text.substr(text.size() - 3), "\n}\n");
    EXPECT_EQ(text.find(",\n}"), std::string::npos) << "nothing behind the last one";
}

TEST(StatusFile, TellsWhatTheUpsReadsAndNullWhereItDoesNot)
{
    View view;
    view.reading.inputVoltage = 230.04;
    view.reading.batteryVoltage = 2.05;
    view.reading.load = 45;
    EXPECT_EQ(view.Member("input_voltage"), "230.0");
    EXPECT_EQ(view.Member("battery_voltage"), "2.05");
    EXPECT_EQ(view.Member("load"), "45");
    EXPECT_EQ(view.Member("temperature"), "null");
    EXPECT_EQ(view.Member("reading_age"), "1.0");
    view.readingAt = NEVER;
    EXPECT_EQ(view.Member("reading_age"), "null");
    view.reading.inputVoltage = INFINITY;
    EXPECT_EQ(view.Member("input_voltage"), "null");
}

TEST(StatusFile, TellsHowItIsInOneNumber)
{
    View view;
    EXPECT_EQ(view.Member("status"), "0");
    EXPECT_EQ(view.Member("mains"), "\"good\"");
    view.policy.isKnown = false;
    EXPECT_EQ(view.Member("status"), "1");
    EXPECT_EQ(view.Member("mains"), "\"unknown\"");
    view.policy.kept.outageSince = 70000;
    EXPECT_EQ(view.Member("status"), "2") << "an outage goes on in silence";
    EXPECT_EQ(view.Member("pending"), "\"outage\"");
    EXPECT_EQ(view.Member("outage_seconds"), "30");
    EXPECT_EQ(view.Member("shutdown_in"), std::to_string(view.cfg.acFailDelay * 60 - 30));
    view.policy.kept.lowSince = 80000;
    EXPECT_EQ(view.Member("status"), "3");
    view = View();
    view.policy.last.batteryLow = true;
    EXPECT_EQ(view.Member("status"), "3") << "also with good mains";
    view = View();
    view.isGoingDown = true;
    EXPECT_EQ(view.Member("status"), "3");
    EXPECT_EQ(view.Member("pending"), "\"shutdown\"");
    EXPECT_EQ(view.Member("shutdown_in"), "0");
}

TEST(StatusFile, TellsOfTheSoonerShutdownAndNeverOfAPastOne)
{
    View view;
    view.policy.settings.acFailDelay = 60000;
    struct {
        int64_t outageSince;
        int schedule; // seconds from now, 0 = none
        const char* pending;
        int least, most;
    } const cases[] = {
        {70000, 0, "outage", 30, 30},    {70000, 100, "outage", 30, 30},
        {70000, 20, "schedule", 15, 20}, {NEVER, 20, "schedule", 15, 20},
        {10000, 0, "outage", 0, 0},      {NEVER, -20, "schedule", 0, 0},
    };
    for (const auto& test : cases) {
        view.policy.kept.outageSince = test.outageSince;
        view.policy.scheduled.at = test.schedule == 0 ? -1 : time(nullptr) + test.schedule;
        EXPECT_EQ(view.Member("pending"), std::string("\"") + test.pending + "\"");
        EXPECT_GE(std::stoi(view.Member("shutdown_in")), test.least);
        EXPECT_LE(std::stoi(view.Member("shutdown_in")), test.most);
    }
    view.policy.kept.outageSince = 70000;
    view.policy.isDoubted = true;
    EXPECT_EQ(view.Member("pending"), "\"outage\"");
    EXPECT_EQ(view.Member("shutdown_in"), "null");
    EXPECT_EQ(view.Member("outage_seconds"), "30");
}

TEST(StatusFile, EscapesWhatJsonWouldMisread)
{
    View view;
    CopyField(view.source.names.model, "a \"b\" \\ c");
    EXPECT_EQ(view.Member("model"), R"("a \"b\" \\ c")");
    CopyField(view.source.names.model, "a\nb\x1b\x7f\xff");
    for (char c : view.Member("model"))
        EXPECT_TRUE(c >= ' ' && c <= '~');
}

TEST(StatusFile, HasRoomForTheLongestTexts)
{
    View view;
    std::string longest(sizeof(view.source.names.model) - 1, '"');
    CopyField(view.source.names.model, longest.c_str());
    std::string device(sizeof(view.cfg.comPort) - 1, '\\');
    CopyField(view.cfg.comPort, device.c_str());
    std::string text = view.Text();
    EXPECT_EQ(text.substr(text.size() - 3), "\n}\n") << "nothing is cut";
    EXPECT_EQ(view.Member("model").size(), 2 + 2 * longest.size());
    EXPECT_EQ(view.Member("device").size(), 2 + 2 * device.size());
}

TEST(StatusFile, GivesEventsTheSameMembers)
{
    View view;
    view.reading.load = 45;
    CopyField(view.source.names.model, "a \"b\"");
    EventEnvironment environment;
    FillEnvironment(environment, view.Get());
    std::string lines;
    for (int i = 0; i < environment.count; i++)
        lines += environment.lines[i] + std::string("\n");
    for (const char* line : {"UPS_STATUS=0\n", "UPS_MAINS=good\n", "UPS_LOAD=45\n",
                             "UPS_TEMPERATURE=\n", "UPS_MODEL=a \"b\"\n", "UPS_PENDING=none\n"})
        EXPECT_NE(lines.find(line), std::string::npos) << line;
    std::string text = view.Text();
    auto members = std::count(text.begin(), text.end(), '\n') - 2;
    EXPECT_EQ(environment.count, members + 2) << "PATH and LANG, and every member";
}

} // namespace
