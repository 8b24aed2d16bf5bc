// What the simulated agent does wrong on request, for all requests and for single objects.
#pragma once

#include "sim/model/ups_objects.h"

#include <string>

struct UpsFault {
    bool silent = false;
    bool missing = false;
    bool otherId = false;
    int errorStatus = 0; // an SNMPv1 error status, 0 for none
    int delay = 0;       // milliseconds
    bool overridden = false;
    UpsValue value; // served in place of the model's value when overridden
};

struct UpsFaults {
    UpsFault all;
    UpsFault object[UPS_OBJECT_COUNT];
};

// What one request meets: the faults of every object it names, and those for all requests.
struct UpsMisbehaviour {
    bool silent = false;
    bool otherId = false;
    int errorStatus = 0;
    int delay = 0; // milliseconds, the longest that applies
};

// The starting point of a request; then one call for each object that it names.
UpsMisbehaviour StartMisbehaviour(const UpsFaults& faults);
void AddMisbehaviour(UpsMisbehaviour& misbehaviour, const UpsFault& fault);

// Number of an SNMPv1 error status from its name or number (1 to 5), or -1.
int ErrorStatus(const std::string& nameOrNumber);
