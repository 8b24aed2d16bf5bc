// The only door to a UPS behind an SNMP agent: one session to the agent named in
// Conf, objects read as text, integers written.
#pragma once

#include "snmp/snmpset.h"

inline constexpr int UPS_TEXT_SIZE = RESULT_TEXT_SIZE; // what UPS_getvalue may fill
inline constexpr int UPS_STATUS_SIZE = 47;             // the status line of S_GetStatus
inline constexpr int UPS_COMMAND = 2;                  // the value that makes a command act

// What asking for the agent itself gave.
inline constexpr int AGENT_ANSWERED = 1;
inline constexpr int AGENT_UNANSWERED = -1; // or there is none

// The text of an identifier. A longer constant does not compile, any other is cut.
using ObjectIdText = char[64];

// Objects of the agent that are read.
inline constexpr ObjectIdText OID_IDENT_FIRST = ".1.3.6.1.4.1.935.1.1.1.1.1.1.0";
inline constexpr ObjectIdText OID_IDENT_SECOND = ".1.3.6.1.4.1.935.1.1.1.1.1.2.0";
inline constexpr ObjectIdText OID_BATTERY_STATUS = ".1.3.6.1.4.1.935.1.1.1.2.1.1.0";   // 3 = low
inline constexpr ObjectIdText OID_TIME_ON_BATTERY = ".1.3.6.1.4.1.935.1.1.1.2.1.2.0";  // s
inline constexpr ObjectIdText OID_BATTERY_CAPACITY = ".1.3.6.1.4.1.935.1.1.1.2.2.1.0"; // %
inline constexpr ObjectIdText OID_INPUT_VOLTAGE = ".1.3.6.1.4.1.935.1.1.1.3.2.1.0";    // V/10
inline constexpr ObjectIdText OID_INPUT_FREQUENCY = ".1.3.6.1.4.1.935.1.1.1.3.2.4.0";  // Hz/10
inline constexpr ObjectIdText OID_OUTPUT_STATUS =
    ".1.3.6.1.4.1.935.1.1.1.4.1.1.0"; // 3 = on battery, 5 = off (sleeping)
inline constexpr ObjectIdText OID_OUTPUT_VOLTAGE = ".1.3.6.1.4.1.935.1.1.1.4.2.1.0"; // V/10
inline constexpr ObjectIdText OID_OUTPUT_SECOND = ".1.3.6.1.4.1.935.1.1.1.4.2.2.0"; // 0 = no output
inline constexpr ObjectIdText OID_OUTPUT_LOAD = ".1.3.6.1.4.1.935.1.1.1.4.2.3.0";   // %

// Values of the two status objects.
inline constexpr int OUTPUT_ON_BATTERY = 3;
inline constexpr int OUTPUT_OFF = 5; // also while the UPS sleeps
inline constexpr int BATTERY_UNKNOWN = 1;
inline constexpr int BATTERY_NORMAL = 2;
inline constexpr int BATTERY_LOW = 3;

// Objects that are written; UPS_COMMAND except for the two times.
inline constexpr ObjectIdText OID_SHUTDOWN_DELAY = ".1.3.6.1.4.1.935.1.1.1.5.2.10.0"; // s
inline constexpr ObjectIdText OID_SLEEP_TIME = ".1.3.6.1.4.1.935.1.1.1.5.2.11.0";     // min
inline constexpr ObjectIdText OID_CONSERVE_BATTERY = ".1.3.6.1.4.1.935.1.1.1.6.1.1.0";
inline constexpr ObjectIdText OID_TURN_OFF = ".1.3.6.1.4.1.935.1.1.1.6.2.1.0";
inline constexpr ObjectIdText OID_REBOOT = ".1.3.6.1.4.1.935.1.1.1.6.2.2.0";
inline constexpr ObjectIdText OID_SLEEP = ".1.3.6.1.4.1.935.1.1.1.6.2.3.0";
inline constexpr ObjectIdText OID_SIMULATE_FAILURE = ".1.3.6.1.4.1.935.1.1.1.6.2.4.0";
inline constexpr ObjectIdText OID_FLASH_AND_BEEP = ".1.3.6.1.4.1.935.1.1.1.6.2.5.0";
inline constexpr ObjectIdText OID_TURN_ON = ".1.3.6.1.4.1.935.1.1.1.6.2.6.0"; // or cancel
inline constexpr ObjectIdText OID_SELF_TEST = ".1.3.6.1.4.1.935.1.1.1.7.2.2.0";
inline constexpr ObjectIdText OID_INDICATOR_TEST = ".1.3.6.1.4.1.935.1.1.1.7.2.5.0";
inline constexpr ObjectIdText OID_CALIBRATION = ".1.3.6.1.4.1.935.1.1.1.7.2.6.0";

// Writes a line to /dev/console, if there is one.
void show_msg(const char* text);

// 1 when this text names an agent: a dotted number that does not begin with "127", which
// stands for no agent at all.
int IsAgentAddress(const char* address);

// Opens the session to the agent that upsconf_load named; one that is still open
// is closed first. An AGENT_ code; a session whose agent does not answer stays open.
// Only a dotted number names an agent: nothing else is looked up or asked.
int UPS_init();

// The same without asking whether the agent is there; false when there is no session.
bool OpenAgent();

// Reads an object into text, UPS_TEXT_SIZE bytes; a GET_ code. Unanswered leaves text
// as it was. An address that begins with "127" stands for no agent: it is never asked.
int UPS_getvalue(char* text, const char* objectId);

inline constexpr char NO_ANSWER[] = "***"; // preset of a text that only an answer replaces

// What an object answered, or NO_ANSWER.
struct ObjectText {
    char text[UPS_TEXT_SIZE];
};

// Asks the agent for an object; false and NO_ANSWER when it does not answer.
bool ReadObject(const char* objectId, ObjectText& object);

// The number that an object answers with; no answer counts as 0.
int ReadNumber(const char* objectId);

// Writes an integer, also to an address that begins with "127"; *result becomes a
// SET_ code. Without a session the exchange fails.
void UPS_setvalue(const char* objectId, int number, int* result);

// Whether the agent refused the last write; silence is no refusal.
bool WasWriteRefused();

// Closes the session: the library's result, 0 without a session.
int UPS_close();

// Fills a status line of UPS_STATUS_SIZE characters without terminator: position
// 38 is '1' on battery, 39 when the battery is low. An AGENT_ code; without an answer
// the line is left alone.
int S_GetStatus(char* status);

// Turns the UPS off after delayMinutes, or puts it to sleep for sleepMinutes when
// sleepMinutes * restartFactor is positive; then closes the session.
int UPS_shutdown(double delayMinutes, int sleepMinutes, int restartFactor);

// Prepares a cancellation and sends nothing.
void UPS_Un_shutdown(char flag);
