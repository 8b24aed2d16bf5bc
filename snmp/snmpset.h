// One SNMP version 1 SetRequest.
#pragma once

#include "snmp/snmpget.h"

// What *result holds after a set; it stays unanswered when the exchange fails.
inline constexpr int SET_UNANSWERED = 0;
inline constexpr int SET_ACCEPTED = 1;
inline constexpr int SET_REFUSED = 2;

// Writes count objects in one request: types holds a letter for each value (see
// snmp_add_var). *result, preset to 0 by the caller, becomes a SET_ code. A lost
// or failed exchange is told on standard output, also over a running screen.
void snmpset(netsnmp_session* ss, const char* const oids[], const char* types,
             const char* const values[], int count, int* result);

// Appends a variable to the request, its value converted from text by type: a
// IpAddress, i INTEGER, t TimeTicks, s text, d decimal bytes, x hexadecimal bytes,
// n NULL, o object identifier. Any other letter ends the process.
void snmp_add_var(netsnmp_pdu* pdu, const oid* name, int name_length, char type, const char* value);

// The library has a function of this name that takes the length as a size_t and
// converts differently: a call without the cast to int must not end up there.
extern "C" __attribute__((unavailable("cast the length to int"))) int
// NOLINTNEXTLINE(readability-redundant-declaration)
snmp_add_var(netsnmp_pdu*, const oid*, size_t, char, const char*);

// Bytes written to out from numbers parted by white space, or -1 with a message
// on standard error. out needs a byte for every number.
int ascii_to_binary(const char* in, unsigned char* out);
int hex_to_binary(const char* in, unsigned char* out);
