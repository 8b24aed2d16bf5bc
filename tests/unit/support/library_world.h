// A session of the access layer, to the simulated UPS or to a bare socket in its place.
#pragma once

#include "snmp/snmplib.h"
#include "snmp/upsconf.h"
#include "tests/unit/support/agent_world.h"

#include <string>

#define UPS ".1.3.6.1.4.1.935.1.1.1."
inline constexpr char PROBE[] = "get " UPS "3.2.1.0";
inline constexpr char SILENT_SET[] = "No Response from Destination\n";
inline constexpr char FAILED_SET[] = "An error occurred, Quitting\n";

// A session to the simulated UPS, opened.
struct Library : testing::Test {
    SimulatedAgent agent;
    char text[1024] = "***";

    void Open()
    {
        agent = StartAgent();
        upsconf_load(AgentAddress(), "public");
        ASSERT_EQ(UPS_init(), 1);
        Control(agent, "log clear");
    }

    Lines Log()
    {
        return Control(agent, "log");
    }

    void TearDown() override
    {
        UPS_close();
        if (agent.pid > 0)
            StopAgent(agent);
    }
};

struct Wire : testing::Test {
    WireAgent wire;
    char text[1024] = "***";

    void TearDown() override
    {
        UPS_close();
        CloseWire(wire);
    }
};

// What a call prints on standard output; standard error has to stay empty.
template <class Call> std::string Printed(Call call)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    call();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    return testing::internal::GetCapturedStdout();
}

inline std::string SetLine(const char* object, int number)
{
    return std::string("set " UPS) + object + " integer " + std::to_string(number);
}
