// The least that asking an agent costs: the objects of one round, one request each, every two
// seconds, with nothing but the SNMP library.
//
// Usage: bare_agent_client ADDRESS OBJECT...

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <initializer_list>
#include <unistd.h>

namespace {

constexpr unsigned PERIOD = 2;

void TameLibrary()
{
    for (int option :
         {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_DONT_PERSIST_STATE,
          NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE})
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, option, 1);
}

netsnmp_session* Open(char* address)
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

bool Ask(netsnmp_session* session, const char* object)
{
    oid name[MAX_OID_LEN];
    size_t length = MAX_OID_LEN;
    char text[100];
    netsnmp_pdu* response = nullptr;
    netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_GET);
    read_objid(object, name, &length);
    snmp_add_null_var(request, name, length);
    if (snmp_synch_response(session, request, &response) != STAT_SUCCESS)
        return false;
    const netsnmp_variable_list* value = response->variables;
    bool isTold = value != nullptr &&
                  snprint_value(text, sizeof(text), value->name, value->name_length, value) > 0;
    snmp_free_pdu(response);
    return isTold;
}

} // namespace

int main(int argc, char* argv[])
{
    netsnmp_session* session = argc > 2 ? Open(argv[1]) : nullptr;
    if (session == nullptr)
        return 1;
    while (true) {
        for (int i = 2; i < argc; i++) {
            if (!Ask(session, argv[i]))
                return 1;
        }
        sleep(PERIOD);
    }
}
