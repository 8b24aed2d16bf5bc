// The daemon's serial line, on a pseudo-terminal whose other end plays a UPS, or whatever is
// plugged in there. Each line of an input is one deed, named by its first letter; the rest of the
// line is said or sent:
//     s  says it and a CR        r  says it as it stands     n  says a line feed
//     a  answers what was asked  f  the machine was suspended
//     c  a command of the queue  o  an order of the daemon
//     t  for each of its characters up to six seconds pass
//     d  the shutdown is told, its delay and the return in four bytes each
#include "daemon/serial_source.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr char DEVICE[] = "/run/line";
constexpr int LONG = 5000; // milliseconds; for what is under way, never waited out
constexpr int64_t LOST_AFTER = 5000;
constexpr int64_t TENTH = 100;

const std::string GOOD = "(230.0 230.0 230.0 035 50.0 13.6 25.0 00000000\r";
const std::string RATING = "#230.0 004 12.00 50.0\r";
const std::string MODEL = "#A company A model V1\r";

int ups = -1;
SerialSource opened; // just after the device was opened
SerialSource source;
SerialNews news;
UpsNames names;
int64_t now;

void PlugIn()
{
    ups = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    Require(ups >= 0 && grantpt(ups) == 0 && unlockpt(ups) == 0, "a line is there");
    unlink(DEVICE);
    Require(symlink(ptsname(ups), DEVICE) == 0, "the line has its name");
}

// Another process opens the line: once for all inputs.
void OpenOnce()
{
    if (ups >= 0)
        return;
    PlugIn();
    StartSerialSource(opened, DEVICE, now);
    RunSerialSource(opened, now, names, news);
    while (opened.opener.child > 0) {
        pollfd input = {SerialDescriptor(opened), POLLIN, 0};
        poll(&input, 1, LONG);
        RunSerialSource(opened, now, names, news);
    }
    Require(opened.fd >= 0, "the line is open");
}

void CheckNews(SerialRequest asked)
{
    if (news.hasReading)
        Require(asked == REQUEST_STATUS && !source.isLost && source.heardAt == now &&
                    strlen(news.status) == STATUS_REPLY_BYTES && news.status[0] == '(',
                "a reading is a status that was asked for");
    else
        Require(news.status[0] == '\0', "there is no status without a reading");
    if (news.rating[0] != '\0')
        Require(strlen(news.rating) == RATING_REPLY_BYTES, "a rating has one length");
    Require(strlen(news.model) <= MODEL_REPLY_BYTES, "a model has a longest length");
}

void CheckSource()
{
    Require(source.fd >= 0 && source.length < REPLY_ROOM, "noise closes no line, and has its room");
    Require(strnlen(source.trace.text, TRACE_SIZE) < TRACE_SIZE, "the trace is terminated");
    Require(NextSerialMoment(source) > now, "the source does not spin");
    bool isSilent = now - source.heardAt >= LOST_AFTER;
    bool hasOnlyBeenAsked = source.asked == REQUEST_STATUS && source.unanswered == 0;
    Require(isSilent || !source.isLost, "a UPS that is heard is not lost");
    Require(source.isLost || !isSilent || hasOnlyBeenAsked, "a silent UPS is lost");
}

void Run()
{
    SerialRequest asked = source.asked;
    bool wasLost = source.isLost;
    RunSerialSource(source, now, names, news);
    CheckNews(asked);
    if (!wasLost || news.hasReading)
        CheckSource();
    source.trace.text[0] = '\0';
    tcflush(ups, TCIFLUSH); // what was asked; nobody reads it
}

void Say(const std::string& text)
{
    if (text.empty() || write(ups, text.data(), text.size()) < 1)
        return;
    pollfd input = {source.fd, POLLIN, 0};
    poll(&input, 1, LONG);
    Run();
}

void Answer()
{
    if (source.asked == REQUEST_STATUS)
        Say(GOOD);
    else if (source.asked != REQUEST_NONE)
        Say(source.asked == REQUEST_RATING ? RATING : MODEL);
}

void PassTime(const std::string& tenths)
{
    for (char tenth : tenths) {
        now += (tenth & 63) * TENTH;
        Run();
    }
}

void SendCommand(const std::string& command)
{
    char text[16] = "";
    if (!CommandToSerialText(command.c_str(), text, sizeof(text)))
        return;
    Require(strlen(text) <= 3, "a command is short");
    SendSerialText(source, text);
}

void TellShutdown(const std::string& numbers)
{
    Input input = {numbers};
    float delay = TakeNumber<float>(input);
    char text[16];
    FormatShutdownText(text, sizeof(text), delay, TakeNumber<int32_t>(input));
    std::string_view told = text;
    Require(told.size() == 8 && told[0] == 'S' && told[3] == 'R' &&
                told.find_first_not_of("0123456789", 4) == std::string_view::npos,
            "the UPS understands the shutdown");
    SendSerialText(source, text);
}

void Do(char deed, const std::string& text)
{
    switch (deed) {
    case 's':
        Say(text + "\r");
        break;
    case 'n':
        Say("\n");
        break;
    case 'a':
        Answer();
        break;
    case 'f':
        ForgetSerialAnswer(source, now);
        Require(source.asked == REQUEST_NONE && source.length == 0, "nothing is awaited then");
        break;
    case 'c':
        SendCommand(text);
        break;
    case 'o':
        SendSerialText(source, text.c_str());
        break;
    case 't':
        PassTime(text);
        break;
    case 'd':
        TellShutdown(text);
        break;
    default:
        Say(text);
        break;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    now = 1000000;
    ClearNames(names);
    OpenOnce();
    tcflush(opened.fd, TCIOFLUSH);
    source = opened;
    Input input = MakeInput(bytes, size);
    while (!IsUsedUp(input)) {
        std::string line = TakeBytes(input, std::min(input.left.find('\n'), size_t{1000}));
        TakeByte(input);
        if (!line.empty())
            Do(line[0], line.substr(1));
    }
    RequireFewDescriptors();
    return 0;
}
