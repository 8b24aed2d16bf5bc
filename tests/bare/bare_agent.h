// The least that asking an agent takes, with nothing but the SNMP library.
#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <cstddef>

struct BareObject {
    oid name[MAX_OID_LEN];
    size_t length;
};

// A session with community "public"; null when the library gives none. The library reads and
// writes no file.
netsnmp_session* OpenBareSession(char* address);

// Takes a numeric identifier apart; false when it is none.
bool ParseBareObject(BareObject& object, const char* text);

// One request for one object; its value as text, false without an answer.
bool AskBareObject(netsnmp_session* session, const BareObject& object, char* text, size_t size);
