// The library's headers only work in this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/agent_callbacks.h>

#include "sim/agent/ups_late.h"
#include "sim/agent/ups_registry.h"
#include "sim/agent/ups_snmp.h"

#include <algorithm>
#include <deque>

namespace {

constexpr int MOST_AT_ONCE = 1000; // datagrams, before anybody else has a turn
constexpr size_t REMEMBERED = 16;  // answered requests

UpsSim* served;
std::string admitted;
netsnmp_session* agentSession;
std::deque<std::string> answered; // who asked, and by which number

std::string OidText(const netsnmp_variable_list* variable)
{
    std::string text;
    for (size_t i = 0; i < variable->name_length; i++)
        text.append(".").append(std::to_string(variable->name[i]));
    return text;
}

std::string WrittenText(const netsnmp_variable_list* variable)
{
    if (variable->type == ASN_INTEGER)
        return FormatValue({ValueType::INTEGER, *variable->val.integer, ""});
    if (variable->type == ASN_OCTET_STR)
        return FormatValue(
            {ValueType::TEXT, 0,
             std::string(reinterpret_cast<const char*>(variable->val.string), variable->val_len)});
    return "other";
}

const char* RequestName(int command)
{
    switch (command) {
    case SNMP_MSG_GET:
        return "get";
    case SNMP_MSG_GETNEXT:
        return "getnext";
    case SNMP_MSG_SET:
        return "set";
    default:
        return nullptr;
    }
}

bool IsAdmitted(const netsnmp_pdu* pdu)
{
    return pdu->version == SNMP_VERSION_1 && RequestName(pdu->command) != nullptr &&
           pdu->community_len == admitted.size() &&
           memcmp(pdu->community, admitted.data(), admitted.size()) == 0;
}

std::string DescribeRequest(const netsnmp_pdu* pdu)
{
    std::string line = RequestName(pdu->command);
    for (const netsnmp_variable_list* variable = pdu->variables; variable != nullptr;
         variable = variable->next_variable) {
        line.append(" ").append(OidText(variable));
        if (pdu->command == SNMP_MSG_SET)
            line.append(" ").append(WrittenText(variable));
    }
    return line;
}

UpsMisbehaviour RequestMisbehaviour(const netsnmp_pdu* pdu)
{
    UpsMisbehaviour misbehaviour = StartMisbehaviour(served->faults);
    for (const netsnmp_variable_list* variable = pdu->variables; variable != nullptr;
         variable = variable->next_variable) {
        int object = FindObject(OidText(variable));
        if (object >= 0)
            AddMisbehaviour(misbehaviour, served->faults.object[object]);
    }
    return misbehaviour;
}

// Sends the request back as its own answer, with that error status.
void AnswerUnserved(netsnmp_session* session, netsnmp_pdu* request, int status)
{
    netsnmp_pdu* answer = snmp_clone_pdu(request);
    if (answer == nullptr)
        return;
    answer->command = SNMP_MSG_RESPONSE;
    answer->errstat = status;
    answer->errindex = status != 0 ? 1 : 0;
    if (snmp_send(session, answer) == 0)
        snmp_free_pdu(answer);
}

// The agent library takes a null value for a missing one, so it must not see these.
bool AsksForNull(const netsnmp_pdu* pdu)
{
    if (pdu->command != SNMP_MSG_GET || pdu->variables == nullptr ||
        pdu->variables->next_variable != nullptr)
        return false;
    int object = FindObject(OidText(pdu->variables));
    return object >= 0 && !served->faults.object[object].missing &&
           CurrentValue(*served, object).type == ValueType::NOTHING;
}

void Answer(int operation, netsnmp_session* session, int requestId, netsnmp_pdu* pdu)
{
    // Far from the numbers that a requester counts through, so it never fits a later request.
    static constexpr long OTHER_ID = 0x40000000;
    UpsMisbehaviour misbehaviour = RequestMisbehaviour(pdu);
    if (misbehaviour.silent)
        return;
    if (misbehaviour.otherId)
        pdu->reqid ^= OTHER_ID;
    DelayAnswers(misbehaviour.delay);
    if (misbehaviour.errorStatus != 0 || AsksForNull(pdu))
        AnswerUnserved(session, pdu, misbehaviour.errorStatus);
    else
        handle_snmp_packet(operation, session, requestId, pdu, nullptr);
    DelayAnswers(0);
}

bool IsAnsweredAtOnce(const UpsMisbehaviour& misbehaviour)
{
    return !misbehaviour.silent && !misbehaviour.otherId && misbehaviour.delay == 0;
}

// A requester asks again after a second. Where this agent stood still for so long, it finds
// the same question twice.
bool IsRepeat(const netsnmp_pdu* pdu)
{
    std::string request(static_cast<const char*>(pdu->transport_data),
                        static_cast<size_t>(pdu->transport_data_length));
    request.append(std::to_string(pdu->reqid));
    if (std::find(answered.begin(), answered.end(), request) != answered.end())
        return true;
    if (IsAnsweredAtOnce(RequestMisbehaviour(pdu)))
        answered.push_back(request);
    if (answered.size() > REMEMBERED)
        answered.pop_front();
    return false;
}

int HandlePacket(int operation, netsnmp_session* session, int requestId, netsnmp_pdu* pdu, void*)
{
    if (operation != NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE)
        return 1;
    if (!IsAdmitted(pdu)) {
        LogRequest(*served, "refused");
        return 1;
    }
    if (!IsRepeat(pdu))
        LogRequest(*served, DescribeRequest(pdu));
    Answer(operation, session, requestId, pdu);
    return 1;
}

int CheckParse(netsnmp_session*, netsnmp_pdu*, int result)
{
    if (result != SNMP_ERR_NOERROR)
        LogRequest(*served, "malformed");
    return result == SNMP_ERR_NOERROR;
}

// The community was checked on arrival; from there on every registered object is open.
int AllowAccess(int, int, void* parameters, void*)
{
    static_cast<view_parameters*>(parameters)->errorcode = VACM_SUCCESS;
    return 0;
}

// Nothing of the library's own is to be read from disk or left there.
void SilenceLibrary()
{
    static constexpr int SWITCHES[] = {
        NETSNMP_DS_LIB_DONT_READ_CONFIGS,       NETSNMP_DS_LIB_DONT_PERSIST_STATE,
        NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE,
        NETSNMP_DS_LIB_DONT_LOAD_HOST_FILES,    NETSNMP_DS_LIB_ALARM_DONT_USE_SIG,
    };
    for (int which : SWITCHES)
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, which, 1);
    setenv("MIBS", "", 1);
    snmp_disable_log();
}

