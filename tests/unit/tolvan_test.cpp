// The daemon's start and stop, the debug switches and the usage.
#include "front/tolvan.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/raw_queue.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

const std::string DAEMON = FOLDER + "/daemon";
const std::string BANNER = "<SNMP WardenLink for Linux>\n ";

// --- debug switches ----------------------------------------------------------------------

struct Switch {
    int (*run)();
    std::string path;
    const char* word;
    const char* box;
};

const Switch SWITCHES[] = {
    {tolvan_debugtolvd, FOLDER + "/powerd.dbg", "debug",
     "\n _________________________________"
     "\n|                                 |"
     "\n|  TOLVD Daemon Process Debugger  |"
     "\n|               Debugger Started  |"
     "\n|_________________________________|\n\n"},
    {tolvan_stopdebugtolvd, FOLDER + "/powerd.dbg", "nodebug",
     "\n _________________________________"
     "\n|                                 |"
     "\n|  TOLVD Daemon Process Debugger  |"
     "\n|               Debugger Stopped  |"
     "\n|_________________________________|\n\n"},
    {tolvan_debugstatus, FOLDER + "/status.dbg", "debug",
     "\n _________________________________"
     "\n|                                 |"
     "\n|    SNMP WradenLink for Software |"
     "\n|for Linux Status Screen Debugger |"
     "\n|               Debugger Started  |"
     "\n|_________________________________|\n\n"},
    {tolvan_stopdebugstatus, FOLDER + "/status.dbg", "nodebug",
     "\n _________________________________"
     "\n|                                 |"
     "\n|   SNMP WardenLink for Software  |"
     "\n|for Linux Status Screen Debugger |"
     "\n|               Debugger Stopped  |"
     "\n|_________________________________|\n\n"},
};

TEST(DebugSwitch, WritesItsWordAndShowsItsBox)
{
    for (const Switch& test : SWITCHES) {
        WriteFile(test.path, "something much longer than a word\n");
        EXPECT_EQ(PrintedBy([&test] { test.run(); }), test.box);
        EXPECT_EQ(ReadFile(test.path), test.word) << test.path;
    }
    EXPECT_EQ(ListFolder(), (std::set<std::string>{"powerd.dbg", "status.dbg"}));
}

TEST(DebugSwitch, MakesItsFileWhereThereIsNone)
{
    for (const Switch& test : SWITCHES) {
        unlink(test.path.c_str());
        PrintedBy([&test] { test.run(); });
        EXPECT_EQ(ReadFile(test.path), test.word) << test.path;
    }
}

TEST(DebugSwitch, SaysNothingWhenItsFileCannotBeWritten)
{
    mkdir((FOLDER + "/powerd.dbg").c_str(), 0755);
    mkdir((FOLDER + "/status.dbg").c_str(), 0755);
    for (const Switch& test : SWITCHES) {
        Outcome outcome = RunInChild([&test] { return test.run(), 0; });
        EXPECT_EQ(outcome.out + outcome.err, "") << test.path;
    }
}

TEST(DebugSwitch, SaysNothingWhenItsWordDoesNotReachTheDisk)
{
    for (const Switch& test : SWITCHES) {
        Outcome outcome = RunInChild([&test] {
            signal(SIGXFSZ, SIG_IGN);
            rlimit bound = {0, 0};
            setrlimit(RLIMIT_FSIZE, &bound);
            return test.run() < 0 ? 0 : 1;
        });
        EXPECT_EQ(outcome.status, 0) << test.path;
        EXPECT_EQ(outcome.out + outcome.err, "") << test.path;
    }
}

// --- the usage ---------------------------------------------------------------------------

const std::string USAGE = "[start|stop|config|status|issuer|help]\n"
                          "\n"
                          "  wardenlink start   - Start the Daemon process\t\n"
                          "  wardenlink stop    - Terminate Resident Daemon process\t\n"
                          "  wardenlink config  - Modify Time Settings \t\n"
                          "  wardenlink status  - Monitor UPS status\t\n";

