// New files that take the place of old ones: when they do, and whose they are then.
#include "base/newfile.h"
#include "tests/unit/support/files.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const std::string PLACE = FOLDER + "/place";
const std::string NEW = "new content\n";

NewFile FileForThePlace()
{
    return {PLACE.c_str(), ""};
}

bool WriteNew(NewFile& file)
{
    return WriteNewFile(file, NEW.data(), NEW.size());
}

struct stat StateOf(const std::string& path)
{
    struct stat state = {};
    EXPECT_EQ(stat(path.c_str(), &state), 0) << path;
    return state;
}

TEST(NewFile, StandsBesideTheOldOneUntilItTakesItsPlace)
{
    WriteFile(PLACE, "old");
    NewFile file = FileForThePlace();
    ASSERT_TRUE(WriteNew(file));
    EXPECT_EQ(ReadFile(PLACE), "old");
    EXPECT_EQ(ReadFile(file.scratch), NEW);
    EXPECT_EQ(ListFolder().size(), 2U);
    EXPECT_TRUE(TakePlace(file));
    EXPECT_EQ(ReadFile(PLACE), NEW);
    DropNewFile(file);
    EXPECT_EQ(ReadFile(PLACE), NEW) << "it is no new file any more";
    EXPECT_EQ(ListFolder(), std::set<std::string>{"place"});
}

TEST(NewFile, LeavesNothingWhenItIsDropped)
{
    WriteFile(PLACE, "old");
    NewFile file = FileForThePlace();
    DropNewFile(file);
    ASSERT_TRUE(WriteNew(file));
    DropNewFile(file);
    DropNewFile(file);
    EXPECT_EQ(ReadFile(PLACE), "old");
    EXPECT_EQ(ListFolder(), std::set<std::string>{"place"});
}

TEST(NewFile, ClearsUpWhatASaveLeftMoreThanAMinuteAgo)
{
    const std::string left = FOLDER + "/.place.save-abcdef";
    for (time_t age : {30, 61}) {
        WriteFile(left, "half");
        timespec then = {time(nullptr) - age, 0};
        timespec times[] = {then, then};
        ASSERT_EQ(utimensat(AT_FDCWD, left.c_str(), times, 0), 0);
        RemoveLeftovers(FOLDER.c_str(), {"/other", PLACE.c_str()});
        EXPECT_EQ(ListFolder().count(".place.save-abcdef"), age < 60 ? 1U : 0U) << age;
    }
}

TEST(NewFile, NeedsItsFolder)
{
    NewFile file = {"/etc/wardenlink/missing/place", ""};
    EXPECT_FALSE(WriteNew(file));
    DropNewFile(file);
    EXPECT_FALSE(FlushFolder("/etc/wardenlink/missing"));
    EXPECT_TRUE(FlushFolder(FOLDER.c_str()));
}

TEST(NewFile, NeedsNoFolderThatCanBeFlushed)
{
    int folder = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(fsync(folder), -1);
    ASSERT_EQ(errno, EINVAL) << "file systems may have no such thing";
    close(folder);
    EXPECT_TRUE(FlushFolder("/proc"));
}

// --- whose it is -------------------------------------------------------------------------

// An ordinary user whose only group is 0, root's, replaces the file in a folder that is
// everybody's. 0 when that was done.
int ReplaceAsOrdinaryUser()
{
    chmod(FOLDER.c_str(), 0777);
    return RunInChild([] {
               BecomeOrdinaryUser();
               NewFile file = FileForThePlace();
               bool isDone = WriteNew(file) && TakePlace(file);
               DropNewFile(file);
               return isDone ? 0 : 1;
           })
        .status;
}

// Puts an old file of root's there; false where no second group exists.
bool PlaceOldFile(mode_t mode, gid_t group)
{
    WriteFile(PLACE, "old");
    bool isPlaced = chown(PLACE.c_str(), 0, group) == 0;
    chmod(PLACE.c_str(), mode);
    return isPlaced;
}

constexpr gid_t OTHER_GROUP = 34;

// Nobody's identity is lent, and the user's own group may do no more than everybody could.
TEST(NewFile, BecomesTheFileOfAUserWhoMayHandNothingOver)
{
    struct {
        mode_t mode;
        gid_t group;
        mode_t newMode;
    } const cases[] = {
        {0644, 0, 0644},           {0660, 0, 0660},           {0444, 0, 0444},
        {04755, 0, 0755},          {06775, 0, 0775},          {0664, OTHER_GROUP, 0644},
        {0644, OTHER_GROUP, 0644}, {0604, OTHER_GROUP, 0604}, {02777, OTHER_GROUP, 0777},
    };
    for (const auto& test : cases) {
        if (!PlaceOldFile(test.mode, test.group))
            GTEST_SKIP() << "there is one user only here";
        EXPECT_EQ(ReplaceAsOrdinaryUser(), 0) << std::oct << test.mode;
        EXPECT_EQ(ReadFile(PLACE), NEW);
        EXPECT_EQ(StateOf(PLACE).st_mode & 07777, test.newMode) << std::oct << test.mode;
        EXPECT_EQ(StateOf(PLACE).st_uid, ORDINARY_USER);
        EXPECT_EQ(StateOf(PLACE).st_gid, 0U) << "the user's own";
        EXPECT_EQ(ListFolder(), std::set<std::string>{"place"});
    }
}

TEST(NewFile, NeverReplacesWhatAnOrdinaryUserMayNotRead)
{
    struct {
        mode_t mode;
        gid_t group;
    } const cases[] = {{0600, 0}, {0622, 0}, {0640, OTHER_GROUP}};
    for (const auto& test : cases) {
        if (!PlaceOldFile(test.mode, test.group))
            GTEST_SKIP() << "there is one user only here";
        EXPECT_EQ(ReplaceAsOrdinaryUser(), 1) << std::oct << test.mode;
        EXPECT_EQ(ReadFile(PLACE), "old");
        EXPECT_EQ(StateOf(PLACE).st_mode & 07777, test.mode);
        EXPECT_EQ(ListFolder(), std::set<std::string>{"place"});
    }
}

} // namespace
