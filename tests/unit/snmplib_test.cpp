// Opening the access layer, reading and writing through it: against the simulated UPS, and
// against a bare socket where the datagrams themselves count.
#include "tests/unit/support/library_world.h"

#include <algorithm>
#include <cstring>
#include <malloc.h>

namespace {

// The twelve objects that are written, by the simulated UPS's names for them.
struct CommandObject {
    const char* objectId;
    const char* name;
};
constexpr CommandObject COMMANDS[] = {
    {UPS "5.2.10.0", "off_delay"},       {UPS "5.2.11.0", "sleep_minutes"},
    {UPS "6.1.1.0", "conserve_battery"}, {UPS "6.2.1.0", "turn_off"},
    {UPS "6.2.2.0", "reboot"},           {UPS "6.2.3.0", "sleep"},
    {UPS "6.2.4.0", "simulate_failure"}, {UPS "6.2.5.0", "flash_beep"},
    {UPS "6.2.6.0", "cancel"},           {UPS "7.2.2.0", "self_test"},
    {UPS "7.2.5.0", "indicator_test"},   {UPS "7.2.6.0", "calibrate"},
};

// What stands for no agent: names, numbers of another shape, ports, blanks.
constexpr const char* NO_ADDRESSES[] = {
    "",
    "testhost",
    "localhost",
    "a..b",
    "%s%n",
    "127",
    "127.1",
    "127.0.0.1:161",
    "192.0.2",
    "192.0.2.10.1",
    "192.0.2.256",
    "192.0.2.010",
    "192.0.2.10.",
    ".192.0.2.10",
    "192.0.2.10 ",
    " 192.0.2.10",
    "192.0.2.10\n",
    "192.0.2.10x",
    "192.0.2.10:161",
    "192.0.2.10:port",
    "192.0.2.10/24",
    "udp:192.0.2.10",
    "0xc000020a",
    "3221225994",
    "-1.0.2.10",
    "::1",
    "::ffff:192.0.2.10",
    "[::1]:161",
};

} // namespace

// --- opening -----------------------------------------------------------------------------

TEST_F(Library, ItOpensWithOneReadingOfTheInputVoltage)
{
    agent = StartAgent();
    upsconf_load(AgentAddress(), "public");
    EXPECT_EQ(Printed([] { EXPECT_EQ(UPS_init(), 1); }), "");
    EXPECT_EQ(Log(), Lines{PROBE});
}

TEST_F(Wire, AnUnansweredRequestIsSentFiveTimesASecondApart)
{
    OpenWire(wire, Silence);
    upsconf_load(AgentAddress(), "public");
    double start = Seconds();
    EXPECT_EQ(Printed([] { EXPECT_EQ(UPS_init(), -1); }), "");
    double elapsed = Seconds() - start;
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 5U);
    EXPECT_GT(elapsed, 4.95);
    for (size_t i = 0; i < 5; i++) {
        EXPECT_EQ(requests[i].pdu, PDU_GET);
        EXPECT_EQ(requests[i].variables[0].objectId, UPS "3.2.1.0");
    }
    double shortest = 1e9;
    for (size_t i = 1; i < 5; i++)
        shortest = std::min(shortest, wire.times[i] - wire.times[i - 1]);
    EXPECT_GT(shortest, 0.95);
    EXPECT_LT(shortest, 1.5) << "a busy machine may hold up some, but not all of them";
}

TEST_F(Wire, AnAnswerToARepeatedRequestIsStillTaken)
{
    OpenWire(wire, [](const WireMessage& request, int number) {
        return number < 3 ? Lines{} : AnswerValues({Integer(2300)})(request, number);
    });
    upsconf_load(AgentAddress(), "public");
    EXPECT_EQ(UPS_init(), 1);
    EXPECT_EQ(Requests(wire).size(), 3U);
}

TEST_F(Wire, AnAddressThatBeginsWith127IsNeverAsked)
{
    OpenWire(wire, AnswerValues({Integer(2300)}), "0.0.0.0");
    double start = Seconds();
    for (const char* address : {"127.0.0.1", "127.0.0.2", "127.255.255.254"}) {
        upsconf_load(address, "public");
        EXPECT_EQ(Printed([] { EXPECT_EQ(UPS_init(), -1); }), "") << address;
        EXPECT_EQ(UPS_getvalue(text, UPS "4.2.3.0"), -1);
        EXPECT_STREQ(text, "***");
    }
    EXPECT_LT(Seconds() - start, 20) << "asked in vain, each takes 5 seconds";
    EXPECT_EQ(Requests(wire).size(), 0U);
}

