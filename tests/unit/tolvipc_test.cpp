// The five message queues, read and filled beside the product with plain system calls.
#include "ipc/tolvipc.h"
#include "tests/unit/support/raw_queue.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

const std::string LONG_TEXT(150, 'L');

TEST(Queue, BearsTheKeyOfTheSettingsFolderAndItsId)
{
    for (char id : {'1', '2', '3', '4', '5'}) {
        EXPECT_FALSE(RawExists(id)) << id;
        int queue = CreateMsgQ(id);
        EXPECT_TRUE(RawExists(id)) << id;
        EXPECT_EQ(queue, RawQueue(id));
        EXPECT_EQ(CreateMsgQ(id), queue) << "opening it again changes nothing";
        msqid_ds state = {};
        msgctl(queue, IPC_STAT, &state);
        EXPECT_EQ(state.msg_perm.mode & 0777, 0666) << "for all to read and write";
    }
}

TEST(SendMsg, PutsTheTextWithoutItsTerminator)
{
    int queue = CreateMsgQ('3');
    EXPECT_EQ(SendMsg(queue, 5, "100"), 1);
    EXPECT_EQ(SendMsg(queue, 9, "c05"), 1);
    EXPECT_EQ(SendMsg(queue, 4, ""), 1);
    EXPECT_EQ(TakeAll(queue), (Messages{{5, "100"}, {9, "c05"}, {4, ""}}));
}

TEST(SendMsg, CutsTextsTo99Characters)
{
    int queue = CreateMsgQ('1');
    for (size_t length : {1U, 98U, 99U, 100U, 101U, 150U}) {
        EXPECT_EQ(SendMsg(queue, 1, LONG_TEXT.substr(0, length).c_str()), 1);
        EXPECT_EQ(TakeAll(queue), (Messages{{1, std::string(std::min<size_t>(length, 99), 'L')}}));
    }
}

TEST(EveryOperation, FailsOnAQueueThatIsGone)
{
    int queue = CreateMsgQ('3');
    DestroyMsgQ(queue);
    for (int gone : {queue, -1}) {
        char text[100];
        EXPECT_EQ(SendMsg(gone, 5, "100"), -1);
        EXPECT_EQ(ReceiveMsg(gone, 0, text), -1);
        EXPECT_EQ(MsgNumber(gone), -1);
        EXPECT_EQ(SendToMsgQ(gone, 5, "100"), -1);
        EXPECT_EQ(SendMessages(gone, {"a"}, {"b"}, {"c"}), -1);
        EXPECT_EQ(ReadCtrlMsg(gone), -1);
        ClearMsgQ(gone);
        DestroyMsgQ(gone);
    }
    EXPECT_FALSE(RawExists('3')) << "none of them makes it again";
}

TEST(SendMsg, FailsAtOnceOnAFullQueue)
{
    int queue = CreateMsgQ('3');
    size_t filled = FillUp(queue, 5);
    EXPECT_EQ(SendMsg(queue, 5, "100"), -1);
    EXPECT_EQ(static_cast<size_t>(MsgNumber(queue)), filled);
    EXPECT_EQ(SendToMsgQ(queue, 5, "100"), 1) << "throws away before it sends";
    Messages left = TakeAll(queue);
    EXPECT_EQ(left.size(), 3U);
    EXPECT_EQ(left.back(), (Message{5, "100"}));
}

// 100 bytes to receive into, and some behind that nobody may touch.
struct Guarded {
    char text[100];
    char guard[20];
};

Guarded Receive(int queue, int type, int expected)
{
    Guarded area;
    memset(&area, '#', sizeof(area));
    EXPECT_EQ(ReceiveMsg(queue, type, area.text), expected);
    EXPECT_EQ(std::string(area.guard, 20), std::string(20, '#'));
    return area;
}

TEST(ReceiveMsg, TakesTheOldestOfTheTypeOrOfAny)
{
    int queue = CreateMsgQ('1');
    for (const Message& message : Messages{{1, "one"}, {5, "two"}, {1, "six"}, {5, "ten"}})
        RawSend(queue, message.type, message.text);
    EXPECT_STREQ(Receive(queue, 5, 1).text, "two");
    EXPECT_STREQ(Receive(queue, 0, 1).text, "one");
    EXPECT_STREQ(Receive(queue, 5, 1).text, "ten");
    EXPECT_STREQ(Receive(queue, 1, 1).text, "six");
    Receive(queue, 0, -1);
}

