#include "snmp/snmplib.h"

#include "base/text.h"
#include "settings/tolv_lib.h"
#include "snmp/upsconf.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <netdb.h>
#include <unistd.h>

// One session at a time, one object to a request, each text in its one buffer.
static netsnmp_session session;
static netsnmp_session* ss = nullptr;
static constexpr int name_length = 1; // objects of a get
static char valueText[RESULT_TEXT_SIZE];
static char* value[name_length] = {valueText};
static ObjectIdText getOIDs;
static ObjectIdText setDelayOID;                // of every set, whatever it writes
static int lastOutcome;                         // of a set, a SET_ code
[[maybe_unused]] static ObjectIdText setOffOID; // no set needs a second one

namespace {

constexpr int REQUEST_RETRIES = 4; // so five datagrams, a second apart

// Positions of the status line.
constexpr int ON_BATTERY_MARK = 38;
constexpr int BATTERY_LOW_MARK = 39;
static_assert(ON_BATTERY_MARK < UPS_STATUS_SIZE && BATTERY_LOW_MARK < UPS_STATUS_SIZE);

// What the session record points to.
char peerName[sizeof("udp:255.255.255.255:65535")];
char communityName[CONF_TEXT_SIZE];

// A name would be looked up at every pass, and hold a screen up where nobody knows
// it: only a dotted number is an address.
bool IsAddress(const char* text)
{
    in_addr address = {};
    return inet_pton(AF_INET, text, &address) == 1;
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

// Sets the library up, too: before that it can read no identifier.
void PrepareSession()
{
    TameLibrary();
    snmp_sess_init(&session);
    netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_RETRIES, REQUEST_RETRIES);
    session.version = SNMP_VERSION_1;
    session.retries = SNMP_DEFAULT_RETRIES;
    session.timeout = SNMP_DEFAULT_TIMEOUT;
}

// The port that the services database names, as the library itself no longer asks.
int ReadSnmpPort()
{
    const servent* service = getservbyname("snmp", "udp");
    return service != nullptr ? ntohs(static_cast<uint16_t>(service->s_port)) : SNMP_PORT;
}

// The transport is named for the library, or it would read one out of whatever
// stands in the settings. An empty community means the usual one.
void FillPeer()
{
    // Once only: that database may be on a network that is down when it matters.
    static const int port = ReadSnmpPort();
    FormatText(peerName, sizeof(peerName), "udp:%s:%d", Conf.agent_ip, port);
    session.peername = peerName;
    CopyField(communityName, Conf.community[0] != '\0' ? Conf.community : DEFAULT_COMMUNITY);
    session.community = reinterpret_cast<u_char*>(communityName);
    session.community_len = strlen(communityName);
}

// The probe: an object that every UPS answers.
int ProbeAgent()
{
    ObjectText inputVoltage;
    return ReadObject(OID_INPUT_VOLTAGE, inputVoltage) ? AGENT_ANSWERED : AGENT_UNANSWERED;
}

char ReadMark(const char* objectId, int marked)
{
    return ReadNumber(objectId) == marked ? '1' : '0';
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

int IsAgentAddress(const char* address)
{
    return IsAddress(address) && strncmp(address, "127", 3) != 0 ? 1 : 0;
}

int UPS_init()
{
    return OpenAgent() ? ProbeAgent() : AGENT_UNANSWERED;
}

bool OpenAgent()
{
    UPS_close();
    PrepareSession();
    if (!IsAddress(Conf.agent_ip))
        return false;
    FillPeer();
    ss = snmp_open(&session);
    return ss != nullptr;
}

int UPS_getvalue(char* text, const char* objectId)
{
    if (ss == nullptr || IsAgentAddress(Conf.agent_ip) == 0)
        return GET_UNANSWERED;
    memset(value[0], 0, RESULT_TEXT_SIZE);
    CopyField(getOIDs, objectId);
    const char* const oids[name_length] = {getOIDs};
    if (snmpget(value, ss, oids, name_length) != GET_ANSWERED)
        return GET_UNANSWERED;
    // After an error answer it is empty: that, too, shows that the agent is there.
    CopyText(text, UPS_TEXT_SIZE, value[0]);
    return GET_ANSWERED;
}

bool ReadObject(const char* objectId, ObjectText& object)
{
    CopyField(object.text, NO_ANSWER);
    UPS_getvalue(object.text, objectId);
    return strcmp(object.text, NO_ANSWER) != 0;
}

int ReadNumber(const char* objectId)
{
    ObjectText object;
    ReadObject(objectId, object);
    return atoi(object.text);
}

void UPS_setvalue(const char* objectId, int number, int* result)
{
    int outcome = SET_UNANSWERED;
    char text[20];
    FormatText(text, sizeof(text), "%d\n", number);
    CopyField(setDelayOID, objectId);
    const char* const oids[] = {setDelayOID};
    const char* const values[] = {text};
    // Unlike a get, a set does go to a loopback address; kept.
    snmpset(ss, oids, "i", values, 1, &outcome);
    *result = lastOutcome = outcome;
}

bool WasWriteRefused()
{
    return lastOutcome == SET_REFUSED;
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
    if (ProbeAgent() != AGENT_ANSWERED)
        return AGENT_UNANSWERED;
    memset(status, ' ', UPS_STATUS_SIZE);
    status[ON_BATTERY_MARK] = ReadMark(OID_OUTPUT_STATUS, OUTPUT_ON_BATTERY);
    status[BATTERY_LOW_MARK] = ReadMark(OID_BATTERY_STATUS, BATTERY_LOW);
    sleep(1);
    return AGENT_ANSWERED;
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
