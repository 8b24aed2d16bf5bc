// The two settings files, read. What is expected is laid out here byte by byte.
#include "settings/tolv_lib.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/settings_image.h"

#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>

namespace {

// Both records hold these before a file is read, so that a change shows.
void FillWithMarks(PowerConfig& cfg, ScheduleEntry sched[7])
{
    LoadImage(cfg, sched, MarkedImage());
}

// Writes a binary file of SampleImage and the given text, reads both.
PowerConfig ReadWithText(const std::string& text)
{
    WriteFile(POWER_INI, SampleImage());
    WriteFile(TEXT_CFG, text);
    PowerConfig cfg;
    ScheduleEntry sched[7];
    FillWithMarks(cfg, sched);
    EXPECT_EQ(ReadConfig(cfg, sched), 1);
    return cfg;
}

// The value of one line in its brackets, the others as SampleText has them.
PowerConfig ReadWithValue(size_t line, const std::string& value)
{
    std::vector<std::string> values = SampleValues();
    values[line - 1] = value;
    return ReadWithText(TextOf(values));
}

TEST(Defaults, AreAsDelivered)
{
    PowerConfig cfg;
    ScheduleEntry sched[7];
    memset(&cfg, 0xA5, sizeof(cfg));
    memset(sched, 0xA5, sizeof(sched));
    InitConfig(cfg, sched);
    EXPECT_EQ(cfg.acFailDelay, 5);
    EXPECT_EQ(cfg.battLowDelay, 1);
    EXPECT_EQ(cfg.upsOffDelay, 3.0F);
    EXPECT_EQ(cfg.batteryRating, 0.0F);
    EXPECT_STREQ(cfg.comPort, "/dev/ttyS1");
    EXPECT_STREQ(cfg.snmpIp, "127.0.0.1");
    EXPECT_STREQ(cfg.snmpCommunity, "public");
    EXPECT_EQ(cfg.scheduleOn, 0);
    EXPECT_EQ(cfg.countdownOn, 1);
    EXPECT_EQ(cfg.commMode, 1);
    EXPECT_EQ(cfg.turnOffUps, 1);
    EXPECT_EQ(cfg.reserved, 0);
    std::string image = ImageOf(cfg, sched);
    EXPECT_EQ(image.substr(120), std::string(112, '\xFF')) << "every hour and minute is -1";
    EXPECT_EQ(image.substr(106, 2), "\xA5\xA5") << "the padding is left alone";
}

TEST(SettingsRead, TakesEveryFieldOfTheBinaryFile)
{
    WriteFile(POWER_INI, SampleImage());
    WriteFile(TEXT_CFG, "");
    PowerConfig cfg;
    ScheduleEntry sched[7];
    FillWithMarks(cfg, sched);
    EXPECT_EQ(ReadConfig(cfg, sched), 1);
    EXPECT_EQ(cfg.acFailDelay, 258);
    EXPECT_EQ(cfg.battLowDelay, 7);
    EXPECT_EQ(cfg.upsOffDelay, 2.5F);
    EXPECT_EQ(cfg.batteryRating, 12.5F);
    EXPECT_STREQ(cfg.comPort, "/dev/ttyS7");
    EXPECT_STREQ(cfg.snmpIp, "192.0.2.77");
    EXPECT_STREQ(cfg.snmpCommunity, "engine-room");
    EXPECT_EQ(cfg.scheduleOn, 1);
    EXPECT_EQ(cfg.countdownOn, 0);
    EXPECT_EQ(cfg.commMode, 0);
    EXPECT_EQ(cfg.turnOffUps, 0);
    EXPECT_EQ(cfg.reserved, 0x01020304);
    for (int day = 0; day < 7; day++) {
        EXPECT_EQ(sched[day].startHour, day + 1);
        EXPECT_EQ(sched[day].startMinute, day + 11);
        EXPECT_EQ(sched[day].shutdownHour, day == 3 ? -1 : day + 14);
        EXPECT_EQ(sched[day].shutdownMinute, day + 31);
    }
}

TEST(SettingsRead, WithoutABinaryFileLoadsNothing)
{
    WriteFile(TEXT_CFG, TextOf(SampleValues()));
    PowerConfig cfg;
    ScheduleEntry sched[7];
    FillWithMarks(cfg, sched);
    EXPECT_EQ(ReadConfig(cfg, sched), 0);
    EXPECT_EQ(ImageOf(cfg, sched), MarkedImage());
}

TEST(SettingsRead, WithoutATextFileLoadsTheBinaryValues)
{
    WriteFile(POWER_INI, SampleImage());
    PowerConfig cfg;
    ScheduleEntry sched[7];
    FillWithMarks(cfg, sched);
    EXPECT_EQ(ReadConfig(cfg, sched), 0);
    EXPECT_EQ(ImageOf(cfg, sched), SampleImage());
}

TEST(SettingsRead, GivesTheTextFileTheLastWord)
{
    WriteFile(POWER_INI, SampleImage());
    WriteFile(TEXT_CFG, TextOf({"30", "9", "6.0", "48.0", "/dev/ttyS0", "1", "0", "1", "1",
                                "198.51.100.9", "private"}));
    PowerConfig cfg;
    ScheduleEntry sched[7];
    FillWithMarks(cfg, sched);
    EXPECT_EQ(ReadConfig(cfg, sched), 1);
    EXPECT_EQ(cfg.acFailDelay, 30);
    EXPECT_EQ(cfg.battLowDelay, 9);
    EXPECT_EQ(cfg.upsOffDelay, 6.0F);
    EXPECT_EQ(cfg.batteryRating, 48.0F);
    EXPECT_STREQ(cfg.comPort, "/dev/ttyS0");
    EXPECT_EQ(cfg.turnOffUps, 1);
    EXPECT_EQ(cfg.scheduleOn, 0);
    EXPECT_EQ(cfg.countdownOn, 1);
    EXPECT_EQ(cfg.commMode, 1);
    EXPECT_STREQ(cfg.snmpIp, "198.51.100.9");
    EXPECT_STREQ(cfg.snmpCommunity, "private");
    EXPECT_EQ(cfg.reserved, 0x01020304) << "comes from the binary file always";
    EXPECT_EQ(ImageOf(cfg, sched).substr(120), SampleImage().substr(120));
}

TEST(SettingsRead, DropsTheFractionOfADelayOfOneMinuteAndMore)
{
    struct {
        const char* written;
        float read;
    } const cases[] = {
        {"2.5", 2.0F},  {"1.9", 1.0F}, {"1.0", 1.0F},     {"9.9", 9.0F},  {"10.0", 10.0F},
        {"3", 3.0F},    {"0.5", 0.5F}, {"0.2", 0.2F},     {"0.9", 0.9F},  {"0.0", 0.0F},
        {"0.25", 2.5F}, {"0", 0.0F},   {"00.5", 0.0F},    {"-3.0", 0.0F}, {"x.7", 0.7F},
        {".", 0.0F},    {"0.", 0.0F},  {"1440", 1440.0F},
    };
    for (const auto& test : cases)
        EXPECT_EQ(ReadWithValue(3, test.written).upsOffDelay, test.read) << test.written;
}

TEST(SettingsRead, KnowsWholeVoltsOnly)
{
    struct {
        const char* written;
        float read;
    } const cases[] = {{"48.0", 48.0F}, {"12.5", 12.0F}, {"0.0", 0.0F},  {"0.9", 0.0F},
                       {"96", 96.0F},   {"-2.5", -2.0F}, {"volts", 0.0F}};
    for (const auto& test : cases)
        EXPECT_EQ(ReadWithValue(4, test.written).batteryRating, test.read) << test.written;
}

TEST(SettingsRead, DoesNotLookAtRanges)
{
    EXPECT_EQ(ReadWithValue(1, "30000").acFailDelay, 30000);
    EXPECT_EQ(ReadWithValue(1, "-5").acFailDelay, -5);
    EXPECT_EQ(ReadWithValue(2, "0").battLowDelay, 0);
    EXPECT_EQ(ReadWithValue(6, "7").turnOffUps, 7);
    EXPECT_EQ(ReadWithValue(7, "-1").scheduleOn, -1);
    EXPECT_EQ(ReadWithValue(8, "2").countdownOn, 2);
    EXPECT_EQ(ReadWithValue(9, "2000000000").commMode, 2000000000);
    EXPECT_EQ(ReadWithValue(1, "twelve").acFailDelay, 0);
    EXPECT_EQ(ReadWithValue(1, "12min").acFailDelay, 12);
}

TEST(SettingsRead, MovesLaterValuesUpOverAnEmptyOne)
{
    PowerConfig cfg = ReadWithText(
        TextOf({"30", "9", "6.0", "48.0", "", "4", "5", "6", "7", "198.51.100.9", "private"}));
    EXPECT_EQ(cfg.batteryRating, 48.0F);
    EXPECT_STREQ(cfg.comPort, "4");
    EXPECT_EQ(cfg.turnOffUps, 5);
    EXPECT_EQ(cfg.scheduleOn, 6);
    EXPECT_EQ(cfg.countdownOn, 7);
    EXPECT_EQ(cfg.commMode, 198);
    EXPECT_STREQ(cfg.snmpIp, "private");
    EXPECT_STREQ(cfg.snmpCommunity, "engine-room") << "no value is left for it";
}

TEST(SettingsRead, StartsAtTheFirstValueThatIsNotEmpty)
{
    PowerConfig cfg =
        ReadWithText(TextOf({"", "", "44", "55", "66.6", "77", "x", "1", "2", "3", "ip"}));
    EXPECT_EQ(cfg.acFailDelay, 44);
    EXPECT_EQ(cfg.battLowDelay, 55);
    EXPECT_EQ(cfg.upsOffDelay, 66.0F);
    EXPECT_EQ(cfg.batteryRating, 77.0F);
    EXPECT_STREQ(cfg.comPort, "x");
    EXPECT_EQ(cfg.commMode, 0) << "'ip' is no number";
    EXPECT_STREQ(cfg.snmpIp, "192.0.2.77");
}

TEST(SettingsRead, SplitsAValueAtItsBlanksAndShiftsTheRest)
{
    PowerConfig cfg = ReadWithText(TextOf(
        {"30", "9", "6.0", "48.0", "/dev/tty S0", "4", "5", "6", "7", "198.51.100.9", "mine"}));
    EXPECT_STREQ(cfg.comPort, "/dev/tty");
    EXPECT_EQ(cfg.turnOffUps, 0) << "'S0' is no number";
    EXPECT_EQ(cfg.scheduleOn, 4);
    EXPECT_EQ(cfg.countdownOn, 5);
    EXPECT_EQ(cfg.commMode, 6);
    EXPECT_STREQ(cfg.snmpIp, "7");
    EXPECT_STREQ(cfg.snmpCommunity, "198.51.100.9");
    EXPECT_STREQ(ReadWithValue(11, "my name").snmpCommunity, "my");
    EXPECT_EQ(ReadWithValue(1, "   30   ").acFailDelay, 30) << "blanks around count for nothing";
}

TEST(SettingsRead, MatchesValuesByPositionNotByLabel)
{
    PowerConfig cfg = ReadWithText("Batt Low Delay : [3]\nAC Fail Delay : [99]\n");
    EXPECT_EQ(cfg.acFailDelay, 3);
    EXPECT_EQ(cfg.battLowDelay, 99);
    cfg = ReadWithText("[21][8]no label [4.0] here[36]");
    EXPECT_EQ(cfg.acFailDelay, 21);
    EXPECT_EQ(cfg.battLowDelay, 8);
    EXPECT_EQ(cfg.upsOffDelay, 4.0F);
    EXPECT_EQ(cfg.batteryRating, 36.0F);
}

TEST(SettingsRead, LeavesFieldsWithoutAValueAtTheirBinaryOnes)
{
    const std::vector<std::string> values = {"30", "9", "6.0", "48.0", "/dev/ttyS0",   "1",
                                             "0",  "1", "1",   "ip",   "longcommunity"};
    for (size_t count = 0; count <= values.size(); count++) {
        PowerConfig cfg = ReadWithText(TextOf({values.begin(), values.begin() + count}));
        EXPECT_EQ(cfg.acFailDelay, count > 0 ? 30 : 258) << count;
        EXPECT_EQ(cfg.battLowDelay, count > 1 ? 9 : 7) << count;
        EXPECT_EQ(cfg.upsOffDelay, count > 2 ? 6.0F : 2.5F) << count;
        EXPECT_EQ(cfg.batteryRating, count > 3 ? 48.0F : 12.5F) << count;
        EXPECT_STREQ(cfg.comPort, count > 4 ? "/dev/ttyS0" : "/dev/ttyS7") << count;
        EXPECT_EQ(cfg.turnOffUps, count > 5 ? 1 : 0) << count;
        EXPECT_EQ(cfg.scheduleOn, count > 6 ? 0 : 1) << count;
        EXPECT_EQ(cfg.countdownOn, count > 7 ? 1 : 0) << count;
        EXPECT_EQ(cfg.commMode, count > 8 ? 1 : 0) << count;
        EXPECT_STREQ(cfg.snmpIp, count > 9 ? "ip" : "192.0.2.77") << count;
        EXPECT_STREQ(cfg.snmpCommunity, count > 10 ? "longcommunity" : "engine-room") << count;
    }
}

TEST(SettingsRead, TakesOddBracketsAsTheyCome)
{
    PowerConfig cfg = ReadWithText("[5[6]7] ]8[[9]");
    EXPECT_EQ(cfg.acFailDelay, 5) << "a bracket inside a value parts it in two";
    EXPECT_EQ(cfg.battLowDelay, 6);
    EXPECT_EQ(cfg.upsOffDelay, 9.0F) << "what stands outside is skipped";
    EXPECT_EQ(ReadWithText("AC Fail Delay : [77").acFailDelay, 77) << "never closed";
    EXPECT_EQ(ReadWithText("[").acFailDelay, 258);
    EXPECT_EQ(ReadWithText("no bracket at all\n").acFailDelay, 258);
    EXPECT_EQ(ReadWithText("]12[").acFailDelay, 258);
    cfg = ReadWithText("[1][2][3][4][/dev/tty\nS0][1]");
    EXPECT_STREQ(cfg.comPort, "/dev/tty\nS0") << "only a blank parts values";
}

TEST(SettingsRead, CutsTextsTo29Characters)
{
    const std::string longText = "abcdefghijklmnopqrstuvwxyz0123456789";
    for (size_t length : {28U, 29U, 30U, 31U, 36U}) {
        PowerConfig cfg =
            ReadWithText(TextOf({"30", "9", "6.0", "48.0", longText.substr(0, length), "4", "5",
                                 "6", "7", longText.substr(0, length), "x"}));
        EXPECT_EQ(std::string(cfg.comPort), longText.substr(0, std::min<size_t>(length, 29)));
        EXPECT_EQ(std::string(cfg.snmpIp), longText.substr(0, std::min<size_t>(length, 29)));
        EXPECT_STREQ(cfg.snmpCommunity, "x");
        EXPECT_EQ(cfg.scheduleOn, 5);
    }
    EXPECT_EQ(std::string(ReadWithValue(11, longText).snmpCommunity), longText.substr(0, 29));
}

TEST(SettingsRead, StopsCollectingValuesWhenItsBufferIsFull)
{
    // Every value and the blank before it count, but for the very first blank.
    const std::string front = "30 9 6.0 48.0 ";
    for (size_t length : {400U, 600U, 100000U}) {
        PowerConfig cfg = ReadWithText(TextOf(
            {"30", "9", "6.0", "48.0", std::string(length, 'p'), "4", "0", "1", "7", "ip", "x"}));
        bool fits = front.size() + length < 520;
        EXPECT_EQ(cfg.acFailDelay, 30) << length;
        EXPECT_EQ(std::string(cfg.comPort), std::string(29, 'p')) << length;
        EXPECT_EQ(cfg.turnOffUps, fits ? 4 : 0) << length;
        EXPECT_STREQ(cfg.snmpIp, fits ? "ip" : "192.0.2.77") << length;
    }
    // It holds 523 characters and their terminator.
    for (size_t left : {3U, 2U, 1U}) {
        std::string port(523 - front.size() - 1 - left, 'p');
        PowerConfig cfg = ReadWithText(TextOf({"30", "9", "6.0", "48.0", port, "123"}));
        EXPECT_EQ(std::to_string(cfg.turnOffUps), std::string("123").substr(0, left));
    }
}

TEST(SettingsRead, TakesNoValueFromBeyondTheFirstMebibyte)
{
    const std::string front(1048576 - 3, '#');
    EXPECT_EQ(ReadWithText(front + "[77]").acFailDelay, 77) << "its last byte counts";
    EXPECT_EQ(ReadWithText(front + "#[77]").acFailDelay, 7) << "the next one does not";
    EXPECT_EQ(ReadWithText(front + "###[77]").acFailDelay, 258) << "the binary file's";
}

TEST(SettingsRead, LeavesWhatATruncatedBinaryFileDoesNotHold)
{
    const std::string held = SampleImage();
    for (size_t length = 0; length <= held.size(); length++) {
        WriteFile(POWER_INI, held.substr(0, length));
        PowerConfig cfg;
        ScheduleEntry sched[7];
        FillWithMarks(cfg, sched);
        EXPECT_EQ(ReadConfig(cfg, sched), 0) << "there is no text file";
        EXPECT_EQ(ImageOf(cfg, sched), held.substr(0, length) + MarkedImage().substr(length))
            << length;
    }
}

TEST(SettingsRead, IgnoresWhatFollowsTheRecordInTheBinaryFile)
{
    WriteFile(POWER_INI, SampleImage() + std::string(1000000, 'Z'));
    PowerConfig cfg;
    ScheduleEntry sched[7];
    FillWithMarks(cfg, sched);
    ReadConfig(cfg, sched);
    EXPECT_EQ(ImageOf(cfg, sched), SampleImage());
}

TEST(SettingsRead, TerminatesTextsThatComeUnterminated)
{
    WriteFile(POWER_INI, std::string(232, 'U'));
    WriteFile(TEXT_CFG, "");
    PowerConfig cfg;
    ScheduleEntry sched[7];
    InitConfig(cfg, sched);
    EXPECT_EQ(ReadConfig(cfg, sched), 1);
    for (const char* text : {cfg.comPort, cfg.snmpIp, cfg.snmpCommunity})
        EXPECT_EQ(std::string(text, strnlen(text, 30)), std::string(29, 'U'));
    EXPECT_EQ(cfg.reserved, 0x55555555);
    EXPECT_EQ(sched[6].shutdownMinute, 0x55555555);
}

TEST(SettingsRead, SurvivesGarbageInBothFiles)
{
    std::mt19937 random(20260101);
    std::uniform_int_distribution<int> byte(0, 255);
    const std::string brackets = "[] \n0.-a";
    for (size_t size : {1U, 29U, 231U, 232U, 524U, 525U, 4096U, 1000000U}) {
        std::string binary(size, '\0');
        std::string text(size, '\0');
        for (size_t at = 0; at < size; at++) {
            binary[at] = static_cast<char>(byte(random));
            text[at] = at % 2 ? brackets[at * 7 / 3 % brackets.size()] : binary[at];
        }
        WriteFile(POWER_INI, binary);
        WriteFile(TEXT_CFG, text);
        PowerConfig cfg;
        ScheduleEntry sched[7];
        InitConfig(cfg, sched);
        EXPECT_EQ(ReadConfig(cfg, sched), 1) << size;
        for (const char* field : {cfg.comPort, cfg.snmpIp, cfg.snmpCommunity})
            EXPECT_LT(strnlen(field, 30), 30U) << size;
    }
}

TEST(SettingsRead, ComesToAnEndWithFilesThatHaveNone)
{
    for (const char* endless : {"/dev/zero", "/dev/urandom"}) {
        ASSERT_EQ(symlink(endless, POWER_INI.c_str()), 0);
        ASSERT_EQ(symlink(endless, TEXT_CFG.c_str()), 0);
        PowerConfig cfg;
        ScheduleEntry sched[7];
        FillWithMarks(cfg, sched);
        EXPECT_EQ(ReadConfig(cfg, sched), 1) << endless;
        EXPECT_NE(ImageOf(cfg, sched), MarkedImage()) << endless;
        unlink(POWER_INI.c_str());
        unlink(TEXT_CFG.c_str());
    }
}

TEST(SettingsRead, WaitsForNobodyWhenAPipeStandsInAFilesPlace)
{
    ASSERT_EQ(mkfifo(POWER_INI.c_str(), 0644), 0);
    ASSERT_EQ(mkfifo(TEXT_CFG.c_str(), 0644), 0);
    PowerConfig cfg;
    ScheduleEntry sched[7];
    FillWithMarks(cfg, sched);
    alarm(60); // ends a test that waits
    ReadConfig(cfg, sched);
    alarm(0);
    EXPECT_EQ(ImageOf(cfg, sched), MarkedImage());
}

} // namespace
