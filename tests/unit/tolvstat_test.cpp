// The opening screen's handlers, key by key, on a screen of the test's own.
#include "ipc/tolvipc.h"
#include "status/tolvstat.h"
#include "tests/unit/support/curses_screen.h"

#include <cstring>

namespace {

constexpr char LOCAL_LINE[] = "<<< [l]  M O N I T O R   L O C A L     U  P  S   >>>";
constexpr char REMOTE_LINE[] = "<<< [r]  M O N I T O R   R E M O T E   U  P  S   >>>";
constexpr int LINE_LENGTH = 52;
constexpr int ENTER = 10;
constexpr int BACKSPACE = 8;

// The number of cells in standout from (row, col) on.
int CountStandout(int row, int col, int count)
{
    int found = 0;
    for (int at = col; at < col + count; at++)
        found += (mvinch(row, at) & A_STANDOUT) != 0 ? 1 : 0;
    return found;
}

// Whether nothing stands on the screen.
bool IsBlank()
{
    for (int row = 0; row < 25; row++) {
        if (CellText(row, 0, 80) != Blanks(80))
            return false;
    }
    return true;
}

// What a caller of the handlers owns.
struct Opening : CursesScreen {
    int mode = 1;
    int col = 0;
    int row = 0;
    char address[ENTRY_TEXT_SIZE] = "198.51.100.7";
    char community[ENTRY_TEXT_SIZE] = "rack4";

    void SetUp() override
    {
        CursesScreen::SetUp();
        Press('r'); // whatever a test before chose and typed
        TypeAddress("\n");
        TypeCommunity("\n");
        erase();
        SetPlace(0, 0);
    }

    void SetPlace(int newRow, int newCol)
    {
        row = newRow;
        col = newCol;
    }

    // Whether the remote UPS is chosen: only then a field opens.
    bool IsRemoteChosen()
    {
        Press('i');
        bool isOpen = mode == 2;
        mode = 1;
        return isOpen;
    }

    int Press(int key)
    {
        return Opening_Text(key, &mode, &col, &row, address, community);
    }

    void TypeAddress(const std::string& keys)
    {
        for (char key : keys)
            EditIPADDRESS(key, &mode, &col, &row, address);
    }

    void TypeCommunity(const std::string& keys)
    {
        for (char key : keys)
            EditCOMMUNITYNAME(key, &mode, &col, &row, community);
    }

