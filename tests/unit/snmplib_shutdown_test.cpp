// The access layer's status line, its shutdown sequence and its word on the console.
#include "tests/unit/support/library_world.h"

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

// --- the status line ---------------------------------------------------------------------

TEST_F(Library, TheStatusLineMarksBatteryOperationAndALowBattery)
{
    Open();
    struct {
        const char* output;
        const char* battery;
        const char* marks;
    } rows[] = {
        {"set output_status integer 2", "set battery_status integer 2", "00"},
        {"set output_status integer 3", "set battery_status integer 2", "10"},
        {"set output_status integer 2", "set battery_status integer 3", "01"},
        {"set output_status integer 3", "set battery_status integer 3", "11"},
        {"set output_status integer 5", "set battery_status integer 33", "00"},
        {"missing output_status on", "missing battery_status on", "00"},
    };
    for (const auto& row : rows) {
        Control(agent, row.output);
        Control(agent, row.battery);
        Control(agent, "log clear");
        char line[64];
        memset(line, '#', sizeof(line));
        double start = Seconds();
        EXPECT_EQ(S_GetStatus(line), 1);
        EXPECT_GE(Seconds() - start, 0.99);
        EXPECT_EQ(std::string(line, sizeof(line)),
                  std::string(38, ' ') + row.marks + std::string(7, ' ') + std::string(17, '#'));
        EXPECT_EQ(Log(), (Lines{PROBE, "get " UPS "4.1.1.0", "get " UPS "2.1.1.0"}));
    }
}

TEST_F(Library, WithoutAnAgentTheStatusLineIsLeftAlone)
{
    Open();
    Control(agent, "missing input_voltage on");
    char line[47];
    memset(line, '#', sizeof(line));
    EXPECT_EQ(S_GetStatus(line), -1);
    EXPECT_EQ(std::string(line, sizeof(line)), std::string(47, '#'));
    EXPECT_EQ(Log(), Lines{PROBE});
}

// --- shutting down -----------------------------------------------------------------------

TEST_F(Library, AShutdownWithoutARestartTimeTurnsTheUpsOff)
{
    Open();
    struct {
        double delay;
        int sleep;
        int factor;
        int seconds;
    } rows[] = {
        {0.5, 0, 1, 30},   {0.999, 5, 0, 59}, {1.0, -5, 1, 60},      {1.0, 5, -1, 60},
        {0.0, 0, 0, 0},    {1.5, 0, 5, 90},   {1.05, 0, 1, 62}, // as single precision has it
        {2.05, 0, 1, 123}, {2.1, 0, 1, 125},  {1440.0, 0, 1, 86400},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(UPS_init(), 1);
        Control(agent, "log clear");
        int closed = 0;
        EXPECT_EQ(Printed([&] { closed = UPS_shutdown(row.delay, row.sleep, row.factor); }),
                  "No restart time !\n");
        EXPECT_EQ(closed, 1);
        EXPECT_EQ(Log(), (Lines{SetLine("5.2.10.0", row.seconds), SetLine("6.2.1.0", 2)}))
            << row.delay;
    }
}

TEST_F(Library, AShutdownWithARestartTimePutsTheUpsToSleep)
{
    Open();
    struct {
        double delay;
        int sleep;
        int factor;
        int seconds;
        const char* printed;
    } rows[] = {
        {2.0, 10, 1, 120, "put ups to sleep 10\n"},
        {0.2, 1, 1, 12, "put ups to sleep 1\n"},
        {1.0, 7, 60, 60, "put ups to sleep 7\n"},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(UPS_init(), 1);
        Control(agent, "log clear");
        EXPECT_EQ(Printed([&] { UPS_shutdown(row.delay, row.sleep, row.factor); }), row.printed);
        EXPECT_EQ(Log(), (Lines{SetLine("5.2.10.0", row.seconds), SetLine("5.2.11.0", row.sleep),
                                SetLine("6.2.3.0", 2)}));
    }
}

TEST_F(Library, AShutdownClosesTheSession)
{
    Open();
    size_t files = CountOpenFiles();
    Printed([] { EXPECT_EQ(UPS_shutdown(1.0, 0, 1), 1); });
    EXPECT_EQ(CountOpenFiles(), files - 1);
    Control(agent, "log clear");
    EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), -1);
    EXPECT_EQ(Log(), Lines{});
}

