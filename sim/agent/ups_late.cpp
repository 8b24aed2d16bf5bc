// The library's headers only work in this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/library/snmp_transport.h>

#include "sim/agent/ups_late.h"

#include "sim/model/ups_clock.h"

#include <string>
#include <vector>

namespace {

struct LateAnswer {
    long due = 0; // milliseconds of the monotonic clock
    std::string datagram;
    std::string recipient; // the transport's own address record
};

constexpr size_t MOST_WAITING = 4096;

netsnmp_transport* carrier;
decltype(netsnmp_transport::f_send) carrierSend;
int answerDelay;
std::vector<LateAnswer> waiting;

int SendOrKeep(netsnmp_transport* transport, const void* data, int size, void** opaque,
               int* opaqueSize)
{
    if (answerDelay <= 0 || opaque == nullptr || *opaque == nullptr)
        return carrierSend(transport, data, size, opaque, opaqueSize);
    if (waiting.size() >= MOST_WAITING)
        return size; // as lost as on a busy network
    waiting.push_back(
        {NowMilliseconds() + answerDelay,
         std::string(static_cast<const char*>(data), static_cast<size_t>(size)),
         std::string(static_cast<const char*>(*opaque), static_cast<size_t>(*opaqueSize))});
    return size;
}

} // namespace

void DelayThrough(netsnmp_transport_s* transport)
{
    carrier = transport;
    carrierSend = transport->f_send;
    transport->f_send = SendOrKeep;
}

void DelayAnswers(int milliseconds)
{
    answerDelay = milliseconds;
}

void ShortenToNextAnswer(timeval* wait)
{
    for (const LateAnswer& answer : waiting)
        ShortenWait(wait, answer.due);
}

namespace {

void Send(LateAnswer& answer)
{
    void* opaque = answer.recipient.data();
    int size = static_cast<int>(answer.recipient.size());
    carrierSend(carrier, answer.datagram.data(), static_cast<int>(answer.datagram.size()), &opaque,
                &size);
}

} // namespace

void SendLateAnswers()
{
    long now = NowMilliseconds();
    for (LateAnswer& answer : waiting) {
        if (answer.due <= now)
            Send(answer);
    }
    std::erase_if(waiting, [now](const LateAnswer& answer) { return answer.due <= now; });
}

void DropLateAnswers()
{
    waiting.clear();
    waiting.shrink_to_fit();
}
