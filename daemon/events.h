// Events for the administrator's own programs in /etc/wardenlink/event.d.
#pragma once

#include <cstddef>
#include <sys/types.h>

inline constexpr const char EVENT_FOLDER[] = "/etc/wardenlink/event.d";
inline constexpr int EVENT_VARIABLES = 48;
inline constexpr size_t EVENT_TEXT_SIZE = 4096;

// The environment of an event's programs: lines NAME=value.
struct EventEnvironment {
    int count;
    size_t used;
    char text[EVENT_TEXT_SIZE];
    const char* lines[EVENT_VARIABLES + 1]; // into text, ended by null
};

// Whether a program of this name is run: letters, digits, '_' and '-', as run-parts has it.
bool IsEventProgramName(const char* name);

// An environment that holds PATH and LANG alone.
void StartEnvironment(EventEnvironment& environment);

// Adds NAME=value; what does not fit is left out.
void AddVariable(EventEnvironment& environment, const char* name, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Runs every program of the folder with the event's name as its argument, one after the
// other, beside other events; 30 seconds each. Only plain files with the names that
// run-parts takes, which nobody but root could have written. All of it is done by a process
// of its own, which outlives the daemon: its number, or -1.
pid_t RaiseEvent(const char* name, const EventEnvironment& environment);
