// What is asked of the system: standard streams, the super-user rule, files, clocks.
#include "base/system.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/private_world.h"

#include <csignal>
#include <gtest/gtest.h>
#include <initializer_list>
#include <limits>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <thread>

namespace {

// --- standard streams --------------------------------------------------------------------

bool IsNullDevice(int fd)
{
    struct stat state = {};
    return fstat(fd, &state) == 0 && state.st_rdev == makedev(1, 3);
}

// Closes the streams of the set bits; the number of those that are then wrong.
int OpenAfterClosing(int closed)
{
    int file = memfd_create("a caller's own", 0);
    for (int stream : {0, 1, 2}) {
        if ((closed >> stream & 1) != 0)
            close(stream);
        else
            dup2(file, stream);
    }
    close(file);
    int wrong = OpenStandardStreams() == 1 ? 0 : 10;
    for (int stream : {0, 1, 2}) {
        bool isExpected = IsNullDevice(stream) == ((closed >> stream & 1) != 0);
        bool isInherited = fcntl(stream, F_GETFD) == 0;
        wrong += isExpected && isInherited ? 0 : 1;
    }
    return wrong;
}

TEST(OpenStandardStreams, OpensTheClosedOnesAndLeavesTheOthers)
{
    for (int closed = 0; closed < 8; closed++)
        EXPECT_EQ(RunInChild([closed] { return OpenAfterClosing(closed); }).status, 0) << closed;
}

TEST(OpenStandardStreams, CanBeReadAndWritten)
{
    Outcome outcome = RunInChild([] {
        for (int stream : {0, 1, 2})
            close(stream);
        OpenStandardStreams();
        char byte;
        return read(0, &byte, 1) == 0 && write(1, "x", 1) == 1 && write(2, "x", 1) == 1 ? 0 : 1;
    });
    EXPECT_EQ(outcome.status, 0);
}

TEST(OpenStandardStreams, SaysWhenAStreamStaysClosed)
{
    if (!IsWorldPrivate())
        GTEST_SKIP() << NOT_HERE;
    ASSERT_EQ(mount("tmpfs", "/dev", "tmpfs", 0, nullptr), 0);
    Outcome outcome = RunInChild([] {
        int whileOpen = OpenStandardStreams();
        close(0);
        return whileOpen * 10 + OpenStandardStreams();
    });
    umount("/dev");
    EXPECT_EQ(outcome.status, 10);
}

// --- the super-user rule -----------------------------------------------------------------

const std::string REFUSAL =
    "\nSorry. You must login as super-user to run this program (User ID: 65534)!!\n";

TEST(ChkUserID, LetsTheSuperUserPass)
{
    Outcome outcome = RunInChild([] { return ChkUserID(); });
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(ChkUserID, RefusesAnOrdinaryUserOnStandardError)
{
    Outcome outcome = RunInChild([] {
        BecomeOrdinaryUser();
        return ChkUserID();
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, REFUSAL);
}

TEST(ChkUserID, GoesByTheRealUserNotTheEffectiveOne)
{
    Outcome outcome = RunInChild([] {
        BecomeOrdinaryUser(0);
        return ChkUserID();
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, REFUSAL);
}

// --- files -------------------------------------------------------------------------------

TEST(OpenToRead, HandsNoFileOnToOtherPrograms)
{
    EXPECT_LT(OpenToRead((FOLDER + "/missing").c_str()), 0);
    EXPECT_EQ(OpenStreamToRead((FOLDER + "/missing").c_str()), nullptr);
    WriteFile(FOLDER + "/there", "x");
    FILE* file = OpenStreamToRead((FOLDER + "/there").c_str());
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fcntl(fileno(file), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fgetc(file), 'x');
    fclose(file);
}

TEST(OpenToRead, FindsAPipeEmptyAndDoesNotWait)
{
    const std::string path = FOLDER + "/pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
    alarm(10); // ends a test that waits
    int fd = OpenToRead(path.c_str());
    ASSERT_GE(fd, 0);
    char byte = 0;
    EXPECT_EQ(ReadBytes(fd, &byte, 1), 0U);
    alarm(0);
    close(fd);
}

TEST(ReadBytes, GoesOnUntilTheEndOrUntilAllIsThere)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::thread writer([&] {
        for (char letter : {'a', 'b', 'c', 'd'}) {
            EXPECT_EQ(write(ends[1], &letter, 1), 1);
            usleep(10000); // each is a read of its own
        }
        close(ends[1]);
    });
    char bytes[8] = {};
    EXPECT_EQ(ReadBytes(ends[0], bytes, 3), 3U);
    EXPECT_STREQ(bytes, "abc");
    EXPECT_EQ(ReadBytes(ends[0], bytes, 3), 1U);
    EXPECT_EQ(bytes[0], 'd');
    EXPECT_EQ(ReadBytes(-1, bytes, 3), 0U);
    writer.join();
    close(ends[0]);
}

// --- clocks ------------------------------------------------------------------------------

std::string BigEndian(uint32_t number)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(number >> shift & 0xFF);
    return bytes;
}

// Makes the machine's zone one that is always this many hours behind.
void SetMachineZone(int hoursBehind)
{
    std::string zone = "TZif" + std::string(16, '\0'); // version and spare bytes
    for (uint32_t count : {0, 0, 0, 0, 1, 4})          // one type, a name of four bytes
        zone += BigEndian(count);
    zone += BigEndian(static_cast<uint32_t>(-hoursBehind * 3600)) + std::string(2, '\0');
    zone += std::string("FAR\0", 4);
    WriteFile("/etc/localtime.new", zone);
    ASSERT_EQ(rename("/etc/localtime.new", "/etc/localtime"), 0);
}

TEST(LocalTime, IsZeroInAYearThatNoCalendarCanSay)
{
    for (int64_t moment :
         {std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()}) {
        tm local = LocalTime(moment);
        EXPECT_EQ(local.tm_year, 0);
        EXPECT_EQ(local.tm_mday, 0);
    }
}

TEST(LocalTime, FollowsAChangeOfTheMachinesZone)
{
    if (!IsWorldPrivate())
        GTEST_SKIP() << NOT_HERE;
    unsetenv("TZ");
    for (int hoursBehind : {0, 5, 11, 2}) {
        SetMachineZone(hoursBehind);
        tm local = LocalTime(1000000000); // 2001-09-09, 01:46:40 in Greenwich
        EXPECT_EQ(local.tm_hour, (25 - hoursBehind) % 24);
        EXPECT_EQ(local.tm_min, 46);
        EXPECT_EQ(local.tm_wday, hoursBehind > 1 ? 6 : 0);
    }
}

TEST(PauseSeconds, IsNotShortenedByASignal)
{
    signal(SIGALRM, [](int) {});
    itimerval every = {{0, 20000}, {0, 20000}};
    setitimer(ITIMER_REAL, &every, nullptr);
    double start = Now();
    PauseSeconds(0.3);
    EXPECT_GE(Now() - start, 0.3);
    start = Now();
    PauseSeconds(0);
    PauseSeconds(-1e9);
    EXPECT_LT(Now() - start, 10);
}

} // namespace
