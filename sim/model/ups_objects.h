// The objects that the simulated agent serves: one table of names, identifiers and values.
#pragma once

#include "sim/model/ups_model.h"
#include "sim/model/ups_value.h"

#include <string>

struct UpsObject {
    const char* name;
    const char* oid;               // with leading dot and instance
    const char* text;              // a fixed text, or null
    long (*read)(const UpsModel&); // a number, or null
    UpsCommand command;            // UpsCommand::COUNT for objects that are only read
};

inline constexpr int UPS_OBJECT_COUNT = 49;
extern const UpsObject UPS_OBJECTS[UPS_OBJECT_COUNT];

// Index of the object with that name or identifier (leading dot optional), or -1.
int FindObject(const std::string& nameOrOid);

UpsValue ModelValue(const UpsModel& model, int object);
