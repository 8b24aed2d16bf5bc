// One refresh after the other from the daemon's three files, as a screen makes them.
#include "status/tolvstat_data.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/status_fields.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

const std::string STATUS_FILE = FOLDER + "/wardenlink.q1";
const std::string RATING_FILE = FOLDER + "/wardenlink.rtg";
const std::string MODEL_FILE = FOLDER + "/wardenlink.mdl";

const std::string STATUS = std::string(STATUS_LINE) + "\r";
constexpr char RATING[] = "#220.0 005 12.00 50.0\r";
constexpr char MODEL[] = "#WATCHMAN       WM1500     R12.3      \r";

class GetDataTest : public testing::Test {
  protected:
    void SetUp() override
    {
        WriteFile(STATUS_FILE, STATUS);
        WriteFile(RATING_FILE, RATING);
        WriteFile(MODEL_FILE, MODEL);
    }

    // One refresh as the screen makes it.
    void Refresh()
    {
        SOpenTextFile();
        GetData(fields, &failCount);
    }

    // The whole record is printable text, each field within its size.
    void ExpectTerminated() const
    {
        const char* bytes = reinterpret_cast<const char*>(&fields);
        EXPECT_NE(memchr(bytes, 0, sizeof(fields.upsType)), nullptr);
        EXPECT_LT(strlen(fields.modelText), sizeof(fields.modelText));
        EXPECT_LT(strlen(fields.faultVoltage), sizeof(fields.faultVoltage));
        EXPECT_LT(strlen(fields.inputVoltage), sizeof(fields.inputVoltage));
        EXPECT_LT(strlen(fields.selfTest), sizeof(fields.selfTest));
        EXPECT_STREQ(fields.shutdownDue, "") << "a refresh does not write here";
    }

    StatusFields fields = {};
    int failCount = 0;
};

TEST_F(GetDataTest, FillsTheRecordFromThreeFiles)
{
    Refresh();
    ExpectStatusLine(fields);
    EXPECT_STREQ(fields.ratingVoltage, "220.0");
    EXPECT_STREQ(fields.ratingCurrent, "  5");
    EXPECT_STREQ(fields.batteryRating, "12.00");
    EXPECT_STREQ(fields.lineFrequency, "50.0");
    EXPECT_STREQ(fields.modelText, "WATCHMAN       WM1500     R12.3      ");
    EXPECT_EQ(failCount, 0);
    ExpectTerminated();
}

TEST_F(GetDataTest, CountsRefreshesWithoutAStatusLineInARow)
{
    unlink(STATUS_FILE.c_str());
    for (int count = 1; count <= 15; count++) {
        Refresh();
        EXPECT_EQ(failCount, count);
    }
    WriteFile(STATUS_FILE, STATUS);
    Refresh();
    EXPECT_EQ(failCount, 0);
    WriteFile(STATUS_FILE, "");
    Refresh();
    EXPECT_EQ(failCount, 1) << "an empty file holds no status line";
}

TEST_F(GetDataTest, LeavesPlaceholdersWithoutAStatusLine)
{
    Refresh();
    unlink(STATUS_FILE.c_str());
    Refresh();
    ExpectPlaceholders(fields);
    EXPECT_STREQ(fields.batteryRating, "12.00") << "a valid rating survives";
}

TEST_F(GetDataTest, SeesAReplacedFileAtOnce)
{
    Refresh();
    WriteFile(STATUS_FILE + ".new", "(111.1 195.0 220.0 045 50.0 13.6 25.0 00001001\r");
    ASSERT_EQ(rename((STATUS_FILE + ".new").c_str(), STATUS_FILE.c_str()), 0);
    Refresh();
    EXPECT_STREQ(fields.inputVoltage, "111.1");
}

TEST_F(GetDataTest, SurvivesAnyBytesInAnyFile)
{
    unsigned seed = 1;
    for (size_t length : {1, 2, 20, 22, 38, 39, 47, 48, 49, 50, 51, 128, 5000}) {
        for (int round = 0; round < 40; round++) {
            std::string bytes(length, '\0');
            for (char& byte : bytes)
                byte = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
            if (round % 2 == 0)
                bytes[0] = '(';
            for (const std::string& path : {STATUS_FILE, RATING_FILE, MODEL_FILE})
                WriteFile(path, bytes);
            Refresh();
            ExpectTerminated();
        }
    }
}

TEST_F(GetDataTest, KeepsNoMoreFilesOpenFromRefreshToRefresh)
{
    Refresh();
    size_t before = CountOpenFiles();
    for (int count = 0; count < 500; count++) {
        if (count % 50 == 10)
            unlink(STATUS_FILE.c_str());
        if (count % 50 == 20)
            WriteFile(STATUS_FILE, STATUS);
        Refresh();
    }
    EXPECT_LE(CountOpenFiles(), before);
}

} // namespace