TEST(ReceiveMsg, ZeroesTheWholeAreaWhenNothingIsWaiting)
{
    int queue = CreateMsgQ('1');
    RawSend(queue, 4, "other type");
    Guarded area = Receive(queue, 5, -1);
    EXPECT_EQ(std::string(area.text, 100), std::string(100, '\0'));
    EXPECT_EQ(MsgNumber(queue), 1) << "the other type stays";
}

TEST(ReceiveMsg, FillsUpWithZeroes)
{
    int queue = CreateMsgQ('1');
    EXPECT_EQ(SendMsg(queue, 1, "hello"), 1);
    Guarded area = Receive(queue, 1, 1);
    EXPECT_EQ(std::string(area.text, 100), "hello" + std::string(95, '\0'));
}

TEST(ReceiveMsg, KeepsTheTailOfALongerOlderText)
{
    int queue = CreateMsgQ('1');
    EXPECT_EQ(SendMsg(queue, 1, "abcdefghij"), 1);
    Receive(queue, 1, 1);
    RawSend(queue, 1, "XYZ");
    EXPECT_STREQ(Receive(queue, 1, 1).text, "XYZdefghij");
    EXPECT_EQ(SendMsg(queue, 1, "12"), 1);
    EXPECT_STREQ(Receive(queue, 1, 1).text, "12") << "what is sent comes with its end";
    RawSend(queue, 1, "9");
    EXPECT_STREQ(Receive(queue, 1, 1).text, "92");
}

TEST(ReceiveMsg, EndsATextAtItsFirstZeroByte)
{
    int queue = CreateMsgQ('1');
    RawSend(queue, 1, std::string("ab\0cd", 5));
    EXPECT_EQ(std::string(Receive(queue, 1, 1).text, 100), "ab" + std::string(98, '\0'));
}

TEST(ReceiveMsg, SurvivesMessagesThatFillOrExceedTheArea)
{
    int queue = CreateMsgQ('1');
    for (size_t length : {99U, 100U, 101U, 4000U}) {
        RawSend(queue, 1, std::string(length, 'm'));
        Guarded area = Receive(queue, 1, 1);
        EXPECT_EQ(std::string(area.text, 100), std::string(99, 'm') + '\0') << length;
        EXPECT_EQ(MsgNumber(queue), 0) << "the rest of it is gone too";
    }
}

TEST(ReceiveMsg, CountsAnEmptyMessageAsNone)
{
    int queue = CreateMsgQ('1');
    RawSend(queue, 1, "");
    Receive(queue, 1, -1);
    EXPECT_EQ(MsgNumber(queue), 0) << "it was taken all the same";
}

TEST(MsgNumber, CountsWhatIsWaiting)
{
    int queue = CreateMsgQ('2');
    for (int count = 0; count < 20; count++) {
        EXPECT_EQ(MsgNumber(queue), count);
        RawSend(queue, 1 + count % 9, "x");
    }
}

TEST(ClearMsgQ, DiscardsMessagesOfEveryTypeAndLength)
{
    int queue = CreateMsgQ('1');
    for (int type : {1, 2, 3, 4, 5, 9, 77})
        RawSend(queue, type, std::string(static_cast<size_t>(type) * 20, 'x'));
    ClearMsgQ(queue);
    EXPECT_EQ(MsgNumber(queue), 0);
    ClearMsgQ(queue);
    EXPECT_EQ(MsgNumber(queue), 0);
}

TEST(ClearMsgQ, EndsEarlyAtAnEmptyMessage)
{
    int queue = CreateMsgQ('1');
    for (const char* text : {"before", "", "behind"})
        RawSend(queue, 1, text);
    ClearMsgQ(queue);
    EXPECT_EQ(TakeAll(queue), (Messages{{1, "behind"}}));
}

TEST(DestroyMsgQ, RemovesTheQueueWithItsMessages)
{
    int queue = CreateMsgQ('2');
    RawSend(queue, 4, "alive");
    DestroyMsgQ(queue);
    EXPECT_FALSE(RawExists('2'));
    EXPECT_EQ(MsgNumber(CreateMsgQ('2')), 0);
}

// --- four at once ------------------------------------------------------------------------

