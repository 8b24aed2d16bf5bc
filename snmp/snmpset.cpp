#include "snmp/snmpset.h"

#include <arpa/inet.h>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

netsnmp_pdu* CreateSet(const char* const oids[], const char* types, const char* const values[],
                       int count)
{
    netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_SET);
    for (int i = 0; i < count; i++) {
        ObjectId id = {};
        ParseObjectId(oids[i], id);
        snmp_add_var(pdu, id.name, static_cast<int>(id.length), types[i], values[i]);
    }
    return pdu;
}

void ReportLostExchange(int status)
{
    if (status == EXCHANGE_UNANSWERED)
        printf("No Response from %s\n", "Destination");
    else
        printf("An error occurred, Quitting\n");
}

// Never null: a screen without memory for some bytes cannot go on, and exit restores its terminal.
void* Zeroed(size_t count, size_t size)
{
    void* bytes = calloc(count, size);
    if (bytes == nullptr) {
        fputs("out of memory\n", stderr);
        exit(1);
    }
    return bytes;
}

// Values belong to the variable; the library frees them with the request.
void StoreValue(netsnmp_variable_list* variable, u_char asnType, const void* bytes, size_t length)
{
    variable->type = asnType;
    variable->val_len = length;
    variable->val.string = static_cast<u_char*>(Zeroed(1, length + 1));
    if (length > 0)
        memcpy(variable->val.string, bytes, length);
}

void StoreNumber(netsnmp_variable_list* variable, u_char asnType, const char* text)
{
    long number = atoi(text);
    StoreValue(variable, asnType, &number, sizeof(number));
}

void StoreAddress(netsnmp_variable_list* variable, const char* text)
{
    in_addr_t address = inet_addr(text);
    StoreValue(variable, ASN_IPADDRESS, &address, sizeof(address));
}

// Numbers that do not convert give an empty value.
void StoreBytes(netsnmp_variable_list* variable, const char* text,
                int (*convert)(const char*, unsigned char*))
{
    auto* bytes = static_cast<unsigned char*>(Zeroed(1, strlen(text) + 1));
    int length = convert(text, bytes);
    StoreValue(variable, ASN_OCTET_STR, bytes, length > 0 ? static_cast<size_t>(length) : 0);
    free(bytes);
}

void StoreObjectId(netsnmp_variable_list* variable, const char* text)
{
    ObjectId id = {};
    id.length = MAX_OID_LEN;
    if (read_objid(text, id.name, &id.length) == 0)
        id.length = 0;
    StoreValue(variable, ASN_OBJECT_ID, id.name, id.length * sizeof(oid));
}

netsnmp_variable_list* AppendVariable(netsnmp_pdu* pdu, const oid* name, size_t length)
{
    auto* variable = static_cast<netsnmp_variable_list*>(Zeroed(1, sizeof(netsnmp_variable_list)));
    variable->name = static_cast<oid*>(Zeroed(length + 1, sizeof(oid)));
    if (length > 0)
        memcpy(variable->name, name, length * sizeof(oid));
    variable->name_length = length;
    netsnmp_variable_list** last = &pdu->variables;
    while (*last != nullptr)
        last = &(*last)->next_variable;
    *last = variable;
    return variable;
}

// Reads numbers of the given base, each one byte, parted by white space.
int TextToBytes(const char* in, unsigned char* out, int base)
{
    int (*isNumberDigit)(int) = base == 16 ? isxdigit : isdigit;
    int count = 0;
    while (*in != '\0') {
        if (isspace(static_cast<unsigned char>(*in)) != 0) {
            in++;
            continue;
        }
        if (isNumberDigit(static_cast<unsigned char>(*in)) == 0) {
            fprintf(stderr, "Input error\n");
            return -1;
        }
        unsigned long number = strtoul(in, nullptr, base);
        if (number > 255) {
            fprintf(stderr, "subidentifier %lu is too large ( > 255)\n", number);
            return -1;
        }
        out[count++] = static_cast<unsigned char>(number);
        while (isNumberDigit(static_cast<unsigned char>(*in)) != 0)
            in++;
    }
    return count;
}

} // namespace

void snmpset(netsnmp_session* ss, const char* const oids[], const char* types,
             const char* const values[], int count, int* result)
{
    netsnmp_pdu* request = CreateSet(oids, types, values, count);
    for (int variables = count; request != nullptr; variables--) {
        netsnmp_pdu* response = nullptr;
        int status = Exchange(ss, request, &response);
        if (response == nullptr) {
            ReportLostExchange(status);
            return;
        }
        request = nullptr;
        bool isAccepted = response->errstat == SNMP_ERR_NOERROR;
        *result = isAccepted ? SET_ACCEPTED : SET_REFUSED;
        if (response->errstat == SNMP_ERR_NOSUCHNAME)
            printf("\n");
        if (!isAccepted)
            request = RequestWithoutError(response, SNMP_MSG_SET, variables - 1);
        snmp_free_pdu(response);
    }
}

void snmp_add_var(netsnmp_pdu* pdu, const oid* name, int name_length, char type, const char* value)
{
    netsnmp_variable_list* variable = AppendVariable(pdu, name, static_cast<size_t>(name_length));
    switch (type) {
    case 'a':
        StoreAddress(variable, value);
        break;
    case 'i':
        StoreNumber(variable, ASN_INTEGER, value);
        break;
    case 't':
        StoreNumber(variable, ASN_TIMETICKS, value);
        break;
    case 's':
        StoreValue(variable, ASN_OCTET_STR, value, strlen(value));
        break;
    case 'd':
        StoreBytes(variable, value, ascii_to_binary);
        break;
    case 'x':
        StoreBytes(variable, value, hex_to_binary);
        break;
    case 'n':
        variable->type = ASN_NULL;
        break;
    case 'o':
        StoreObjectId(variable, value);
        break;
    default:
        printf("Internal error in type switching\n");
        exit(-1);
    }
}

int ascii_to_binary(const char* in, unsigned char* out)
{
    return TextToBytes(in, out, 10);
}

int hex_to_binary(const char* in, unsigned char* out)
{
    return TextToBytes(in, out, 16);
}
