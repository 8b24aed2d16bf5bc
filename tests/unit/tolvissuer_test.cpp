// The command center's keys, panels and outcome lines, and its commands for the daemon.
#include "tests/unit/support/issuer_screen.h"

#include <initializer_list>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

// Every message that waits for the daemon, with its type in front.
Lines TakeCommands()
{
    struct {
        long type;
        char text[200];
    } record;
    Lines taken;
    int queue = msgget(ftok("/etc/wardenlink", '5'), IPC_CREAT | 0666);
    for (ssize_t size; (size = msgrcv(queue, &record, sizeof(record.text), 0, IPC_NOWAIT)) >= 0;)
        taken.push_back(std::to_string(record.type) + " " +
                        std::string(record.text, static_cast<size_t>(size)));
    return taken;
}

} // namespace

// --- the keys ------------------------------------------------------------------------------

TEST(IssuerKeys, ChooseTheirOptionInEachMode)
{
    const std::string snmpKeys = "sulmfcbdit"; // options 1 to 10
    const std::string serialKeys = "sb?nac";   // options 1 to 6, the third without a key
    for (int key = -1; key < 512; key++) {
        char letter = static_cast<char>(key);
        bool isLetter = key >= 'a' && key <= 'z';
        size_t snmp = isLetter ? snmpKeys.find(letter) : std::string::npos;
        size_t serial = isLetter ? serialKeys.find(letter) : std::string::npos;
        curroption = 77;
        DoSNMP(key);
        int wanted = snmp != std::string::npos ? static_cast<int>(snmp) + 1 : 77;
        EXPECT_EQ(curroption, key == 'o' ? 6 : wanted) << "key " << key;
        curroption = 77;
        DoComPort(key);
        EXPECT_EQ(curroption, serial != std::string::npos ? static_cast<int>(serial) + 1 : 77)
            << "key " << key;
    }
}

// --- the picture -----------------------------------------------------------------------------

TEST_F(Issuer, FirstScreenDrawsTheMenuOfItsMode)
{
    FirstScreen(SNMP);
    EXPECT_EQ(CellText(3, 6, 57), "[s]  Shut Down UPS                    [f]  Flash and Beep");
    EXPECT_EQ(RowText(13, 0),
              "|     [t]  Test Run Time Calibration         [q]  Quit" + Blanks(24) + "|");
    erase();
    FirstScreen(SERIAL);
    EXPECT_EQ(RowText(0, 1),
              "(wardenlink Power Management Software for Linux) UPS COMMAND CENTER, Ver. 3.4");
    EXPECT_EQ(CellText(3, 6, 20), "[s]  10 Seconds Test");
    EXPECT_EQ(CellText(5, 1, 77), Blanks(77)) << "the timed test has no line";
    EXPECT_EQ(CellText(12, 6, 9), "[q]  Quit");
    EXPECT_EQ(CellText(13, 0, 79), "|" + Blanks(77) + "|");
}

TEST_F(Issuer, MenuTabsBlankUpToTheNextMultipleOfEight)
{
    Fill();
    FirstScreen(SNMP);
    // Last cell that each line of the menu writes, blanks included.
    const int snmpEnds[] = {62, 63, 55, 55, 55, 63, 55, 63, 55, 63, 55};
    for (int row = 3; row <= 13; row++) {
        int end = snmpEnds[row - 3];
        EXPECT_EQ(CellText(row, end + 1, 77 - end), std::string(static_cast<size_t>(77 - end), 'x'))
            << "row " << row;
        EXPECT_NE(CellText(row, end, 1), "x") << "row " << row;
    }
}

TEST_F(Issuer, NothingPendingWipesTwoRowsOfThePanel)
{
    for (int mode : {SNMP, SERIAL}) {
        config = ConfigOf(mode);
        Fill();
        Show(0);
        EXPECT_EQ(CellText(16, 2, 54), Blanks(6) + "Press the letter of your choice." + Blanks(16));
        ExpectWiped(20, 1, 73);
        ExpectWiped(21, 1, 73);
        EXPECT_EQ(CellText(22, 0, 80), std::string(80, 'x')) << "the outcome stays";
        EXPECT_EQ(CellText(19, 0, 80), std::string(80, 'x'));
    }
}

