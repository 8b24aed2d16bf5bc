#include "snmp/snmplib.h"

#include "base/text.h"
#include "settings/tolv_lib.h"
#include "snmp/upsconf.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <netdb.h>
#include <unistd.h>

netsnmp_session session;
netsnmp_session* ss = nullptr;
int name_length = 0;
char** value = nullptr;
char* getOIDs = nullptr;
char* setDelayOID = nullptr;
char* setOffOID = nullptr;

namespace {

constexpr size_t OID_TEXT_SIZE = 64;
constexpr int REQUEST_RETRIES = 4; // so five datagrams, a second apart

// What the session record points to.
char peerName[CONF_TEXT_SIZE + 16];
char communityName[CONF_TEXT_SIZE];

// A loopback address, the default, or none at all: there is no agent to ask.
bool IsAgentNamed()
{
    return Conf.agent_ip[0] != '\0' && strncmp(Conf.agent_ip, "127", 3) != 0;
}

// The library keeps its hands off the machine: no configuration or MIB file is
// read, none is written, and nothing is printed over a screen.
void TameLibrary()
{
    for (int option :
         {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_DONT_PERSIST_STATE,
          NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE})
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, option, 1);
    static netsnmp_log_handler* silence = nullptr;
    if (silence == nullptr) // with no handler at all the library writes to the terminal
        silence = netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
}

// The port that the services database names, as the library itself no longer asks.
int SnmpPort()
{
    const servent* service = getservbyname("snmp", "udp");
    return service != nullptr ? ntohs(static_cast<uint16_t>(service->s_port)) : SNMP_PORT;
}

// The transport is named for the library, or it would read one out of whatever
// stands in the settings. An empty community means the usual one.
void FillPeer()
{
    if (strchr(Conf.agent_ip, ':') != nullptr) // the address brings its port along
        FormatText(peerName, sizeof(peerName), "udp:%s", Conf.agent_ip);
    else
        FormatText(peerName, sizeof(peerName), "udp:%s:%d", Conf.agent_ip, SnmpPort());
    session.peername = peerName;
    const char* community = Conf.community[0] != '\0' ? Conf.community : DEFAULT_COMMUNITY;
    CopyField(communityName, community);
    session.community = reinterpret_cast<u_char*>(communityName);
    session.community_len = strlen(communityName);
}

void FillSession()
{
    TameLibrary();
    snmp_sess_init(&session);
    netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_RETRIES, REQUEST_RETRIES);
    session.version = SNMP_VERSION_1;
    session.retries = SNMP_DEFAULT_RETRIES;
    session.timeout = SNMP_DEFAULT_TIMEOUT;
    FillPeer();
}

void FreeBuffers()
{
    for (int i = 0; i < name_length; i++)
        free(value[i]);
    free(value);
    free(getOIDs);
    free(setDelayOID);
    free(setOffOID);
}

char* NewText(size_t size)
{
    return static_cast<char*>(calloc(size, 1));
}

void AllocateBuffers()
{
    FreeBuffers();
    name_length = 1;
    value = static_cast<char**>(calloc(static_cast<size_t>(name_length), sizeof(char*)));
    for (int i = 0; i < name_length; i++)
        value[i] = NewText(RESULT_TEXT_SIZE);
    getOIDs = NewText(OID_TEXT_SIZE);
    setDelayOID = NewText(OID_TEXT_SIZE);
    setOffOID = NewText(OID_TEXT_SIZE);
}

// The probe: an object that every UPS answers.
bool AgentAnswers()
{
    ObjectText inputVoltage;
    return ReadObject(OID_INPUT_VOLTAGE, inputVoltage);
}

char StatusMark(const char* objectId, int marked)
{
    ObjectText object;
    ReadObject(objectId, object);
    return atoi(object.text) == marked ? '1' : '0';
}

// Writes one step of the shutdown sequence; only silence is reported, an agent's
// refusal is not.
void WriteStep(const char* objectId, int number, const char* failure)
{
    int result = SET_UNANSWERED;
    UPS_setvalue(objectId, number, &result);
    if (result == SET_UNANSWERED)
        printf("%s\n", failure);
}

} // namespace

void show_msg(const char* text)
{
    int fd = open("/dev/console", O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return;
    dprintf(fd, "%s\n", text);
    close(fd);
}

int UPS_init()
{
    UPS_close();
    FillSession();
    ss = snmp_open(&session);
    if (ss == nullptr)
        return -1;
    AllocateBuffers();
    return AgentAnswers() ? 1 : -1;
}

int UPS_getvalue(char* text, const char* objectId)
{
    if (ss == nullptr)
        return -1;
    memset(value[0], 0, RESULT_TEXT_SIZE);
    CopyText(getOIDs, OID_TEXT_SIZE, objectId);
    if (!IsAgentNamed())
        return -1;
    if (snmpget(value, ss, &getOIDs, name_length) < 0)
        return -1;
    CopyText(text, UPS_TEXT_SIZE, value[0]);
    return 0;
}

bool ReadObject(const char* objectId, ObjectText& object)
{
    CopyField(object.text, NO_ANSWER);
    UPS_getvalue(object.text, objectId);
    return strcmp(object.text, NO_ANSWER) != 0;
}

void UPS_setvalue(const char* objectId, int number, int* result)
{
    int outcome = SET_UNANSWERED;
    char text[20];
    FormatText(text, sizeof(text), "%d\n", number);
    const char* values[] = {text};
    if (setDelayOID == nullptr) // never opened: the request then reports its failure
        AllocateBuffers();
    CopyText(setDelayOID, OID_TEXT_SIZE, objectId);
    snmpset(ss, &setDelayOID, "i", values, 1, &outcome);
    *result = outcome;
}

int UPS_close()
{
    if (ss == nullptr)
        return 0;
    netsnmp_session* open = ss;
    ss = nullptr;
    return snmp_close(open);
}

int S_GetStatus(char* status)
{
    if (!AgentAnswers())
        return -1;
    memset(status, ' ', UPS_STATUS_SIZE);
    status[38] = StatusMark(OID_OUTPUT_STATUS, OUTPUT_ON_BATTERY);
    status[39] = StatusMark(OID_BATTERY_STATUS, BATTERY_LOW);
    sleep(1);
    return 1;
}

int UPS_shutdown(double delayMinutes, int sleepMinutes, int restartFactor)
{
    int result = SET_UNANSWERED;
    float delaySeconds = static_cast<float>(delayMinutes) * 60.0F;
    UPS_setvalue(OID_SHUTDOWN_DELAY, TruncateToInt(static_cast<double>(delaySeconds)), &result);
    if (static_cast<long long>(sleepMinutes) * restartFactor < 1) {
        printf("No restart time !\n");
        WriteStep(OID_TURN_OFF, UPS_COMMAND, "failed to issue UPS off command");
    } else {
        printf("put ups to sleep %d\n", sleepMinutes);
        WriteStep(OID_SLEEP_TIME, sleepMinutes, "failed to configure ups sleep time");
        WriteStep(OID_SLEEP, UPS_COMMAND, "failed to issue UPS sleep command");
    }
    return UPS_close();
}

void UPS_Un_shutdown(char /*flag*/)
{
    [[maybe_unused]] const char type[] = "i";
    [[maybe_unused]] const char text[] = "1";
}
