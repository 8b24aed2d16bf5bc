// What the command center reads from the simulated UPS and writes to it, datagram by datagram.
#include "tests/unit/support/agent_world.h"

// After the network library's headers: curses makes macros of common names.
#include "tests/unit/support/issuer_screen.h"

#define UPS ".1.3.6.1.4.1.935.1.1.1."

namespace {

const Lines CONDITION = {"get " UPS "3.2.1.0", "get " UPS "3.2.1.0", "get " UPS "4.1.1.0",
                         "get " UPS "4.2.2.0"};

std::string SetLine(const std::string& object, int number = 2)
{
    return "set " UPS + object + ".0 integer " + std::to_string(number);
}

std::string GetLine(const std::string& object)
{
    return "get " UPS + object + ".0";
}

// The same in front of the simulated UPS, which stands still.
struct IssuerAgent : Issuer {
    SimulatedAgent agent;

    void SetUp() override
    {
        Issuer::SetUp();
        agent = StartAgent();
        upsconf_load(AgentAddress(), "public");
        ASSERT_EQ(UPS_init(), 1);
        Control(agent, "freeze on");
        Control(agent, "log clear");
    }

    void TearDown() override
    {
        UPS_close();
        StopAgent(agent);
        Issuer::TearDown();
    }

    // The datagrams since the last call.
    Lines TakeLog()
    {
        Lines lines = Control(agent, "log");
        Control(agent, "log clear");
        return lines;
    }
};

} // namespace

// --- what is asked of the agent ----------------------------------------------------------------

TEST_F(IssuerAgent, CheckedCellIsOneThatAnswers)
{
    const char object[] = UPS "6.2.5.0";
    EXPECT_EQ(ChkCell(object), 1);
    Control(agent, "set flash_beep string ");
    EXPECT_EQ(ChkCell(object), 1) << "an empty text";
    Control(agent, "set flash_beep string blank");
    EXPECT_EQ(ChkCell(object), 1) << "quoted, so another text";
    Control(agent, "error flash_beep genErr");
    EXPECT_EQ(ChkCell(object), 1) << "an error is an answer";
    Control(agent, "error flash_beep off");
    Control(agent, "missing flash_beep on");
    EXPECT_EQ(ChkCell(object), -1);
    EXPECT_EQ(TakeLog(), Lines(5, GetLine("6.2.5")));
    EXPECT_EQ(ChkCell(UPS "99.1.0"), -1);
    upsconf_load("127.0.0.1", "public");
    EXPECT_EQ(ChkCell(UPS "3.2.1.0"), -1);
}

TEST_F(IssuerAgent, UtilityIsAnyInputThatIsNotZero)
{
    for (int tenths : {2300, 1, -1, 99999}) {
        Control(agent, "set input_voltage integer " + std::to_string(tenths));
        EXPECT_EQ(WithUtility(), 1) << tenths;
    }
    Control(agent, "set input_voltage integer 0");
    EXPECT_EQ(WithUtility(), -1);
    Control(agent, "set input_voltage string 230");
    EXPECT_EQ(WithUtility(), -1) << "a quoted text is no number";
    Control(agent, "missing input_voltage on");
    EXPECT_EQ(WithUtility(), -1);
    EXPECT_EQ(TakeLog(), Lines(7, GetLine("3.2.1")));
}

TEST_F(IssuerAgent, OutputNeedsAStatusThatIsNotOffAndAFrequency)
{
    struct Case {
        int status;
        int frequency;
        int wanted;
    };
    for (const Case& seen : {Case{2, 500, 1}, Case{3, 500, 1}, Case{5, 500, -1}, Case{2, 0, -1},
                             Case{5, 0, -1}, Case{0, 1, 1}, Case{6, -1, 1}, Case{55, 500, 1}}) {
        Control(agent, "set output_status integer " + std::to_string(seen.status));
        Control(agent, "set output_frequency integer " + std::to_string(seen.frequency));
        TakeLog();
        EXPECT_EQ(WithOutput(), seen.wanted) << seen.status << " " << seen.frequency;
        EXPECT_EQ(TakeLog(), (Lines{GetLine("4.1.1"), GetLine("4.2.2")}));
    }
    Control(agent, "recover");
    Control(agent, "missing output_status on");
    EXPECT_EQ(WithOutput(), 1) << "no answer reads as 0, which is not off";
    Control(agent, "set output_frequency integer 500");
    Control(agent, "missing output_frequency on");
    EXPECT_EQ(WithOutput(), -1);
}

TEST_F(IssuerAgent, ConditionLineTellsUtilityAndOutput)
{
    Fill();
    ChkCondition();
    EXPECT_EQ(CellText(21, 4, 53), "xUPS Status (xWith Utility power.With output power.)x");
    EXPECT_EQ(TakeLog(), CONDITION);
    Control(agent, "set input_voltage integer 0");
    Control(agent, "set output_status integer 5");
    ChkCondition();
    EXPECT_EQ(CellText(21, 4, 53), "xUPS Status (xw/o  Utility power.w/o  output power.)x");
    Control(agent, "missing input_voltage on");
    TakeLog();
    ChkCondition();
    EXPECT_EQ(CellText(21, 4, 53), "xNo Connection (check Ip Address and Community Name)x");
    EXPECT_EQ(TakeLog(), Lines{GetLine("3.2.1")});
}

