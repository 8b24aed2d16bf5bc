// The two settings files, written: what stands in them, and what is left of the
// old ones when a step fails.
#include "settings/tolv_lib.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/private_world.h"
#include "tests/unit/support/settings_image.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

const std::set<std::string> BOTH_FILES = {"power.ini", "wardenlink.cfg"};
const std::string OLD_TEXT = "what a person wrote by hand\n";

int WriteSample()
{
    PowerConfig cfg;
    ScheduleEntry sched[7];
    LoadImage(cfg, sched, SampleImage());
    return WriteConfig(cfg, sched);
}

// Two files that no writing would produce, to see whether they are left whole.
void WriteOldFiles()
{
    WriteFile(POWER_INI, MarkedImage());
    WriteFile(TEXT_CFG, OLD_TEXT);
}

void ExpectOldContents()
{
    EXPECT_EQ(ReadFile(POWER_INI), MarkedImage());
    EXPECT_EQ(ReadFile(TEXT_CFG), OLD_TEXT);
}

void ExpectOldFiles()
{
    ExpectOldContents();
    EXPECT_EQ(ListFolder(), BOTH_FILES);
}

struct stat StateOf(const std::string& path)
{
    struct stat state = {};
    EXPECT_EQ(stat(path.c_str(), &state), 0) << path;
    return state;
}

TEST(SettingsWrite, WritesTheBinaryFileByteForByte)
{
    EXPECT_EQ(WriteSample(), 1);
    EXPECT_EQ(ReadFile(POWER_INI), SampleImage());
}

TEST(SettingsWrite, WritesTheElevenLinesByteForByte)
{
    EXPECT_EQ(WriteSample(), 1);
    EXPECT_EQ(ReadFile(TEXT_CFG), "AC Fail Delay         ( 1 ... 1440 min. )  : [258]\n"
                                  "Batt Low Delay        ( 1 ... 10 min.   )  : [7]\n"
                                  "Turn Off UPS Delay    ( 0.2 ... 10 min. )  : [2.5]\n"
                                  "Battery Rating        ( 12.0 ... 96.0 v )  : [12.5]\n"
                                  "UPS Comport           ( /dev/xxttyxx    )  : [/dev/ttyS7]\n"
                                  "Turn Off UPS?         ( 0 - no, 1 - yes )  : [0]\n"
                                  "Schedule Function     ( 0 - off, 1 - on )  : [1]\n"
                                  "Countdown Function    ( 0 - off, 1 - on )  : [0]\n"
                                  "Communication Mode    ( 0-Port, 1-SNMP  )  : [0]\n"
                                  "SNMP IP Address       ( xxx.xxx.xxx.xxx )  : [192.0.2.77]\n"
                                  "SNMP Community Name   ( e.g. public     )  : [engine-room]\n");
}

TEST(SettingsWrite, WritesNumbersOfAnyWidthAndFullTexts)
{
    std::string image = SampleImage();
    PutNumber(image, 0, -32768, 2);
    PutNumber(image, 2, 32767, 2);
    PutNumber(image, 4, 0x41200000, 4); // 10.0
    PutNumber(image, 8, 0x7F7FFFFF, 4); // the largest float: 39 digits before the point
    PutText(image, 12, std::string(29, 'c'));
    PutText(image, 42, std::string(29, 'i'));
    PutText(image, 72, "");
    PutNumber(image, 108, -2147483648LL, 4);
    PowerConfig cfg;
    ScheduleEntry sched[7];
    LoadImage(cfg, sched, image);
    EXPECT_EQ(WriteConfig(cfg, sched), 1);
    EXPECT_EQ(ReadFile(POWER_INI), image);
    EXPECT_EQ(
        ReadFile(TEXT_CFG),
        TextOf({"-32768", "32767", "10.0", "340282346638528859811704183484516925440.0",
                std::string(29, 'c'), "0", "1", "0", "-2147483648", std::string(29, 'i'), ""}));
}

