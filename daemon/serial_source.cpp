#include "daemon/serial_source.h"

#include "base/text.h"
#include "daemon/serial_line.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <unistd.h>

namespace {

constexpr int64_t STATUS_PERIOD = 1000;
constexpr int64_t NAMES_PERIOD = 600000;
constexpr int64_t REPLY_LIMIT = 1000;
constexpr int64_t OPEN_PERIOD = 1000;
constexpr int64_t LOST_AFTER = 5000;
constexpr int64_t LONGEST_OPENING = 5000; // that is not told of
constexpr int TRIES = 3;

const char* const REQUEST_TEXTS[SERIAL_REQUESTS] = {"", "Q1", "F", "I"};

// The letters of the command queue in the UPS's own language.
struct SerialCommand {
    char letter;
    const char* text;
};

constexpr SerialCommand SERIAL_COMMANDS[] = {
    {'a', "T"}, {'b', "TL"}, {'d', "S.2"}, {'e', "C"}, {'f', "CT"},
};

void AskEverythingAt(SerialSource& source, int64_t now)
{
    for (int request = REQUEST_STATUS; request < SERIAL_REQUESTS; request++) {
        source.askAt[request] = now;
        source.tries[request] = 0;
    }
}

void ForgetReply(SerialSource& source)
{
    source.asked = REQUEST_NONE;
    source.length = 0;
}

void CloseLine(SerialSource& source, int64_t now)
{
    if (source.fd >= 0)
        CloseSerialLine(source.fd);
    source.fd = -1;
    source.openAt = now + OPEN_PERIOD;
    source.pending[0] = '\0';
    ForgetReply(source);
}

void NoteOpening(SerialSource& source, int64_t now, int result)
{
    source.openError = result < 0 ? -result : 0;
    source.openAt = now + OPEN_PERIOD;
    if (result < 0)
        return;
    source.fd = result;
    AskEverythingAt(source, now);
}

// Has the line opened by another process, one at a time, which may need as long as it likes.
void TryToOpen(SerialSource& source, int64_t now)
{
    if (source.opener.child < 0) {
        if (now < source.openAt)
            return;
        int begun = BeginToOpen(source.opener, source.device, source.mustBeFree);
        source.openAt = now;
        if (begun < 0)
            NoteOpening(source, now, begun);
        return;
    }
    int opened = TakeOpened(source.opener);
    if (opened != STILL_OPENING)
        NoteOpening(source, now, opened);
    else if (now - source.openAt >= LONGEST_OPENING)
        source.openError = ETIMEDOUT;
}

// The UPS's status comes first: what it is can wait.
SerialRequest ChooseRequest(const SerialSource& source, int64_t now)
{
    for (SerialRequest request : {REQUEST_STATUS, REQUEST_RATING, REQUEST_MODEL}) {
        if (source.askAt[request] <= now)
            return request;
    }
    return REQUEST_NONE;
}

bool Write(SerialSource& source, const char* text)
{
    AddTrace(source.trace, "to the UPS: ", text);
    return WriteSerialLine(source.fd, text);
}

void Ask(SerialSource& source, SerialRequest request, int64_t now)
{
    FlushSerialInput(source.fd);
    source.length = 0;
    if (!Write(source, REQUEST_TEXTS[request])) {
        CloseLine(source, now);
        return;
    }
    source.asked = request;
    source.replyBy = now + REPLY_LIMIT;
    source.askAt[request] = now + (request == REQUEST_STATUS ? STATUS_PERIOD : NAMES_PERIOD);
}

// Asked again at once, unless this was the last of the tries.
void CountFailure(SerialSource& source, int64_t now)
{
    SerialRequest request = source.asked;
    ForgetReply(source);
    source.tries[request]++;
    if (request == REQUEST_STATUS)
        source.unanswered++;
    if (source.tries[request] < TRIES) {
        source.askAt[request] = now;
        return;
    }
    source.tries[request] = 0;
    source.askAt[request] = now + (request == REQUEST_STATUS ? STATUS_PERIOD : NAMES_PERIOD);
}

void NoteStatus(SerialSource& source, int64_t now)
{
    source.heardAt = now;
    source.unanswered = 0;
    if (source.isLost) { // another UPS may stand there now
        source.askAt[REQUEST_RATING] = now;
        source.askAt[REQUEST_MODEL] = now;
    }
    source.isLost = false;
}

void KeepReply(char (&dst)[REPLY_ROOM], const char* line)
{
    FormatText(dst, sizeof(dst), "%s\r", line);
}

// True when the line answers what was asked.
bool TakeReply(SerialSource& source, int64_t now, UpsNames& names, SerialNews& news)
{
    switch (source.asked) {
    case REQUEST_STATUS:
        if (!ParseStatusReply(source.line, news.reading))
            return false;
        news.hasReading = true;
        KeepReply(news.status, source.line);
        NoteStatus(source, now);
        return true;
    case REQUEST_RATING:
        if (!ParseRatingReply(source.line, names))
            return false;
        KeepReply(news.rating, source.line);
        break;
    default:
        if (!ParseModelReply(source.line, names))
            return false;
        KeepReply(news.model, source.line);
        break;
    }
    return true;
}

// A line that repeats the request, and a late reply to another one, are passed over.
bool IsBesideThePoint(const SerialSource& source)
{
    if (strcmp(source.line, REQUEST_TEXTS[source.asked]) == 0 || source.line[0] == '\0')
        return true;
    Reading reading;
    UpsNames names;
    if (source.asked == REQUEST_STATUS)
        return source.line[0] == '#';
    return ParseStatusReply(source.line, reading) ||
           (source.asked == REQUEST_MODEL && ParseRatingReply(source.line, names));
}

void EndLine(SerialSource& source, int64_t now, UpsNames& names, SerialNews& news)
{
    source.line[source.length] = '\0';
    bool isWhole = strlen(source.line) == source.length; // no zero byte in it
    source.length = 0;
    AddTrace(source.trace, "from the UPS: ", source.line);
    if (source.asked == REQUEST_NONE)
        return;
    if (isWhole && TakeReply(source, now, names, news)) {
        source.tries[source.asked] = 0;
        ForgetReply(source);
    } else if (!isWhole || !IsBesideThePoint(source)) {
        source.garbled++;
        AddTrace(source.trace, "this is no reply to ", REQUEST_TEXTS[source.asked]);
        CountFailure(source, now);
    }
}

void TakeByte(SerialSource& source, char byte, int64_t now, UpsNames& names, SerialNews& news)
{
    if (byte == '\r') {
        EndLine(source, now, names, news);
    } else if (source.length < sizeof(source.line) - 1) {
        source.line[source.length] = byte;
        source.length++;
    }
}

void ReadReplies(SerialSource& source, int64_t now, UpsNames& names, SerialNews& news)
{
    char bytes[REPLY_ROOM];
    int count = ReadSerialLine(source.fd, bytes, sizeof(bytes));
    if (count < 0) {
        CloseLine(source, now);
        return;
    }
    for (int i = 0; i < count; i++)
        TakeByte(source, bytes[i], now, names, news);
}

void SendPending(SerialSource& source, int64_t now)
{
    if (source.pending[0] == '\0')
        return;
    if (!Write(source, source.pending))
        CloseLine(source, now);
    source.pending[0] = '\0';
}

// A UPS that nobody asked, the daemon having been held up, is given the time to answer.
bool HasOnlyBeenAsked(const SerialSource& source)
{
    return source.asked == REQUEST_STATUS && source.unanswered == 0;
}

void RunOpenLine(SerialSource& source, int64_t now, UpsNames& names, SerialNews& news)
{
    ReadReplies(source, now, names, news);
    if (source.asked != REQUEST_NONE && now >= source.replyBy)
        CountFailure(source, now);
    if (source.fd < 0 || source.asked != REQUEST_NONE)
        return;
    SendPending(source, now);
    SerialRequest request = source.fd >= 0 ? ChooseRequest(source, now) : REQUEST_NONE;
    if (request != REQUEST_NONE)
        Ask(source, request, now);
}

} // namespace

