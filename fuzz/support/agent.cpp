#include "fuzz/support/agent.h"

#include "fuzz/support/input.h"
#include "fuzz/support/waits.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>

namespace {

constexpr uint16_t SNMP_PORT_NUMBER = 161;

int place = -1;
long lastRequest = 0; // its number
int datagrams = 0;    // that came of it
AgentAnswer currentAnswer = nullptr;

void OpenPlace()
{
    sockaddr_in address = {AF_INET, htons(SNMP_PORT_NUMBER), {inet_addr(AGENT_ADDRESS)}, {}};
    place = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    Require(bind(place, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0,
            "the agent's place is free");
}

// Takes one request; false when there is none. *isSent becomes true with the first answer.
bool AnswerOne(bool* isSent)
{
    char buffer[65536];
    sockaddr_in from = {};
    socklen_t size = sizeof(from);
    auto* sender = reinterpret_cast<sockaddr*>(&from);
    ssize_t length = recvfrom(place, buffer, sizeof(buffer), 0, sender, &size);
    if (length < 0)
        return false;
    WireMessage request = DecodeMessage(std::string(buffer, static_cast<size_t>(length)));
    datagrams = request.id == lastRequest ? datagrams + 1 : 1;
    lastRequest = request.id;
    for (const std::string& datagram : currentAnswer(request)) {
        if (sendto(place, datagram.data(), datagram.size(), 0, sender, size) >= 0)
            *isSent = true;
    }
    return true;
}

bool AnswerRequests(int /*count*/, const fd_set* /*readable*/)
{
    bool isSent = false;
    while (AnswerOne(&isSent)) {
    }
    return isSent;
}

} // namespace

void AnswerAsAgent(AgentAnswer answer)
{
    if (place < 0)
        OpenPlace();
    currentAnswer = answer;
    onOtherWait = AnswerRequests;
}

int CountLastRequest(int expected)
{
    constexpr int LONG = 5000; // milliseconds, never waited out
    pollfd arrived = {place, POLLIN, 0};
    do {
        AnswerRequests(0, nullptr);
    } while (datagrams < expected && poll(&arrived, 1, LONG) > 0);
    return datagrams;
}
