// What a screen makes of the signals that would end it, and the date in its header.
#include "screen/frame.h"
#include "tests/unit/support/curses_screen.h"

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

} // namespace
