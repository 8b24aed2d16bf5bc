// New files that take the place of old ones: when they do, and whose they are then.
#include "base/newfile.h"
#include "tests/unit/support/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

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

TEST(NewFile, NeedsItsFolder)
{
    NewFile file = {"/etc/wardenlink/missing/place", ""};
    EXPECT_FALSE(WriteNew(file));
    DropNewFile(file);
    EXPECT_FALSE(FlushFolder("/etc/wardenlink/missing"));
    EXPECT_TRUE(FlushFolder(FOLDER.c_str()));
}

} // namespace
