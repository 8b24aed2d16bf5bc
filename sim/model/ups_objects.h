// The objects that the simulated agent serves: one table of names, identifiers and values.
#pragma once

#include <string>

#include "sim/model/ups_model.h"

enum class ValueType { integer, gauge, counter, timeticks, text, objectId, ipAddress, null };

// One value as it goes on the wire; `bytes` holds texts raw, identifiers and addresses dotted.
struct UpsValue {
    ValueType type = ValueType::integer;
    long number = 0;
    std::string bytes;
};

struct UpsObject {
    const char* name;
    const char* oid;               // with leading dot and instance
    const char* text;              // a fixed text, or null
    long (*read)(const UpsModel&); // a number, or null
    UpsCommand command;            // UpsCommand::count for objects that are only read
};

inline constexpr int kUpsObjectCount = 49;
extern const UpsObject kUpsObjects[kUpsObjectCount];

// Index of the object with that name or identifier (leading dot optional), or -1.
int FindObject(const std::string& nameOrOid);

UpsValue ModelValue(const UpsModel& model, int object);

// "integer 2300", "string TEXT", "hex 00ff", "oid .1.3", "null" and so on.
std::string FormatValue(const UpsValue& value);
// Reads the same form; false when the type or the value is not understood.
bool ParseValue(const std::string& type, const std::string& rest, UpsValue* value);
