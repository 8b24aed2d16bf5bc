// What a screen makes of the signals that would end it.
#include "screen/frame.h"

#include <csignal>
#include <gtest/gtest.h>
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

} // namespace
