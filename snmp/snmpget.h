// One SNMP version 1 GetRequest, its results as text, and the parts of a request
// that a SetRequest needs too.
#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

inline constexpr int RESULT_TEXT_SIZE = 1024; // bytes of each result of snmpget

// What an exchange gave; net-snmp's own codes.
inline constexpr int EXCHANGE_ANSWERED = STAT_SUCCESS;
inline constexpr int EXCHANGE_FAILED = STAT_ERROR;
inline constexpr int EXCHANGE_UNANSWERED = STAT_TIMEOUT;

// What a get gave. An agent's error other than noSuchName counts as an answer.
inline constexpr int GET_ANSWERED = 0;
inline constexpr int GET_UNANSWERED = -1; // or noSuchName
inline constexpr int GET_FAILED = -2;

// A parsed object identifier; length 0 when the text was none.
struct ObjectId {
    oid name[MAX_OID_LEN];
    size_t length;
};

// Asks for count objects in one request; a GET_ code. After an answer the texts of
// its values are in results, RESULT_TEXT_SIZE bytes each; an error answer leaves
// them alone.
int snmpget(char* results[], netsnmp_session* ss, const char* const oids[], int count);

// Parses a numeric identifier; what is none is reported on standard output.
void ParseObjectId(const char* text, ObjectId& id);

// Sends the request (it is consumed) and waits; an EXCHANGE_ code. Answered says
// that *response is there; otherwise it is null.
int Exchange(netsnmp_session* ss, netsnmp_pdu* pdu, netsnmp_pdu** response);

// A new request without the variable that the answer complains of; null when
// none would remain (variables, those left of the request, is 0) or the answer
// names none of them.
netsnmp_pdu* RequestWithoutError(netsnmp_pdu* response, int command, int variables);
