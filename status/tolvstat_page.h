// The information page of a UPS behind an SNMP agent, and its model text.
#pragma once

// An object of the information page and its label.
struct InfoObject {
    char oid[50];
    char label[50];
};

inline constexpr int SNMP_INFO_OBJECTS = 26;
extern const InfoObject SNMPINFO_OID[SNMP_INFO_OBJECTS];

// Shows the information page: whatever of its 26 objects the agent answers.
void ScreenTwo();

// Shows the agent's two identification texts over the title's right part.
void UPSname_model();
