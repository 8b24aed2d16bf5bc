// Datagrams of any kind into a real session. An input is a list of answers, each a letter, two
// bytes of length and so many bytes; every request that the session sends takes the next one:
//     r  these bytes are the datagram      p  they are what follows the number of the request
//     v  they are the element of the value d  the same, the datagram comes twice
//     e  the first two are error status and index, the rest the value
//     o  another number than the request's in front of the value
//     s  silence
// The session reads and writes until all are used up; from then on nobody answers.
#include "fuzz/support/agent.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"

namespace {

constexpr int DATAGRAMS_OF_A_REQUEST = 5;
constexpr int MOST_EXCHANGES = 40;

Input answers;

// An answer to the request whose PDU goes on like this behind its number.
std::string AnswerBehindNumber(const WireMessage& request, const std::string& tail)
{
    return Element(TAG_SEQUENCE, Integer(request.version) + Element(TAG_OCTETS, request.community) +
                                     Element(PDU_RESPONSE, Integer(request.id) + tail));
}

std::string AnswerWithValue(WireMessage request, const std::string& value)
{
    request.pdu = PDU_RESPONSE;
    for (WireVariable& variable : request.variables)
        variable.value = value;
    return EncodeMessage(request);
}

std::vector<std::string> TakeAnswer(const WireMessage& request)
{
    int kind = TakeByte(answers);
    std::string bytes = TakeBytes(answers, TakeNumber<uint16_t>(answers));
    WireMessage answer = request;
    switch (kind) {
    case 'r':
        return {bytes};
    case 'p':
        return {AnswerBehindNumber(request, bytes)};
    case 'v':
        return {AnswerWithValue(request, bytes)};
    case 'd':
        return {AnswerWithValue(request, bytes), AnswerWithValue(request, bytes)};
    case 'e':
        answer.errorStatus = bytes.empty() ? 0 : bytes[0];
        answer.errorIndex = bytes.size() < 2 ? 0 : bytes[1];
        return {AnswerWithValue(answer, bytes.substr(std::min<size_t>(bytes.size(), 2)))};
    case 'o':
        answer.id++;
        return {AnswerWithValue(answer, bytes)};
    default:
        return {};
    }
}

void Read()
{
    ObjectText object;
    memset(object.text, 'x', sizeof(object.text));
    bool isThere = ReadObject(OID_INPUT_VOLTAGE, object);
    Require(memchr(object.text, '\0', sizeof(object.text)) != nullptr, "a value is terminated");
    Require(isThere == (std::string_view(object.text) != NO_ANSWER), "an answer replaces the text");
}

void Write()
{
    int result = SET_UNANSWERED;
    UPS_setvalue(OID_SLEEP_TIME, 3, &result);
    Require(result == SET_UNANSWERED || result == SET_ACCEPTED || result == SET_REFUSED,
            "a write has one of three outcomes");
    Require(WasWriteRefused() == (result == SET_REFUSED), "a refusal is known");
}

// Closes the session too.
void ShutDown()
{
    UPS_shutdown(0.2, 3, 1);
    UPS_init();
}

void Exchange(int number)
{
    if (number % 8 == 7)
        ShutDown();
    else if (number % 4 == 3)
        Write();
    else
        Read();
}

void ReadFromNobody()
{
    ObjectText object;
    Require(!ReadObject(OID_INPUT_VOLTAGE, object), "silence is no answer");
    Require(CountLastRequest(DATAGRAMS_OF_A_REQUEST) == DATAGRAMS_OF_A_REQUEST,
            "a request is sent five times");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    answers = MakeInput(bytes, size);
    AnswerAsAgent(TakeAnswer);
    upsconf_load(AGENT_ADDRESS, "public");
    UPS_init();
    for (int exchange = 0; exchange < MOST_EXCHANGES && !IsUsedUp(answers); exchange++)
        Exchange(exchange);
    answers = {};
    ReadFromNobody();
    UPS_close();
    RequireFewDescriptors();
    return 0;
}