TEST(SettingsWrite, CarriesReservedPaddingAndTextTailsThroughManyCycles)
{
    std::string image = SampleImage();
    image.replace(30, 10, "0123456789"); // behind the terminator of a text
    PutNumber(image, 4, 0x40000000, 4);  // 2.0 and 12.0 read back as they are
    PutNumber(image, 8, 0x41400000, 4);
    WriteFile(POWER_INI, image);
    WriteFile(TEXT_CFG, "");
    for (int cycle = 0; cycle < 5; cycle++) {
        PowerConfig cfg;
        ScheduleEntry sched[7];
        InitConfig(cfg, sched);
        EXPECT_EQ(ReadConfig(cfg, sched), 1);
        EXPECT_EQ(cfg.reserved, 0x01020304);
        EXPECT_EQ(WriteConfig(cfg, sched), 1);
        std::string written = ReadFile(POWER_INI);
        EXPECT_EQ(written.substr(102), image.substr(102)) << "padding, reserved and schedule";
        EXPECT_EQ(written.substr(0, 23), image.substr(0, 23)) << cycle;
    }
}

TEST(SettingsWrite, ReadsBackWhatItWroteButForTheFractions)
{
    struct {
        float delay;
        const char* delayText;
        float delayBack, rating, ratingBack;
    } const cases[] = {{2.5F, "min. )  : [2.5]\n", 2.0F, 12.5F, 12.0F},
                       {0.5F, "min. )  : [0.5]\n", 0.5F, 48.0F, 48.0F},
                       {10.0F, "min. )  : [10.0]\n", 10.0F, 0.0F, 0.0F},
                       {0.0F, "min. )  : [0.0]\n", 0.0F, 96.0F, 96.0F},
                       {0.2F, "min. )  : [0.2]\n", 0.2F, 36.0F, 36.0F}};
    for (const auto& test : cases) {
        PowerConfig cfg;
        ScheduleEntry sched[7];
        LoadImage(cfg, sched, SampleImage());
        cfg.upsOffDelay = test.delay;
        cfg.batteryRating = test.rating;
        EXPECT_EQ(WriteConfig(cfg, sched), 1);
        std::string text = ReadFile(TEXT_CFG);
        EXPECT_NE(text.find(test.delayText), std::string::npos) << text;
        InitConfig(cfg, sched);
        EXPECT_EQ(ReadConfig(cfg, sched), 1);
        EXPECT_EQ(cfg.upsOffDelay, test.delayBack) << test.delay;
        EXPECT_EQ(cfg.batteryRating, test.ratingBack) << test.rating;
        EXPECT_STREQ(cfg.comPort, "/dev/ttyS7");
        EXPECT_EQ(sched[6].shutdownHour, 20);
    }
}

TEST(SettingsWrite, CreatesBothFilesWithTheDefaultsWhereThereAreNone)
{
    PowerConfig cfg;
    ScheduleEntry sched[7];
    memset(&cfg, 0, sizeof(cfg));
    EXPECT_EQ(LoadOrCreateConfig(cfg, sched), 1);
    std::string image(232, '\0');
    PutNumber(image, 0, 5, 2);
    PutNumber(image, 2, 1, 2);
    PutNumber(image, 4, 0x40400000, 4); // 3.0
    PutText(image, 12, "/dev/ttyS1");
    PutText(image, 42, "127.0.0.1");
    PutText(image, 72, "public");
    PutNumber(image, 104, 1, 2);
    PutNumber(image, 108, 1, 4);
    PutNumber(image, 112, 1, 4);
    image.replace(120, 112, std::string(112, '\xFF'));
    EXPECT_EQ(ReadFile(POWER_INI), image);
    EXPECT_EQ(ReadFile(TEXT_CFG), TextOf({"5", "1", "3.0", "0.0", "/dev/ttyS1", "1", "0", "1", "1",
                                          "127.0.0.1", "public"}));
}