TEST_F(Wire, AWriteDoesGoToALoopbackAddress)
{
    OpenWire(wire, AnswerError(0, 0), "127.0.0.1");
    upsconf_load("127.0.0.1", "public");
    EXPECT_EQ(UPS_init(), -1);
    int result = 77;
    UPS_setvalue(UPS "6.2.1.0", 2, &result);
    EXPECT_EQ(result, 1);
    std::vector<WireMessage> requests = Requests(wire);
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].pdu, PDU_SET);
}

TEST_F(Wire, TheCommunityGoesOutAsItIsSet)
{
    OpenWire(wire, AnswerValues({Integer(2300)}));
    const std::string longest(29, 'c');
    for (const std::string& community : {std::string("public"), std::string("Ups room"), longest}) {
        upsconf_load(AgentAddress(), community.c_str());
        EXPECT_EQ(UPS_init(), 1);
        EXPECT_EQ(Requests(wire).back().community, community);
        EXPECT_EQ(Requests(wire).back().version, 0);
    }
}

TEST_F(Wire, AnEmptyCommunityBecomesPublic)
{
    OpenWire(wire, AnswerValues({Integer(2300)}));
    upsconf_load(AgentAddress(), "");
    EXPECT_EQ(UPS_init(), 1);
    EXPECT_EQ(Requests(wire).back().community, "public");
}

TEST_F(Library, TheWrongCommunityGetsNoAnswer)
{
    agent = StartAgent("ups-group");
    upsconf_load(AgentAddress(), "public");
    EXPECT_EQ(UPS_init(), -1);
    EXPECT_EQ(Log(), Lines(5, "refused"));
    upsconf_load(AgentAddress(), "ups-group");
    EXPECT_EQ(UPS_init(), 1);
}

TEST_F(Wire, OnlyADottedNumberIsAnAddress)
{
    OpenWire(wire, AnswerValues({Integer(2300)}), "0.0.0.0");
    size_t files = CountOpenFiles();
    for (const char* address : NO_ADDRESSES) {
        upsconf_load(address, "public");
        EXPECT_EQ(Printed([] { EXPECT_EQ(UPS_init(), -1); }), "") << address;
        EXPECT_EQ(CountOpenFiles(), files) << address << ": not even a socket";
        EXPECT_EQ(UPS_getvalue(text, UPS "4.2.3.0"), -1) << address;
        EXPECT_STREQ(text, "***");
        int result = 77;
        EXPECT_EQ(Printed([&] { UPS_setvalue(UPS "6.2.1.0", 2, &result); }), FAILED_SET) << address;
        EXPECT_EQ(result, 0) << address;
    }
    EXPECT_EQ(Requests(wire).size(), 0U);
}

TEST_F(Wire, AnAddressThatIsNoneAnyMoreIsAskedNoMore)
{
    OpenWire(wire, AnswerValues({Integer(2300)}));
    upsconf_load(AgentAddress(), "public");
    EXPECT_EQ(UPS_init(), 1);
    upsconf_load("testhost", "public");
    EXPECT_EQ(UPS_getvalue(text, UPS "4.2.3.0"), -1) << "also before it is opened again";
    EXPECT_EQ(UPS_init(), -1);
    EXPECT_EQ(Requests(wire).size(), 1U) << "only the probe of the first";
    upsconf_load(AgentAddress(), "public");
    EXPECT_EQ(UPS_init(), 1);
}

TEST_F(Library, AnErrorAnswerToTheProbeCountsAsAnAgent)
{
    agent = StartAgent();
    upsconf_load(AgentAddress(), "public");
    Control(agent, "error input_voltage genErr");
    EXPECT_EQ(UPS_init(), 1);
    Control(agent, "error input_voltage off");
    Control(agent, "missing input_voltage on");
    EXPECT_EQ(UPS_init(), -1);
}

