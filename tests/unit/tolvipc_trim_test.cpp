// What a send throws away while somebody else takes messages of the same queue.
#include "ipc/tolvipc.h"
#include "tests/unit/support/raw_queue.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>

namespace {

int takenAfterLook = 0; // messages, by another reader, as soon as the queue was looked at

void TakeAsAnotherReader(int queue)
{
    RawRecord record;
    for (; takenAfterLook > 0; takenAfterLook--)
        msgrcv(queue, &record, sizeof(record.text), 0, IPC_NOWAIT);
}

} // namespace

// The system's own, with that reader behind it.
extern "C" int msgctl(int queue, int command, msqid_ds* state) noexcept
{
    long result = syscall(SYS_msgctl, queue, command, state);
    if (command == IPC_STAT)
        TakeAsAnotherReader(queue);
    return static_cast<int>(result);
}

namespace {

TEST(SendToMsgQ, ThrowsNothingAwayThatAnotherReaderHasLeftWithinTheLimit)
{
    int queue = CreateMsgQ('4');
    for (int i = 0; i < 8; i++)
        RawSend(queue, CONTROL_MESSAGE, std::to_string(i));
    takenAfterLook = 6;
    EXPECT_EQ(SendToMsgQ(queue, CONTROL_MESSAGE, "010"), 1);
    EXPECT_EQ(takenAfterLook, 0) << "it was looked at";
    EXPECT_EQ(TakeAll(queue), (Messages{{5, "6"}, {5, "7"}, {5, "010"}}));
}

} // namespace