TEST(SettingsWrite, RecreatesOnlyTheTextFileFromTheBinaryOne)
{
    WriteFile(POWER_INI, SampleImage());
    PowerConfig cfg;
    ScheduleEntry sched[7];
    EXPECT_EQ(LoadOrCreateConfig(cfg, sched), 1);
    EXPECT_EQ(ReadFile(POWER_INI), SampleImage());
    EXPECT_EQ(ReadFile(TEXT_CFG), TextOf(SampleValues()));
}

TEST(SettingsWrite, GivesNewFilesTheUsualMode)
{
    for (mode_t mask : {0022U, 0077U}) {
        mode_t before = umask(mask);
        EXPECT_EQ(WriteSample(), 1);
        umask(before);
        EXPECT_EQ(StateOf(POWER_INI).st_mode & 07777, 0666 & ~mask);
        EXPECT_EQ(StateOf(TEXT_CFG).st_mode & 07777, 0666 & ~mask);
        unlink(POWER_INI.c_str());
        unlink(TEXT_CFG.c_str());
    }
}

TEST(SettingsWrite, KeepsTheModeOfTheOldFiles)
{
    WriteOldFiles();
    chmod(POWER_INI.c_str(), 0640);
    chmod(TEXT_CFG.c_str(), 0606);
    EXPECT_EQ(WriteSample(), 1);
    EXPECT_EQ(StateOf(POWER_INI).st_mode & 07777, 0640U);
    EXPECT_EQ(StateOf(TEXT_CFG).st_mode & 07777, 0606U);
}

TEST(SettingsWrite, KeepsTheOwnerOfTheOldFiles)
{
    WriteOldFiles();
    ASSERT_EQ(chown(POWER_INI.c_str(), 12, 34), 0)
        << "this world has one user only: run as root, or have subordinate ids";
    EXPECT_EQ(WriteSample(), 1);
    EXPECT_EQ(StateOf(POWER_INI).st_uid, 12U);
    EXPECT_EQ(StateOf(POWER_INI).st_gid, 34U);
    EXPECT_EQ(StateOf(TEXT_CFG).st_uid, 0U);
    EXPECT_EQ(ReadFile(POWER_INI), SampleImage());
}

TEST(SettingsWrite, LeavesNothingBesideTheTwoFiles)
{
    for (int cycle = 0; cycle < 3; cycle++)
        EXPECT_EQ(WriteSample(), 1);
    EXPECT_EQ(ListFolder(), BOTH_FILES);
}

// A save that is killed leaves its scratch file; its name is learnt from the
// folder, not written here.
std::set<std::string> LeaveScratchFiles()
{
    RunInChild([] {
        rlimit bound = {100, 100};
        setrlimit(RLIMIT_FSIZE, &bound); // the signal for growing over it kills
        return WriteSample();
    });
    std::set<std::string> left = ListFolder();
    left.erase("power.ini");
    left.erase("wardenlink.cfg");
    return left;
}

void SetAge(const std::string& path, int seconds, int flags)
{
    timespec times[2] = {{time(nullptr) - seconds, 0}, {time(nullptr) - seconds, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, flags), 0);
}

TEST(SettingsWrite, ClearsAwayWhatAnEarlierSaveLeftWhenItWasCutOff)
{
    WriteOldFiles();
    std::set<std::string> left = LeaveScratchFiles();
    ASSERT_EQ(left.size(), 1U);
    ExpectOldContents();
    EXPECT_EQ(WriteSample(), 1);
    EXPECT_EQ(ListFolder().count(*left.begin()), 1U) << "its save may still be running";
    SetAge(FOLDER + "/" + *left.begin(), 3600, 0);
    EXPECT_EQ(WriteSample(), 1);
    EXPECT_EQ(ListFolder(), BOTH_FILES);
}