TEST_F(Library, OpeningAgainLeavesNoSocketAndNoMemoryBehind)
{
    Open();
    for (int i = 0; i < 20; i++)
        ASSERT_EQ(UPS_init(), 1);
    size_t files = CountOpenFiles();
    size_t memory = mallinfo2().uordblks;
    for (int i = 0; i < 200; i++)
        ASSERT_EQ(UPS_init(), 1);
    EXPECT_EQ(CountOpenFiles(), files);
    EXPECT_LT(mallinfo2().uordblks, memory + 20000);
}

TEST_F(Library, OpeningInVainLeavesNoSocketBehind)
{
    upsconf_load("127.0.0.1", "public");
    UPS_init();
    size_t files = CountOpenFiles();
    for (int i = 0; i < 200; i++)
        ASSERT_EQ(UPS_init(), -1);
    EXPECT_EQ(CountOpenFiles(), files);
}

TEST_F(Library, RefusalsOfTheAgentLeaveNoMemoryBehind)
{
    Open();
    Control(agent, "missing load on");
    Control(agent, "error turn_off genErr");
    int result = 0;
    auto ask = [&] {
        UPS_getvalue(text, UPS "4.2.3.0");
        UPS_setvalue(UPS "6.2.1.0", 2, &result);
    };
    for (int i = 0; i < 20; i++)
        ask();
    size_t memory = mallinfo2().uordblks;
    for (int i = 0; i < 300; i++)
        ask();
    EXPECT_LT(mallinfo2().uordblks, memory + 20000);
}

// --- reading -----------------------------------------------------------------------------

TEST_F(Library, AReadingIsTheObjectsText)
{
    Open();
    EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), 0);
    EXPECT_STREQ(text, "2300");
    Control(agent, "set load integer 47");
    EXPECT_EQ(UPS_getvalue(text, UPS "4.2.3.0"), 0);
    EXPECT_STREQ(text, "47");
    EXPECT_EQ(UPS_getvalue(text, ".1.3.6.1.2.1.1.6.0"), 0);
    EXPECT_NE(strstr(text, "Server room"), nullptr) << text;
    EXPECT_EQ(Log(), (Lines{PROBE, "get " UPS "4.2.3.0", "get .1.3.6.1.2.1.1.6.0"}));
}

TEST_F(Library, AMissingObjectLeavesTheTextAsItWas)
{
    Open();
    Control(agent, "missing load on");
    EXPECT_EQ(Printed([this] { EXPECT_EQ(UPS_getvalue(text, UPS "4.2.3.0"), -1); }), "");
    EXPECT_STREQ(text, "***");
    EXPECT_EQ(Log().size(), 1U);
}

TEST_F(Library, AnyOtherErrorGivesAnEmptyTextWhateverWasReadBefore)
{
    Open();
    for (const char* status : {"genErr", "tooBig", "badValue", "readOnly"}) {
        EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), 0);
        EXPECT_STREQ(text, "2300");
        Control(agent, std::string("error load ") + status);
        EXPECT_EQ(Printed([this] { EXPECT_EQ(UPS_getvalue(text, UPS "4.2.3.0"), 0); }), "");
        EXPECT_STREQ(text, "") << status;
    }
}

TEST_F(Library, AnObjectThatIsNeverAnsweredLeavesTheTextAsItWas)
{
    Open();
    Control(agent, "silent on load");
    EXPECT_EQ(Printed([this] { EXPECT_EQ(UPS_getvalue(text, UPS "4.2.3.0"), -1); }), "");
    EXPECT_STREQ(text, "***");
    EXPECT_EQ(Log(), Lines(5, "get " UPS "4.2.3.0"));
    EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), 0);
}

TEST_F(Library, AnswersToOtherRequestsAreNotTaken)
{
    Open();
    Control(agent, "otherid on");
    EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), -1);
    EXPECT_STREQ(text, "***");
    EXPECT_EQ(Log(), Lines(5, PROBE));
}

TEST_F(Library, AnOverlongTextIsCutToTheCallersBuffer)
{
    Open();
    struct {
        char text[1024];
        char guard[32];
    } space;
    memset(&space, '#', sizeof(space));
    Control(agent, "set ident_1 string " + std::string(5000, 'L'));
    EXPECT_EQ(UPS_getvalue(space.text, UPS "1.1.1.0"), 0);
    ASSERT_NE(memchr(space.text, 0, sizeof(space.text)), nullptr);
    EXPECT_EQ(std::string(space.text, 901), "\"" + std::string(900, 'L'));
    EXPECT_EQ(std::string(space.guard, sizeof(space.guard)), std::string(32, '#'));
}

