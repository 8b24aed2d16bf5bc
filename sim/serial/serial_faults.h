// What the simulated UPS does wrong on its serial line, on request.
#pragma once

#include "sim/model/ups_request.h"

#include <random>
#include <string>

// One request with a reply: "Q1", "F" or "I".
struct ReplyFault {
    const char* word;
    LineVerb verb;
    bool unknown = false;   // the UPS has never heard of it
    bool replaced = false;  // `bytes` are the reply
    std::string bytes = {}; // as they go on the wire
};

struct SerialFaults {
    bool silent = false;    // no reply, and requests have no effect
    bool half = false;      // replies end in the middle
    bool echo = false;      // the UPS repeats what it hears
    long garbled = 0;       // how many replies more are garbled
    int slow = 0;           // milliseconds
    bool slowBytes = false; // before every byte, not only before the reply
    ReplyFault replies[3] = {
        {"Q1", LineVerb::STATUS}, {"F", LineVerb::RATING}, {"I", LineVerb::NAME}};
    std::minstd_rand random = {}; // so that every start garbles alike
};

inline constexpr long GARBLE_ALL = -1;

// The faults of one reply, by the request's word or kind; null when it has none.
ReplyFault* FindReply(SerialFaults& faults, const std::string& word);
ReplyFault* FindReply(SerialFaults& faults, LineVerb verb);
// The reply as it leaves the UPS, garbled or cut.
std::string DamageReply(SerialFaults& faults, const std::string& reply);
