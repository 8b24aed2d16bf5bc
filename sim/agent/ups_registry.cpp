// The library's headers only work in this order.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "sim/agent/ups_registry.h"

#include "sim/model/ups_command.h"

#include <arpa/inet.h>

namespace {

UpsSim* served;
netsnmp_handler_registration* registrations[UPS_OBJECT_COUNT];

void AnswerNumber(netsnmp_variable_list* variable, u_char type, long number)
{
    // Integers travel as signed longs, the other three as unsigned 32 bits.
    snmp_set_var_typed_value(variable, type, &number, sizeof(number));
}

void AnswerObjectId(netsnmp_variable_list* variable, const std::string& text)
{
    oid name[MAX_OID_LEN];
    size_t length = MAX_OID_LEN;
    if (read_objid(text.c_str(), name, &length) != 0)
        snmp_set_var_typed_value(variable, ASN_OBJECT_ID, name, length * sizeof(oid));
}

void AnswerAddress(netsnmp_variable_list* variable, const std::string& text)
{
    in_addr address = {};
    inet_pton(AF_INET, text.c_str(), &address);
    snmp_set_var_typed_value(variable, ASN_IPADDRESS, &address.s_addr, sizeof(address.s_addr));
}

void AnswerValue(netsnmp_variable_list* variable, const UpsValue& value)
{
    switch (value.type) {
    case ValueType::INTEGER:
        return AnswerNumber(variable, ASN_INTEGER, value.number);
    case ValueType::GAUGE:
        return AnswerNumber(variable, ASN_GAUGE, value.number);
    case ValueType::COUNTER:
        return AnswerNumber(variable, ASN_COUNTER, value.number);
    case ValueType::TIMETICKS:
        return AnswerNumber(variable, ASN_TIMETICKS, value.number);
    case ValueType::TEXT:
        snmp_set_var_typed_value(variable, ASN_OCTET_STR, value.bytes.data(), value.bytes.size());
        return;
    case ValueType::OBJECT_ID:
        return AnswerObjectId(variable, value.bytes);
    case ValueType::IP_ADDRESS:
        return AnswerAddress(variable, value.bytes);
    case ValueType::NOTHING:
        snmp_set_var_typed_value(variable, ASN_NULL, nullptr, 0);
        return;
    }
}

int CheckWrite(int object, const netsnmp_variable_list* variable)
{
    if (served->faults.object[object].missing)
        return SNMP_ERR_NOSUCHNAME;
    if (UPS_OBJECTS[object].command == UpsCommand::COUNT)
        return SNMP_ERR_NOTWRITABLE;
    if (variable->type != ASN_INTEGER)
        return SNMP_ERR_WRONGTYPE;
    return *variable->val.integer < 0 ? SNMP_ERR_WRONGVALUE : SNMP_ERR_NOERROR;
}

int ServeObject(int object, int mode, netsnmp_variable_list* variable)
{
    switch (mode) {
    case MODE_GET:
        if (served->faults.object[object].missing)
            return SNMP_NOSUCHINSTANCE;
        AnswerValue(variable, CurrentValue(*served, object));
        return SNMP_ERR_NOERROR;
    case MODE_SET_RESERVE1:
        return CheckWrite(object, variable);
    case MODE_SET_COMMIT:
        return WriteCommand(served->model, UPS_OBJECTS[object].command, *variable->val.integer)
                   ? SNMP_ERR_NOERROR
                   : SNMP_ERR_COMMITFAILED;
    default:
        return SNMP_ERR_NOERROR;
    }
}

int HandleObject(netsnmp_mib_handler*, netsnmp_handler_registration* registration,
                 netsnmp_agent_request_info* info, netsnmp_request_info* requests)
{
    int object =
        static_cast<int>(static_cast<const UpsObject*>(registration->my_reg_void) - UPS_OBJECTS);
    for (; requests; requests = requests->next) {
        int status = ServeObject(object, info->mode, requests->requestvb);
        if (status != SNMP_ERR_NOERROR)
            netsnmp_set_request_error(info, requests, status);
    }
    return SNMP_ERR_NOERROR;
}

bool RegisterObject(int object)
{
    oid name[MAX_OID_LEN];
    size_t length = MAX_OID_LEN;
    if (read_objid(UPS_OBJECTS[object].oid, name, &length) == 0)
        return false;
    netsnmp_handler_registration* registration = netsnmp_create_handler_registration(
        UPS_OBJECTS[object].name, HandleObject, name, length, HANDLER_CAN_RWRITE);
    if (registration == nullptr)
        return false;
    registration->my_reg_void = const_cast<UpsObject*>(&UPS_OBJECTS[object]);
    if (netsnmp_register_instance(registration) != MIB_REGISTERED_OK)
        return false;
    registrations[object] = registration;
    return true;
}

} // namespace

bool RegisterObjects(UpsSim& sim)
{
    served = &sim;
    for (int object = 0; object < UPS_OBJECT_COUNT; object++) {
        if (!RegisterObject(object))
            return false;
    }
    return true;
}

void UnregisterObjects()
{
    for (netsnmp_handler_registration*& registration : registrations) {
        if (registration != nullptr)
            netsnmp_unregister_handler(registration);
        registration = nullptr;
    }
}
