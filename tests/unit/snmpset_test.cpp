// One SetRequest: the bytes of every kind of value, and what every answer makes of the outcome.
#include "snmp/snmpset.h"

#include "tests/unit/support/agent_world.h"

#include <cstring>

namespace {

constexpr char SHUTDOWN_DELAY[] = ".1.3.6.1.4.1.935.1.1.1.5.2.10.0";
constexpr char SLEEP_TIME[] = ".1.3.6.1.4.1.935.1.1.1.5.2.11.0";
constexpr char TURN_OFF[] = ".1.3.6.1.4.1.935.1.1.1.6.2.1.0";
constexpr char INPUT_VOLTAGE[] = ".1.3.6.1.4.1.935.1.1.1.3.2.1.0";
constexpr int NO_SUCH_NAME = 2;
constexpr int UNTOUCHED = 77;

struct SnmpSet : testing::Test {
    WireAgent wire;
    netsnmp_session* ss = nullptr;
    int result = 0;

    void Serve(const Answerer& answer)
    {
        OpenWire(wire, answer);
        ss = OpenSession(AgentAddress());
        ASSERT_NE(ss, nullptr);
    }

    // Sets the values; what that printed.
    std::string Set(const std::vector<const char*>& oids, const char* types,
                    const std::vector<const char*>& values)
    {
        testing::internal::CaptureStdout();
        snmpset(ss, oids.data(), types, values.data(), static_cast<int>(oids.size()), &result);
        return testing::internal::GetCapturedStdout();
    }

    // The value's element as it arrived, in hexadecimal.
    std::string SentValue(char type, const char* text)
    {
        const char types[] = {type, '\0'};
        EXPECT_EQ(Set({TURN_OFF}, types, {text}), "");
        std::vector<WireMessage> requests = Requests(wire);
        if (requests.empty() || requests.back().variables.size() != 1)
            return "not one variable";
        return Hex(requests.back().variables[0].value);
    }

    void TearDown() override
    {
        if (ss != nullptr)
            snmp_close(ss);
        CloseWire(wire);
    }
};

// Takes the request as accepted, as an agent does: by sending it back.
Lines Accept(const WireMessage& request, int number)
{
    return AnswerError(0, 0)(request, number);
}

// A request whose variables are looked at before they are sent anywhere.
struct SnmpAddVar : testing::Test {
    netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_SET);

    void TearDown() override
    {
        snmp_free_pdu(pdu);
    }
};

// What the exit tells on standard output, brought to where a death test looks.
void AddBadType(char type)
{
    dup2(STDERR_FILENO, STDOUT_FILENO);
    const oid name[] = {1, 3, 6, 1};
    snmp_add_var(snmp_pdu_create(SNMP_MSG_SET), name, 4, type, "1");
}

} // namespace

// --- what goes out -----------------------------------------------------------------------

TEST_F(SnmpSet, ARequestIsAVersionOneSetWithTheObjectAndItsValue)
{
    Serve(Accept);
    EXPECT_EQ(Set({SHUTDOWN_DELAY}, "i", {"12\n"}), "");
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].version, 0);
    EXPECT_EQ(requests[0].community, "public");
    EXPECT_EQ(requests[0].pdu, PDU_SET);
    EXPECT_EQ(requests[0].errorStatus, 0);
    EXPECT_EQ(requests[0].errorIndex, 0);
    ASSERT_EQ(requests[0].variables.size(), 1U);
    EXPECT_EQ(requests[0].variables[0].objectId, SHUTDOWN_DELAY);
    EXPECT_EQ(Hex(requests[0].variables[0].value), "02 01 0c");
}

