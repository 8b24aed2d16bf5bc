#include "sim/serial/serial_faults.h"

namespace {

size_t Draw(SerialFaults& faults, size_t most)
{
    return std::uniform_int_distribution<size_t>(0, most)(faults.random);
}

// As a client sees it that began to listen in the middle: the marker is gone.
std::string LoseHead(SerialFaults& faults, const std::string& reply)
{
    return reply.substr(1 + Draw(faults, reply.size() - 2));
}

// The end stays, so that the line looks whole. With its top bit set no byte is a digit.
std::string SetTopBits(SerialFaults& faults, std::string reply)
{
    for (size_t count = Draw(faults, 3) + 1; count > 0; count--)
        reply[Draw(faults, reply.size() - 2)] |= static_cast<char>(0x80);
    return reply;
}

std::string MixInControls(SerialFaults& faults, std::string reply)
{
    static constexpr char CONTROLS[] = {'\0', '\x03', '\x04', '\x07', '\n', '\x11', '\x13', '\x1b'};
    for (size_t count = Draw(faults, 3) + 1; count > 0; count--)
        reply[Draw(faults, reply.size() - 2)] = CONTROLS[Draw(faults, sizeof(CONTROLS) - 1)];
    return reply;
}

std::string GarbleReply(SerialFaults& faults, const std::string& reply)
{
    static constexpr size_t SHORTEST = 3; // a marker, something, and the end
    if (reply.size() < SHORTEST)
        return reply;
    switch (Draw(faults, 2)) {
    case 0:
        return LoseHead(faults, reply);
    case 1:
        return SetTopBits(faults, reply);
    default:
        return MixInControls(faults, reply);
    }
}

} // namespace

ReplyFault* FindReply(SerialFaults& faults, const std::string& word)
{
    for (ReplyFault& reply : faults.replies) {
        if (word == reply.word)
            return &reply;
    }
    return nullptr;
}

ReplyFault* FindReply(SerialFaults& faults, LineVerb verb)
{
    for (ReplyFault& reply : faults.replies) {
        if (verb == reply.verb)
            return &reply;
    }
    return nullptr;
}

std::string DamageReply(SerialFaults& faults, const std::string& reply)
{
    std::string sent = reply;
    if (faults.garbled != 0)
        sent = GarbleReply(faults, sent);
    if (faults.garbled > 0)
        faults.garbled--;
    return faults.half ? sent.substr(0, sent.size() / 2) : sent;
}
