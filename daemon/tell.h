// The daemon's words: for the log, and for users.
#pragma once

#include "daemon/daemon.h"
#include "daemon/policy.h"
#include "daemon/source.h"
#include "settings/tolv_lib.h"

#include <cstddef>
#include <cstdint>

// Says in the log what the policy decided about a UPS that is reached so.
void LogAction(const PolicyAction& action, const PolicyState& policy, UpsPath path);

// What users are told of an action; false when nothing is said.
bool WordsForUsers(const PolicyAction& action, const PolicyState& policy, char* words, size_t size);

// Says in the log, at first and every hour, that a dry run protects nothing.
void RemindOfDryRun(Daemon& daemon, int64_t now);

// Says in the log how the UPS is reached, or that nothing is protected.
void LogSource(const Source& source, const PowerConfig& cfg);

// What is done about a setting that is not obeyed as it stands, one of the BAD_ values.
const char* WordsForBadSetting(int setting);

// Seconds as "5 minutes", "1 minute 30 seconds", "10 seconds".
void FormatDuration(char* text, size_t size, int seconds);
