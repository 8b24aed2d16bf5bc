// What a screen makes of the signals that would end it, and the date in its header.
#include "screen/frame.h"
#include "tests/unit/support/curses_screen.h"
#include "tests/unit/support/files.h"

#include <csignal>
#include <cstdlib>
#include <vector>

namespace {

void (*HandlerOf(int number))(int)
{
    struct sigaction now = {};
    sigaction(number, nullptr, &now);
    return now.sa_handler;
}

TEST(SetSignals, SwallowsFourSignalsAndStaysInPlace)
{
    void (*const handler)(int) = SetSignals;
    SetSignals();
    for (int round = 0; round < 3; round++) {
        for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
            raise(number);
            EXPECT_EQ(HandlerOf(number), handler) << number;
        }
    }
}

TEST(SetSignals, TakesAllFourAgainWhenOneArrives)
{
    void (*const handler)(int) = SetSignals;
    SetSignals();
    signal(SIGHUP, SIG_DFL);
    signal(SIGTERM, SIG_IGN);
    raise(SIGINT);
    EXPECT_EQ(HandlerOf(SIGHUP), handler);
    EXPECT_EQ(HandlerOf(SIGTERM), handler);
}

TEST(SetSignals, LeavesEveryOtherSignalAlone)
{
    std::vector<void (*)(int)> before;
    for (int number = 1; number < 32; number++)
        before.push_back(HandlerOf(number));
    SetSignals();
    for (int number = 1; number < 32; number++) {
        bool isSwallowed =
            number == SIGHUP || number == SIGINT || number == SIGQUIT || number == SIGTERM;
        EXPECT_EQ(HandlerOf(number) == before[static_cast<size_t>(number) - 1], !isSwallowed)
            << number;
    }
}

struct Header : CursesScreen {};

TEST_F(Header, ShowsAMomentInLocalTimeUpToColumn76)
{
    constexpr time_t MOMENT = 1078477620; // 2004-03-05, 09:07 in Greenwich
    struct {
        const char* zone;
        const char* text;
    } const cases[] = {
        {"UTC0", "2004-03-05, 09:07 Fri."},
        {"EAST-15:30", "2004-03-06, 00:37 Sat."},
        {"WEST10", "2004-03-04, 23:07 Thu."},
    };
    for (const auto& test : cases) {
        setenv("TZ", test.zone, 1);
        PutDate(1, MOMENT);
        EXPECT_EQ(CellText(1, 0, 80), Blanks(55) + test.text + Blanks(3));
    }
    unsetenv("TZ");
}

TEST_F(Header, ATabbedTextGoesToTheLastColumn)
{
    PutTabbedText({3, 70}, "a\tbcdefgh"); // the tab ends before column 72
    EXPECT_EQ(CellText(3, 70, 10), "a bcdefgh ");
    PutTabbedText({4, 70}, "a\tbcdefghij");
    EXPECT_EQ(CellText(4, 70, 10), "a bcdefghi");
    EXPECT_EQ(CellText(5, 0, 1), " ");
}

TEST_F(Header, BlanksWipeToTheRightEdgeAndGoNoFurther)
{
    for (int row : {3, 4})
        PutText({row, 0}, std::string(80, 'x').c_str());
    PutBlanks({3, 70}, 5);
    EXPECT_EQ(getcury(stdscr), 3);
    EXPECT_EQ(getcurx(stdscr), 75);
    EXPECT_EQ(CellText(3, 60, 20), std::string(10, 'x') + Blanks(5) + std::string(5, 'x'));
    PutText({3, 70}, "               ");
    EXPECT_EQ(CellText(3, 60, 20), std::string(10, 'x') + Blanks(10));
    for (int count : {0, -1})
        PutBlanks({4, 0}, count);
    PutText({4, 5}, "");
    for (int col : {90, -2})
        EXPECT_EQ(PutBlanks({4, col}, 3), ERR);
    EXPECT_EQ(getcurx(stdscr), 5) << "a place off the screen moves nothing";
    EXPECT_EQ(CellText(4, 0, 80), std::string(80, 'x'));
    PutBlanks({4, 0}, 99);
    EXPECT_EQ(getcury(stdscr), 5)
        << "at the right edge it goes on in the next row, as behind a text";
    EXPECT_EQ(getcurx(stdscr), 0);
    EXPECT_EQ(CellText(4, 0, 80), Blanks(80));
    EXPECT_EQ(PutBlanks({99, 0}, 3), ERR);
    standout();
    PutBlanks({5, 0}, 3);
    standend();
    EXPECT_EQ(mvinch(5, 2), (A_STANDOUT | ' '));
    EXPECT_EQ(mvinch(5, 3), static_cast<chtype>(' '));
}

// In a child, on a terminal of its own that nobody reads; whether work is true there.
template <class Work> bool IsTrueOnScreen(Work work)
{
    int master = -1;
    int slave = -1;
    winsize size = {25, 80, 0, 0};
    if (openpty(&master, &slave, nullptr, nullptr, &size) != 0)
        return false;
    Outcome outcome = RunInChild([&] {
        for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(slave, stream);
        setenv("TERM", "linux", 1);
        InitScreen();
        return work() ? 0 : 1;
    });
    close(master);
    close(slave);
    return outcome.status == 0;
}

TEST(Continued, IsToldOnce)
{
    EXPECT_TRUE(IsTrueOnScreen([] {
        raise(SIGCONT);
        return TakeContinued() && !TakeContinued();
    }));
}

TEST(Continued, LeavesTheTerminalOfASuspendedScreenToTheShell)
{
    EXPECT_TRUE(IsTrueOnScreen([] {
        endwin(); // as the stop key does
        raise(SIGCONT);
        termios mode = {};
        return tcgetattr(STDIN_FILENO, &mode) == 0 && (mode.c_lflag & ICANON) != 0 &&
               !TakeContinued();
    }));
}

} // namespace