TEST(ArgError, PrintsTheLineOfItsCodeAndTheUsageAndEnds)
{
    struct {
        int code;
        const char* line;
    } const cases[] = {{0, "One argument needed!\n"},
                       {2, "Too many arguments!\n"},
                       {-1, "Argument error!\n"},
                       {1, ""},
                       {3, ""},
                       {-2, ""}};
    for (const auto& test : cases) {
        Outcome outcome = RunInChild([&test]() -> int { ArgError("./any%sname", test.code); });
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, test.line + ("Usage: ./any%sname " + USAGE));
        EXPECT_EQ(outcome.err, "");
    }
}

// --- start and stop ----------------------------------------------------------------------

TEST(Start, SaysThatADaemonIsRunningAndLaunchesNone)
{
    WriteFile(DAEMON, "#!/bin/sh\n: > /etc/wardenlink/launched\n");
    chmod(DAEMON.c_str(), 0755);
    pid_t beater = StartBeating(0);
    while (RawExists('2') == 0 || TakeAll(RawQueue('2')).empty())
        usleep(10000);
    RawSend(RawQueue('2'), 4, "alive");
    EXPECT_EQ(RunInChild([] { return tolvan_start(), 0; }).out, BANNER + "is currently running!\n");
    StopBeating(beater);
    EXPECT_EQ(ReadFile(FOLDER + "/launched"), NO_FILE);
}

TEST(Start, SaysOnceThatTheDaemonCannotBeRun)
{
    for (bool isThere : {false, true}) {
        if (isThere)
            WriteFile(DAEMON, "not a program, and not executable\n");
        Outcome outcome = RunInChild([] { return tolvan_start(), 0; });
        EXPECT_EQ(outcome.out, "Error! Daemon program fails!\n");
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(outcome.status, 0);
    }
}

TEST(Start, LaunchesTheDaemonSilently)
{
    WriteFile(DAEMON, "#!/bin/sh\necho $# > /etc/wardenlink/launched\n");
    chmod(DAEMON.c_str(), 0755);
    Outcome outcome = RunInChild([] { return tolvan_start(); });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    for (int tries = 0; tries < 2000 && ReadFile(FOLDER + "/launched") != "1\n"; tries++)
        usleep(10000); // nothing tells when it is over: it holds no pipe of its caller's
    EXPECT_EQ(ReadFile(FOLDER + "/launched"), "1\n");
}

TEST(Stop, WithoutADaemonRemovesThePresenceQueueAndSaysSo)
{
    RawSend(RawQueue('2'), 9, "no presence");
    EXPECT_EQ(PrintedBy([] { tolvan_stop(); }), BANNER + "is not running!\n");
    EXPECT_FALSE(RawExists('2'));
    EXPECT_FALSE(RawExists('3')) << "nobody is asked to end";
    EXPECT_EQ(PrintedBy([] { tolvan_stop(); }), BANNER + "is not running!\n");
}

TEST(Stop, AsksALivingDaemonToEndAndSaysNothing)
{
    RawSend(RawQueue('2'), 4, "alive");
    RawSend(RawQueue('3'), 5, "010");
    pid_t beater = StartBeating(1);
    EXPECT_EQ(PrintedBy([] { EXPECT_GE(tolvan_stop(), 0); }), "");
    StopBeating(beater);
    EXPECT_EQ(TakeAll(RawQueue('3')), (Messages{{5, "010"}, {5, "100"}}));
    EXPECT_TRUE(RawExists('2'));
}

TEST(Stop, LosesItsMessageSilentlyWhenTheQueueIsFull)
{
    RawSend(RawQueue('2'), 4, "alive");
    size_t filled = FillUp(RawQueue('3'), 5);
    pid_t beater = StartBeating(1);
    Outcome outcome = RunInChild([] { return tolvan_stop() < 0 ? 0 : 1; });
    StopBeating(beater);
    EXPECT_EQ(outcome.status, 0) << "it has to say by its result that it failed";
    EXPECT_EQ(outcome.out + outcome.err, "");
    Messages left = TakeAll(RawQueue('3'));
    EXPECT_EQ(left.size(), filled);
    EXPECT_EQ(std::count(left.begin(), left.end(), Message{5, "100"}), 0);
}

} // namespace
