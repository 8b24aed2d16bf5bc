#include "daemon/snmp_source.h"

#include "base/system.h"
#include "base/text.h"
#include "daemon/process.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int64_t ROUND_PERIOD = 2000;
constexpr int64_t NAMES_PERIOD = 600000;
constexpr int64_t RESTART_AFTER = 2000;
constexpr int64_t WORKER_SILENCE = 60000; // more than all the requests of a round can take
constexpr int FAILURES_TO_BE_LOST = 2;

// What the worker says of a round: at once what the safety hangs on, then the rest, for which
// a slow agent may take its time.
struct RoundReport {
    bool isRest;     // the values that are only shown
    bool isAnswered; // the input voltage was
    bool hasReading;
    Reading reading;
    UpsNames names;
    Trace trace;
};

// Values that are shown and nothing else. One that stays silent costs five seconds: it ends
// its round and is left out for a while.
struct ExtraObject {
    const char* objectId;
    double Reading::*number;
    double scale;
};

constexpr ExtraObject EXTRA_OBJECTS[] = {
    {OID_TIME_ON_BATTERY, &Reading::onBattery, 1},
    {OID_OUTPUT_VOLTAGE, &Reading::outputVoltage, 10},
    {OID_OUTPUT_SECOND, &Reading::outputSecond, 1},
    {OID_OUTPUT_LOAD, &Reading::load, 1},
    {OID_BATTERY_CAPACITY, &Reading::batteryCharge, 1},
    {OID_INPUT_FREQUENCY, &Reading::inputFrequency, 10},
};
constexpr int EXTRAS = sizeof(EXTRA_OBJECTS) / sizeof(EXTRA_OBJECTS[0]);
constexpr int64_t SILENCE = 1000; // an answer that takes longer is none
constexpr int64_t LEFT_OUT = 300000;

// What the worker keeps between its rounds.
struct Worker {
    bool isOpen;     // the session
    int64_t namesAt; // when the UPS is asked what it is
    int64_t askAt[EXTRAS];
    RoundReport report;
};

bool Ask(Worker& worker, const char* objectId, ObjectText& object)
{
    bool isAnswered = ReadObject(objectId, object);
    char what[sizeof(ObjectIdText) + 32];
    FormatText(what, sizeof(what), "agent, object %s: ", objectId);
    AddTrace(worker.report.trace, what, isAnswered ? object.text : "no answer");
    return isAnswered;
}

// An error of the agent answers with an empty text, and another agent perhaps with a text of
// its own: that is no number.
bool ReadWhole(Worker& worker, const char* objectId, int* number)
{
    ObjectText object;
    if (!Ask(worker, objectId, object))
        return false;
    char* end = object.text;
    long whole = strtol(object.text, &end, 10);
    if (end == object.text || *end != '\0')
        return false;
    *number = static_cast<int>(std::clamp<long>(whole, INT_MIN, INT_MAX));
    return true;
}

void ReadExtras(Worker& worker)
{
    Reading& reading = worker.report.reading;
    for (int i = 0; i < EXTRAS; i++) {
        int64_t asked = BootMilliseconds();
        if (asked < worker.askAt[i])
            continue;
        int whole = 0;
        bool isTold = ReadWhole(worker, EXTRA_OBJECTS[i].objectId, &whole);
        reading.*EXTRA_OBJECTS[i].number = isTold ? whole / EXTRA_OBJECTS[i].scale : NAN;
        if (BootMilliseconds() - asked <= SILENCE)
            continue;
        worker.askAt[i] = asked + LEFT_OUT;
        break;
    }
    // An output that is off still tells a voltage.
    if (reading.outputSecond == 0)
        reading.outputVoltage = 0;
}

// Without the output's state nobody knows of an outage: such a round gives no reading. A
// battery that is not answered for does not count as low.
bool ReadEssentials(Worker& worker)
{
    RoundReport& report = worker.report;
    int tenths = 0;
    int output = 0;
    int battery = 0;
    Reading& reading = report.reading;
    report.isAnswered = ReadWhole(worker, OID_INPUT_VOLTAGE, &tenths);
    if (!report.isAnswered || !ReadWhole(worker, OID_OUTPUT_STATUS, &output) || output <= 0)
        return false;
    reading.inputVoltage = tenths / 10.0;
    reading.mainsFailed = output == OUTPUT_ON_BATTERY;
    reading.batteryLow = ReadWhole(worker, OID_BATTERY_STATUS, &battery) && battery == BATTERY_LOW;
    return true;
}

// The library quotes a text.
void TakeOffQuotes(char* text)
{
    CleanString(text);
    size_t length = strlen(text);
    if (length < 2 || text[0] != '"' || text[length - 1] != '"')
        return;
    text[length - 1] = '\0';
    memmove(text, text + 1, length - 1);
}

void ReadText(Worker& worker, const char* objectId, char* text, size_t size)
{
    ObjectText object;
    text[0] = '\0';
    if (!Ask(worker, objectId, object))
        return;
    TakeOffQuotes(object.text);
    MakePrintable(object.text);
    CopyText(text, size, object.text);
}

void ReadNames(Worker& worker)
{
    UpsNames& names = worker.report.names;
    char maker[sizeof(names.model) / 2];
    char model[sizeof(names.model) / 2];
    ClearNames(names);
    ReadText(worker, OID_IDENT_FIRST, maker, sizeof(maker));
    ReadText(worker, OID_IDENT_SECOND, model, sizeof(model));
    FormatText(names.model, sizeof(names.model), "%s%s%s", maker,
               maker[0] != '\0' && model[0] != '\0' ? " " : "", model);
}

