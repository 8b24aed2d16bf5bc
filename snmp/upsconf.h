// The settings of the agent that the access layer talks to.
#pragma once

#include <cstdint>

inline constexpr int CONF_ENTRIES = 11;
inline constexpr int CONF_NAME_SIZE = 20;
inline constexpr int CONF_TEXT_SIZE = 32;

// Nine settings of the power-management daemon, and the agent itself. The third
// key is spelled "trunoff_delay" in the file: kept, files written with it exist.
struct UpsConf {
    int32_t acfail_delay;
    int32_t battlow_delay;
    int32_t trunoff_delay;
    int32_t nightoff_delay;
    int32_t night_start;
    int32_t night_end;
    int32_t countdown;
    int32_t startup_delay;
    int32_t master;
    char community[CONF_TEXT_SIZE];
    char agent_ip[CONF_TEXT_SIZE];
};

// The one in use, filled by upsconf_load.
extern UpsConf Conf;

// Keys in field order, padded with blanks to 19 characters.
extern const char ConfName[CONF_ENTRIES][CONF_NAME_SIZE];

// For each entry the key's length without padding and the size of its text
// value, 0 for an integer.
extern const int VarsSize[CONF_ENTRIES][2];

// Fills Conf with the defaults and these two texts, cut to what it holds; gives
// the address of agent_ip. Reads no file.
char* upsconf_load(const char* agentIp, const char* community);

// What a save gave.
inline constexpr int CONF_SAVED = 0;
inline constexpr int CONF_NOT_SAVED = -2;

// Writes Conf as lines of "key = value"; a CONF_ code. A file that cannot be opened,
// or not be written to its end, is told on standard error and output.
int upsconf_save(const char* path);

// Prints the same lines, without the file's header.
void upsconf_show();

// The address of the field whose key the text begins with, its number through
// index. Without a match index stays as it is and the last address found is
// given again, so only index tells.
void* find_val(const char* key, int* index);

// Does nothing, and nothing calls it.
void upsconf_test();
