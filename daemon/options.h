// The words of tolvd's command line.
#pragma once

enum Task {
    TASK_USAGE_ERROR,
    TASK_RUN,
    TASK_CHECK,
    TASK_SETUP_SERIAL,
    TASK_SETUP_SNMP,
    TASK_STATUS,
    TASK_HELP,
    TASK_VERSION
};

struct Options {
    Task task;
    bool isForeground;
    bool isDryRun;
    bool isJson;
    const char* device;    // of --setup serial
    const char* address;   // of --setup snmp
    const char* community; // likewise, null = as it was
};

// Reads the command line; TASK_USAGE_ERROR for anything that is not exactly one of the forms.
// The front-end starts the daemon with one argument of twelve blanks: that is none.
Options ReadOptions(int argc, const char* const argv[]);

extern const char USAGE_TEXT[];