TEST_F(SnmpSet, EveryTypeHasItsBytes)
{
    struct {
        char type;
        const char* text;
        const char* bytes;
    } rows[] = {
        {'a', "192.0.2.10", "40 04 c0 00 02 0a"},
        {'a', "255.1.0.254", "40 04 ff 01 00 fe"},
        {'i', "2", "02 01 02"},
        {'i', "12\n", "02 01 0c"},
        {'i', "  7 days", "02 01 07"},
        {'i', "none", "02 01 00"},
        {'i', "128", "02 02 00 80"},
        {'i', "-1", "02 01 ff"},
        {'i', "-129", "02 02 ff 7f"},
        {'i', "2147483647", "02 04 7f ff ff ff"},
        {'i', "-2147483648", "02 04 80 00 00 00"},
        {'t', "100", "43 01 64"},
        {'t', "300\n", "43 02 01 2c"},
        {'s', "ups-1", "04 05 75 70 73 2d 31"},
        {'s', "a b\n", "04 04 61 20 62 0a"},
        {'s', "", "04 00"},
        {'d', "10 20 255", "04 03 0a 14 ff"},
        {'d', "0", "04 01 00"},
        {'d', "", "04 00"},
        {'x', "0a ff", "04 02 0a ff"},
        {'x', " 7f 80 ", "04 02 7f 80"},
        {'x', "0 0 0", "04 03 00 00 00"},
        {'n', "ignored", "05 00"},
        {'o', ".1.3.6.1.4.1.935.1", "06 08 2b 06 01 04 01 87 27 01"},
        {'o', ".1.3.6.1.2.1.1.4.0", "06 08 2b 06 01 02 01 01 04 00"},
    };
    Serve(Accept);
    for (const auto& row : rows)
        EXPECT_EQ(SentValue(row.type, row.text), row.bytes) << row.type << " " << row.text;
}

TEST_F(SnmpSet, LongTextsGoOutWhole)
{
    Serve(Accept);
    for (size_t length : {127, 128, 255, 256, 1000}) {
        std::string text(length, 'T');
        Set({TURN_OFF}, "s", {text.c_str()});
        std::string element = Requests(wire).back().variables[0].value;
        int tag = 0;
        EXPECT_EQ(TakeElement(element, &tag), text);
        EXPECT_EQ(tag, TAG_OCTETS);
    }
}

TEST_F(SnmpSet, SeveralValuesGoOutInOneRequestInTheirOrder)
{
    Serve(Accept);
    Set({SHUTDOWN_DELAY, SLEEP_TIME, TURN_OFF, INPUT_VOLTAGE}, "isxn", {"30", "ten", "01 02", ""});
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 1U);
    const char* oids[] = {SHUTDOWN_DELAY, SLEEP_TIME, TURN_OFF, INPUT_VOLTAGE};
    const char* bytes[] = {"02 01 1e", "04 03 74 65 6e", "04 02 01 02", "05 00"};
    ASSERT_EQ(requests[0].variables.size(), 4U);
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(requests[0].variables[i].objectId, oids[i]);
        EXPECT_EQ(Hex(requests[0].variables[i].value), bytes[i]);
    }
    EXPECT_EQ(result, 1);
}

TEST_F(SnmpSet, BytesThatDoNotConvertAreSurvived)
{
    Serve(Accept);
    testing::internal::CaptureStderr();
    Set({TURN_OFF}, "d", {"300"});
    Set({TURN_OFF}, "x", {"0g"});
    Set({TURN_OFF}, "o", {"no identifier"});
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(SentValue('i', "2"), "02 01 02");
}

TEST_F(SnmpSet, ATextThatIsNoIdentifierIsReportedAndTheRequestStillGoesOut)
{
    Serve(Accept);
    EXPECT_EQ(Set({"not.an.object", SLEEP_TIME}, "ii", {"1", "5"}),
              "Invalid object identifier: not.an.object\n");
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 1U);
    ASSERT_EQ(requests[0].variables.size(), 2U);
    EXPECT_EQ(requests[0].variables[1].objectId, SLEEP_TIME);
    EXPECT_EQ(Hex(requests[0].variables[0].value), "02 01 01");
}

// --- what comes back ---------------------------------------------------------------------

TEST_F(SnmpSet, AnAcceptedSetGivesOneAndPrintsNothing)
{
    Serve(Accept);
    EXPECT_EQ(Set({TURN_OFF}, "i", {"2"}), "");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(Requests(wire).size(), 1U);
}

