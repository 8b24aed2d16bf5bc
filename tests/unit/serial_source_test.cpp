// The protocol of the serial line, on a pseudo-terminal whose other end plays the UPS, with
// moments that the test gives.
#include "daemon/serial_source.h"

#include "daemon/serial_line.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

namespace {

// Milliseconds: in which nothing is to be heard, and in which something is.
constexpr int SILENCE = 50;
constexpr int LONG = 60000;

const std::string GOOD = "(230.0 230.0 230.0 035 50.0 13.6 25.0 00000000\r";
const std::string FAILED = "(000.0 230.0 230.0 035 00.0 12.6 25.0 10000000\r";
const std::string RATING = "#230.0 004 12.00 50.0\r";
const std::string MODEL = "#A company A model V1\r";

class SerialProtocol : public testing::Test {
  protected:
    void SetUp() override
    {
        Plug();
        ClearNames(names);
        StartSerialSource(source, "/run/line", now);
    }

    void TearDown() override
    {
        StopSerialSource(source);
        Pull();
    }

    void Plug()
    {
        ups = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        ASSERT_GE(ups, 0);
        ASSERT_EQ(grantpt(ups), 0);
        ASSERT_EQ(unlockpt(ups), 0);
        unlink("/run/line");
        ASSERT_EQ(symlink(ptsname(ups), "/run/line"), 0);
    }

    void Pull()
    {
        if (ups >= 0)
            close(ups);
        ups = -1;
        unlink("/run/line");
    }

    // Lets milliseconds pass and runs the source once.
    void Run(int64_t milliseconds = 0)
    {
        now += milliseconds;
        RunSerialSource(source, now, names, news);
        WaitForLine(source, now);
    }

    // The line is opened by another process.
    void WaitForLine(SerialSource& opening, int64_t moment)
    {
        while (opening.opener.child > 0) {
            pollfd input = {SerialDescriptor(opening), POLLIN, 0};
            ASSERT_EQ(poll(&input, 1, LONG), 1);
            RunSerialSource(opening, moment, names, news);
        }
    }

    // What the daemon wrote since the last call. A terminal hands a request over when it
    // likes: one that awaits its reply is waited for.
    std::string Heard() const
    {
        return Heard(source.asked != REQUEST_NONE ? LONG : 0);
    }

    std::string Heard(int limit) const
    {
        char bytes[256];
        pollfd input = {ups, POLLIN, 0};
        poll(&input, 1, limit);
        ssize_t count = read(ups, bytes, sizeof(bytes));
        return count > 0 ? std::string(bytes, static_cast<size_t>(count)) : "";
    }

