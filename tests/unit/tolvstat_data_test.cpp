// The daemon's three reply files: how they are read, taken apart and refreshed.
#include "front/tolvan.h"
#include "status/tolvstat_data.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/status_fields.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

const std::string STATUS_FILE = FOLDER + "/wardenlink.q1";
const std::string RATING_FILE = FOLDER + "/wardenlink.rtg";
const std::string MODEL_FILE = FOLDER + "/wardenlink.mdl";
const std::string DEBUG_FILE = FOLDER + "/status.dbg";

const std::string STATUS_LINE = "(215.0 195.0 220.0 045 50.0 13.6 25.0 00001001";
const std::string RATING_LINE = "#230.0 005 024.0 60.0";
const std::string MODEL_LINE = "#ACME Works      Mighty 1000  V2.1";

struct Reading {
    int result;
    std::string text;
    bool operator==(const Reading&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Reading& reading)
{
    return out << reading.result << " '" << reading.text << "'";
}

Reading Read(int (*reader)(char*))
{
    char text[50];
    memset(text, '#', sizeof(text));
    text[49] = '\0';
    int result = reader(text);
    return {result, text};
}

Reading ReadStatus()
{
    SOpenTextFile();
    return Read(GetQ1fromTextFile);
}

// A file that takes the old one's name, as the daemon leaves it.
void ReplaceFile(const std::string& path, const std::string& bytes)
{
    WriteFile(path + ".new", bytes);
    rename((path + ".new").c_str(), path.c_str());
}

// --- reading -----------------------------------------------------------------------------

TEST(StatusFile, IsNotReadBeforeItWasOpened)
{
    WriteFile(STATUS_FILE, STATUS_LINE + "\r");
    EXPECT_EQ(Read(GetQ1fromTextFile), (Reading{-1, ""}));
    EXPECT_EQ(ReadStatus(), (Reading{1, STATUS_LINE}));
}

TEST(StatusFile, LosesItsLastCharacterAndWhatIsBeyond48)
{
    struct {
        std::string held;
        Reading read;
    } const cases[] = {
        {STATUS_LINE + "\r", {1, STATUS_LINE}},
        {STATUS_LINE + "\r\n", {1, STATUS_LINE + "\r"}},
        {"(215.0 195", {1, "(215.0 19"}},
        {"(", {1, ""}},
        {std::string(48, 'a'), {1, std::string(47, 'a')}},
        {std::string(49, 'a'), {1, std::string(47, 'a')}},
        {std::string(1000000, 'a'), {1, std::string(47, 'a')}},
        {std::string("(215.0\0", 7) + "220", {1, "(215."}},
    };
    for (const auto& test : cases) {
        WriteFile(STATUS_FILE, test.held);
        EXPECT_EQ(ReadStatus(), test.read) << test.held.substr(0, 60);
    }
}

TEST(StatusFile, IsNoLineWhenEmptyOrStartingWithAZeroByte)
{
    WriteFile(STATUS_FILE, "");
    EXPECT_EQ(ReadStatus().result, -1);
    WriteFile(STATUS_FILE, std::string(48, '\0'));
    EXPECT_EQ(ReadStatus().result, -1);
    WriteFile(STATUS_FILE, std::string("\0(215.0", 7));
    EXPECT_EQ(ReadStatus().result, -1);
}

TEST(StatusFile, IsSeenAfreshWhenReplacedOrRewritten)
{
    WriteFile(STATUS_FILE, "(first\r");
    EXPECT_EQ(ReadStatus().text, "(first");
    ReplaceFile(STATUS_FILE, "(second line\r");
    EXPECT_EQ(Read(GetQ1fromTextFile), (Reading{1, "(second line"}));
    WriteFile(STATUS_FILE, "(third\r");
    EXPECT_EQ(Read(GetQ1fromTextFile), (Reading{1, "(third"}));
}

TEST(StatusFile, IsLookedForAgainAfterItWasGone)
{
    WriteFile(STATUS_FILE, "(line\r");
    EXPECT_EQ(ReadStatus().result, 1);
    unlink(STATUS_FILE.c_str());
    EXPECT_EQ(Read(GetQ1fromTextFile).result, -1);
    WriteFile(STATUS_FILE, "(back\r");
    EXPECT_EQ(Read(GetQ1fromTextFile), (Reading{-1, ""})) << "not opened yet";
    EXPECT_EQ(ReadStatus(), (Reading{1, "(back"}));
}

TEST(RatingAndModelFile, AreReadAnewOnEveryCall)
{
    struct {
        const std::string& path;
        int (*reader)(char*);
        size_t length;
    } const cases[] = {{RATING_FILE, GetRatingfromTextFile, 22},
                       {MODEL_FILE, GetModelfromTextFile, 39}};
    for (const auto& test : cases) {
        EXPECT_EQ(Read(test.reader), (Reading{-1, ""})) << "missing";
        WriteFile(test.path, "#some text\r");
        EXPECT_EQ(Read(test.reader), (Reading{1, "#some text"}));
        ReplaceFile(test.path, "#other\r");
        EXPECT_EQ(Read(test.reader), (Reading{1, "#other"}));
        WriteFile(test.path, "");
        EXPECT_EQ(Read(test.reader).result, -1) << "empty";
        WriteFile(test.path, std::string(30, '\0'));
        EXPECT_EQ(Read(test.reader).result, -1) << "no text";
        for (size_t held : {test.length, test.length + 1, size_t{1000000}}) {
            WriteFile(test.path, std::string(held, 'm'));
            EXPECT_EQ(Read(test.reader), (Reading{1, std::string(test.length - 1, 'm')}));
        }
    }
}

// --- refreshing --------------------------------------------------------------------------

TEST(Placeholders, StandWhereOnlyTheUpsKnows)
{
    StatusFields fields;
    memset(&fields, 'x', sizeof(fields));
    strcpy(fields.batteryRating, "12.0");
    InitScreenData(fields);
    ExpectPlaceholders(fields);
    EXPECT_STREQ(fields.batteryRating, "12.0") << "the settings know it";
    // The settings' own texts stand in one row of fields.
    EXPECT_EQ(std::string(fields.countdownText, 4 + 4 + 11 + 11 + 9 + 5), std::string(44, 'x'));
    EXPECT_EQ(std::string(fields.commPort, 30), std::string(30, 'x'));
    EXPECT_EQ(std::string(fields.shutdownDue, 4), "xxxx");
}

TEST(Placeholders, ReplaceABatteryRatingThatIsNoNumber)
{
    for (const char* text : {"", "N/A", "12", ".", "-1.0", " 0.0"}) {
        StatusFields fields = {};
        strcpy(fields.batteryRating, text);
        InitScreenData(fields);
        EXPECT_STREQ(fields.batteryRating, "N/A") << text;
    }
}

TEST(Refresh, ReadsAllThreeFiles)
{
    WriteFile(STATUS_FILE, STATUS_LINE + "\r");
    WriteFile(RATING_FILE, RATING_LINE + "\r");
    WriteFile(MODEL_FILE, MODEL_LINE + "\r");
    StatusFields fields = {};
    int failCount = 4;
    SOpenTextFile();
    GetData(fields, &failCount);
    EXPECT_EQ(failCount, 0);
    EXPECT_STREQ(fields.inputVoltage, "215.0");
    EXPECT_STREQ(fields.ratingVoltage, "230.0");
    EXPECT_STREQ(fields.batteryRating, "024.0");
    EXPECT_STREQ(fields.modelText, MODEL_LINE.c_str() + 1);
}

TEST(Refresh, WithoutAStatusLineKeepsPlaceholdersAndCounts)
{
    WriteFile(RATING_FILE, RATING_LINE + "\r");
    WriteFile(MODEL_FILE, MODEL_LINE + "\r");
    StatusFields fields = {};
    int failCount = 0;
    for (int pass = 1; pass <= 12; pass++) {
        SOpenTextFile();
        GetData(fields, &failCount);
        EXPECT_EQ(failCount, pass);
        EXPECT_STREQ(fields.inputVoltage, "N/A");
        EXPECT_STREQ(fields.ratingVoltage, "N/A") << "not read without a status line";
        EXPECT_STREQ(fields.modelText, "");
    }
    WriteFile(STATUS_FILE, STATUS_LINE + "\r");
    SOpenTextFile();
    GetData(fields, &failCount);
    EXPECT_EQ(failCount, 0);
    unlink(STATUS_FILE.c_str());
    GetData(fields, &failCount);
    EXPECT_EQ(failCount, 1);
    EXPECT_STREQ(fields.inputVoltage, "N/A") << "an old value does not stay";
    EXPECT_STREQ(fields.modelText, "");
}

TEST(Refresh, DoesWithoutRatingAndModel)
{
    WriteFile(STATUS_FILE, STATUS_LINE + "\r");
    StatusFields fields = {};
    int failCount = 0;
    SOpenTextFile();
    GetData(fields, &failCount);
    EXPECT_STREQ(fields.outputVoltage, "220.0");
    EXPECT_STREQ(fields.ratingVoltage, "N/A");
    EXPECT_STREQ(fields.lineFrequency, "N/A");
    EXPECT_STREQ(fields.modelText, "");
    EXPECT_EQ(failCount, 0);
}

TEST(Refresh, KeepsNoMoreFilesOpenAfterAThousandPasses)
{
    WriteFile(STATUS_FILE, STATUS_LINE + "\r");
    WriteFile(RATING_FILE, RATING_LINE + "\r");
    WriteFile(MODEL_FILE, MODEL_LINE + "\r");
    WriteFile(DEBUG_FILE, "nodebug");
    StatusFields fields = {};
    int failCount = 0;
    SOpenTextFile();
    size_t before = CountOpenFiles();
    for (int pass = 0; pass < 1000; pass++) {
        SOpenTextFile();
        GetData(fields, &failCount);
        if (pass % 10 == 3)
            unlink(STATUS_FILE.c_str());
        if (pass % 10 == 6)
            WriteFile(STATUS_FILE, pass % 20 == 6 ? "" : STATUS_LINE + "\r");
    }
    SOpenTextFile();
    EXPECT_EQ(CountOpenFiles(), before);
}

TEST(Refresh, WaitsForNobodyWhenPipesStandInTheFilesPlaces)
{
    for (const std::string& path : {STATUS_FILE, RATING_FILE, MODEL_FILE, DEBUG_FILE})
        ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
    StatusFields fields = {};
    int failCount = 0;
    alarm(60); // ends a test that waits
    SOpenTextFile();
    GetData(fields, &failCount);
    EXPECT_EQ(failCount, 1);
    unlink(STATUS_FILE.c_str());
    WriteFile(STATUS_FILE, STATUS_LINE + "\r");
    SOpenTextFile();
    GetData(fields, &failCount);
    alarm(0);
    EXPECT_EQ(failCount, 0);
    EXPECT_STREQ(fields.inputVoltage, "215.0");
    EXPECT_STREQ(fields.modelText, "");
}

// --- the trace ---------------------------------------------------------------------------

std::string TracedPass()
{
    return PrintedBy([] {
        StatusFields fields = {};
        int failCount = 0;
        SOpenTextFile();
        GetData(fields, &failCount);
    });
}

const std::string TRACE = "<STATUS DEBUG> " + STATUS_LINE + "\n";

TEST(Trace, IsOnWhenTheFirstWordIsDebug)
{
    struct {
        const char* word;
        bool isOn;
    } const cases[] = {
        {"debug", true},     {"debug\n", true},    {"  \n debug and more", true},
        {"", false},         {"nodebug", false},   {"debugging", false},
        {"Debug", false},    {"and debug", false}, {"debugdebugdebugdebugdebug debug", false},
        {"debug\xFF", false}};
    WriteFile(STATUS_FILE, STATUS_LINE + "\r");
    for (const auto& test : cases) {
        WriteFile(DEBUG_FILE, test.word);
        EXPECT_EQ(TracedPass(), test.isOn ? TRACE : "") << test.word;
    }
    WriteFile(DEBUG_FILE, std::string(1000000, 'd'));
    EXPECT_EQ(TracedPass(), "");
}

TEST(Trace, LooksAtTheFirstTwentyBytesOfItsSwitchOnly)
{
    struct {
        size_t blanks;
        const char* behind;
        bool isOn;
    } const cases[] = {{14, "debug", true},  {14, "debug\n", true},     {14, "debug on", true},
                       {15, "debug", true},  {15, "debug\n", true},     {15, "debugging", false},
                       {16, "debug", false}, {16, "debug\n", false},    {20, "debug", false},
                       {25, "debug", false}, {20000000, "debug", false}};
    WriteFile(STATUS_FILE, STATUS_LINE + "\r");
    for (const auto& test : cases) {
        WriteFile(DEBUG_FILE, std::string(test.blanks, ' ') + test.behind);
        EXPECT_EQ(TracedPass(), test.isOn ? TRACE : "") << test.blanks << " and " << test.behind;
    }
}

TEST(Trace, ShowsNothingThatActsOnTheTerminal)
{
    WriteFile(DEBUG_FILE, "debug");
    WriteFile(STATUS_FILE, "(215.0\x1b[2J\t\x07~\x7f\x80\xff end\r\n");
    EXPECT_EQ(TracedPass(), "<STATUS DEBUG> (215.0?[2J??~??? end?\n");
}

TEST(Trace, FollowsItsSwitchAtTheNextRefresh)
{
    WriteFile(STATUS_FILE, STATUS_LINE + "\r");
    EXPECT_EQ(TracedPass(), "") << "no switch yet";
    PrintedBy([] { tolvan_debugstatus(); });
    EXPECT_EQ(TracedPass(), TRACE);
    EXPECT_EQ(TracedPass(), TRACE);
    PrintedBy([] { tolvan_stopdebugstatus(); });
    EXPECT_EQ(TracedPass(), "");
    PrintedBy([] { tolvan_debugstatus(); });
    EXPECT_EQ(TracedPass(), TRACE);
}

TEST(Trace, SaysNothingWithoutAStatusLine)
{
    WriteFile(DEBUG_FILE, "debug");
    WriteFile(RATING_FILE, RATING_LINE + "\r");
    EXPECT_EQ(TracedPass(), "");
    WriteFile(STATUS_FILE, "");
    EXPECT_EQ(TracedPass(), "");
}

} // namespace
