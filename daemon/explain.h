// What the settings mean, in plain words.
#pragma once

#include "daemon/reading.h"
#include "settings/tolv_lib.h"

#include <cstddef>
#include <ctime>

inline constexpr size_t WHEN_SIZE = 64;

// Prints a line on standard output for whoever asked. Whatever it quotes of files, nothing of it
// acts on a terminal; what passes 2047 characters is cut.
void PrintAnswer(const char* format, ...) __attribute__((format(printf, 1, 2)));

// A moment as date and minute of the local time.
void FormatWhen(char (&text)[WHEN_SIZE], time_t at);

// Prints what the daemon does with these settings: how it reaches the UPS, when it shuts the
// system down, what the UPS and users are told.
void PrintSettings(const PowerConfig& cfg, const ScheduleEntry sched[7], UpsPath path);