void StartSerialSource(SerialSource& source, const char* device, int64_t now)
{
    source = {};
    CopyField(source.device, device);
    source.fd = -1;
    source.opener = NO_OPENER;
    source.openAt = now;
    source.heardAt = now;
}

void StopSerialSource(SerialSource& source)
{
    GiveUpOpening(source.opener);
    CloseLine(source, 0);
}

void LeaveSerialLine(SerialSource& source)
{
    GiveUpOpening(source.opener);
    if (source.fd >= 0)
        close(source.fd);
    source.fd = -1;
}

int SerialDescriptor(const SerialSource& source)
{
    return source.fd >= 0 ? source.fd : source.opener.fd;
}

int64_t NextSerialMoment(const SerialSource& source)
{
    if (source.opener.child > 0)
        return INT64_MAX;
    if (source.fd < 0)
        return source.openAt;
    if (source.asked != REQUEST_NONE)
        return source.replyBy;
    int64_t next = source.askAt[REQUEST_STATUS];
    for (SerialRequest request : {REQUEST_RATING, REQUEST_MODEL})
        next = source.askAt[request] < next ? source.askAt[request] : next;
    return next;
}

void ForgetSerialAnswer(SerialSource& source, int64_t now)
{
    if (source.fd < 0)
        return;
    FlushSerialInput(source.fd);
    ForgetReply(source);
    source.askAt[REQUEST_STATUS] = now;
}

