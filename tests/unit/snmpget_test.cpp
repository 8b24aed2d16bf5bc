// One GetRequest: what goes out, and what every kind of answer makes of it.
#include "snmp/snmpget.h"

#include "tests/unit/support/agent_wire.h"

#include <cstring>

namespace {

constexpr char INPUT_VOLTAGE[] = ".1.3.6.1.4.1.935.1.1.1.3.2.1.0";
constexpr char LOAD[] = ".1.3.6.1.4.1.935.1.1.1.4.2.3.0";
constexpr char CONTACT[] = ".1.3.6.1.2.1.1.4.0";
constexpr char MARK[] = "as it was";
constexpr char NULL_VALUE[] = "05 00";
constexpr int TAG_COUNTER = 0x41;
constexpr int TAG_GAUGE = 0x42;
constexpr int TAG_TIMETICKS = 0x43;
constexpr int NO_SUCH_NAME = 2;

// Results with a guard behind each, so that a byte too many is seen.
struct Result {
    char text[1024];
    char guard[64];
};

struct SnmpGet : testing::Test {
    WireAgent wire;
    netsnmp_session* ss = nullptr;
    Result result[4];
    char* results[4];

    SnmpGet()
    {
        for (int i = 0; i < 4; i++) {
            memset(&result[i], '#', sizeof(Result));
            strcpy(result[i].text, MARK);
            results[i] = result[i].text;
        }
    }

    void Serve(const Answerer& answer)
    {
        OpenWire(wire, answer);
        ss = OpenSession(AgentAddress());
        ASSERT_NE(ss, nullptr);
    }

    int Get(const std::vector<const char*>& oids)
    {
        return snmpget(results, ss, oids.data(), static_cast<int>(oids.size()));
    }

    void TearDown() override
    {
        for (const Result& one : result) {
            EXPECT_NE(memchr(one.text, 0, sizeof(one.text)), nullptr);
            EXPECT_EQ(std::string(one.guard, sizeof(one.guard)), std::string(64, '#'));
        }
        if (ss != nullptr)
            snmp_close(ss);
        CloseWire(wire);
    }
};

std::string OctetString(const std::string& text)
{
    return Element(TAG_OCTETS, text);
}

std::string Bytes(std::initializer_list<int> values)
{
    std::string bytes;
    for (int value : values)
        bytes += static_cast<char>(value);
    return bytes;
}

// Every answer of an agent begins as a copy of the request, as a response.
WireMessage ResponseTo(const WireMessage& request, const std::string& value)
{
    WireMessage answer = request;
    answer.pdu = PDU_RESPONSE;
    for (WireVariable& variable : answer.variables)
        variable.value = value;
    return answer;
}

} // namespace

TEST_F(SnmpGet, ARequestIsVersionOneWithTheCommunityAndANullForEveryObject)
{
    Serve(AnswerValues({Integer(1)}));
    EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD, CONTACT}), 0);
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 1U);
    const WireMessage& request = requests[0];
    EXPECT_EQ(request.version, 0);
    EXPECT_EQ(request.community, "public");
    EXPECT_EQ(request.pdu, PDU_GET);
    EXPECT_EQ(request.errorStatus, 0);
    EXPECT_EQ(request.errorIndex, 0);
    ASSERT_EQ(request.variables.size(), 3U);
    const char* oids[] = {INPUT_VOLTAGE, LOAD, CONTACT};
    for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(request.variables[i].objectId, oids[i]);
        EXPECT_EQ(Hex(request.variables[i].value), NULL_VALUE);
    }
}

TEST_F(SnmpGet, AnIntegerComesOutAsTheBareNumber)
{
    struct {
        std::string value;
        const char* text;
    } rows[] = {
        {Integer(2300), "2300"},
        {Integer(0), "0"},
        {Integer(-1), "-1"},
        {Integer(2147483647), "2147483647"},
        {Integer(-2147483647L - 1), "-2147483648"},
        {Integer(35, TAG_GAUGE), "35"},
        {Integer(4294967295L, TAG_GAUGE), "4294967295"},
        {Integer(7, TAG_COUNTER), "7"},
    };
    size_t row = 0;
    Serve([&](const WireMessage& request, int) {
        return Lines{EncodeMessage(ResponseTo(request, rows[row].value))};
    });
    for (; row < std::size(rows); row++) {
        EXPECT_EQ(Get({INPUT_VOLTAGE}), 0);
        EXPECT_STREQ(result[0].text, rows[row].text);
    }
}

