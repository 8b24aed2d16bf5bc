// What the daemon keeps of the UPS's last replies.
#include "daemon/reply_files.h"

#include "base/system.h"
#include "tests/unit/support/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

const std::string REPLY = "(230.0 230.0 230.0 035 50.0 13.6 25.0 00000000\r";

TEST(ReplyFiles, HoldTheReplyByteForByteWhateverStoodThere)
{
    using namespace std::string_literals;
    for (const std::string& before :
         {""s, "("s, REPLY + "more", REPLY + "\0more"s, REPLY + std::string(500, '\0')}) {
        WriteFile(STATUS_REPLY_PATH, before);
        EXPECT_TRUE(KeepStatusReply(REPLY.c_str()));
        EXPECT_EQ(ReadFile(STATUS_REPLY_PATH), REPLY);
    }
}

TEST(ReplyFiles, StayAsTheyAreWhileTheReplyIsTheSame)
{
    ASSERT_TRUE(KeepStatusReply(REPLY.c_str()));
    struct stat first = {};
    struct stat second = {};
    ASSERT_EQ(stat(STATUS_REPLY_PATH, &first), 0);
    // A file that is written anew has another number while the old one is held.
    FILE* held = OpenStreamToRead(STATUS_REPLY_PATH);
    EXPECT_TRUE(KeepStatusReply(REPLY.c_str()));
    EXPECT_TRUE(KeepStatusReply(nullptr));
    ASSERT_EQ(stat(STATUS_REPLY_PATH, &second), 0);
    fclose(held);
    EXPECT_EQ(first.st_ino, second.st_ino);
}

} // namespace
