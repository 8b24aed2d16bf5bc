// SNMP version 1 taken apart and put together byte by byte, independently of any library, and
// a bare UDP socket in the agent's place that records every request and answers as told.
#pragma once

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

// --- SNMP on the wire --------------------------------------------------------------------

inline constexpr int TAG_INTEGER = 0x02;
inline constexpr int TAG_OCTETS = 0x04;
inline constexpr int TAG_NULL = 0x05;
inline constexpr int TAG_OBJECT_ID = 0x06;
inline constexpr int TAG_SEQUENCE = 0x30;
inline constexpr int PDU_GET = 0xa0;
inline constexpr int PDU_RESPONSE = 0xa2;
inline constexpr int PDU_SET = 0xa3;

struct WireVariable {
    std::string objectId; // dotted, with a leading dot
    std::string value;    // the whole element: tag, length, content
};

struct WireMessage {
    long version = -1;
    std::string community;
    int pdu = 0; // 0: the datagram was no SNMP message
    long id = 0;
    long errorStatus = 0;
    long errorIndex = 0;
    std::vector<WireVariable> variables;
};

inline std::string Hex(const std::string& bytes)
{
    std::string hex;
    char text[4];
    for (unsigned char byte : bytes) {
        snprintf(text, sizeof(text), hex.empty() ? "%02x" : " %02x", byte);
        hex += text;
    }
    return hex;
}

// One element; content lengths up to 65535 bytes.
inline std::string Element(int tag, const std::string& content)
{
    std::string head(1, static_cast<char>(tag));
    size_t length = content.size();
    if (length > 255)
        head += {static_cast<char>(0x82), static_cast<char>(length >> 8)};
    else if (length > 127)
        head += static_cast<char>(0x81);
    head += static_cast<char>(length & 255);
    return head + content;
}

// Two's complement in as few bytes as hold the number.
inline std::string Integer(long number, int tag = TAG_INTEGER)
{
    std::string content;
    do {
        content.insert(content.begin(), static_cast<char>(number & 255));
        number >>= 8;
    } while (number != (static_cast<signed char>(content[0]) < 0 ? -1 : 0));
    return Element(tag, content);
}

inline std::string ObjectIdElement(const std::string& dotted)
{
    std::vector<unsigned long> parts;
    for (size_t at = 0; at < dotted.size(); at = std::min(dotted.find('.', at + 1), dotted.size()))
        parts.push_back(strtoul(dotted.c_str() + at + 1, nullptr, 10));
    std::string content(1, static_cast<char>(parts[0] * 40 + parts[1]));
    for (size_t i = 2; i < parts.size(); i++) {
        std::string digits(1, static_cast<char>(parts[i] & 127));
        for (unsigned long rest = parts[i] >> 7; rest != 0; rest >>= 7)
            digits.insert(digits.begin(), static_cast<char>(128 | (rest & 127)));
        content += digits;
    }
    return Element(TAG_OBJECT_ID, content);
}

inline std::string EncodeMessage(const WireMessage& message)
{
    std::string list;
    for (const WireVariable& variable : message.variables)
        list += Element(TAG_SEQUENCE, ObjectIdElement(variable.objectId) + variable.value);
    std::string pdu = Integer(message.id) + Integer(message.errorStatus) +
                      Integer(message.errorIndex) + Element(TAG_SEQUENCE, list);
    return Element(TAG_SEQUENCE, Integer(message.version) + Element(TAG_OCTETS, message.community) +
                                     Element(message.pdu, pdu));
}

// Takes the element at the front of bytes; its content, its tag, and its raw bytes.
inline std::string TakeElement(std::string& bytes, int* tag, std::string* raw = nullptr)
{
    auto byteAt = [&bytes](size_t at) {
        return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0U;
    };
    *tag = static_cast<int>(byteAt(0));
    size_t length = byteAt(1);
    size_t head = 2;
    if (length > 128) {
        size_t count = length - 128;
        length = 0;
        for (size_t i = 0; i < count; i++)
            length = length * 256 + byteAt(head++);
    }
    std::string content = head < bytes.size() ? bytes.substr(head, length) : "";
    if (raw != nullptr)
        *raw = bytes.substr(0, head + length);
    bytes.erase(0, head + length);
    return content;
}

inline long TakeInteger(std::string& bytes)
{
    int tag = 0;
    std::string content = TakeElement(bytes, &tag);
    long number = !content.empty() && static_cast<signed char>(content[0]) < 0 ? -1 : 0;
    for (unsigned char byte : content)
        number = static_cast<long>(static_cast<unsigned long>(number) << 8 | byte);
    return tag == TAG_INTEGER ? number : -1;
}

inline std::string DottedObjectId(const std::string& content)
{
    std::string dotted;
    unsigned long number = 0;
    for (unsigned char byte : content) {
        number = number << 7 | (byte & 127U);
        if ((byte & 128U) != 0)
            continue;
        if (dotted.empty())
            dotted = "." + std::to_string(number / 40) + "." + std::to_string(number % 40);
        else
            dotted += "." + std::to_string(number);
        number = 0;
    }
    return dotted;
}

inline WireMessage DecodeMessage(std::string bytes)
{
    WireMessage message;
    int tag = 0;
    std::string rest = TakeElement(bytes, &tag);
    if (tag != TAG_SEQUENCE || !bytes.empty())
        return message;
    message.version = TakeInteger(rest);
    message.community = TakeElement(rest, &tag);
    std::string pdu = TakeElement(rest, &message.pdu);
    message.id = TakeInteger(pdu);
    message.errorStatus = TakeInteger(pdu);
    message.errorIndex = TakeInteger(pdu);
    std::string list = TakeElement(pdu, &tag);
    while (!list.empty()) {
        std::string pair = TakeElement(list, &tag);
        WireVariable variable;
        variable.objectId = DottedObjectId(TakeElement(pair, &tag));
        TakeElement(pair, &tag, &variable.value);
        message.variables.push_back(variable);
    }
    return message;
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
