// The requests of the serial line: their words, and what they do to the model.
#pragma once

#include "sim/model/ups_model.h"

#include <string>

enum class LineVerb {
    NONE, // not a request
    STATUS,
    RATING,
    NAME,
    SELF_TEST,
    TEST_UNTIL_LOW,
    TIMED_TEST,
    SHUTDOWN,
    CANCEL_SHUTDOWN,
    CANCEL_TEST
};

struct LineRequest {
    LineVerb verb = LineVerb::NONE;
    double seconds = 0.0; // that a timed test takes, or until the output goes off
    int sleepMinutes = 0; // before the output comes back; 0: it stays off
};

// Understands a request without its CR, such as "Q1", "T05" or "S.3R0003".
LineRequest ParseRequest(const std::string& text);
// Does to the model what the request is for; those that only ask do nothing.
void CarryOut(UpsModel& model, const LineRequest& request);
