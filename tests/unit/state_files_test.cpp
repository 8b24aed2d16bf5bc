// What the daemon keeps under /run/wardenlink: its lock and the running outage.
#include "daemon/state_files.h"

#include "daemon/whole_file.h"
#include "tests/unit/support/files.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

bool IsNothing(const PolicyKept& kept)
{
    return kept.outageSince == NEVER && kept.lowSince == NEVER && kept.lookedAt == NEVER;
}

class StateFiles : public testing::Test {
  protected:
    void SetUp() override
    {
        ASSERT_EQ(system("rm -rf /run/wardenlink && mkdir -m 755 /run/wardenlink"), 0);
    }
};

TEST_F(StateFiles, KeepAnOutageForTheDaemonThatFollows)
{
    EXPECT_TRUE(IsNothing(ReadKeptOutage()));
    for (PolicyKept kept :
         {PolicyKept{1234567, NEVER, 1234567}, PolicyKept{0, 0, 0}, PolicyKept{1, INT64_MAX, 2},
          PolicyKept{5000000000, 5000000001, 5000000002}}) {
        ASSERT_TRUE(KeepOutage(kept));
        PolicyKept found = ReadKeptOutage();
        EXPECT_EQ(found.outageSince, kept.outageSince);
        EXPECT_EQ(found.lowSince, kept.lowSince);
        EXPECT_EQ(found.lookedAt, kept.lookedAt);
    }
    EXPECT_TRUE(KeepOutage(NOTHING_KEPT));
    EXPECT_EQ(ReadFile(OUTAGE_PATH), NO_FILE);
    EXPECT_TRUE(KeepOutage(NOTHING_KEPT)) << "there was none";
}

TEST_F(StateFiles, KeepNothingOfAnotherBootOrAnotherShape)
{
    ASSERT_TRUE(KeepOutage({77, 88, 99}));
    const std::string whole = ReadFile(OUTAGE_PATH);
    const std::string id = whole.substr(0, 36);
    ASSERT_EQ(whole, id + " 77 88 99\n");
    std::string other = whole;
    other[0] = other[0] == '0' ? '1' : '0';
    for (const std::string& text : {other, std::string(), id, id + " 77", id + " 77 88\n",
                                    id + " x 88 99\n", id.substr(1) + " 77 88 99\n", "x" + whole,
                                    std::string(5000, '7'), std::string("\0\0\0 1 2 3\n", 10)}) {
        WriteFile(OUTAGE_PATH, text);
        EXPECT_TRUE(IsNothing(ReadKeptOutage())) << text.substr(0, 60);
    }
    WriteFile(OUTAGE_PATH, whole);
    EXPECT_EQ(ReadKeptOutage().outageSince, 77);
}

TEST_F(StateFiles, LockOutASecondDaemonUntilTheFirstEnds)
{
    int lock = TakeDaemonLock();
    ASSERT_GE(lock, 0);
    EXPECT_EQ(TakeDaemonLock(), LOCK_TAKEN);
    close(lock);
    lock = TakeDaemonLock();
    EXPECT_GE(lock, 0);
    close(lock);
    struct stat file = {};
    ASSERT_EQ(stat(LOCK_PATH, &file), 0);
    EXPECT_EQ(file.st_mode & 07777, 0600U) << "nobody else may hold it";
}

TEST_F(StateFiles, MakeTheFolderWhateverTheUmaskIs)
{
    ASSERT_EQ(rmdir(STATE_FOLDER), 0);
    mode_t old = umask(077);
    int lock = TakeDaemonLock();
    umask(old);
    ASSERT_GE(lock, 0);
    close(lock);
    struct stat folder = {};
    ASSERT_EQ(stat(STATE_FOLDER, &folder), 0);
    EXPECT_EQ(folder.st_mode & 07777, 0755U);
}

TEST_F(StateFiles, AreNotMadeInAFolderThatOthersCanChange)
{
    ASSERT_EQ(chmod(STATE_FOLDER, 0775), 0);
    EXPECT_EQ(TakeDaemonLock(), LOCK_FAILED);
    EXPECT_EQ(errno, EPERM);
    ASSERT_EQ(rmdir(STATE_FOLDER), 0);
    ASSERT_EQ(symlink("/tmp", STATE_FOLDER), 0);
    EXPECT_EQ(TakeDaemonLock(), LOCK_FAILED);
    ASSERT_EQ(unlink(STATE_FOLDER), 0);
    WriteFile(STATE_FOLDER, "a file");
    EXPECT_EQ(TakeDaemonLock(), LOCK_FAILED);
    ASSERT_EQ(unlink(STATE_FOLDER), 0);
}

TEST_F(StateFiles, ALockThatIsALinkIsNotFollowed)
{
    ASSERT_EQ(symlink("/run/somebody's", LOCK_PATH), 0);
    EXPECT_EQ(TakeDaemonLock(), LOCK_FAILED);
    EXPECT_EQ(ReadFile("/run/somebody's"), NO_FILE);
}

// --- whole files -------------------------------------------------------------------------

TEST_F(StateFiles, AreReplacedWholeAndLeaveNothingBeside)
{
    const char path[] = "/run/wardenlink/file";
    mode_t old = umask(077);
    EXPECT_TRUE(ReplaceWholeFile(path, "first\0second", 12, 0644));
    umask(old);
    EXPECT_EQ(ReadFile(path), std::string("first\0second", 12));
    struct stat file = {};
    ASSERT_EQ(stat(path, &file), 0);
    EXPECT_EQ(file.st_mode & 07777, 0644U);
    // What stands in the way of the scratch file is removed, never written through.
    WriteFile("/run/other", "other's");
    ASSERT_EQ(symlink("/run/other", "/run/wardenlink/file.new"), 0);
    EXPECT_TRUE(ReplaceWholeFile(path, "x", 1, 0600));
    EXPECT_EQ(ReadFile("/run/other"), "other's");
    EXPECT_EQ(ReadFile(path), "x");
    EXPECT_EQ(ReadFile("/run/wardenlink/file.new"), NO_FILE);
    EXPECT_FALSE(ReplaceWholeFile("/run/no/such/folder", "x", 1, 0600));
    // Nothing takes a folder's place: what was written for it goes.
    ASSERT_EQ(mkdir("/run/wardenlink/folder", 0755), 0);
    EXPECT_FALSE(ReplaceWholeFile("/run/wardenlink/folder", "x", 1, 0600));
    EXPECT_EQ(ReadFile("/run/wardenlink/folder.new"), NO_FILE);
}

TEST_F(StateFiles, AreReadUpToTheRoomThereIs)
{
    char text[6];
    WriteFile("/run/long", "0123456789");
    EXPECT_EQ(ReadSmallFile("/run/long", text, sizeof(text)), 5);
    EXPECT_STREQ(text, "01234");
    EXPECT_EQ(ReadSmallFile("/run/none", text, sizeof(text)), -1);
    EXPECT_STREQ(text, "");
    ASSERT_EQ(mkfifo("/run/pipe", 0600), 0);
    EXPECT_LE(ReadSmallFile("/run/pipe", text, sizeof(text)), 0) << "it does not wait";
    EXPECT_STREQ(text, "");
}

} // namespace