void RunSerialSource(SerialSource& source, int64_t now, UpsNames& names, SerialNews& news)
{
    news.hasReading = false;
    news.status[0] = news.rating[0] = news.model[0] = '\0';
    if (source.fd < 0)
        TryToOpen(source, now);
    if (source.fd >= 0)
        RunOpenLine(source, now, names, news);
    if (now - source.heardAt >= LOST_AFTER && !HasOnlyBeenAsked(source))
        source.isLost = true;
}

bool IsReadyForSerialText(const SerialSource& source)
{
    return source.fd >= 0 && source.pending[0] == '\0';
}

bool SendSerialText(SerialSource& source, const char* text)
{
    if (!IsReadyForSerialText(source))
        return false;
    if (source.asked != REQUEST_NONE) {
        CopyField(source.pending, text);
        return true;
    }
    bool isSent = Write(source, text);
    if (!isSent)
        CloseLine(source, 0);
    return isSent;
}

bool CommandToSerialText(const char* command, char* text, size_t size)
{
    bool isTimedTest = command[0] == 'c' && strlen(command) == 3 &&
                       isdigit(static_cast<unsigned char>(command[1])) != 0 &&
                       isdigit(static_cast<unsigned char>(command[2])) != 0;
    if (isTimedTest) {
        FormatText(text, size, "T%s", command + 1);
        return true;
    }
    for (const SerialCommand& known : SERIAL_COMMANDS) {
        if (command[0] == known.letter && command[1] == '\0') {
            CopyText(text, size, known.text);
            return true;
        }
    }
    return false;
}

void FormatShutdownText(char* text, size_t size, float offDelay, int restartMinutes)
{
    // A delay of 0.3 in single precision is a trace above or below it.
    int tenths = CutToRange(static_cast<int>(lroundf(offDelay * 10.0F)), 2, 990);
    if (tenths < 10)
        FormatText(text, size, "S.%dR%04d", tenths, CutToRange(restartMinutes, 0, 9999));
    else
        FormatText(text, size, "S%02dR%04d", (tenths + 9) / 10,
                   CutToRange(restartMinutes, 0, 9999));
}
