// The SNMP panels, which the remote and the local screen share: one request for
// each value, and what is shown when the agent is lost.
#pragma once

#include "snmp/snmplib.h"
#include "status/tolvstat_data.h"

// Display modes of the SNMP screens.
inline constexpr int MODE_PANELS = 1;
inline constexpr int MODE_INFORMATION = 2; // the page of ScreenTwo

// A session that an agent was not there to answer is tried again at every pass.
void TryToOpenSession(int* snmpUp);

// Writes address and community into the left panel.
void PutAgentAddress(const char* address, const char* community);

// 1 when the agent answers for its input voltage, 0 when not.
int ConnectionStatus();

// Show the two panels from the agent's objects, one request each; a request without
// an answer takes five seconds.
void DrawSnmpLeft(StatusFields& fields);
void DrawSnmpRight(StatusFields& fields);

// The left panel without an agent: "N/A" everywhere.
void SNMPnoDATA(StatusFields& fields);

// Writes address and community into the left panel, wipes the shutdown warning
// and parks the cursor.
void RemoteSNMPLeftText(const char* address, const char* community);

// Wipes what the panels are painted over, the longer key prompt included.
void StartPanelsAnew();

// Shows both panels from the agent's objects and leaves them time to be read.
void ShowPanels(StatusFields& fields);

// Goes back to the panels and paints that there is no data.
void PaintNoData(int* mode, StatusFields& fields);