TEST_F(Issuer, EachOptionHasItsDescriptionAndThePrompt)
{
    const char* const snmp[] = {"Reboots the UPS.",
                                "Put UPS to sleep.",
                                "Switch to Battery Power.",
                                "Lights up all indicators and starts beeping.",
                                "Switch back to utility power.",
                                "UPS on battery will go to sleep mode.",
                                "10 seconds self-test.",
                                "Perform a front panel lights test.",
                                "Discharge to calibrate the UPS"};
    const char* const serial[] = {"Test for 10 seconds then return to utility.",
                                  "Test until battery low then return to utility.",
                                  "Test for <n> minutes.",
                                  "UPS will shut down in a few seconds.",
                                  "Cancel Shut Down Command or Turn on UPS Output.",
                                  "Cancel Test Command."};
    for (int option = 2; option <= 10; option++) {
        erase();
        Show(option);
        EXPECT_EQ(RowText(16, 0), Blanks(8) + snmp[option - 2]);
        EXPECT_EQ(RowText(22, 0), Blanks(15) + PROMPT);
    }
    config = ConfigOf(SERIAL);
    for (int option = 1; option <= 6; option++) {
        erase();
        Show(option);
        EXPECT_EQ(RowText(16, 0), Blanks(8) + serial[option - 1]);
        EXPECT_EQ(RowText(22, 0), Blanks(15) + PROMPT);
        EXPECT_EQ(RowText(21, 0), "") << "the condition is not known over a serial line";
    }
}

TEST_F(Issuer, ConservingWarnsThatItTakesAHandToComeBack)
{
    Show(7);
    EXPECT_EQ(RowText(18, 0),
              Blanks(5) + "(WARNING) UPS has to be turned on manually after issuing this command");
    config = ConfigOf(SERIAL);
    erase();
    Show(7);
    EXPECT_EQ(RowText(18, 0), "");
}

// --- the duration ----------------------------------------------------------------------------

TEST_F(Issuer, SleepPanelShowsItsMinutesOverTheLabelsZero)
{
    Show(3);
    EXPECT_EQ(RowText(17, 0), Blanks(11) + "Duration of Sleep  :  01 Minutes");
    EXPECT_EQ(RowText(18, 0), Blanks(17) + "Press  [+] to increase,");
    EXPECT_EQ(RowText(19, 0), Blanks(24) + "[-] to decrease Sleep Time");
    EXPECT_EQ(sleepMinutes, 1);
    EXPECT_STREQ(durationText, "##") << "the serial mode's";
}

TEST_F(Issuer, TimedTestPanelShowsAndHandsOutItsTwoDigits)
{
    config = ConfigOf(SERIAL);
    Show(3);
    EXPECT_EQ(RowText(17, 0), Blanks(8) + "Duration of Self Test :  01 Minutes");
    EXPECT_EQ(RowText(18, 0), "");
    EXPECT_EQ(RowText(19, 0), Blanks(17) + "Press  [+] to increase,");
    EXPECT_EQ(RowText(20, 0), Blanks(24) + "[-] to decrease duration of Self Test");
    EXPECT_STREQ(durationText, "01");
    Show(3, '+');
    EXPECT_EQ(CellText(17, 33, 2), "02");
    EXPECT_STREQ(durationText, "02");
    EXPECT_EQ(durationText[3], '#');
    EXPECT_EQ(sleepMinutes, -1) << "the network mode's";
}