TEST_F(Library, AnIdentifierLongerThanItsBufferIsSurvived)
{
    Open();
    std::string objectId = UPS "3.2.1.0";
    while (objectId.size() < 300)
        objectId += ".1";
    int result = 0;
    UPS_getvalue(text, objectId.c_str());
    UPS_setvalue(objectId.c_str(), 2, &result);
    EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), 0);
    EXPECT_STREQ(text, "2300");
}

// --- writing -----------------------------------------------------------------------------

TEST_F(Library, EveryCommandObjectIsWrittenAsAnInteger)
{
    Open();
    for (const CommandObject& command : COMMANDS) {
        Control(agent, "log clear");
        int result = 0;
        EXPECT_EQ(Printed([&] { UPS_setvalue(command.objectId, 2, &result); }), "");
        EXPECT_EQ(result, 1) << command.name;
        EXPECT_EQ(Log(), Lines{std::string("set ") + command.objectId + " integer 2"});
        EXPECT_EQ(Control(agent, std::string("get ") + command.name), Lines{"integer 2"});
    }
}

TEST_F(Wire, NumbersOfEverySizeAreWrittenExactly)
{
    OpenWire(wire, AnswerValues({Integer(1)}));
    upsconf_load(AgentAddress(), "public");
    ASSERT_EQ(UPS_init(), 1);
    const std::pair<int, const char*> rows[] = {
        {0, "02 01 00"},
        {30, "02 01 1e"},
        {-5, "02 01 fb"},
        {300, "02 02 01 2c"},
        {86400, "02 03 01 51 80"},
        {2147483647, "02 04 7f ff ff ff"},
        {-2147483647 - 1, "02 04 80 00 00 00"},
    };
    for (const auto& [number, bytes] : rows) {
        int result = 0;
        UPS_setvalue(UPS "5.2.10.0", number, &result);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(Hex(Requests(wire).back().variables[0].value), bytes);
    }
}

TEST_F(Library, ARefusedWriteGivesTwo)
{
    Open();
    for (const char* status : {"tooBig", "badValue", "readOnly", "genErr"}) {
        Control(agent, std::string("error turn_off ") + status);
        int result = 0;
        EXPECT_EQ(Printed([&] { UPS_setvalue(UPS "6.2.1.0", 2, &result); }), "");
        EXPECT_EQ(result, 2) << status;
    }
    Control(agent, "missing reboot on");
    int result = 0;
    EXPECT_EQ(Printed([&] { UPS_setvalue(UPS "6.2.2.0", 2, &result); }), "\n");
    EXPECT_EQ(result, 2);
}

TEST_F(Library, AnUnansweredWriteGivesZeroWhateverTheResultWas)
{
    Open();
    Control(agent, "silent on turn_off");
    int result = 77;
    EXPECT_EQ(Printed([&] { UPS_setvalue(UPS "6.2.1.0", 2, &result); }), SILENT_SET);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(Log(), Lines(5, SetLine("6.2.1.0", 2)));
}

// --- out of order ------------------------------------------------------------------------

TEST_F(Library, CallsBeforeItIsOpenedAreSurvived)
{
    EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), -1);
    EXPECT_STREQ(text, "***");
    int result = 77;
    Printed([&] { UPS_setvalue(UPS "6.2.1.0", 2, &result); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(S_GetStatus(text), -1);
    EXPECT_STREQ(text, "***");
    Printed([] { UPS_shutdown(1.0, 5, 1); });
    UPS_Un_shutdown('x');
    UPS_close();
}

TEST_F(Library, AfterTheCloseNothingIsAskedAnyMore)
{
    Open();
    size_t files = CountOpenFiles();
    EXPECT_EQ(UPS_close(), 1);
    EXPECT_EQ(CountOpenFiles(), files - 1);
    UPS_close();
    EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), -1);
    EXPECT_STREQ(text, "***");
    int result = 77;
    Printed([&] { UPS_setvalue(UPS "6.2.1.0", 2, &result); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(S_GetStatus(text), -1);
    EXPECT_EQ(Log(), Lines{});
    EXPECT_EQ(UPS_init(), 1);
    EXPECT_EQ(UPS_getvalue(text, UPS "3.2.1.0"), 0);
}
