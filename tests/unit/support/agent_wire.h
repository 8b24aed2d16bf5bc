// A bare UDP socket in the agent's place that records every request and answers as told.
#pragma once

#include "tests/unit/support/wire_codec.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

using Lines = std::vector<std::string>;

// The address that the world keeps for the agent.
inline const char* AgentAddress()
{
    const char* address = getenv("WARDENLINK_AGENT");
    return address != nullptr ? address : "192.0.2.10";
}

inline double Seconds()
{
    auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

// --- a bare socket in the agent's place --------------------------------------------------

// The datagrams to send back for a request, the how-manieth it is counted from 1.
using Answerer = std::function<Lines(const WireMessage& request, int number)>;

struct WireAgent {
    int fd = -1;
    Answerer answer;
    std::atomic<bool> isEnding = false;
    std::mutex guard;
    std::vector<WireMessage> requests;
    std::vector<double> times; // when each arrived, however late it was looked at
    std::thread thread;
};

inline Lines Silence(const WireMessage& /*request*/, int /*number*/)
{
    return {};
}

// Answers every variable with the value of the same place; the last one serves for the rest.
inline Answerer AnswerValues(const Lines& values)
{
    return [values](const WireMessage& request, int) {
        WireMessage answer = request;
        answer.pdu = PDU_RESPONSE;
        for (size_t i = 0; i < answer.variables.size(); i++)
            answer.variables[i].value = values[std::min(i, values.size() - 1)];
        return Lines{EncodeMessage(answer)};
    };
}

inline Answerer AnswerError(int status, int index)
{
    return [status, index](const WireMessage& request, int) {
        WireMessage answer = request;
        answer.pdu = PDU_RESPONSE;
        answer.errorStatus = status;
        answer.errorIndex = index;
        return Lines{EncodeMessage(answer)};
    };
}

// When the last datagram taken arrived; the first call switches the recording on.
inline double ArrivalTime(int fd)
{
    timespec arrived = {};
    ioctl(fd, SIOCGSTAMPNS, &arrived);
    return static_cast<double>(arrived.tv_sec) + static_cast<double>(arrived.tv_nsec) / 1e9;
}

inline void ServeDatagram(WireAgent& agent)
{
    char buffer[65536];
    sockaddr_in from = {};
    socklen_t size = sizeof(from);
    std::lock_guard<std::mutex> lock(agent.guard);
    ssize_t length =
        recvfrom(agent.fd, buffer, sizeof(buffer), 0, reinterpret_cast<sockaddr*>(&from), &size);
    if (length < 0)
        return;
    agent.requests.push_back(DecodeMessage(std::string(buffer, static_cast<size_t>(length))));
    agent.times.push_back(ArrivalTime(agent.fd));
    for (const std::string& datagram :
         agent.answer(agent.requests.back(), static_cast<int>(agent.requests.size())))
        sendto(agent.fd, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&from),
               size);
}

inline void OpenWire(WireAgent& agent, const Answerer& answer, const char* address = AgentAddress())
{
    sockaddr_in place = {AF_INET, htons(161), {inet_addr(address)}, {}};
    agent.answer = answer;
    agent.fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(agent.fd, reinterpret_cast<sockaddr*>(&place), sizeof(place)), 0);
    ArrivalTime(agent.fd);
    agent.thread = std::thread([&agent] {
        while (!agent.isEnding) {
            pollfd readable = {agent.fd, POLLIN, 0};
            if (poll(&readable, 1, 20) > 0)
                ServeDatagram(agent);
        }
    });
}

// The requests seen; what was sent before this call is among them.
inline std::vector<WireMessage> Requests(WireAgent& agent)
{
    for (pollfd waiting = {agent.fd, POLLIN, 0}; poll(&waiting, 1, 0) > 0;)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::lock_guard<std::mutex> lock(agent.guard);
    return agent.requests;
}

inline void CloseWire(WireAgent& agent)
{
    agent.isEnding = true;
    if (agent.thread.joinable())
        agent.thread.join();
    if (agent.fd >= 0)
        close(agent.fd);
}

// The library reads identifiers only once it was set up, and is to read no file for that.
inline void StartLibrary(netsnmp_session& settings)
{
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    snmp_sess_init(&settings);
}

// A session of the test's own. Slow machines must not make it ask twice, so it waits long
// unless the test is about an answer that never comes.
inline netsnmp_session* OpenSession(const char* address, long timeoutMicroseconds = 10000000,
                                    int retries = 0)
{
    netsnmp_session settings;
    StartLibrary(settings);
    std::string peer = address;
    std::string community = "public";
    settings.version = SNMP_VERSION_1;
    settings.peername = peer.data();
    settings.community = reinterpret_cast<u_char*>(community.data());
    settings.community_len = community.size();
    settings.retries = retries;
    settings.timeout = timeoutMicroseconds;
    return snmp_open(&settings);
}