TEST_F(SnmpSet, EveryErrorStatusGivesTwoAndOnlyNoSuchNamePrintsAnEmptyLine)
{
    int status = 1;
    Serve([&](const WireMessage& request, int number) {
        return AnswerError(status, 1)(request, number);
    });
    for (; status <= 18; status++) {
        result = 0;
        EXPECT_EQ(Set({TURN_OFF}, "i", {"2"}), status == NO_SUCH_NAME ? "\n" : "") << status;
        EXPECT_EQ(result, 2) << "error status " << status;
    }
    EXPECT_EQ(Requests(wire).size(), 18U);
}

TEST_F(SnmpSet, TheRefusedValueIsLeftOutOfASecondRequest)
{
    Serve([](const WireMessage& request, int number) {
        return number == 1 ? AnswerError(3, 1)(request, number) : Accept(request, number);
    });
    EXPECT_EQ(Set({SHUTDOWN_DELAY, SLEEP_TIME}, "ii", {"30", "10"}), "");
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].pdu, PDU_SET);
    EXPECT_EQ(requests[1].errorStatus, 0);
    ASSERT_EQ(requests[1].variables.size(), 1U);
    EXPECT_EQ(requests[1].variables[0].objectId, SLEEP_TIME);
    EXPECT_EQ(Hex(requests[1].variables[0].value), "02 01 0a");
    EXPECT_EQ(result, 1);
}

TEST_F(SnmpSet, UnknownObjectsAreLeftOutOneByOneWithAnEmptyLineForEach)
{
    Serve(AnswerError(NO_SUCH_NAME, 1));
    EXPECT_EQ(Set({SHUTDOWN_DELAY, SLEEP_TIME, TURN_OFF}, "iii", {"30", "10", "2"}), "\n\n\n");
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[2].variables.size(), 1U);
    EXPECT_EQ(result, 2);
}

TEST_F(SnmpSet, ALostSecondRequestKeepsTheRefusal)
{
    OpenWire(wire, [](const WireMessage& request, int number) {
        return number == 1 ? AnswerError(3, 1)(request, number) : Lines{};
    });
    ss = OpenSession(AgentAddress(), 5000000);
    EXPECT_EQ(Set({SHUTDOWN_DELAY, SLEEP_TIME}, "ii", {"30", "10"}),
              "No Response from Destination\n");
    EXPECT_EQ(result, 2);
}

TEST_F(SnmpSet, AnErrorThatNamesNoValueDoesNotLoopForEver)
{
    int status = 5;
    int index = 0;
    Serve([&](const WireMessage& request, int number) {
        return AnswerError(status, index)(request, number);
    });
    size_t asked = 0;
    for (int refusal : {5, NO_SUCH_NAME}) {
        for (int named : {0, -1, 3, 2147483647}) {
            status = refusal;
            index = named;
            result = 0;
            EXPECT_EQ(Set({SHUTDOWN_DELAY, SLEEP_TIME}, "ii", {"30", "10"}),
                      status == NO_SUCH_NAME ? "\n" : "");
            EXPECT_EQ(result, 2) << "error index " << index;
            EXPECT_EQ(Requests(wire).size(), ++asked) << "error index " << index;
        }
    }
}

TEST_F(SnmpSet, ARefusalThatGrowsDoesNotLoopForEver)
{
    Serve([](const WireMessage& request, int number) {
        WireMessage grown = request;
        while (grown.variables.size() < 40)
            grown.variables.push_back({TURN_OFF, Integer(2)});
        return AnswerError(5, 1)(grown, number);
    });
    EXPECT_EQ(Set({SHUTDOWN_DELAY, SLEEP_TIME}, "ii", {"30", "10"}), "");
    EXPECT_EQ(result, 2);
    EXPECT_LE(Requests(wire).size(), 2U);
}

TEST_F(SnmpSet, NoAnswerIsToldAndLeavesTheOutcome)
{
    OpenWire(wire, Silence);
    ss = OpenSession(AgentAddress(), 150000, 2);
    result = UNTOUCHED;
    EXPECT_EQ(Set({TURN_OFF}, "i", {"2"}), "No Response from Destination\n");
    EXPECT_EQ(result, UNTOUCHED);
    EXPECT_EQ(Requests(wire).size(), 3U);
}

