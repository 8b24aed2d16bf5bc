// The remote status screen: a UPS behind an SNMP agent, and the SNMP panels that
// the local screen shows too.
#pragma once

#include "status/tolvstat_data.h"

// Agent address and community that ReConfig loaded last.
extern char bufprevip[SETTINGS_TEXT_SIZE];
extern char bufprevcname[SETTINGS_TEXT_SIZE];

// Left panel: the labels of rows 3 to 21, column 3.
inline constexpr int SNMP_LEFT_ROWS = 19;
extern const char SNMP_LEFTTXT[SNMP_LEFT_ROWS][50];

// An object of the information page and its label.
struct InfoObject {
    char oid[50];
    char label[50];
};

inline constexpr int SNMP_INFO_OBJECTS = 26;
extern const InfoObject SNMPINFO_OID[SNMP_INFO_OBJECTS];

// Display modes of the SNMP screens.
inline constexpr int MODE_PANELS = 1;
inline constexpr int MODE_INFORMATION = 2; // the page of ScreenTwo

// Runs the remote screen until 'q'; gives the result of endwin, or -1 when the
// settings could be neither read nor written.
int tolvan_status_remote(const char* address, const char* community);

// 1 when the agent answers for its input voltage, 0 when not.
int ConnectionStatus();

// Paint the two panels from the agent's objects, one request each.
void DrawSnmpLeft(StatusFields& fields);
void DrawSnmpRight(StatusFields& fields);

// Both panels without an agent: "N/A" everywhere.
void SNMPnoDATA(StatusFields& fields);

// Writes address and community into the left panel, wipes the shutdown warning
// and parks the cursor.
void RemoteSNMPLeftText(const char* address, const char* community);

// The information page: whatever of its 26 objects the agent answers.
void ScreenTwo();

// Writes the agent's two identification texts over the title's right part.
void UPSname_model();

// One SNMP pass of the local screen. mode, redraw, snmpUp and pagePending (the
// information page is still to be drawn) are the caller's; key is the last one.
void SNMP_actions(int key, int* mode, int* redraw, int* snmpUp, int* pagePending,
                  StatusFields& fields, const PowerConfig& config, int daemonPresent);

// Reads the settings again and follows their changes, to another agent or to
// another way of reaching the UPS.
void ReConfig(StatusFields& fields, PowerConfig& config, ScheduleEntry schedule[7],
              int* lastCommMode, int* shutdownDue, int* mode, int* snmpUp);
