// The model text over the title, from the agent's two identification texts.
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"
#include "status/tolvstat.h"
#include "status/tolvstat_page.h"
#include "tests/unit/support/agent_world.h"
#include "tests/unit/support/curses_screen.h"

namespace {

struct ModelText : CursesScreen {
    SimulatedAgent agent;

    void SetUp() override
    {
        CursesScreen::SetUp();
        agent = StartAgent();
        upsconf_load(AgentAddress(), "public");
        ASSERT_EQ(UPS_init(), 1);
    }

    void TearDown() override
    {
        UPS_close();
        StopAgent(agent);
        CursesScreen::TearDown();
    }
};

TEST_F(ModelText, SecondIdentificationStandsFirstAndNothingBetween)
{
    Control(agent, "set ident_1 string 1000");
    Control(agent, "set ident_2 string Maker");
    UPSname_model();
    EXPECT_EQ(CellText(0, 0, 80), Blanks(42) + "\"Maker\"\"1000\"" + Blanks(25));
}

TEST_F(ModelText, EachTextIsCutAfterItsSecondQuote)
{
    Control(agent, "set ident_1 string A \"quoted\" word");
    Control(agent, "set ident_2 integer 42");
    UPSname_model();
    EXPECT_EQ(CellText(0, 42, 38), "42\"A \\\"" + Blanks(31));
}

TEST_F(ModelText, LongAndUnprintableTextsStayOnTheirRow)
{
    Control(agent, "set ident_1 hex 310a320d33");
    Control(agent, "set ident_2 string x");
    UPSname_model();
    EXPECT_EQ(CellText(0, 42, 13), "\"x\"\"1 2 3\"   ");
    Control(agent, "set ident_2 string " + std::string(250, 'y'));
    UPSname_model();
    EXPECT_EQ(CellText(0, 42, 38), "\"" + std::string(37, 'y'));
    EXPECT_EQ(CellText(1, 0, 80), Blanks(80));
}

TEST_F(ModelText, AsksForTheTwoTextsOnly)
{
    Control(agent, "log clear");
    UPSname_model();
    Lines asked = Control(agent, "log");
    EXPECT_EQ(asked,
              (Lines{"get .1.3.6.1.4.1.935.1.1.1.1.1.1.0", "get .1.3.6.1.4.1.935.1.1.1.1.1.2.0"}));
}

} // namespace