    void ExpectCursor(int wantedRow, int wantedCol)
    {
        EXPECT_EQ(row, wantedRow);
        EXPECT_EQ(col, wantedCol);
    }
};

TEST_F(Opening, LocalChoiceStandsOutAndHidesThePrompts)
{
    Press('r');
    PlaceTXT(address, community, row, col);
    EXPECT_EQ(Press('l'), 1);
    EXPECT_EQ(CellText(6, 12, LINE_LENGTH), LOCAL_LINE);
    EXPECT_EQ(CountStandout(6, 0, 80), LINE_LENGTH);
    EXPECT_EQ(CellText(9, 12, LINE_LENGTH), REMOTE_LINE);
    EXPECT_EQ(CountStandout(9, 0, 80), 0);
    EXPECT_EQ(CellText(15, 0, 80), Blanks(80));
    EXPECT_EQ(CellText(16, 0, 80), Blanks(80));
    EXPECT_EQ(mode, 1);
    ExpectCursor(6, 12);
    EXPECT_FALSE(IsRemoteChosen());
}

TEST_F(Opening, LocalChoiceHides52CellsOfAPromptAndNoMore)
{
    for (int line : {15, 16})
        mvaddstr(line, 0, std::string(80, '#').c_str());
    Press('l');
    for (int line : {15, 16})
        EXPECT_EQ(CellText(line, 0, 80), std::string(10, '#') + Blanks(52) + std::string(18, '#'));
}

TEST_F(Opening, LocalChoiceLooksForTheDaemon)
{
    int queue = CreateMsgQ('2');
    SendMsg(queue, 4, "one");
    SendMsg(queue, 4, "two");
    Press('l');
    EXPECT_EQ(MsgNumber(queue), 1);
    Press('r');
    Press('i');
    Press('x');
    EXPECT_EQ(MsgNumber(queue), 1);
}

TEST_F(Opening, EveryKeyWithoutAMeaningChoosesTheRemoteUps)
{
    const std::string meant = "lqcie\n";
    for (int key = 0; key < 256; key++) {
        if (meant.find(static_cast<char>(key)) != std::string::npos)
            continue;
        Press('l');
        erase();
        EXPECT_EQ(Press(key), 1) << key;
        EXPECT_EQ(CellText(6, 12, LINE_LENGTH), LOCAL_LINE) << key;
        EXPECT_EQ(CellText(9, 12, LINE_LENGTH), REMOTE_LINE) << key;
        EXPECT_EQ(CellText(15, 10, 52), "[i] IP Address     : " + Blanks(31)) << key;
        EXPECT_EQ(CellText(16, 10, 52), "[c] Community Name : " + Blanks(31)) << key;
        ExpectCursor(9, 12);
        EXPECT_EQ(mode, 1) << key;
        EXPECT_TRUE(IsRemoteChosen()) << key;
    }
}

TEST_F(Opening, RemoteLineTakesTheRenditionThatIsCurrent)
{
    attrset(A_STANDOUT);
    Press('r');
    EXPECT_EQ(CountStandout(9, 0, 80), LINE_LENGTH);
    EXPECT_EQ(CountStandout(6, 0, 80), 0);
    EXPECT_EQ(CountStandout(15, 0, 80), 0);
    Press('r');
    EXPECT_EQ(CountStandout(9, 0, 80), 0);
}

TEST_F(Opening, FieldsOpenForTheRemoteUpsOnly)
{
    Press('l');
    for (int key : {'c', 'i'}) {
        EXPECT_EQ(Press(key), 1);
        EXPECT_EQ(mode, 1);
        ExpectCursor(6, 12);
    }
    Press('r');
    EXPECT_EQ(Press('c'), 1);
    EXPECT_EQ(mode, 3);
    ExpectCursor(16, 31);
    EXPECT_EQ(Press('i'), 1);
    EXPECT_EQ(mode, 2);
    ExpectCursor(15, 31);
}

TEST_F(Opening, QuitLeavesTheScreen)
{
    EXPECT_FALSE(isendwin());
    EXPECT_EQ(Press('q'), 0);
    EXPECT_TRUE(isendwin());
}

TEST_F(Opening, ClearingLeavesChoiceAndCursorAlone)
{
    Press('r');
    EXPECT_FALSE(IsBlank());
    EXPECT_EQ(Press('e'), 1);
    EXPECT_TRUE(IsBlank());
    ExpectCursor(9, 12);
    EXPECT_TRUE(IsRemoteChosen());
    Press('l');
    EXPECT_EQ(Press('e'), 1);
    EXPECT_TRUE(IsBlank());
    EXPECT_FALSE(IsRemoteChosen());
}

TEST_F(Opening, EnterOnTheLocalUpsWithoutSettingsSaysSoAndLeaves)
{
    Press('l');
    testing::internal::CaptureStdout();
    EXPECT_EQ(Press(ENTER), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "/etc/wardenlink/power.ini not found!\n");
    EXPECT_TRUE(isendwin());
}

// --- the fields --------------------------------------------------------------------------

TEST_F(Opening, TypingReplacesTheOldTextFromItsFirstCharacter)
{
    Press('i');
    TypeAddress("2");
    EXPECT_STREQ(address, "2");
    ExpectCursor(15, 32);
    TypeAddress("03.0.113.9");
    EXPECT_STREQ(address, "203.0.113.9");
    ExpectCursor(15, 42);
    EXPECT_EQ(mode, 2);
    EXPECT_STREQ(community, "rack4");
}

TEST_F(Opening, TwentiethCharacterIsRefusedInBothFields)
{
    const std::string text = "1234567890123456789";
    Press('i');
    TypeAddress(text + "0");
    EXPECT_EQ(address, text);
    ExpectCursor(15, 50);
    TypeAddress("\n");
    Press('c');
    TypeCommunity(text + "0");
    EXPECT_EQ(community, text);
    ExpectCursor(16, 50);
    TypeCommunity("\n");
}

TEST_F(Opening, NothingIsWrittenBehindTheTwentiethByte)
{
    memset(address, '#', sizeof(address));
    memset(community, '#', sizeof(community));
    TypeAddress(std::string(40, '1'));
    TypeCommunity(std::string(40, '1'));
    for (const char* text : {address, community}) {
        EXPECT_EQ(std::string(text, 20), std::string(19, '1') + '\0');
        EXPECT_EQ(std::string(text + 20, 10), std::string(10, '#'));
    }
    TypeAddress("\n");
    TypeCommunity("\n");
}

TEST_F(Opening, BackspaceStopsAtTheFirstPosition)
{
    Press('i');
    EditIPADDRESS(BACKSPACE, &mode, &col, &row, address);
    EXPECT_STREQ(address, "198.51.100.7");
    ExpectCursor(15, 31);
    TypeAddress("12\b");
    EXPECT_STREQ(address, "1");
    ExpectCursor(15, 32);
    TypeAddress("\b\b\b");
    EXPECT_STREQ(address, "");
    ExpectCursor(15, 31);
    TypeAddress("\n");
    Press('c');
    TypeCommunity("\b");
    EXPECT_STREQ(community, "rack4");
    TypeCommunity("ab\b\b\b");
    EXPECT_STREQ(community, "");
    ExpectCursor(16, 31);
    TypeCommunity("\n");
}

TEST_F(Opening, NoKeyAndBytesThatDoNotPrintAreIgnored)
{
    Press('i');
    for (int key = -1; key < 256; key++) {
        if ((key > ' ' && key < 127) || key == ENTER)
            continue;
        EditIPADDRESS(key, &mode, &col, &row, address);
        EditCOMMUNITYNAME(key, &mode, &col, &row, community);
        EXPECT_STREQ(address, "198.51.100.7") << key;
        EXPECT_STREQ(community, "rack4") << key;
        ExpectCursor(15, 31);
        EXPECT_EQ(mode, 2) << key;
    }
}

TEST_F(Opening, EveryPrintableCharacterIsTaken)
{
    for (int key = '!'; key <= '~'; key++) {
        const std::string wanted(1, static_cast<char>(key));
        EditIPADDRESS(key, &mode, &col, &row, address);
        EXPECT_EQ(address, wanted);
        EditIPADDRESS(ENTER, &mode, &col, &row, address);
        EditCOMMUNITYNAME(key, &mode, &col, &row, community);
        EXPECT_EQ(community, wanted);
        EditCOMMUNITYNAME(ENTER, &mode, &col, &row, community);
    }
}

TEST_F(Opening, EnterLeavesAFieldAndTheNextTimeStartsOver)
{
    Press('i');
    TypeAddress("12\n");
    EXPECT_EQ(mode, 1);
    ExpectCursor(9, 12);
    EXPECT_STREQ(address, "12");
    TypeAddress("\b");
    EXPECT_STREQ(address, "12");
    TypeAddress("3\n");
    EXPECT_STREQ(address, "3");
    Press('c');
    TypeCommunity("xy\n");
    EXPECT_EQ(mode, 1);
    ExpectCursor(9, 12);
    TypeCommunity("z\n");
    EXPECT_STREQ(community, "z");
}

TEST_F(Opening, AddressMustBeginWithADigitWhenItsFieldIsLeft)
{
    const char* cases[][2] = {{"ups.example", "127.0.0.1"}, {"", "127.0.0.1"}, {"-1", "127.0.0.1"},
                              {"\xb9\xb2", "127.0.0.1"},    {"0x", "0x"},      {"9.9", "9.9"}};
    for (const auto& [before, after] : cases) {
        snprintf(address, sizeof(address), "%s", before);
        TypeAddress("\n");
        EXPECT_STREQ(address, after);
    }
}

TEST_F(Opening, CommunityHasNoDefault)
{
    for (const char* before : {"", "-", "public"}) {
        snprintf(community, sizeof(community), "%s", before);
        TypeCommunity("\n");
        EXPECT_STREQ(community, before);
    }
}

// --- values and help texts ---------------------------------------------------------------

TEST_F(Opening, ValuesAreBlankedBeforeTheyAreWritten)
{
    for (int line : {15, 16})
        mvaddstr(line, 0, std::string(80, '#').c_str());
    PlaceTXT("1.2.3.4", "abc", 9, 12);
    EXPECT_EQ(CellText(15, 30, 22), "#1.2.3.4" + Blanks(13) + "#");
    EXPECT_EQ(CellText(16, 30, 22), "#abc" + Blanks(17) + "#");
    PlaceTXT("1.2.3.4", "abc", 6, 12);
    EXPECT_EQ(CellText(15, 30, 22), "#" + Blanks(20) + "#");
    EXPECT_EQ(CellText(16, 30, 22), "#" + Blanks(20) + "#");
}

TEST_F(Opening, HelpBelongsToTheRowOfTheCursor)
{
    struct {
        int row;
        const char* lines[3]; // from column 8 on, where the first tab leads
    } static const helps[] = {
        {6,
         {"<< Monitor a UPS which provides your computer's power >>",
          "<< UPS may be connected to the NETWORK or to the SERIAL PORT >>",
          "Press [enter]-Proceed, [r]-monitor Remote UPS, [q]-Quit"}},
        {9,
         {"<< Monitor a UPS situated far your computer. >>",
          "Press  [i] to enter the IP Address, [c] for the Community Name,",
          "then press [enter] to Proceed or [q] to Quit."}},
        {15,
         {"<<  The IP Address of the SNMP Agent connected to the UPS. >>",
          "Enter the IP Address of the SNMP Agent.",
          "Press [BKSP] to delete a character, press [enter] when through."}},
        {16,
         {"<<  The Community Name of the SNMP Agent connected to the UPS.>>",
          "Enter the Community Name of the SNMP Agent.",
          "Press [BKSP] to delete a character, press [enter] when through."}},
    };
    for (const auto& help : helps) {
        for (int line = 0; line < 3; line++)
            mvaddstr(19 + line, 0, std::string(80, '#').c_str());
        PlaceTXT(address, community, help.row, 40);
        EXPECT_EQ(getcury(stdscr), help.row);
        EXPECT_EQ(getcurx(stdscr), 40);
        for (int line = 0; line < 3; line++) {
            std::string text = help.lines[line];
            std::string wanted =
                "##" + Blanks(6) + text + Blanks(64 - static_cast<int>(text.size()));
            EXPECT_EQ(CellText(19 + line, 0, 80), wanted + "########") << help.row;
        }
    }
}

TEST_F(Opening, OtherRowsHaveNoHelp)
{
    for (int other : {0, 5, 12, 17, 24}) {
        PlaceTXT(address, community, other, 3);
        EXPECT_EQ(CellText(15, 31, 20), "198.51.100.7" + Blanks(8));
        for (int line = 19; line <= 21; line++)
            EXPECT_EQ(CellText(line, 0, 80), Blanks(80)) << other;
    }
}

TEST_F(Opening, CommentsAreWrittenAsTheyAre)
{
    const char text[3][70] = {"one\tof\tfour", "", "x"};
    PlaceCOMMENTS(text);
    EXPECT_EQ(CellText(19, 0, 30), "  one   of      four" + Blanks(10));
    EXPECT_EQ(CellText(20, 0, 80), Blanks(80));
    EXPECT_EQ(CellText(21, 0, 5), "  x  ");
}

} // namespace