TEST_F(SnmpGet, ATextComesOutInQuotesWithEveryCharacterOfIt)
{
    Serve(AnswerValues({OctetString("Server room"), OctetString(""), OctetString("100%s %n %d")}));
    EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD, CONTACT}), 0);
    EXPECT_STREQ(result[0].text, "\"Server room\"");
    EXPECT_STREQ(result[1].text, "\"\"");
    EXPECT_STREQ(result[2].text, "\"100%s %n %d\"");
}

TEST_F(SnmpGet, TheTextsStandInTheOrderOfTheAnswer)
{
    Serve(AnswerValues({Integer(11), Integer(22), Integer(33)}));
    EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD, CONTACT}), 0);
    EXPECT_STREQ(result[0].text, "11");
    EXPECT_STREQ(result[1].text, "22");
    EXPECT_STREQ(result[2].text, "33");
    EXPECT_STREQ(result[3].text, MARK);
}

TEST_F(SnmpGet, ATextLongerThanABufferIsCutToWhatFits)
{
    for (size_t length : {1020, 1021, 1022, 1023, 1024, 1025, 3000, 30000}) {
        SCOPED_TRACE(length);
        Serve(AnswerValues({OctetString(std::string(length, 'A'))}));
        EXPECT_EQ(Get({CONTACT}), 0);
        EXPECT_LE(strlen(result[0].text), 1023U);
        EXPECT_GE(strlen(result[0].text), std::min<size_t>(length, 900));
        EXPECT_EQ(std::string(result[0].text, 901), "\"" + std::string(900, 'A'));
        snmp_close(ss);
        CloseWire(wire);
        wire.isEnding = false;
    }
    Serve(AnswerValues({Integer(1)}));
}

TEST_F(SnmpGet, BinaryBytesAreSurvivedAtEveryLength)
{
    std::string bytes;
    for (int i = 0; i < 3000; i++)
        bytes += static_cast<char>(i * 37);
    size_t length = 1;
    Serve([&](const WireMessage& request, int) {
        return Lines{EncodeMessage(ResponseTo(request, OctetString(bytes.substr(0, length))))};
    });
    for (; length <= 3000; length = length * 3 / 2 + 1) {
        memset(result[0].text, 'x', sizeof(result[0].text));
        EXPECT_EQ(Get({CONTACT}), 0);
        EXPECT_NE(memchr(result[0].text, 0, sizeof(result[0].text)), nullptr) << length;
        EXPECT_NE(result[0].text[0], 'x') << length;
    }
}

TEST_F(SnmpGet, ValuesOfOtherTypesArriveAsSomeBoundedText)
{
    std::string address = Element(0x40, Bytes({192, 0, 2, 10}));
    Lines values = {address,
                    ObjectIdElement(".1.3.6.1.4.1.935"),
                    Integer(123456, TAG_TIMETICKS),
                    Element(TAG_NULL, ""),
                    Element(0x44, std::string(100, '\x9f')), // opaque
                    Element(0x80, ""),                       // no such object
                    Element(0x81, ""),                       // no such instance
                    Element(TAG_OCTETS, std::string(5, '\0'))};
    size_t at = 0;
    Serve([&](const WireMessage& request, int) {
        return Lines{EncodeMessage(ResponseTo(request, values[at]))};
    });
    for (; at < values.size(); at++) {
        memset(result[0].text, 0, sizeof(result[0].text));
        EXPECT_EQ(Get({CONTACT}), 0) << Hex(values[at]);
        EXPECT_NE(memchr(result[0].text, 0, sizeof(result[0].text)), nullptr);
    }
    EXPECT_EQ(Requests(wire).size(), values.size());
}

TEST_F(SnmpGet, AnAddressAndAnIdentifierComeOutAsDottedNumbers)
{
    Serve(AnswerValues(
        {Element(0x40, Bytes({192, 0, 2, 10})), ObjectIdElement(".1.3.6.1.4.1.935.1.0")}));
    EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD}), 0);
    EXPECT_STREQ(result[0].text, "192.0.2.10");
    EXPECT_NE(strstr(result[1].text, "6.1.4.1.935.1.0"), nullptr) << result[1].text;
}

TEST_F(SnmpGet, AnErrorForASingleObjectGivesZeroAndLeavesTheText)
{
    int status = 1;
    Serve([&](const WireMessage& request, int number) {
        return AnswerError(status, 1)(request, number);
    });
    for (; status <= 18; status++) {
        if (status == NO_SUCH_NAME)
            continue;
        EXPECT_EQ(Get({INPUT_VOLTAGE}), 0) << "error status " << status;
        EXPECT_STREQ(result[0].text, MARK);
    }
    EXPECT_EQ(Requests(wire).size(), 17U);
}