TEST_F(Issuer, DurationStopsAtOneAndAtNinetyNine)
{
    Show(3, '-');
    EXPECT_EQ(ShownMinutes(), 1);
    Type('+', 8);
    EXPECT_EQ(CellText(17, 33, 2), "09");
    Type('+', 1);
    EXPECT_EQ(CellText(17, 33, 2), "10");
    Type('+', 88);
    EXPECT_EQ(ShownMinutes(), 98);
    Type('+', 5);
    EXPECT_EQ(ShownMinutes(), 99);
    EXPECT_EQ(CellText(17, 33, 2), "99");
    EXPECT_EQ(sleepMinutes, 99);
    Type('-', 97);
    EXPECT_EQ(ShownMinutes(), 2);
    Type('-', 5);
    EXPECT_EQ(ShownMinutes(), 1);
    EXPECT_EQ(CellText(17, 33, 2), "01");
    EXPECT_EQ(sleepMinutes, 1);
}

TEST_F(Issuer, OnlyPlusAndMinusInTheirOwnPanelStepTheDuration)
{
    Show(3);
    Type('+', 49);
    for (int key : std::initializer_list<int>{-1, 'p', 'l', '=', '_', ',', 43 + 256, 45 + 256}) {
        Show(3, key);
        EXPECT_EQ(ShownMinutes(), 50) << key;
    }
    for (int mode : {SNMP, SERIAL}) {
        config = ConfigOf(mode);
        for (int option : {0, 2, 4, 5, 6}) {
            Show(option, '+');
            Show(option, '-');
            Show(option, '-');
            Show(3);
            EXPECT_EQ(ShownMinutes(), 50) << "option " << option;
        }
    }
}

TEST_F(Issuer, DurationIsKeptBetweenUsesAndBetweenTheModes)
{
    Show(3, '+');
    Show(0);
    config = ConfigOf(SERIAL);
    Show(3, '+');
    EXPECT_STREQ(durationText, "03");
    config = ConfigOf(SNMP);
    Show(3);
    EXPECT_EQ(CellText(17, 33, 2), "03");
    EXPECT_EQ(sleepMinutes, 3);
}

// --- the outcome -----------------------------------------------------------------------------

TEST_F(Issuer, OutcomeLineIsBlankSuccessOrFailure)
{
    Fill();
    Evaluate(0);
    ExpectWiped(22, 5, 77);
    Fill();
    Evaluate(1);
    EXPECT_EQ(CellText(22, 14, 43), "xLast Command Successful" + Blanks(18) + "x");
    Fill();
    Evaluate(2);
    EXPECT_EQ(CellText(22, 14, 51), "xLast Command Failed." + Blanks(29) + "x");
    EXPECT_EQ(CellText(21, 0, 80), std::string(80, 'x'));
    EXPECT_EQ(CellText(23, 0, 80), std::string(80, 'x'));
}

// --- commands for the daemon -------------------------------------------------------------------

TEST(IssuerQueue, EachOptionSendsItsLetter)
{
    for (const char* digits : {"01", "07", "42", "99"}) {
        for (curroption = 1; curroption <= 6; curroption++)
            CPortCmdExecute(digits);
        EXPECT_EQ(TakeCommands(),
                  (Lines{"9 a", "9 b", std::string("9 c") + digits, "9 d", "9 e", "9 f"}));
    }
}

TEST(IssuerQueue, TimedTestTakesTwoDigitsAndNoMore)
{
    curroption = 3;
    CPortCmdExecute("1234567890");
    curroption = 4;
    CPortCmdExecute("1234567890");
    EXPECT_EQ(TakeCommands(), (Lines{"9 c12", "9 d"}));
}

TEST(IssuerQueue, CommandsPushNoOlderOnesOut)
{
    curroption = 1;
    for (int i = 0; i < 30; i++)
        CPortCmdExecute("01");
    EXPECT_EQ(TakeCommands(), Lines(30, "9 a"));
}

// The timed test has no key; its panel and its message go together all the same.
TEST_F(Issuer, TimedTestSendsTheMinutesOfItsPanel)
{
    config = ConfigOf(SERIAL);
    Show(3);
    Type('+', 24);
    CPortCmdExecute(durationText);
    EXPECT_EQ(TakeCommands(), Lines{"9 c25"});
}
