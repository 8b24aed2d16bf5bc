// SNMP version 1 taken apart and put together byte by byte, independently of any library.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

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