TEST_F(SnmpGet, AnUnknownObjectGivesMinusOneWithoutAskingAgain)
{
    int index = 1;
    Serve([&](const WireMessage& request, int number) {
        return AnswerError(NO_SUCH_NAME, index)(request, number);
    });
    testing::internal::CaptureStdout();
    for (int named : {1, 2, 0, 9, -1}) {
        index = named;
        EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD}), -1) << "error index " << index;
        EXPECT_STREQ(result[0].text, MARK);
        EXPECT_STREQ(result[1].text, MARK);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(Requests(wire).size(), 5U);
}

TEST_F(SnmpGet, TheObjectInErrorIsLeftOutOfASecondRequest)
{
    Serve([](const WireMessage& request, int number) {
        return number == 1 ? AnswerError(5, 2)(request, number)
                           : AnswerValues({Integer(11), Integer(33)})(request, number);
    });
    EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD, CONTACT}), 0);
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].pdu, PDU_GET);
    EXPECT_EQ(requests[1].errorStatus, 0);
    EXPECT_EQ(requests[1].errorIndex, 0);
    ASSERT_EQ(requests[1].variables.size(), 2U);
    EXPECT_EQ(requests[1].variables[0].objectId, INPUT_VOLTAGE);
    EXPECT_EQ(requests[1].variables[1].objectId, CONTACT);
    EXPECT_EQ(Hex(requests[1].variables[1].value), NULL_VALUE);
    EXPECT_STREQ(result[0].text, "11");
    EXPECT_STREQ(result[1].text, "33");
    EXPECT_STREQ(result[2].text, MARK);
}

TEST_F(SnmpGet, AnAgentThatRefusesEverythingIsAskedOnceForEachObject)
{
    Serve(AnswerError(5, 1));
    EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD, CONTACT}), 0);
    EXPECT_EQ(Requests(wire).size(), 3U);
    EXPECT_STREQ(result[0].text, MARK);
}

TEST_F(SnmpGet, AnErrorThatNamesNoObjectDoesNotLoopForEver)
{
    int index = 0;
    Serve([&](const WireMessage& request, int number) {
        return AnswerError(5, index)(request, number);
    });
    size_t asked = 0;
    for (int named : {0, -1, 3, 99, 2147483647}) {
        index = named;
        EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD}), 0) << "error index " << index;
        EXPECT_EQ(Requests(wire).size(), ++asked) << "error index " << index;
        EXPECT_STREQ(result[0].text, MARK);
    }
}

TEST_F(SnmpGet, AnErrorAnswerThatGrowsDoesNotLoopForEver)
{
    Serve([](const WireMessage& request, int) {
        WireMessage answer = ResponseTo(request, Integer(1));
        answer.errorStatus = 5;
        answer.errorIndex = 1;
        while (answer.variables.size() < 40)
            answer.variables.push_back({CONTACT, Integer(1)});
        return Lines{EncodeMessage(answer)};
    });
    EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD}), 0);
    EXPECT_LE(Requests(wire).size(), 2U);
    EXPECT_STREQ(result[0].text, MARK);
}

TEST_F(SnmpGet, NoAnswerGivesMinusOneAndPrintsNothing)
{
    OpenWire(wire, Silence);
    ss = OpenSession(AgentAddress(), 150000, 2);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(Get({INPUT_VOLTAGE}), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(Requests(wire).size(), 3U);
    EXPECT_STREQ(result[0].text, MARK);
}

TEST_F(SnmpGet, AnAnswerToAnotherRequestCountsAsNone)
{
    OpenWire(wire, [](const WireMessage& request, int) {
        WireMessage answer = ResponseTo(request, Integer(2300));
        answer.id ^= 0x10000000;
        return Lines{EncodeMessage(answer)};
    });
    ss = OpenSession(AgentAddress(), 150000, 1);
    EXPECT_EQ(Get({INPUT_VOLTAGE}), -1);
    EXPECT_EQ(Requests(wire).size(), 2U);
    EXPECT_STREQ(result[0].text, MARK);
}

TEST_F(SnmpGet, GarbageBeforeTheAnswerIsPassedOver)
{
    Serve([](const WireMessage& request, int) {
        std::string whole = EncodeMessage(ResponseTo(request, Integer(2300)));
        return Lines{"",
                     "hello",
                     std::string(2000, '\xff'),
                     whole.substr(0, whole.size() - 3),
                     Bytes({0x30, 0x84, 0x7f, 0xff, 0xff, 0xff, 0x02, 0x01, 0x00}),
                     whole};
    });
    testing::internal::CaptureStdout();
    EXPECT_EQ(Get({INPUT_VOLTAGE}), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_STREQ(result[0].text, "2300");
}

TEST_F(SnmpGet, MoreValuesThanWereAskedForStayWithinTheResults)
{
    Serve([](const WireMessage& request, int) {
        WireMessage answer = ResponseTo(request, Integer(1));
        for (int i = 2; i < 40; i++)
            answer.variables.push_back({CONTACT, Integer(i)});
        return Lines{EncodeMessage(answer)};
    });
    EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD}), 0);
    EXPECT_STREQ(result[0].text, "1");
    EXPECT_STREQ(result[2].text, MARK);
}

