// One value that the agent serves, and its form in the words of the control channel.
#pragma once

#include <string>

enum class ValueType { INTEGER, GAUGE, COUNTER, TIMETICKS, TEXT, OBJECT_ID, IP_ADDRESS, NOTHING };

// One value as it goes on the wire; `bytes` holds texts raw, identifiers and addresses dotted.
struct UpsValue {
    ValueType type = ValueType::INTEGER;
    long number = 0;
    std::string bytes;
};

// "integer 2300", "string TEXT", "hex 00ff", "oid .1.3", "null" and so on.
std::string FormatValue(const UpsValue& value);
// Reads the same form; false when the type or the value is not understood.
bool ParseValue(const std::string& type, const std::string& rest, UpsValue* value);