TEST_F(SnmpSet, AnAnswerToAnotherRequestCountsAsNone)
{
    OpenWire(wire, [](WireMessage request, int number) {
        request.id ^= 0x10000000;
        return Accept(request, number);
    });
    ss = OpenSession(AgentAddress(), 150000, 1);
    EXPECT_EQ(Set({TURN_OFF}, "i", {"2"}), "No Response from Destination\n");
    EXPECT_EQ(result, 0);
}

TEST_F(SnmpSet, ARequestThatCannotBeSentIsToldAndLeavesTheOutcome)
{
    // Nobody may send to this address without asking the system first.
    ss = OpenSession("255.255.255.255");
    ASSERT_NE(ss, nullptr);
    result = UNTOUCHED;
    EXPECT_EQ(Set({TURN_OFF}, "i", {"2"}), "An error occurred, Quitting\n");
    EXPECT_EQ(result, UNTOUCHED);
}

TEST_F(SnmpSet, WithoutASessionTheExchangeFails)
{
    netsnmp_session unused;
    StartLibrary(unused);
    EXPECT_EQ(Set({TURN_OFF}, "i", {"2"}), "An error occurred, Quitting\n");
    EXPECT_EQ(result, 0);
}

TEST_F(SnmpSet, TheSimulatedUpsTakesIntegersAndRefusesTheRest)
{
    SimulatedAgent agent = StartAgent();
    ss = OpenSession(AgentAddress());
    EXPECT_EQ(Set({SLEEP_TIME}, "i", {"12\n"}), "");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(Control(agent, "get sleep_minutes"), Lines{"integer 12"});
    for (const char* types : {"s", "d", "x", "t", "a", "o", "n"}) {
        result = 0;
        EXPECT_EQ(Set({SLEEP_TIME}, types,
                      {*types == 'a'   ? "192.0.2.1"
                       : *types == 'o' ? ".1.3"
                                       : "12"}),
                  "");
        EXPECT_EQ(result, 2) << types;
    }
    result = 0;
    Set({INPUT_VOLTAGE}, "i", {"1"});
    EXPECT_EQ(result, 2);
    EXPECT_EQ(Control(agent, "get sleep_minutes"), Lines{"integer 12"});
    StopAgent(agent);
}

// --- the variables of a request ----------------------------------------------------------

TEST_F(SnmpAddVar, EachVariableIsAppendedWithCopiesOfItsOwn)
{
    oid name[] = {1, 3, 6, 1, 4};
    char text[] = "first";
    snmp_add_var(pdu, name, 5, 's', text);
    name[4] = 9;
    strcpy(text, "after");
    snmp_add_var(pdu, name, 3, 's', text);
    snmp_add_var(pdu, name, 5, 'n', nullptr);

    const netsnmp_variable_list* first = pdu->variables;
    const netsnmp_variable_list* second = first->next_variable;
    const netsnmp_variable_list* third = second->next_variable;
    EXPECT_EQ(third->next_variable, nullptr);
    ASSERT_EQ(first->name_length, 5U);
    EXPECT_EQ(first->name[4], 4U);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(first->val.string), first->val_len), "first");
    EXPECT_EQ(second->name_length, 3U);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(second->val.string), second->val_len), "after");
    EXPECT_EQ(third->name[4], 9U);
    EXPECT_EQ(third->type, ASN_NULL);
    EXPECT_EQ(third->val.string, nullptr);
    EXPECT_EQ(third->val_len, 0U);
}

TEST(SnmpAddVarDeathTest, ALetterThatIsNoTypeEndsTheProcess)
{
    for (char type : {'z', 'A', 'b', 'c', 'h', 'j', 'm', 'p',  'r',    'u',    'w',   'y',
                      'I', 'X', 'N', '`', '{', ' ', '0', '\0', '\x7f', '\xff', '\xe9'})
        EXPECT_EXIT(AddBadType(type), testing::ExitedWithCode(255),
                    "Internal error in type switching\n$")
            << static_cast<int>(type);
}
