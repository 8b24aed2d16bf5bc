// The library's headers only work in this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/library/snmp_transport.h>

#include "sim/agent/ups_late.h"

#include <algorithm>
#include <string>
#include <time.h>
#include <vector>

struct LateAnswer {
    long due = 0; // milliseconds of the monotonic clock
    std::string datagram;
    std::string recipient; // the transport's own address record
};

static constexpr size_t kMostWaiting = 4096;

static netsnmp_transport* transport_;
static decltype(netsnmp_transport::f_send) send_;
static int delay_;
static std::vector<LateAnswer> waiting_;

static long NowMilliseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000L + now.tv_nsec / 1000000L;
}

static int SendOrKeep(netsnmp_transport* transport, const void* data, int size, void** opaque,
                      int* opaqueSize)
{
    if (delay_ <= 0 || !opaque || !*opaque)
        return send_(transport, data, size, opaque, opaqueSize);
    if (waiting_.size() >= kMostWaiting)
        return size; // as lost as on a busy network
    waiting_.push_back(
        {NowMilliseconds() + delay_,
         std::string(static_cast<const char*>(data), static_cast<size_t>(size)),
         std::string(static_cast<const char*>(*opaque), static_cast<size_t>(*opaqueSize))});
    return size;
}

void DelayThrough(netsnmp_transport_s* transport)
{
    transport_ = transport;
    send_ = transport->f_send;
    transport->f_send = SendOrKeep;
}

void DelayAnswers(int milliseconds)
{
    delay_ = milliseconds;
}

void ShortenToNextAnswer(timeval* wait)
{
    long now = NowMilliseconds();
    for (const LateAnswer& answer : waiting_) {
        long left = std::max(0L, answer.due - now);
        if (left < wait->tv_sec * 1000L + wait->tv_usec / 1000L)
            *wait = {left / 1000L, left % 1000L * 1000L};
    }
}

static void Send(LateAnswer& answer)
{
    void* opaque = answer.recipient.data();
    int size = static_cast<int>(answer.recipient.size());
    send_(transport_, answer.datagram.data(), static_cast<int>(answer.datagram.size()), &opaque,
          &size);
}

void SendLateAnswers()
{
    long now = NowMilliseconds();
    for (LateAnswer& answer : waiting_) {
        if (answer.due <= now)
            Send(answer);
    }
    std::erase_if(waiting_, [now](const LateAnswer& answer) { return answer.due <= now; });
}

void DropLateAnswers()
{
    waiting_.clear();
    waiting_.shrink_to_fit();
}
