#include "sim/model/ups_value.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>

namespace {

struct TypeName {
    const char* word;
    ValueType type;
    long least;
    long most;
};

constexpr long MAX32 = 2147483647L;
constexpr long MAX_UNSIGNED32 = 4294967295L;

constexpr TypeName TYPES[] = {
    {"integer", ValueType::INTEGER, -MAX32 - 1, MAX32},
    {"gauge", ValueType::GAUGE, 0, MAX_UNSIGNED32},
    {"counter", ValueType::COUNTER, 0, MAX_UNSIGNED32},
    {"timeticks", ValueType::TIMETICKS, 0, MAX_UNSIGNED32},
    {"string", ValueType::TEXT, 0, 0},
    {"hex", ValueType::TEXT, 0, 0},
    {"oid", ValueType::OBJECT_ID, 0, 0},
    {"ipaddress", ValueType::IP_ADDRESS, 0, 0},
    {"null", ValueType::NOTHING, 0, 0},
};

bool IsPrintable(const std::string& bytes)
{
    for (unsigned char byte : bytes) {
        if (byte < 0x20 || byte == 0x7f)
            return false;
    }
    return true;
}

std::string ToHex(const std::string& bytes)
{
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char byte : bytes) {
        hex += DIGITS[byte >> 4];
        hex += DIGITS[byte & 15];
    }
    return hex;
}

int HexDigit(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool FromHex(const std::string& hex, std::string* bytes)
{
    bytes->clear();
    if (hex.size() % 2 != 0)
        return false;
    for (size_t i = 0; i < hex.size(); i += 2) {
        int high = HexDigit(hex[i]);
        int low = HexDigit(hex[i + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes->push_back(static_cast<char>(high * 16 + low));
    }
    return true;
}

bool IsObjectId(const std::string& text)
{
    if (text.size() < 4 || text[0] != '.' || text.back() == '.')
        return false;
    return text.find_first_not_of(".0123456789") == std::string::npos &&
           text.find("..") == std::string::npos;
}

bool IsAddress(const std::string& text)
{
    in_addr address;
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool ParseNumber(const std::string& text, const TypeName& type, long* number)
{
    char* end = nullptr;
    errno = 0;
    *number = strtol(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0' && errno == 0 && *number >= type.least &&
           *number <= type.most;
}

} // namespace

std::string FormatValue(const UpsValue& value)
{
    if (value.type == ValueType::NOTHING)
        return "null";
    if (value.type == ValueType::TEXT && !IsPrintable(value.bytes))
        return "hex " + ToHex(value.bytes);
    for (const TypeName& type : TYPES) {
        if (type.type != value.type)
            continue;
        bool isNumber = type.most > 0;
        return std::string(type.word) + " " +
               (isNumber ? std::to_string(value.number) : value.bytes);
    }
    return "null";
}

namespace {

bool ParseAs(const TypeName& type, const std::string& rest, UpsValue* value)
{
    value->type = type.type;
    value->number = 0;
    value->bytes = rest;
    switch (type.type) {
    case ValueType::TEXT:
        return type.word[0] == 's' || FromHex(rest, &value->bytes);
    case ValueType::OBJECT_ID:
        return IsObjectId(rest);
    case ValueType::IP_ADDRESS:
        return IsAddress(rest);
    case ValueType::NOTHING:
        return true;
    default:
        return ParseNumber(rest, type, &value->number);
    }
}

} // namespace

bool ParseValue(const std::string& type, const std::string& rest, UpsValue* value)
{
    for (const TypeName& entry : TYPES) {
        if (type == entry.word)
            return ParseAs(entry, rest, value);
    }
    return false;
}