void StartWorking(Worker& worker)
{
    worker = {};
    ClearReading(worker.report.reading);
    ClearNames(worker.report.names);
}

void OpenSession(Worker& worker)
{
    worker.isOpen = UPS_init() == AGENT_ANSWERED;
    if (!worker.isOpen)
        AddTrace(worker.report.trace, "agent, first question: ", "no answer");
}

// An agent that does not answer gets a new session in the next round: the network may have
// changed meanwhile.
void AskEssentials(Worker& worker)
{
    RoundReport& report = worker.report;
    report.isRest = report.isAnswered = report.hasReading = false;
    if (!worker.isOpen)
        OpenSession(worker);
    if (worker.isOpen)
        report.hasReading = ReadEssentials(worker);
    worker.isOpen = report.isAnswered;
    if (!report.hasReading)
        ClearReading(report.reading);
}

void AskRest(Worker& worker)
{
    worker.report.isRest = true;
    ReadExtras(worker);
    int64_t now = BootMilliseconds();
    if (now < worker.namesAt)
        return;
    ReadNames(worker);
    worker.namesAt = now + NAMES_PERIOD;
}

// The worker ends with the daemon.
void Report(Worker& worker, int fd)
{
    if (send(fd, &worker.report, sizeof(worker.report), MSG_NOSIGNAL) < 0)
        _exit(0);
    worker.report.trace.text[0] = '\0';
}

// Runs until the daemon ends it or is gone itself.
[[noreturn]] void RunWorker(int fd)
{
    Worker worker;
    StartWorking(worker);
    while (true) {
        int64_t start = BootMilliseconds();
        AskEssentials(worker);
        Report(worker, fd);
        if (worker.report.hasReading) {
            AskRest(worker);
            Report(worker, fd);
        }
        int64_t rest = start + ROUND_PERIOD - BootMilliseconds();
        PauseSeconds(static_cast<double>(rest) / 1000.0);
    }
}

void BecomeWorker(int fd, pid_t daemon)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != daemon)
        _exit(0);
    RunWorker(PrepareChild(fd));
}

// False when no process can be made now.
bool StartWorker(SnmpSource& source, int64_t now)
{
    int ends[2];
    source.startAt = now + RESTART_AFTER;
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    upsconf_load(source.address, source.community);
    pid_t daemon = getpid();
    source.worker = fork();
    if (source.worker == 0)
        BecomeWorker(ends[1], daemon);
    close(ends[1]);
    source.fd = ends[0];
    source.heardAt = now;
    if (source.worker > 0)
        return true;
    StopSnmpSource(source);
    return false;
}

void TakeReport(SnmpSource& source, const RoundReport& report, UpsNames& names, SnmpNews& news)
{
    JoinTrace(source.trace, report.trace);
    if (report.isRest) {
        news.isWhole = true;
        names = report.names;
    } else {
        source.failures = report.isAnswered ? 0 : source.failures + 1;
        news.hasReading = news.hasReading || report.hasReading;
    }
    if (report.hasReading)
        news.reading = report.reading;
}

// False when the worker is gone.
bool ReadReports(SnmpSource& source, int64_t now, UpsNames& names, SnmpNews& news)
{
    RoundReport report;
    ssize_t count = 0;
    while ((count = recv(source.fd, &report, sizeof(report), MSG_DONTWAIT)) > 0) {
        source.heardAt = now;
        if (count == static_cast<ssize_t>(sizeof(report)))
            TakeReport(source, report, names, news);
    }
    return count < 0 && (errno == EAGAIN || errno == EINTR);
}

} // namespace

void StartSnmpSource(SnmpSource& source, const char* address, const char* community, int64_t now)
{
    source = {};
    CopyField(source.address, address);
    CopyField(source.community, community);
    source.worker = -1;
    source.fd = -1;
    source.startAt = now;
    source.heardAt = now;
}

void StopSnmpSource(SnmpSource& source)
{
    if (source.worker > 0) {
        kill(source.worker, SIGKILL);
        LeaveToCollect(source.worker);
    }
    if (source.fd >= 0)
        close(source.fd);
    source.worker = -1;
    source.fd = -1;
}

void ForgetSnmpAnswer(SnmpSource& source, int64_t now)
{
    StopSnmpSource(source);
    source.startAt = now;
}

int64_t NextSnmpMoment(const SnmpSource& source)
{
    return source.worker < 0 ? source.startAt : source.heardAt + WORKER_SILENCE;
}

void RunSnmpSource(SnmpSource& source, int64_t now, UpsNames& names, SnmpNews& news)
{
    news.hasReading = false;
    news.isWhole = false;
    if (source.worker < 0 && now >= source.startAt && !StartWorker(source, now))
        source.failures++;
    if (source.worker < 0)
        return;
    bool isAlive = ReadReports(source, now, names, news);
    if (isAlive && now - source.heardAt < WORKER_SILENCE)
        return;
    source.failures++;
    StopSnmpSource(source);
    source.startAt = now + RESTART_AFTER;
}

bool IsSnmpUpsLost(const SnmpSource& source)
{
    return source.failures >= FAILURES_TO_BE_LOST;
}

bool AskAgentOnce(const char* address, const char* community, Reading& reading, UpsNames& names)
{
    upsconf_load(address, community);
    Worker worker;
    StartWorking(worker);
    AskEssentials(worker);
    if (worker.report.hasReading)
        AskRest(worker);
    UPS_close();
    reading = worker.report.reading;
    names = worker.report.names;
    return worker.report.hasReading;
}
