#include "daemon/hearing.h"

#include "base/system.h"
#include "base/text.h"
#include "daemon/log.h"
#include "daemon/process.h"
#include "daemon/reply_files.h"
#include "daemon/serial_line.h"
#include "daemon/tell.h"
#include "daemon/trace.h"

#include <cstring>

namespace {

constexpr int64_t GARBLED_TOLD = 60000; // at most once a minute

void ForgetReading(Daemon& daemon)
{
    ClearReading(daemon.reading);
    daemon.readingAt = NEVER;
}

void NoteReplyFile(Daemon& daemon, bool isKept)
{
    if (!isKept && !daemon.isReplyLost)
        WriteLog(LOG_ERR, "the UPS's replies cannot be written to %s: screens show none",
                 SETTINGS_FOLDER);
    daemon.isReplyLost = !isKept;
}

// Writes a reply that is new, or could not be written before.
void KeepOrRemember(char (&reply)[REPLY_ROOM], const char* news, bool (*keep)(const char* reply))
{
    if (news != nullptr)
        CopyField(reply, news);
    if (reply[0] != '\0' && keep(reply))
        reply[0] = '\0';
}

void KeepReplies(Daemon& daemon, const SourceNews& news)
{
    KeepOrRemember(daemon.rating, news.ratingReply, KeepRatingReply);
    KeepOrRemember(daemon.model, news.modelReply, KeepModelReply);
    if (news.statusReply != nullptr)
        NoteReplyFile(daemon, KeepStatusReply(news.statusReply));
}

void RemoveOldReplies(Daemon& daemon)
{
    bool isSilent = daemon.source.state == SOURCE_LOST;
    if (isSilent && !daemon.isReplySilent) {
        RemoveReplyFiles();
        daemon.rating[0] = daemon.model[0] = '\0';
    }
    daemon.isReplySilent = isSilent;
}

// The daemon is the only one of its kind: whoever else holds the line shall not keep it away.
void TellOfOpening(const SerialSource& serial)
{
    if (serial.openError != 0) {
        WriteLog(LOG_WARNING, "the line %s cannot be opened: %s", serial.device,
                 strerror(serial.openError));
        return;
    }
    WriteLog(LOG_NOTICE, "the line %s is open", serial.device);
    if (serial.fd >= 0 && !LockSerialLine(serial.fd))
        WriteLog(LOG_WARNING, "another program holds the line %s as well", serial.device);
}

void TellOfLine(Daemon& daemon, int64_t now)
{
    if (daemon.source.path != PATH_SERIAL)
        return;
    const SerialSource& serial = daemon.source.serial;
    bool isTried = serial.fd >= 0 || serial.openError != 0;
    if (isTried && serial.openError != daemon.lineError)
        TellOfOpening(serial);
    if (isTried)
        daemon.lineError = serial.openError;
    if (serial.garbled == daemon.garbled || now < daemon.garbledAt + GARBLED_TOLD)
        return;
    WriteLog(LOG_NOTICE, "%u replies of the UPS were garbled", serial.garbled - daemon.garbled);
    daemon.garbled = serial.garbled;
    daemon.garbledAt = now;
}

} // namespace

void StartReading(Daemon& daemon)
{
    StartSource(daemon.source, daemon.cfg, AwakeMilliseconds());
    ForgetReading(daemon);
    daemon.lineError = -1;
    daemon.garbled = 0;
    daemon.isReplySilent = false;
    daemon.rating[0] = daemon.model[0] = '\0';
    LogSource(daemon.source, daemon.cfg);
}

const Reading* TakeNews(Daemon& daemon, int64_t now, const SourceNews& news)
{
    TellOfLine(daemon, now);
    LogTrace(daemon.source.serial.trace, daemon.isDebug);
    LogTrace(daemon.source.snmp.trace, daemon.isDebug);
    if (daemon.source.state == SOURCE_LOST) // its values are not those of now
        ForgetReading(daemon);
    if (news.hasReading && news.reading.isFailed && !daemon.reading.isFailed)
        WriteLog(LOG_WARNING, "the UPS reports a fault of its own");
    if (news.hasReading || news.isWhole)
        daemon.reading = news.reading;
    if (!news.hasReading)
        return nullptr;
    daemon.readingAt = now;
    return &daemon.reading;
}

void KeepNews(Daemon& daemon, const SourceNews& news)
{
    if (news.hasReading || news.ratingReply != nullptr || news.modelReply != nullptr)
        KeepReplies(daemon, news);
    RemoveOldReplies(daemon);
}
