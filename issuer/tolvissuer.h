// The command center: one-shot commands to the UPS, over SNMP or through the daemon.
#pragma once

#include "settings/tolv_lib.h"

inline constexpr int OPTION_NONE = 0;

// The command chosen and awaiting its confirmation; OPTION_NONE while idle.
extern int curroption;

// Runs the command center. Returns only when the user is not the super-user;
// otherwise ends the process with status 0.
void tolvan_issuer();

// Draws frame and menu of a communication mode, COMM_SNMP or COMM_SERIAL.
void FirstScreen(int mode);

// Choose an option by its key; any other key changes nothing.
void DoSNMP(int key);
void DoComPort(int key);

// Shows the lower panel of the pending option and applies '+' and '-'. The minutes,
// 1 to 99 and the same in both modes, go to durationText (two digits, 3 bytes) or to
// *sleepMinutes. While an option is pending in SNMP mode, the agent is asked for the UPS's
// condition each time, and a pending [s] arms its turn-off delay.
void DoOptions(const PowerConfig& config, int key, char* durationText, int* sleepMinutes);

// Performs the pending option over SNMP and shows its outcome.
void CmdExecute(int sleepMinutes);

// Sends the pending option to the daemon.
void CPortCmdExecute(const char* durationText);

// Shows an outcome of UPS_setvalue: 0 nothing, 1 success, 2 failure.
void Evaluate(int outcome);

// 1 when the object answers a read, -1 when not.
int ChkCell(const char* objectId);

// 1 with utility power, with output power; -1 without. An object without an answer counts as
// 0: no power, but no output that is off.
int WithUtility();
int WithOutput();

// Asks for the UPS's condition and shows it on row 21. It informs; no command is held
// back by it.
void ChkCondition();
