#include "snmp/snmpget.h"

#include <cstdio>

namespace {

constexpr oid PART_MAX = 0xFFFFFFFF;

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// A point with a number behind it; to the library a zero in front makes it an octal one.
bool BeginsPart(const char* text)
{
    return *text == '.' && IsDigit(text[1]) && !(text[1] == '0' && IsDigit(text[2]));
}

// What is written as ".1.3.6", as all our own are. The library, which looks every part up among
// the names that it knows, takes many times as long.
bool ParsePlainObjectId(const char* text, ObjectId& id)
{
    id.length = 0;
    const char* c = text;
    while (*c != '\0') {
        if (!BeginsPart(c) || id.length == MAX_OID_LEN)
            return false;
        oid part = 0;
        for (c++; IsDigit(*c); c++) {
            part = part * 10 + static_cast<oid>(*c - '0');
            if (part > PART_MAX)
                return false;
        }
        id.name[id.length++] = part;
    }
    return id.length > 1;
}

} // namespace

void ParseObjectId(const char* text, ObjectId& id)
{
    if (ParsePlainObjectId(text, id))
        return;
    id.length = MAX_OID_LEN;
    if (read_objid(text, id.name, &id.length) != 0)
        return;
    printf("Invalid object identifier: %s\n", text);
    id.length = 0;
}

int Exchange(netsnmp_session* ss, netsnmp_pdu* pdu, netsnmp_pdu** response)
{
    *response = nullptr;
    if (ss == nullptr) { // never opened, or closed: nobody to send to
        snmp_free_pdu(pdu);
        return EXCHANGE_FAILED;
    }
    int status = snmp_synch_response(ss, pdu, response);
    if (status == EXCHANGE_ANSWERED && *response != nullptr)
        return EXCHANGE_ANSWERED;
    snmp_free_pdu(*response);
    *response = nullptr;
    return status == EXCHANGE_UNANSWERED ? EXCHANGE_UNANSWERED : EXCHANGE_FAILED;
}

netsnmp_pdu* RequestWithoutError(netsnmp_pdu* response, int command, int variables)
{
    // The new request is made of the answer: an agent that blames no variable, or
    // answers with more than it was asked, would be asked again without end.
    if (response->errindex < 1 || variables < 1)
        return nullptr;
    return snmp_fix_pdu(response, command);
}

namespace {

netsnmp_pdu* CreateGet(const char* const oids[], int count)
{
    netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_GET);
    for (int i = 0; i < count; i++) {
        ObjectId id = {};
        ParseObjectId(oids[i], id);
        snmp_add_null_var(pdu, id.name, id.length);
    }
    return pdu;
}

// A text that does not fit is cut: the library then leaves it unterminated.
void PrintValue(char* dst, const netsnmp_variable_list* variable)
{
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_QUICK_PRINT, 1);
    dst[0] = '\0';
    snprint_value(dst, RESULT_TEXT_SIZE, variable->name, variable->name_length, variable);
    dst[RESULT_TEXT_SIZE - 1] = '\0';
}

void CopyResults(char* results[], int count, const netsnmp_pdu* response)
{
    const netsnmp_variable_list* variable = response->variables;
    for (int i = 0; i < count && variable != nullptr; i++) {
        PrintValue(results[i], variable);
        variable = variable->next_variable;
    }
}

} // namespace

int snmpget(char* results[], netsnmp_session* ss, const char* const oids[], int count)
{
    netsnmp_pdu* request = CreateGet(oids, count);
    for (int variables = count; request != nullptr; variables--) {
        netsnmp_pdu* response = nullptr;
        int status = Exchange(ss, request, &response);
        if (response == nullptr)
            return status == EXCHANGE_UNANSWERED ? GET_UNANSWERED : GET_FAILED;
        request = nullptr;
        long errorStatus = response->errstat;
        if (errorStatus == SNMP_ERR_NOERROR)
            CopyResults(results, count, response);
        else if (errorStatus != SNMP_ERR_NOSUCHNAME)
            request = RequestWithoutError(response, SNMP_MSG_GET, variables - 1);
        snmp_free_pdu(response);
        if (errorStatus == SNMP_ERR_NOSUCHNAME)
            return GET_UNANSWERED;
    }
    return GET_ANSWERED;
}