TEST_F(SnmpGet, FewerValuesThanWereAskedForLeaveTheOtherTexts)
{
    Serve([](const WireMessage& request, int number) {
        WireMessage answer = ResponseTo(request, Integer(11));
        answer.variables.resize(number == 1 ? 1 : 0);
        return Lines{EncodeMessage(answer)};
    });
    EXPECT_EQ(Get({INPUT_VOLTAGE, LOAD}), 0);
    EXPECT_STREQ(result[0].text, "11");
    EXPECT_STREQ(result[1].text, MARK);
    EXPECT_EQ(Get({LOAD}), 0);
}

TEST_F(SnmpGet, ARequestThatCannotBeSentGivesMinusTwoAndPrintsNothing)
{
    // Nobody may send to this address without asking the system first.
    ss = OpenSession("255.255.255.255");
    ASSERT_NE(ss, nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(Get({INPUT_VOLTAGE}), -2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_STREQ(result[0].text, MARK);
}

TEST_F(SnmpGet, WithoutASessionNothingIsAskedAndTheResultIsMinusTwo)
{
    netsnmp_session unused;
    StartLibrary(unused);
    EXPECT_EQ(Get({INPUT_VOLTAGE}), -2);
    EXPECT_STREQ(result[0].text, MARK);
}

TEST_F(SnmpGet, TextsThatAreNoIdentifierAreReportedAndTheRequestStillGoesOut)
{
    Serve(AnswerValues({Integer(1), Integer(2)}));
    testing::internal::CaptureStdout();
    EXPECT_EQ(Get({"no.such.name", LOAD}), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Invalid object identifier: no.such.name\n");
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 1U);
    ASSERT_EQ(requests[0].variables.size(), 2U);
    EXPECT_EQ(requests[0].variables[1].objectId, LOAD);
    EXPECT_STREQ(result[1].text, "2");
}

TEST_F(SnmpGet, AnIdentifierMayHave128NumbersButNotMore)
{
    Serve(AnswerValues({Integer(1)}));
    std::string longest = ".1.3";
    for (int i = 2; i < 128; i++)
        longest += ".200";
    testing::internal::CaptureStdout();
    EXPECT_EQ(Get({longest.c_str()}), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    longest += ".200";
    testing::internal::CaptureStdout();
    Get({longest.c_str()});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Invalid object identifier: " + longest + "\n");
    EXPECT_EQ(Requests(wire)[0].variables[0].objectId, longest.substr(0, longest.size() - 4));
}

TEST_F(SnmpGet, IdentifiersAreReadAsTheLibraryReadsThem)
{
    netsnmp_session unused;
    StartLibrary(unused);
    for (const char* text : {INPUT_VOLTAGE, ".1.3", ".1.3.0.00.010", ".1.3.4294967295",
                             ".1.3.4294967296", ".1.3.99999999999999999999", ".1", ".", "", "1.3.6",
                             ".1..3", ".1.3.", ".1.-3", ".1. 3", ".1.3x", ".iso.3", ".9.99.1"}) {
        ObjectId expected = {};
        expected.length = MAX_OID_LEN;
        if (read_objid(text, expected.name, &expected.length) == 0)
            expected.length = 0;
        ObjectId id = {};
        testing::internal::CaptureStdout();
        ParseObjectId(text, id);
        EXPECT_EQ(testing::internal::GetCapturedStdout().empty(), expected.length > 0) << text;
        EXPECT_EQ(std::vector<oid>(id.name, id.name + id.length),
                  std::vector<oid>(expected.name, expected.name + expected.length))
            << text;
    }
}
