#include "tests/bare/bare_agent.h"

#include <initializer_list>

namespace {

void TameLibrary()
{
    for (int option : {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_DONT_PERSIST_STATE,
                       NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD,
                       NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE, NETSNMP_DS_LIB_QUICK_PRINT})
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, option, 1);
}

} // namespace

netsnmp_session* OpenBareSession(char* address)
{
    static u_char community[] = "public";
    netsnmp_session session;
    TameLibrary();
    snmp_sess_init(&session);
    session.version = SNMP_VERSION_1;
    session.peername = address;
    session.community = community;
    session.community_len = sizeof(community) - 1;
    return snmp_open(&session);
}

bool ParseBareObject(BareObject& object, const char* text)
{
    object.length = MAX_OID_LEN;
    return read_objid(text, object.name, &object.length) != 0;
}

bool AskBareObject(netsnmp_session* session, const BareObject& object, char* text, size_t size)
{
    netsnmp_pdu* response = nullptr;
    netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_GET);
    snmp_add_null_var(request, object.name, object.length);
    if (snmp_synch_response(session, request, &response) != STAT_SUCCESS)
        return false;
    const netsnmp_variable_list* value = response->variables;
    bool isTold =
        value != nullptr && snprint_value(text, size, value->name, value->name_length, value) > 0;
    snmp_free_pdu(response);
    return isTold;
}