// --- commands over the network -----------------------------------------------------------------

TEST_F(IssuerAgent, DelayIsArmedWheneverTheOffCommandIsShown)
{
    Show(1);
    Lines one = {SetLine("5.2.10", 12)};
    one.insert(one.end(), CONDITION.begin(), CONDITION.end());
    EXPECT_EQ(TakeLog(), one);
    Show(1);
    EXPECT_EQ(TakeLog(), one);
    EXPECT_EQ(RowText(16, 0), Blanks(8) + "UPS will shut down in 12 seconds.");
    Control(agent, "error off_delay genErr");
    Show(1);
    EXPECT_EQ(RowText(22, 0), Blanks(15) + PROMPT) << "its outcome is not told";
}

TEST_F(IssuerAgent, NothingIsAskedWhileNothingIsPending)
{
    Show(0);
    config = ConfigOf(SERIAL);
    for (int option = 0; option <= 6; option++)
        Show(option);
    EXPECT_EQ(TakeLog(), Lines{});
}

TEST_F(IssuerAgent, EachOptionWritesItsObject)
{
    const Lines wanted[] = {{},
                            {SetLine("6.2.1")},
                            {SetLine("6.2.2")},
                            {SetLine("5.2.11", 42), SetLine("6.2.3")},
                            {SetLine("6.2.4")},
                            {GetLine("6.2.5"), SetLine("6.2.5")},
                            {SetLine("6.2.6")},
                            {SetLine("6.1.1")},
                            {SetLine("7.2.2")},
                            {GetLine("7.2.5"), SetLine("7.2.5")},
                            {GetLine("7.2.6"), SetLine("7.2.6")}};
    for (curroption = 0; curroption <= 10; curroption++) {
        Fill();
        CmdExecute(42);
        EXPECT_EQ(TakeLog(), wanted[curroption]) << "option " << curroption;
        if (curroption == 0)
            ExpectWiped(22, 5, 77);
        else
            EXPECT_EQ(CellText(22, 15, 23), "Last Command Successful") << "option " << curroption;
    }
}

TEST_F(IssuerAgent, RefusedAndMissingObjectsTellFailureUnlessTheyAreReadFirst)
{
    struct Case {
        int option;
        const char* name;
        bool isReadFirst;
    };
    for (const Case& command :
         {Case{1, "turn_off", false}, Case{2, "reboot", false}, Case{3, "sleep", false},
          Case{4, "simulate_failure", false}, Case{5, "flash_beep", true}, Case{6, "cancel", false},
          Case{7, "conserve_battery", false}, Case{8, "self_test", false},
          Case{9, "indicator_test", true}, Case{10, "calibrate", true}}) {
        curroption = command.option;
        Control(agent, std::string("error ") + command.name + " badValue");
        CmdExecute(1);
        EXPECT_EQ(CellText(22, 15, 20), "Last Command Failed.") << command.name;
        Control(agent, std::string("error ") + command.name + " off");
        Control(agent, std::string("missing ") + command.name + " on");
        TakeLog();
        Fill();
        testing::internal::CaptureStdout(); // the absence of an object prints an empty line
        CmdExecute(1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), command.isReadFirst ? "" : "\n");
        if (command.isReadFirst) {
            ExpectWiped(22, 5, 77);
            EXPECT_EQ(TakeLog().size(), 1U) << "read, not written";
        } else {
            EXPECT_EQ(CellText(22, 15, 20), "Last Command Failed.") << command.name;
        }
    }
}

TEST_F(IssuerAgent, SecondWriteOfASleepCounts)
{
    curroption = 3;
    Control(agent, "error sleep_minutes genErr");
    CmdExecute(7);
    EXPECT_EQ(CellText(22, 15, 23), "Last Command Successful");
    EXPECT_EQ(TakeLog(), (Lines{SetLine("5.2.11", 7), SetLine("6.2.3")}));
    Control(agent, "error sleep_minutes off");
    Control(agent, "silent on sleep");
    testing::internal::CaptureStdout();
    CmdExecute(7);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "No Response from Destination\n");
    EXPECT_EQ(CellText(22, 5, 73), Blanks(73)) << "the first write's success is not told";
}

TEST_F(IssuerAgent, UnansweredCommandHasNoOutcome)
{
    Control(agent, "silent on turn_off");
    curroption = 1;
    Evaluate(2);
    testing::internal::CaptureStdout();
    CmdExecute(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "No Response from Destination\n");
    EXPECT_EQ(RowText(22, 0), "");
    EXPECT_EQ(curroption, 1) << "the caller's to end";
}
