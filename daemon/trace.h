// What a source asked and was answered, for powerd.dbg.
#pragma once

#include <cstddef>

inline constexpr size_t TRACE_SIZE = 1024;

// Lines, each ended by '\n'; they wait for LogTrace.
struct Trace {
    char text[TRACE_SIZE];
};

// Appends a line of two parts; one for which there is no room is left out.
void AddTrace(Trace& trace, const char* what, const char* text);

// Appends the lines of another one.
void JoinTrace(Trace& trace, const Trace& other);

// Empties it, into the log or to nowhere.
void LogTrace(Trace& trace, bool isWanted);