TEST(SettingsWrite, JudgesALinkWithTheNameOfALeftoverByItsOwnAge)
{
    std::set<std::string> left = LeaveScratchFiles();
    ASSERT_EQ(left.size(), 1U);
    const std::string link = FOLDER + "/" + *left.begin();
    const std::string target = FOLDER + "/target";
    unlink(link.c_str());
    for (bool isLinkOld : {false, true}) {
        WriteFile(target, "keep me");
        ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
        SetAge(link, isLinkOld ? 3600 : 0, AT_SYMLINK_NOFOLLOW);
        SetAge(target, isLinkOld ? 0 : 3600, 0);
        EXPECT_EQ(WriteSample(), 1);
        EXPECT_EQ(ListFolder().count(*left.begin()), isLinkOld ? 0U : 1U);
        EXPECT_EQ(ReadFile(target), "keep me");
        unlink(link.c_str());
    }
}

TEST(SettingsWrite, LeavesOtherPeoplesFilesInTheFolderAlone)
{
    const std::set<std::string> others = {".power.ini.swp",
                                          "power.ini.bak",
                                          "power.ini~",
                                          "power.ini.ABCdef",
                                          "wardenlink.cfg.old",
                                          "wardenlink.q1",
                                          ".hidden",
                                          ".power.ini.save-ABCde",
                                          ".power.ini.save-ABCdefg",
                                          "_power.ini.save-ABCdef",
                                          ".power.inj.save-ABCdef",
                                          ".power.ini.safe-ABCdef",
                                          ".settings.save-ABCdef",
                                          ".save-ABCdef"};
    for (const std::string& name : others) {
        WriteFile(FOLDER + "/" + name, "keep me");
        SetAge(FOLDER + "/" + name, 3600, 0);
    }
    EXPECT_EQ(WriteSample(), 1);
    std::set<std::string> expected = others;
    expected.insert(BOTH_FILES.begin(), BOTH_FILES.end());
    EXPECT_EQ(ListFolder(), expected);
}

TEST(SettingsWrite, ShowsAReaderTheOldFileOrTheNewOne)
{
    WriteOldFiles();
    std::ifstream binary(POWER_INI, std::ios::binary);
    std::ifstream text(TEXT_CFG, std::ios::binary);
    EXPECT_EQ(WriteSample(), 1);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(binary), {}), MarkedImage());
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(text), {}), OLD_TEXT);
    EXPECT_EQ(ReadFile(POWER_INI), SampleImage());
    EXPECT_EQ(ReadFile(TEXT_CFG), TextOf(SampleValues()));
}

