#include "daemon/source.h"

#include "snmp/snmplib.h"

#include <cstring>

namespace {

void NoteReading(Source& source, bool isLost, bool hasReading)
{
    if (isLost)
        source.state = SOURCE_LOST;
    else if (hasReading)
        source.state = SOURCE_HEARD;
}

const char* ReplyOrNull(const char* reply)
{
    return reply[0] != '\0' ? reply : nullptr;
}

void RunSerial(Source& source, int64_t now, SourceNews& news)
{
    static SerialNews got; // its replies are handed on
    RunSerialSource(source.serial, now, source.names, got);
    news.hasReading = got.hasReading;
    news.isWhole = got.hasReading;
    news.reading = got.reading;
    news.statusReply = ReplyOrNull(got.status);
    news.ratingReply = ReplyOrNull(got.rating);
    news.modelReply = ReplyOrNull(got.model);
    NoteReading(source, source.serial.isLost, got.hasReading);
}

void RunAgent(Source& source, int64_t now, SourceNews& news)
{
    SnmpNews got;
    RunSnmpSource(source.snmp, now, source.names, got);
    news.hasReading = got.hasReading;
    news.isWhole = got.isWhole;
    news.reading = got.reading;
    NoteReading(source, IsSnmpUpsLost(source.snmp), got.hasReading);
}

} // namespace

UpsPath PathOfSettings(const PowerConfig& cfg)
{
    if (cfg.commMode == COMM_SERIAL)
        return PATH_SERIAL;
    return cfg.commMode == COMM_SNMP && IsAgentAddress(cfg.snmpIp) == 1 ? PATH_AGENT : PATH_NONE;
}

void StartSource(Source& source, const PowerConfig& cfg, int64_t now)
{
    source.path = PathOfSettings(cfg);
    source.state = SOURCE_STARTING;
    ClearNames(source.names);
    if (source.path == PATH_SERIAL)
        StartSerialSource(source.serial, cfg.comPort, now);
    if (source.path == PATH_AGENT)
        StartSnmpSource(source.snmp, cfg.snmpIp, cfg.snmpCommunity, now);
}

void StopSource(Source& source)
{
    if (source.path == PATH_SERIAL)
        StopSerialSource(source.serial);
    if (source.path == PATH_AGENT)
        StopSnmpSource(source.snmp);
}

void LeaveSource(Source& source)
{
    if (source.path == PATH_SERIAL)
        LeaveSerialLine(source.serial);
    else
        StopSource(source);
}

bool IsOtherSource(const Source& source, const PowerConfig& cfg)
{
    if (PathOfSettings(cfg) != source.path)
        return true;
    if (source.path == PATH_SERIAL)
        return strcmp(cfg.comPort, source.serial.device) != 0;
    return source.path == PATH_AGENT && (strcmp(cfg.snmpIp, source.snmp.address) != 0 ||
                                         strcmp(cfg.snmpCommunity, source.snmp.community) != 0);
}

int SourceDescriptor(const Source& source)
{
    if (source.path == PATH_SERIAL)
        return SerialDescriptor(source.serial);
    return source.path == PATH_AGENT ? source.snmp.fd : -1;
}

int64_t NextSourceMoment(const Source& source)
{
    if (source.path == PATH_SERIAL)
        return NextSerialMoment(source.serial);
    return source.path == PATH_AGENT ? NextSnmpMoment(source.snmp) : INT64_MAX;
}

void ForgetAnswers(Source& source, int64_t now)
{
    if (source.path == PATH_SERIAL)
        ForgetSerialAnswer(source.serial, now);
    if (source.path == PATH_AGENT)
        ForgetSnmpAnswer(source.snmp, now);
}

void RunSource(Source& source, int64_t now, SourceNews& news)
{
    news = {};
    if (source.path == PATH_SERIAL)
        RunSerial(source, now, news);
    if (source.path == PATH_AGENT)
        RunAgent(source, now, news);
}

bool IsReadyForText(const Source& source)
{
    return source.path != PATH_SERIAL || source.serial.pending[0] == '\0';
}

bool SendUpsText(Source& source, const char* text)
{
    return source.path == PATH_SERIAL && SendSerialText(source.serial, text);
}