TEST(FourQueues, AreOpenedInOrderAndEmptiedButNotTheFifth)
{
    for (char id : {'1', '2', '3', '4', '5'})
        RawSend(RawQueue(id), 4, "old");
    int queues[4] = {-1, -1, -1, -1};
    Create4MsgQ(&queues[0], &queues[1], &queues[2], &queues[3]);
    for (int at = 0; at < 4; at++) {
        EXPECT_EQ(queues[at], RawQueue(static_cast<char>('1' + at)));
        EXPECT_EQ(MsgNumber(queues[at]), 0);
    }
    EXPECT_EQ(TakeAll(RawQueue('5')), (Messages{{4, "old"}}));
}

TEST(FourQueues, AreMadeWhereThereAreNone)
{
    int queues[4];
    Create4MsgQ(&queues[0], &queues[1], &queues[2], &queues[3]);
    for (char id : {'1', '2', '3', '4'})
        EXPECT_TRUE(RawExists(id)) << id;
    EXPECT_FALSE(RawExists('5'));
}

TEST(FourQueues, AreClearedAndDestroyedTogether)
{
    int q[4];
    Create4MsgQ(&q[0], &q[1], &q[2], &q[3]);
    for (int queue : q)
        RawSend(queue, 1, "x");
    Clear4MsgQ(q[0], q[1], q[2], q[3]);
    for (int queue : q)
        EXPECT_EQ(MsgNumber(queue), 0);
    Destroy4MsgQ(q[0], q[1], q[2], q[3]);
    for (char id : {'1', '2', '3', '4'})
        EXPECT_FALSE(RawExists(id)) << id;
}

// --- trimming ----------------------------------------------------------------------------

TEST(SendToMsgQ, LeavesNoMoreThanTheLimitBeforeItSends)
{
    struct {
        int type;
        int limit;
    } const cases[] = {{5, 2}, {4, 5}, {1, 9}, {2, 9}, {3, 9}, {9, 9}, {6, 9}, {50, 9}};
    int queue = CreateMsgQ('4');
    for (const auto& test : cases) {
        for (int held = 0; held <= 14; held++) {
            Messages expected;
            for (int at = 0; at < held; at++) {
                // Of all types: the oldest go, whatever they are.
                Message message = {1 + at % 9, "message " + std::to_string(at)};
                RawSend(queue, message.type, message.text);
                if (held - at <= test.limit)
                    expected.push_back(message);
            }
            EXPECT_EQ(SendToMsgQ(queue, test.type, "new"), 1);
            expected.push_back({test.type, "new"});
            EXPECT_EQ(TakeAll(queue), expected) << "type " << test.type << ", held " << held;
        }
    }
}

TEST(SendToMsgQ, GivesUpTrimmingAtTheFirstMessageThatCannotBeTaken)
{
    int queue = CreateMsgQ('4');
    for (int at = 0; at < 8; at++)
        RawSend(queue, 5, "");
    EXPECT_EQ(SendToMsgQ(queue, 5, "010"), 1);
    EXPECT_EQ(TakeAll(queue).back(), (Message{5, "010"}));
}

TEST(SendMessages, SendsThreeTextsAsTypesOneToThree)
{
    int queue = CreateMsgQ('1');
    EXPECT_EQ(SendMessages(queue, {"first"}, {"second text"}, {"3"}), 1);
    EXPECT_EQ(TakeAll(queue), (Messages{{1, "first"}, {2, "second text"}, {3, "3"}}));
}

TEST(SendMessages, TrimsForEachTextAndCutsTheUnterminated)
{
    int queue = CreateMsgQ('1');
    MessageText full;
    memset(full.text, 'f', sizeof(full.text));
    for (int at = 0; at < 12; at++)
        RawSend(queue, 7, std::to_string(at));
    EXPECT_EQ(SendMessages(queue, full, full, full), 1);
    Messages expected;
    for (int at = 5; at < 12; at++)
        expected.push_back({7, std::to_string(at)});
    for (int type : {1, 2, 3})
        expected.push_back({type, std::string(99, 'f')});
    EXPECT_EQ(TakeAll(queue), expected);
}

// --- control messages --------------------------------------------------------------------

TEST(SendRedrawMsg, PutsARedrawOnTheScreensQueue)
{
    SendRedrawMsg();
    EXPECT_EQ(TakeAll(RawQueue('4')), (Messages{{5, "001"}}));
}