bool OpenSession(const char* address)
{
    netsnmp_session settings;
    snmp_sess_init(&settings);
    settings.version = SNMP_DEFAULT_VERSION;
    settings.callback = HandlePacket;
    settings.flags = SNMP_FLAGS_RESP_CALLBACK;
    std::string place = "udp:";
    place.append(address).append(strchr(address, ':') != nullptr ? "" : ":161");
    netsnmp_transport* transport = netsnmp_tdomain_transport(place.c_str(), 1, "udp");
    if (transport == nullptr)
        return false;
    DelayThrough(transport);
    agentSession = snmp_add(&settings, transport, nullptr, CheckParse); // owns the transport
    return agentSession != nullptr;
}

} // namespace

bool OpenAgent(UpsSim& sim, const char* address, const char* community)
{
    served = &sim;
    admitted = community;
    SilenceLibrary();
    netsnmp_session unused; // starts the library without its configuration
    snmp_sess_init(&unused);
    init_agent("ups_agent");
    for (int check : {SNMPD_CALLBACK_ACM_CHECK, SNMPD_CALLBACK_ACM_CHECK_INITIAL,
                      SNMPD_CALLBACK_ACM_CHECK_SUBTREE})
        snmp_register_callback(SNMP_CALLBACK_APPLICATION, check, AllowAccess, nullptr);
    return RegisterObjects(sim) && OpenSession(address);
}

int AddAgentFds(fd_set* readers, timeval* wait, int count)
{
    int block = 0;
    timeval limit = *wait;
    snmp_select_info(&count, readers, &limit, &block);
    ShortenToNextAnswer(wait);
    return count;
}

// All that has come: who reads the log next finds everything in it that was sent before.
void ServeAgent(fd_set* readers)
{
    fd_set own = *readers; // in the caller's are the control channel's descriptors too
    int isMore = 1;
    for (int count = 0; isMore > 0 && count < MOST_AT_ONCE; count++) {
        snmp_read(&own);
        int descriptors = 0;
        int block = 0;
        timeval unused = {};
        timeval atOnce = {};
        FD_ZERO(&own);
        snmp_select_info(&descriptors, &own, &unused, &block);
        isMore = select(descriptors, &own, nullptr, nullptr, &atOnce);
    }
    netsnmp_check_outstanding_agent_requests();
    SendLateAnswers();
}

void CloseAgent()
{
    DropLateAnswers();
    if (agentSession != nullptr)
        snmp_close(agentSession);
    agentSession = nullptr;
    UnregisterObjects();
    shutdown_agent();
}
