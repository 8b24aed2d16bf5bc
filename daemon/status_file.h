// /run/wardenlink/status.json: what the daemon knows, for everybody to read.
#pragma once

#include "daemon/events.h"
#include "daemon/policy.h"
#include "daemon/source.h"
#include "settings/tolv_lib.h"

#include <cstddef>
#include <cstdint>

inline constexpr size_t STATUS_TEXT_SIZE = 4096;

// All that is told.
struct StatusView {
    const PowerConfig& cfg;
    const Source& source;
    const PolicyState& policy;
    const Reading& reading; // the last one
    int64_t readingAt;      // its moment, NEVER before the first
    int64_t now;
    bool isDryRun;
    bool isGoingDown; // the shutdown has begun
};

// The exit status that scripts get: 0 mains good, 1 not known, 2 an outage, 3 battery low or
// the shutdown has begun.
int StatusCode(const StatusView& view);

// One JSON object, a member a line; its length. The members are described in tolvd(8).
size_t FormatStatus(char (&text)[STATUS_TEXT_SIZE], const StatusView& view);

// Replaces the file; false when it could not be written.
bool KeepStatus(const StatusView& view);

// The same for the programs of an event: UPS_ and the member's name in capitals.
void FillEnvironment(EventEnvironment& environment, const StatusView& view);