TEST(ReadCtrlMsg, GoesByTheFirstPositionThatHoldsAOne)
{
    struct {
        const char* text;
        int meaning;
    } const cases[] = {{"100", 2}, {"010", 1},  {"001", 3},   {"011", 1},  {"110", 2}, {"101", 2},
                       {"111", 2}, {"000", -2}, {"0001", -2}, {"abc", -2}, {"x1x", 1}, {"1", 2}};
    int queue = CreateMsgQ('4');
    EXPECT_EQ(ReadCtrlMsg(queue), -1);
    for (const auto& test : cases) {
        SendMsg(queue, 5, test.text);
        EXPECT_EQ(ReadCtrlMsg(queue), test.meaning) << test.text;
        EXPECT_EQ(ReadCtrlMsg(queue), -1);
    }
}

TEST(ReadCtrlMsg, TakesOneControlMessageAndNoOthers)
{
    int queue = CreateMsgQ('4');
    for (const Message& message : Messages{{4, "100"}, {5, "010"}, {9, "100"}, {5, "001"}})
        RawSend(queue, message.type, message.text);
    EXPECT_EQ(ReadCtrlMsg(queue), 1);
    EXPECT_EQ(MsgNumber(queue), 3);
    EXPECT_EQ(ReadCtrlMsg(queue), 3);
    EXPECT_EQ(ReadCtrlMsg(queue), -1);
    EXPECT_EQ(TakeAll(queue), (Messages{{4, "100"}, {9, "100"}}));
}

// --- is a daemon there? ------------------------------------------------------------------

TEST(TolvdPresent, TakesThePresenceMessageItSees)
{
    EXPECT_EQ(TolvdPresent(), 0);
    RawSend(RawQueue('2'), 4, "any text");
    EXPECT_EQ(TolvdPresent(), 1);
    EXPECT_EQ(TolvdPresent(), 0);
    RawSend(RawQueue('2'), 5, "100");
    EXPECT_EQ(TolvdPresent(), 0) << "of another type";
    EXPECT_EQ(MsgNumber(RawQueue('2')), 1);
}

// Seconds of a look for a daemon that is not there. A busy machine may hold a look up,
// but not all of several.
template <typename Action> double ShortestLook(double wanted, Action prepare)
{
    double shortest = 1e9;
    for (int attempt = 0; attempt < 6 && shortest >= wanted; attempt++) {
        prepare();
        double before = Seconds();
        EXPECT_EQ(InstanceExist(), 0);
        shortest = std::min(shortest, Seconds() - before);
    }
    return shortest;
}

TEST(InstanceExist, IsNoAtOnceWithoutAPresenceMessage)
{
    EXPECT_LT(ShortestLook(0.9, [] {}), 0.9);
    RawSend(RawQueue('2'), 5, "of another type");
    EXPECT_LT(ShortestLook(0.9, [] {}), 0.9);
    EXPECT_EQ(MsgNumber(RawQueue('2')), 1);
}

TEST(InstanceExist, TakesFifteenSecondsToGiveUpADeadDaemon)
{
    double shortest = ShortestLook(18, [] {
        for (int at = 0; at < 6; at++)
            RawSend(RawQueue('2'), 4, "leftover");
        RawSend(RawQueue('2'), 5, "rubbish");
    });
    EXPECT_EQ(MsgNumber(RawQueue('2')), 0) << "all of the leftovers are gone";
    EXPECT_GE(shortest, 14.95);
    EXPECT_LT(shortest, 18) << "tests/system/test_command_line.py counts its seconds";
}

TEST(InstanceExist, BelievesAFreshPresenceMessageOnly)
{
    RawSend(RawQueue('2'), 4, "leftover");
    double before = Seconds();
    pid_t beater = StartBeating(4);
    EXPECT_EQ(InstanceExist(), 1);
    EXPECT_GE(Seconds() - before, 3.95) << "the leftover does not count";
    StopBeating(beater);
}

TEST(InstanceExist, WaitsForADaemonThatShowsItselfSeldom)
{
    RawSend(RawQueue('2'), 4, "leftover");
    pid_t beater = StartBeating(8);
    EXPECT_EQ(InstanceExist(), 1);
    StopBeating(beater);
}

} // namespace