TEST(SettingsWrite, FailsWholeForAnOrdinaryUser)
{
    WriteOldFiles();
    chmod(FOLDER.c_str(), 0555);
    Outcome outcome = RunInChild([] {
        BecomeOrdinaryUser();
        PowerConfig cfg;
        ScheduleEntry sched[7];
        unlink(TEXT_CFG.c_str());
        return WriteSample() == 0 && LoadOrCreateConfig(cfg, sched) == 1 ? 0 : 1;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    ExpectOldFiles();
}

TEST(SettingsWrite, TellsAnOrdinaryUserThatTheDefaultsCannotBeWritten)
{
    chmod(FOLDER.c_str(), 0555);
    Outcome outcome = RunInChild([] {
        BecomeOrdinaryUser();
        PowerConfig cfg;
        ScheduleEntry sched[7];
        return LoadOrCreateConfig(cfg, sched);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(ListFolder(), std::set<std::string>{});
}

// Writes as long as no file grows over limit bytes.
int WriteSampleWithin(rlim_t limit)
{
    signal(SIGXFSZ, SIG_IGN);
    rlimit bound = {limit, limit};
    setrlimit(RLIMIT_FSIZE, &bound);
    return WriteSample();
}

TEST(SettingsWrite, LeavesBothFilesWholeWhenTheBinaryOneCannotBeWritten)
{
    for (rlim_t limit : {0U, 1U, 119U, 120U, 231U}) {
        WriteOldFiles();
        EXPECT_EQ(RunInChild([limit] { return WriteSampleWithin(limit); }).status, 0) << limit;
        ExpectOldFiles();
    }
}

TEST(SettingsWrite, LeavesBothFilesWholeWhenTheTextOneCannotBeWritten)
{
    for (rlim_t limit : {232U, 400U}) {
        WriteOldFiles();
        EXPECT_EQ(RunInChild([limit] { return WriteSampleWithin(limit); }).status, 0) << limit;
        ExpectOldFiles();
    }
}

// A disk that holds the two old files and has room for so many new ones.
int WriteSampleOnADiskWithRoomFor(int files)
{
    std::string options = "nr_inodes=" + std::to_string(3 + files); // one is the folder's
    if (mount("tmpfs", FOLDER.c_str(), "tmpfs", 0, options.c_str()) != 0)
        return -1;
    WriteOldFiles();
    return WriteSample();
}

TEST(SettingsWrite, LeavesBothFilesWholeOnADiskThatFillsUpBetweenThem)
{
    if (!IsWorldPrivate())
        GTEST_SKIP() << NOT_HERE;
    for (int room : {0, 1, 2}) {
        int result = WriteSampleOnADiskWithRoomFor(room);
        EXPECT_EQ(result, room == 2 ? 1 : 0) << room;
        EXPECT_EQ(ReadFile(POWER_INI), room == 2 ? SampleImage() : MarkedImage()) << room;
        EXPECT_EQ(ReadFile(TEXT_CFG), room == 2 ? TextOf(SampleValues()) : OLD_TEXT) << room;
        EXPECT_EQ(ListFolder(), BOTH_FILES) << room;
        umount(FOLDER.c_str());
    }
}

// Puts the folder on a small disk and fills it; where nothing may be mounted, no
// file may grow any more instead.
int WriteSampleOnAFullDisk()
{
    bool isMounted = mount("tmpfs", FOLDER.c_str(), "tmpfs", 0, "size=64k") == 0;
    WriteOldFiles();
    if (!isMounted)
        return WriteSampleWithin(0);
    WriteFile(FOLDER + "/filler", std::string(1000000, '#'));
    int result = WriteSample();
    unlink((FOLDER + "/filler").c_str());
    return result;
}

TEST(SettingsWrite, LeavesBothFilesWholeOnAFullDisk)
{
    Outcome outcome = RunInChild([] {
        int result = WriteSampleOnAFullDisk();
        ExpectOldFiles();
        return result + (testing::Test::HasFailure() ? 2 : 0);
    });
    umount(FOLDER.c_str());
    EXPECT_EQ(outcome.status, 0) << outcome.out;
}

TEST(SettingsWrite, FailsWithoutATraceWhereAFileCannotBeReplaced)
{
    mkdir(POWER_INI.c_str(), 0755);
    EXPECT_EQ(WriteSample(), 0);
    EXPECT_EQ(ListFolder(), (std::set<std::string>{"power.ini"}));
    rmdir(POWER_INI.c_str());
    mkdir(TEXT_CFG.c_str(), 0755);
    EXPECT_EQ(WriteSample(), 0);
    EXPECT_EQ(ReadFile(POWER_INI), SampleImage()) << "it comes first";
    EXPECT_EQ(ListFolder(), BOTH_FILES);
}

TEST(SettingsWrite, KeepsNoFileOpen)
{
    size_t before = CountOpenFiles();
    PowerConfig cfg;
    ScheduleEntry sched[7];
    for (int cycle = 0; cycle < 20; cycle++) {
        WriteSample();
        ReadConfig(cfg, sched);
        unlink(TEXT_CFG.c_str());
        ReadConfig(cfg, sched);
    }
    EXPECT_EQ(CountOpenFiles(), before);
}

} // namespace
