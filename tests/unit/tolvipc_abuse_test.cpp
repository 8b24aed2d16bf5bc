// The queues among users who mean harm: senders that never rest, queues that somebody else
// made first, and queues that are root's alone.
#include "ipc/tolvipc.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/raw_queue.h"

#include <atomic>
#include <fstream>
#include <new>

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace {

msqid_ds StateOf(int queue)
{
    msqid_ds state = {};
    EXPECT_EQ(msgctl(queue, IPC_STAT, &state), 0);
    return state;
}

// --- senders that never rest ---------------------------------------------------------------

constexpr char STORM_TEXT[] = "storm";

bool IsAsleep(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string number;
    std::string name;
    std::string state;
    file >> number >> name >> state;
    return state == "S";
}

// Full queues with processes that are blocked in a send, and take every gap at once.
struct QueueStorm : testing::Test {
    std::vector<pid_t> senders;
    std::atomic<int>* sent = nullptr; // messages that they got rid of, all together

    void SetUp() override
    {
        void* shared =
            mmap(nullptr, sizeof(*sent), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(shared, MAP_FAILED);
        sent = new (shared) std::atomic<int>(0);
    }

    [[noreturn]] void SendForEver(int queue, int type)
    {
        while (RawSend(queue, type, STORM_TEXT, 0))
            (*sent)++;
        _exit(1);
    }

    // They sleep only when there is no room left.
    void WaitUntilBlocked()
    {
        for (pid_t sender : senders) {
            while (!IsAsleep(sender))
                usleep(1000);
        }
    }

    // A full queue, and as many senders in front of it.
    int StartStorm(char id, int type, int count)
    {
        int queue = CreateMsgQ(id);
        FillUp(queue, type);
        for (int i = 0; i < count; i++) {
            senders.push_back(fork());
            if (senders.back() == 0)
                SendForEver(queue, type);
        }
        WaitUntilBlocked();
        return queue;
    }

    void EndStorm()
    {
        WaitUntilBlocked();
        for (pid_t sender : senders) {
            kill(sender, SIGKILL);
            waitpid(sender, nullptr, 0);
        }
        senders.clear();
    }

    void TearDown() override
    {
        EndStorm();
        munmap(sent, sizeof(*sent));
    }
};

// What a queue still holds: of the senders, of what waited before them, and of others.
struct Left {
    int ofStorm = 0;
    int old = 0;
    int others = 0;
};

Left TakeLeft(int queue)
{
    Left left;
    for (const Message& message : TakeAll(queue))
        (message.text == STORM_TEXT ? left.ofStorm
         : message.text[0] == 'F'   ? left.old
                                    : left.others)++;
    return left;
}

TEST_F(QueueStorm, ClearingTakesWhatWaitedAndNoMore)
{
    int queue = StartStorm('4', CONTROL_MESSAGE, 8);
    ClearMsgQ(queue);
    EndStorm();
    Left left = TakeLeft(queue);
    EXPECT_EQ(left.old, 0);
    EXPECT_GT(*sent, 0);
    EXPECT_EQ(left.ofStorm, *sent);
}

TEST_F(QueueStorm, ASendThrowsAwayTheSurplusOnce)
{
    int queue = StartStorm('4', CONTROL_MESSAGE, 8);
    int result = SendToMsgQ(queue, CONTROL_MESSAGE, "010");
    EndStorm();
    Left left = TakeLeft(queue);
    EXPECT_EQ(left.old, 2);
    EXPECT_EQ(left.ofStorm, *sent);
    EXPECT_EQ(left.others, result == 1 ? 1 : 0) << "it may find no room, but does not wait for it";
}

TEST_F(QueueStorm, LookingForADaemonClearsTheQueueOnce)
{
    int queue = StartStorm('2', HEARTBEAT_MESSAGE, 8);
    EXPECT_EQ(InstanceExist(), 1) << "they look like a living daemon";
    EndStorm();
    int room = static_cast<int>(StateOf(queue).msg_qbytes / strlen(STORM_TEXT));
    Left left = TakeLeft(queue);
    EXPECT_EQ(left.old, 0);
    EXPECT_LE(*sent - left.ofStorm, room + 1) << "one queue full, and the sign of life";
}

// --- queues that somebody else made first --------------------------------------------------

// Whether an ordinary user of the world is another one than its root. Where the world knows
// a single user, nobody can take anything from root.
bool AreUsersApart()
{
    return RunInChild([] {
               return setresuid(ORDINARY_USER, ORDINARY_USER, ORDINARY_USER) == 0 ? 0 : 1;
           }).status == 0;
}

void GiveAway(int queue, uid_t owner, unsigned long size)
{
    msqid_ds state = StateOf(queue);
    state.msg_perm.uid = owner;
    state.msg_qbytes = size;
    msgctl(queue, IPC_SET, &state);
}

// An ordinary user makes the queue, lets it hold nothing, and gives it to an owner.
int Squat(char id, uid_t owner)
{
    Outcome outcome = RunInChild([id, owner] {
        BecomeOrdinaryUser();
        int queue = RawQueue(id);
        GiveAway(queue, owner, 0);
        return queue == -1 ? 1 : 0;
    });
    EXPECT_EQ(outcome.status, 0);
    return RawQueue(id);
}

struct Squatted : testing::Test {
    void SetUp() override
    {
        if (!AreUsersApart())
            GTEST_SKIP() << "this world knows one user only";
    }
};

void ExpectRootsOwn(int queue)
{
    msqid_ds state = StateOf(queue);
    EXPECT_EQ(state.msg_perm.uid, 0U);
    EXPECT_EQ(state.msg_perm.cuid, 0U);
    EXPECT_EQ(state.msg_perm.mode & 0777, 0666);
    EXPECT_EQ(SendMsg(queue, 5, "100"), 1) << "there is room";
    EXPECT_EQ(TakeAll(queue), (Messages{{5, "100"}}));
}

TEST_F(Squatted, AQueueOfAnotherUserIsMadeAnewForRoot)
{
    for (char id : {'1', '2', '3', '4', '5'}) {
        int theirs = Squat(id, ORDINARY_USER);
        EXPECT_EQ(SendMsg(theirs, 5, "100"), -1) << "it holds nothing";
        int queue = CreateMsgQ(id);
        EXPECT_NE(queue, theirs);
        ExpectRootsOwn(queue);
        EXPECT_EQ(CreateMsgQ(id), queue) << "its own stays";
    }
}

TEST_F(Squatted, AQueueThatAnotherUserMadeAndGaveToRootIsMadeAnew)
{
    int theirs = Squat('3', 0);
    EXPECT_EQ(StateOf(theirs).msg_perm.uid, 0U);
    int queue = CreateMsgQ('3');
    EXPECT_NE(queue, theirs);
    ExpectRootsOwn(queue);
}

TEST_F(Squatted, AQueueThatRootMadeAndGaveAwayIsMadeAnew)
{
    int given = CreateMsgQ('3');
    GiveAway(given, ORDINARY_USER, 16384);
    int queue = CreateMsgQ('3');
    EXPECT_NE(queue, given);
    ExpectRootsOwn(queue);
}

TEST_F(Squatted, AUserWhoMakesItAgainAtOnceHoldsNobodyUp)
{
    pid_t squatter = fork();
    if (squatter == 0) {
        BecomeOrdinaryUser();
        for (;;)
            RawQueue('3');
    }
    while (!RawExists('3'))
        usleep(1000);
    double before = Seconds();
    int round = 0;
    for (; round < 20000 && Seconds() - before < 5; round++) {
        int queue = CreateMsgQ('3');
        if (queue == -1)
            continue;
        ASSERT_EQ(StateOf(queue).msg_perm.cuid, 0U) << "root uses none of theirs";
        DestroyMsgQ(queue);
    }
    EXPECT_GT(round, 10);
    kill(squatter, SIGKILL);
    waitpid(squatter, nullptr, 0);
}

TEST_F(Squatted, AnOrdinaryUserOpensWhateverIsThere)
{
    int rootsQueue = CreateMsgQ('1');
    Squat('2', 1234);
    Outcome outcome = RunInChild([rootsQueue] {
        BecomeOrdinaryUser();
        bool isSame = CreateMsgQ('1') == rootsQueue && CreateMsgQ('2') == RawQueue('2');
        return isSame && SendMsg(rootsQueue, 5, "001") == 1 ? 0 : 1;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(StateOf(RawQueue('2')).msg_perm.uid, 1234U) << "only root makes it anew";
    EXPECT_EQ(TakeAll(rootsQueue), (Messages{{5, "001"}}));
}

// --- queues that are root's alone ----------------------------------------------------------

TEST_F(Squatted, AQueueThatIsRootsAloneIsAsGoodAsEmptyForAnybodyElse)
{
    for (char id : {'1', '2', '3', '4', '5'}) {
        int queue = msgget(ftok("/etc/wardenlink", id), IPC_CREAT | 0600);
        RawSend(queue, id == '2' ? 4 : 5, "100");
        EXPECT_EQ(CreateMsgQ(id), queue) << "root opens it as it is";
        EXPECT_EQ(StateOf(queue).msg_perm.mode & 0777, 0600);
    }
    Outcome outcome = RunInChild([] {
        BecomeOrdinaryUser();
        double before = Seconds();
        int q[4] = {0, 0, 0, 0};
        Create4MsgQ(&q[0], &q[1], &q[2], &q[3]);
        for (int queue : q) {
            EXPECT_EQ(queue, -1);
            EXPECT_EQ(ReadCtrlMsg(queue), CTRL_NONE);
            EXPECT_EQ(MsgNumber(queue), -1);
        }
        EXPECT_EQ(SendMsg(CreateMsgQ('5'), 9, "a"), -1);
        EXPECT_EQ(TolvdPresent(), 0);
        EXPECT_EQ(InstanceExist(), 0);
        SendRedrawMsg();
        EXPECT_LT(Seconds() - before, 10);
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    for (char id : {'1', '2', '3', '4', '5'})
        EXPECT_EQ(MsgNumber(CreateMsgQ(id)), 1) << id;
}

} // namespace