TEST_F(Library, RefusalsDuringAShutdownAreNotReported)
{
    Open();
    for (const char* name : {"off_delay", "sleep_minutes", "sleep", "turn_off"})
        Control(agent, std::string("error ") + name + " genErr");
    EXPECT_EQ(Printed([] { UPS_shutdown(1.0, 5, 1); }), "put ups to sleep 5\n");
    EXPECT_EQ(Log().size(), 3U);
    ASSERT_EQ(UPS_init(), 1);
    EXPECT_EQ(Printed([] { UPS_shutdown(1.0, 0, 1); }), "No restart time !\n");
}

TEST_F(Library, AnUnansweredTurnOffIsReported)
{
    Open();
    Control(agent, "silent on turn_off");
    EXPECT_EQ(Printed([] { UPS_shutdown(1.0, 0, 1); }), std::string("No restart time !\n") +
                                                            SILENT_SET +
                                                            "failed to issue UPS off command\n");
}

TEST_F(Library, AnUnansweredDelayIsNotReportedAndTheTurnOffFollows)
{
    Open();
    Control(agent, "silent on off_delay");
    EXPECT_EQ(Printed([] { UPS_shutdown(1.0, 0, 1); }),
              std::string(SILENT_SET) + "No restart time !\n");
    EXPECT_EQ(Log().back(), SetLine("6.2.1.0", 2));
}

TEST_F(Library, AnUnansweredSleepTimeAndSleepAreBothReported)
{
    Open();
    Control(agent, "silent on sleep_minutes");
    Control(agent, "silent on sleep");
    EXPECT_EQ(Printed([] { UPS_shutdown(1.0, 5, 1); }),
              std::string("put ups to sleep 5\n") + SILENT_SET +
                  "failed to configure ups sleep time\n" + SILENT_SET +
                  "failed to issue UPS sleep command\n");
    EXPECT_EQ(Log().size(), 11U);
}

TEST_F(Library, TakingAShutdownBackSendsNothing)
{
    Open();
    EXPECT_EQ(Printed([] {
                  UPS_Un_shutdown('1');
                  UPS_Un_shutdown('\0');
              }),
              "");
    EXPECT_EQ(Log(), Lines{});
    EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), 0);
}

// --- the console -------------------------------------------------------------------------

namespace {

// Calls show_msg where `root` is all there is, so that /dev/console is what the test put there.
// The call's exit status: 0 when no file was left open.
int ShowBelow(const char* root, const char* text)
{
    pid_t pid = fork();
    if (pid == 0) {
        if (chroot(root) != 0 || chdir("/") != 0)
            _exit(2);
        int before = dup(0);
        close(before);
        show_msg(text);
        _exit(dup(0) == before ? 0 : 1);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string ReadWhole(const std::string& path)
{
    char buffer[4096];
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ssize_t length = read(fd, buffer, sizeof(buffer));
    close(fd);
    return length > 0 ? std::string(buffer, static_cast<size_t>(length)) : "";
}

// A folder that stands for the whole machine, removed with what is in its /dev.
struct Console : testing::Test {
    char root[32] = "/tmp/consoleXXXXXX";
    std::string console;

    void SetUp() override
    {
        ASSERT_NE(mkdtemp(root), nullptr);
        mkdir((std::string(root) + "/dev").c_str(), 0755);
        console = std::string(root) + "/dev/console";
    }

    void PlaceConsole()
    {
        close(open(console.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    }

    void TearDown() override
    {
        unlink(console.c_str());
        EXPECT_EQ(rmdir((std::string(root) + "/dev").c_str()), 0) << "something was left in /dev";
        EXPECT_EQ(rmdir(root), 0);
    }
};

} // namespace

TEST_F(Console, AMessageArrivesWithANewline)
{
    for (const char* text : {"UPS on battery", "", "100% of %s %n"}) {
        PlaceConsole();
        EXPECT_EQ(ShowBelow(root, text), 0);
        EXPECT_EQ(ReadWhole(console), std::string(text) + "\n");
        unlink(console.c_str());
    }
}

TEST_F(Console, WithoutAConsoleNoFileComesIntoBeing)
{
    EXPECT_EQ(ShowBelow(root, "UPS on battery"), 0);
    EXPECT_EQ(access(console.c_str(), F_OK), -1);
}