    // The UPS says this, and the source runs when it has come.
    void Say(const std::string& text, int64_t after = 10)
    {
        ASSERT_EQ(write(ups, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        pollfd input = {source.fd, POLLIN, 0};
        ASSERT_EQ(poll(&input, 1, 5000), 1);
        Run(after);
    }

    // The first round, up to the point where only the status is asked for.
    void BeginWell()
    {
        Run();
        ASSERT_EQ(Heard(), "Q1\r");
        Say(GOOD);
        ASSERT_EQ(Heard(), "F\r");
        Say(RATING);
        ASSERT_EQ(Heard(), "I\r");
        Say(MODEL);
        ASSERT_EQ(Heard(SILENCE), "");
    }

    void WaitForNext()
    {
        Run(NextSerialMoment(source) - now);
    }

    int ups = -1;
    int64_t now = 1000000;
    SerialSource source = {};
    SerialNews news = {};
    UpsNames names = {};
};

TEST_F(SerialProtocol, AsksForTheStatusThenForWhatTheUpsIs)
{
    Run();
    EXPECT_EQ(Heard(), "Q1\r");
    Say(FAILED);
    EXPECT_TRUE(news.hasReading && news.reading.mainsFailed);
    EXPECT_EQ(news.status, FAILED) << "byte for byte";
    EXPECT_EQ(Heard(), "F\r");
    Say(RATING);
    EXPECT_FALSE(news.hasReading);
    EXPECT_EQ(news.rating, RATING);
    EXPECT_DOUBLE_EQ(names.ratedBattery, 12.0);
    EXPECT_EQ(Heard(), "I\r");
    Say(MODEL);
    EXPECT_EQ(news.model, MODEL);
    EXPECT_STREQ(names.model, "A company A model V1");
}

TEST_F(SerialProtocol, TakesNoAnswerFromBeforeASuspension)
{
    BeginWell();
    WaitForNext();
    ASSERT_EQ(Heard(), "Q1\r");
    ASSERT_EQ(write(ups, FAILED.data(), FAILED.size()), static_cast<ssize_t>(FAILED.size()));
    pollfd input = {source.fd, POLLIN, 0};
    ASSERT_EQ(poll(&input, 1, LONG), 1);
    ForgetSerialAnswer(source, now);
    Run();
    EXPECT_FALSE(news.hasReading);
    EXPECT_EQ(Heard(), "Q1\r");
    Say(GOOD);
    EXPECT_TRUE(news.hasReading && !news.reading.mainsFailed);
}

TEST_F(SerialProtocol, AsksForTheStatusEverySecondAndForTheRestEveryTenMinutes)
{
    BeginWell();
    int64_t start = now;
    int statuses = 0;
    int others = 0;
    while (now < start + 1201 * 1000) {
        WaitForNext();
        std::string request = Heard();
        if (request == "Q1\r") {
            statuses++;
            Say(GOOD, 0);
            request = Heard();
        }
        if (request == "F\r" || request == "I\r") {
            others++;
            Say(request == "F\r" ? RATING : MODEL, 0);
            if (Heard() == "I\r") {
                others++;
                Say(MODEL, 0);
            }
        }
    }
    EXPECT_NEAR(statuses, 1201, 2);
    EXPECT_EQ(others, 4) << "twice each";
}

TEST_F(SerialProtocol, AsksThreeTimesAtOnceAndThenInTheNextSecond)
{
    BeginWell();
    Run(1000);
    EXPECT_EQ(Heard(), "Q1\r");
    Run(999);
    EXPECT_EQ(Heard(SILENCE), "");
    Run(1);
    EXPECT_EQ(Heard(), "Q1\r") << "not complete within a second";
    Say("(230.0 23");
    EXPECT_EQ(Heard(SILENCE), "");
    Run(990);
    EXPECT_EQ(Heard(), "Q1\r") << "the third";
    Run(1000);
    EXPECT_EQ(Heard(SILENCE), "");
    Run(1000);
    EXPECT_EQ(Heard(), "Q1\r");
    Say(GOOD);
    EXPECT_TRUE(news.hasReading);
    EXPECT_FALSE(source.isLost);
}

TEST_F(SerialProtocol, AsksAgainAtOnceAfterAGarbledReply)
{
    BeginWell();
    Run(1000);
    for (const char* garbled : {"(230.0 2x0.0\r", "\xff\xfe\x01\r"}) {
        EXPECT_EQ(Heard(), "Q1\r");
        Say(garbled);
        EXPECT_FALSE(news.hasReading);
    }
    EXPECT_EQ(source.garbled, 2U);
    EXPECT_EQ(Heard(), "Q1\r");
    Say(GOOD);
    EXPECT_TRUE(news.hasReading);
    Run(900);
    EXPECT_EQ(Heard(SILENCE), "") << "the next one is due a second later";
    Run(100);
    EXPECT_EQ(Heard(), "Q1\r");
    Say("(230.0 2x0.0\r");
    EXPECT_EQ(Heard(), "Q1\r") << "the first failure since the reply";
}

TEST_F(SerialProtocol, PutsTogetherWhatComesInPieces)
{
    BeginWell();
    Run(1000);
    for (size_t at = 0; at < GOOD.size(); at++) {
        EXPECT_FALSE(news.hasReading);
        Say(GOOD.substr(at, 1));
    }
    EXPECT_TRUE(news.hasReading);
    EXPECT_EQ(source.garbled, 0U);
}

TEST_F(SerialProtocol, PassesOverAnEchoAndALateReply)
{
    BeginWell();
    Run(1000);
    EXPECT_EQ(Heard(), "Q1\r");
    Say("Q1\r" + RATING + GOOD);
    EXPECT_TRUE(news.hasReading);
    EXPECT_EQ(source.garbled, 0U);
    // Nothing that comes unasked is taken for an answer.
    Say(FAILED);
    EXPECT_FALSE(news.hasReading);
}

TEST_F(SerialProtocol, PassesOverEmptyLinesAndLateRepliesToEveryRequest)
{
    Run();
    EXPECT_EQ(Heard(), "Q1\r");
    Say("\r" + GOOD);
    EXPECT_TRUE(news.hasReading);
    EXPECT_EQ(Heard(), "F\r");
    Say(GOOD + RATING);
    EXPECT_EQ(news.rating, RATING);
    EXPECT_EQ(Heard(), "I\r");
    Say(RATING + GOOD + MODEL);
    EXPECT_EQ(news.model, MODEL);
    EXPECT_EQ(source.garbled, 0U);
}

TEST_F(SerialProtocol, ReadsNoStatusFromALineThatIsTooLong)
{
    BeginWell();
    Run(1000);
    Say(GOOD.substr(0, GOOD.size() - 1) + std::string(REPLY_ROOM, '0') + "\r");
    EXPECT_FALSE(news.hasReading);
    Say(std::string("\0", 1) + GOOD);
    EXPECT_FALSE(news.hasReading) << "a zero byte in it";
}

TEST_F(SerialProtocol, LosesASilentUpsAfterFiveSecondsAndAsksItAnewWhatItIs)
{
    BeginWell();
    int64_t heard = source.heardAt;
    while (now < heard + 4999) {
        now = std::min(NextSerialMoment(source), heard + 4999);
        Run();
        EXPECT_FALSE(source.isLost);
    }
    Run(1);
    EXPECT_TRUE(source.isLost);
    while (source.asked != REQUEST_STATUS)
        WaitForNext();
    Say(GOOD);
    EXPECT_FALSE(source.isLost);
    std::string request = Heard();
    while (request.substr(0, 3) == "Q1\r") // those of the silence, which may arrive late
        request = request.size() > 3 ? request.substr(3) : Heard();
    EXPECT_EQ(request, "F\r");
    Say(RATING);
    EXPECT_EQ(Heard(), "I\r");
}

TEST_F(SerialProtocol, AsksTheUpsOnceMoreAfterTimeInWhichNothingRan)
{
    BeginWell();
    Run(1000);
    EXPECT_EQ(Heard(), "Q1\r");
    Run(1000);
    EXPECT_EQ(Heard(), "Q1\r") << "the first one stayed without a reply";
    Say(GOOD);
    Run(30 * 1000);
    EXPECT_FALSE(source.isLost);
    EXPECT_EQ(Heard(), "Q1\r");
    Run(999);
    EXPECT_FALSE(source.isLost);
    Run(1);
    EXPECT_TRUE(source.isLost);
}

TEST_F(SerialProtocol, GivesUpARequestThatTheUpsDoesNotKnow)
{
    std::string heard;
    for (int64_t end = now + 60 * 1000; now < end;) {
        heard += Heard();
        if (source.asked == REQUEST_STATUS)
            Say(GOOD, 0);
        else if (source.asked == REQUEST_MODEL)
            Say(MODEL, 0);
        else
            WaitForNext();
    }
    heard += Heard(SILENCE);
    EXPECT_EQ(std::count(heard.begin(), heard.end(), 'F'), 3);
    EXPECT_EQ(std::count(heard.begin(), heard.end(), 'I'), 1);
    EXPECT_FALSE(source.isLost);
}

TEST_F(SerialProtocol, SendsAnOrderAtOnceOrBehindTheReplyUnderWay)
{
    BeginWell();
    EXPECT_TRUE(SendSerialText(source, "TL"));
    EXPECT_EQ(Heard(LONG), "TL\r");
    Run(1000);
    EXPECT_EQ(Heard(), "Q1\r");
    EXPECT_TRUE(SendSerialText(source, "S03R0003"));
    EXPECT_FALSE(SendSerialText(source, "C")) << "one waits already";
    EXPECT_EQ(Heard(SILENCE), "");
    Say(GOOD);
    EXPECT_EQ(Heard(LONG), "S03R0003\r");
    EXPECT_EQ(IsReadyForSerialText(source), 1);
}

TEST_F(SerialProtocol, OpensALineThatIsBack)
{
    BeginWell();
    Pull();
    Run(1000);
    EXPECT_EQ(source.fd, -1);
    EXPECT_FALSE(SendSerialText(source, "T"));
    Run(1000);
    EXPECT_EQ(source.openError, ENOENT);
    Plug();
    WaitForNext();
    EXPECT_EQ(source.openError, 0);
    EXPECT_EQ(Heard(), "Q1\r");
    Say(GOOD);
    EXPECT_EQ(Heard(), "F\r");
}

TEST_F(SerialProtocol, DropsAnOrderThatWaitedWhenTheLineWent)
{
    BeginWell();
    Run(1000);
    EXPECT_EQ(Heard(), "Q1\r");
    EXPECT_TRUE(SendSerialText(source, "S03R0003"));
    Pull();
    Run(1000);
    EXPECT_EQ(source.fd, -1);
    Plug();
    WaitForNext();
    EXPECT_EQ(Heard(), "Q1\r");
    Say(GOOD);
    EXPECT_EQ(Heard(), "F\r");
}

TEST_F(SerialProtocol, GivesWayToAnotherProgramOnlyWhenItShall)
{
    SerialSource other = {};
    Run();
    StartSerialSource(other, "/run/line", now);
    other.mustBeFree = true;
    RunSerialSource(other, now, names, news);
    WaitForLine(other, now);
    EXPECT_EQ(other.fd, -1);
    EXPECT_EQ(other.openError, EBUSY);
    other.mustBeFree = false;
    RunSerialSource(other, now + 1000, names, news);
    WaitForLine(other, now + 1000);
    EXPECT_EQ(other.openError, 0);
    ASSERT_GE(other.fd, 0);
    EXPECT_FALSE(LockSerialLine(other.fd)) << "the first one holds it";
    EXPECT_TRUE(LockSerialLine(source.fd)) << "and goes on doing so";
    StopSerialSource(other);
}

TEST_F(SerialProtocol, LeavesWhatItWroteWhenAnotherProcessTakesOver)
{
    Run();
    EXPECT_EQ(source.asked, REQUEST_STATUS);
    int kept = dup(source.fd);
    LeaveSerialLine(source);
    EXPECT_EQ(source.fd, -1);
    pollfd input = {ups, POLLIN, 0};
    ASSERT_EQ(poll(&input, 1, 5000), 1);
    EXPECT_EQ(Heard(), "Q1\r");
    close(kept);
}

TEST_F(SerialProtocol, SetsTheLineAsTheUpsNeedsIt)
{
    Run();
    termios terms = {};
    ASSERT_EQ(tcgetattr(source.fd, &terms), 0);
    EXPECT_EQ(cfgetispeed(&terms), static_cast<speed_t>(B2400));
    EXPECT_EQ(cfgetospeed(&terms), static_cast<speed_t>(B2400));
    EXPECT_EQ(terms.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS | HUPCL), unsigned{CS8});
    EXPECT_EQ(terms.c_iflag & (IXON | IXOFF | ICRNL | INLCR | IGNCR), 0U);
    EXPECT_EQ(terms.c_lflag & (ECHO | ICANON | ISIG), 0U);
    EXPECT_EQ(terms.c_oflag & OPOST, 0U);
}

volatile sig_atomic_t signalsTaken = 0;

TEST_F(SerialProtocol, WritesThroughSignals)
{
    int line = OpenSerialLine("/run/line", false);
    ASSERT_GE(line, 0);
    struct sigaction taken = {}; // without SA_RESTART: calls that it meets are cut off
    taken.sa_handler = [](int) { signalsTaken = signalsTaken + 1; };
    sigaction(SIGALRM, &taken, nullptr);
    constexpr itimerval OFTEN = {{0, 500}, {0, 500}};
    setitimer(ITIMER_REAL, &OFTEN, nullptr);
    int failed = 0;
    while (signalsTaken < 300) {
        failed += WriteSerialLine(line, "Q1") ? 0 : 1;
        tcflush(ups, TCIFLUSH);
    }
    constexpr itimerval OFF = {};
    setitimer(ITIMER_REAL, &OFF, nullptr);
    EXPECT_EQ(failed, 0);
    CloseSerialLine(line);
}

// --- texts -------------------------------------------------------------------------------

TEST(SerialTexts, TranslateTheLettersOfTheCommandQueue)
{
    struct {
        const char* command;
        const char* text;
    } const cases[] = {{"a", "T"},     {"b", "TL"},  {"c01", "T01"}, {"c10", "T10"},
                       {"c99", "T99"}, {"d", "S.2"}, {"e", "C"},     {"f", "CT"}};
    for (const auto& one : cases) {
        char text[8] = "";
        EXPECT_TRUE(CommandToSerialText(one.command, text, sizeof(text))) << one.command;
        EXPECT_STREQ(text, one.text);
    }
}

TEST(SerialTexts, RefuseWhatIsNoCommand)
{
    for (const char* command : {"", "A", "g", "aa", "a ", " a", "c", "c1", "c123", "c1x", "cx1",
                                "c 1", "c-1", "c+1", "S.2", "T", "1", "\xe1", "c1\xb2"}) {
        char text[8] = "";
        EXPECT_FALSE(CommandToSerialText(command, text, sizeof(text))) << command;
    }
}

TEST(SerialTexts, TellTheDelayInTheUpssOwnWay)
{
    struct {
        float delay;
        int restart;
        const char* text;
    } const cases[] = {
        {0.2F, 3, "S.2R0003"},   {0.3F, 3, "S.3R0003"},     {0.7F, 3, "S.7R0003"},
        {0.9F, 3, "S.9R0003"},   {1.0F, 3, "S01R0003"},     {1.1F, 3, "S02R0003"},
        {2.5F, 3, "S03R0003"},   {3.0F, 0, "S03R0000"},     {9.9F, 1, "S10R0001"},
        {10.0F, 60, "S10R0060"}, {10.0F, 9999, "S10R9999"}, {10.0F, 10000, "S10R9999"},
        {0.0F, 3, "S.2R0003"},   {-5.0F, -3, "S.2R0000"},   {1000.0F, 3, "S99R0003"},
    };
    for (const auto& one : cases) {
        char text[16] = "";
        FormatShutdownText(text, sizeof(text), one.delay, one.restart);
        EXPECT_STREQ(text, one.text) << one.delay;
    }
}

} // namespace
